// What the engine and view owners need of the engine's embedder. Handles are opaque; the
// messenger is the embedder's own C handle, which the channel layer wraps.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/flutter_messenger.h"
#include "launch/dart_project.h"
#include "launch/launch_platform.h"

namespace host::platform {

using ::platform::NativeHandle;

// The project's paths, entrypoint and entrypoint arguments become the engine's properties; they
// are read during the call. Null on failure.
NativeHandle FlutterDesktopEngineCreate(const DartProject& project);
bool FlutterDesktopEngineDestroy(NativeHandle engine);
// An empty entrypoint means the default one.
bool FlutterDesktopEngineRun(NativeHandle engine, const std::string& entrypoint);
FlutterDesktopMessengerRef FlutterDesktopEngineGetMessenger(NativeHandle engine);
NativeHandle FlutterDesktopEngineGetPluginRegistrar(NativeHandle engine,
                                                    const std::string& pluginName);
void FlutterDesktopEngineReloadSystemFonts(NativeHandle engine);

// Takes the engine over, also when it fails, and runs it; the engine then goes with the
// controller. Null on failure.
NativeHandle FlutterDesktopViewControllerCreate(int width, int height, NativeHandle engine);
void FlutterDesktopViewControllerDestroy(NativeHandle controller);
NativeHandle FlutterDesktopViewControllerGetView(NativeHandle controller);
NativeHandle FlutterDesktopViewGetHWND(NativeHandle view);
// The result when the view claims the top-level window's message.
std::optional<std::intptr_t> FlutterDesktopViewControllerHandleTopLevelWindowProc(
    NativeHandle controller, NativeHandle window, unsigned message, std::uintptr_t wParam,
    std::intptr_t lParam);

// The application's plugins, each with the registrar of its name, in their fixed order.
void RegisterPlugins(NativeHandle engine);

}  // namespace host::platform
