#include "host/flutter_engine.h"

#include <vector>

#include "channels/binary_messenger_impl.h"
#include "channels/error_output.h"

namespace {

// The project's paths, entrypoint and arguments become the engine's properties; the embedder
// reads them during the call only.
FlutterDesktopEngineRef CreateEngine(const DartProject& project) {
  const std::u16string& assets = project.assetsPath;
  const std::u16string& icuData = project.icuDataPath;
  const std::u16string& aotLibrary = project.aotLibraryPath;
  std::vector<const char*> arguments;
  arguments.reserve(project.dartEntrypointArguments.size());
  for (const std::string& argument : project.dartEntrypointArguments) {
    arguments.push_back(argument.c_str());
  }
  FlutterDesktopEngineProperties properties = {};
  properties.assets_path = reinterpret_cast<const FlutterDesktopWideChar*>(assets.c_str());
  properties.icu_data_path = reinterpret_cast<const FlutterDesktopWideChar*>(icuData.c_str());
  properties.aot_library_path = reinterpret_cast<const FlutterDesktopWideChar*>(aotLibrary.c_str());
  properties.dart_entrypoint =
      project.dartEntrypoint.empty() ? nullptr : project.dartEntrypoint.c_str();
  properties.dart_entrypoint_argc = static_cast<int>(arguments.size());
  properties.dart_entrypoint_argv = arguments.empty() ? nullptr : arguments.data();
  return FlutterDesktopEngineCreate(&properties);
}

}  // namespace

FlutterEngine::FlutterEngine(const DartProject& project)
    : engine_(CreateEngine(project)), entrypoint_(project.dartEntrypoint) {
  if (!engine_) return;
  messenger_ = std::make_unique<BinaryMessengerImpl>(FlutterDesktopEngineGetMessenger(engine_));
}

FlutterEngine::~FlutterEngine() { ShutDown(); }

bool FlutterEngine::Run() { return Run(entrypoint_); }

bool FlutterEngine::Run(const std::string& entrypoint) {
  if (!engine_ || hasBeenRun_) return false;
  hasBeenRun_ = FlutterDesktopEngineRun(engine_, entrypoint.empty() ? nullptr : entrypoint.c_str());
  return hasBeenRun_;
}

void FlutterEngine::ShutDown() {
  if (engine_ && ownsEngine_) FlutterDesktopEngineDestroy(engine_);
  engine_ = nullptr;
}

void FlutterEngine::ReloadSystemFonts() {
  if (engine_) FlutterDesktopEngineReloadSystemFonts(engine_);
}

FlutterDesktopPluginRegistrarRef FlutterEngine::GetRegistrarForPlugin(
    const std::string& pluginName) {
  if (!engine_ || !hasBeenRun_) {
    WriteErrorLine("Cannot get plugin registrar on an engine that isn't running; call Run first.");
    return nullptr;
  }
  return FlutterDesktopEngineGetPluginRegistrar(engine_, pluginName.c_str());
}

BinaryMessenger* FlutterEngine::messenger() const { return messenger_.get(); }

FlutterDesktopEngineRef FlutterEngine::RelinquishEngine() {
  ownsEngine_ = false;
  hasBeenRun_ = true;
  return engine_;
}
