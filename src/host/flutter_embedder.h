// The C interface of the UI engine's Windows embedder (flutter_windows.dll) as this program uses
// it. Declared here so that the build needs no engine SDK; the import library comes from
// imports/flutter_windows.def.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "host/flutter_messenger.h"

extern "C" {

typedef struct FlutterDesktopViewControllerState* FlutterDesktopViewControllerRef;
typedef struct FlutterDesktopView* FlutterDesktopViewRef;
typedef struct FlutterDesktopEngine* FlutterDesktopEngineRef;
typedef struct FlutterDesktopPluginRegistrar* FlutterDesktopPluginRegistrarRef;

typedef struct {
  const wchar_t* assets_path;
  const wchar_t* icu_data_path;
  const wchar_t* aot_library_path;
  const char* dart_entrypoint;
  int dart_entrypoint_argc;
  const char** dart_entrypoint_argv;
} FlutterDesktopEngineProperties;

// Engine and view.
FLUTTER_EXPORT FlutterDesktopEngineRef
FlutterDesktopEngineCreate(const FlutterDesktopEngineProperties* properties);
FLUTTER_EXPORT bool FlutterDesktopEngineDestroy(FlutterDesktopEngineRef engine);
FLUTTER_EXPORT bool FlutterDesktopEngineRun(FlutterDesktopEngineRef engine,
                                            const char* entry_point);
FLUTTER_EXPORT uint64_t FlutterDesktopEngineProcessMessages(FlutterDesktopEngineRef engine);
FLUTTER_EXPORT void FlutterDesktopEngineReloadSystemFonts(FlutterDesktopEngineRef engine);
FLUTTER_EXPORT FlutterDesktopPluginRegistrarRef
FlutterDesktopEngineGetPluginRegistrar(FlutterDesktopEngineRef engine, const char* plugin_name);
FLUTTER_EXPORT FlutterDesktopMessengerRef
FlutterDesktopEngineGetMessenger(FlutterDesktopEngineRef engine);

FLUTTER_EXPORT FlutterDesktopViewControllerRef
FlutterDesktopViewControllerCreate(int width, int height, FlutterDesktopEngineRef engine);
FLUTTER_EXPORT void FlutterDesktopViewControllerDestroy(FlutterDesktopViewControllerRef controller);
FLUTTER_EXPORT FlutterDesktopEngineRef
FlutterDesktopViewControllerGetEngine(FlutterDesktopViewControllerRef controller);
FLUTTER_EXPORT FlutterDesktopViewRef
FlutterDesktopViewControllerGetView(FlutterDesktopViewControllerRef controller);
FLUTTER_EXPORT void FlutterDesktopViewControllerForceRedraw(
    FlutterDesktopViewControllerRef controller);
FLUTTER_EXPORT bool FlutterDesktopViewControllerHandleTopLevelWindowProc(
    FlutterDesktopViewControllerRef controller, HWND hwnd, UINT message, WPARAM wparam,
    LPARAM lparam, LRESULT* result);
FLUTTER_EXPORT HWND FlutterDesktopViewGetHWND(FlutterDesktopViewRef view);

// Process-wide helpers.
FLUTTER_EXPORT UINT FlutterDesktopGetDpiForHWND(HWND hwnd);
FLUTTER_EXPORT UINT FlutterDesktopGetDpiForMonitor(HMONITOR monitor);
FLUTTER_EXPORT void FlutterDesktopResyncOutputStreams();

// Plugins.
FLUTTER_EXPORT FlutterDesktopMessengerRef
FlutterDesktopPluginRegistrarGetMessenger(FlutterDesktopPluginRegistrarRef registrar);

}  // extern "C"
