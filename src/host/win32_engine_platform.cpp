#include <windows.h>

#include <vector>

#include "host/embedder_platform.h"
#include "host/flutter_embedder.h"
#include "host/plugin_registrant.h"
#include "platform/win32_text.h"

namespace host::platform {

namespace {

FlutterDesktopEngineRef Engine(NativeHandle engine) {
  return static_cast<FlutterDesktopEngineRef>(engine);
}

FlutterDesktopViewControllerRef Controller(NativeHandle controller) {
  return static_cast<FlutterDesktopViewControllerRef>(controller);
}

}  // namespace

NativeHandle FlutterDesktopEngineCreate(const DartProject& project) {
  const std::wstring assets = AsWide(project.assetsPath);
  const std::wstring icuData = AsWide(project.icuDataPath);
  const std::wstring aotLibrary = AsWide(project.aotLibraryPath);
  std::vector<const char*> arguments;
  arguments.reserve(project.dartEntrypointArguments.size());
  for (const std::string& argument : project.dartEntrypointArguments) {
    arguments.push_back(argument.c_str());
  }
  FlutterDesktopEngineProperties properties = {};
  properties.assets_path = assets.c_str();
  properties.icu_data_path = icuData.c_str();
  properties.aot_library_path = aotLibrary.c_str();
  properties.dart_entrypoint =
      project.dartEntrypoint.empty() ? nullptr : project.dartEntrypoint.c_str();
  properties.dart_entrypoint_argc = static_cast<int>(arguments.size());
  properties.dart_entrypoint_argv = arguments.empty() ? nullptr : arguments.data();
  return ::FlutterDesktopEngineCreate(&properties);
}

bool FlutterDesktopEngineDestroy(NativeHandle engine) {
  return ::FlutterDesktopEngineDestroy(Engine(engine));
}

bool FlutterDesktopEngineRun(NativeHandle engine, const std::string& entrypoint) {
  return ::FlutterDesktopEngineRun(Engine(engine),
                                   entrypoint.empty() ? nullptr : entrypoint.c_str());
}

FlutterDesktopMessengerRef FlutterDesktopEngineGetMessenger(NativeHandle engine) {
  return ::FlutterDesktopEngineGetMessenger(Engine(engine));
}

NativeHandle FlutterDesktopEngineGetPluginRegistrar(NativeHandle engine,
                                                    const std::string& pluginName) {
  return ::FlutterDesktopEngineGetPluginRegistrar(Engine(engine), pluginName.c_str());
}

void FlutterDesktopEngineReloadSystemFonts(NativeHandle engine) {
  ::FlutterDesktopEngineReloadSystemFonts(Engine(engine));
}

NativeHandle FlutterDesktopViewControllerCreate(int width, int height, NativeHandle engine) {
  return ::FlutterDesktopViewControllerCreate(width, height, Engine(engine));
}

void FlutterDesktopViewControllerDestroy(NativeHandle controller) {
  ::FlutterDesktopViewControllerDestroy(Controller(controller));
}

NativeHandle FlutterDesktopViewControllerGetView(NativeHandle controller) {
  return ::FlutterDesktopViewControllerGetView(Controller(controller));
}

NativeHandle FlutterDesktopViewGetHWND(NativeHandle view) {
  return ::FlutterDesktopViewGetHWND(static_cast<FlutterDesktopViewRef>(view));
}

std::optional<std::intptr_t> FlutterDesktopViewControllerHandleTopLevelWindowProc(
    NativeHandle controller, NativeHandle window, unsigned message, std::uintptr_t wParam,
    std::intptr_t lParam) {
  LRESULT result = 0;
  if (!::FlutterDesktopViewControllerHandleTopLevelWindowProc(
          Controller(controller), static_cast<HWND>(window), message, wParam, lParam, &result)) {
    return std::nullopt;
  }
  return result;
}

void RegisterPlugins(NativeHandle engine) { ::RegisterPlugins(Engine(engine)); }

}  // namespace host::platform
