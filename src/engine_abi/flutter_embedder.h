// The C interface of the UI engine's Windows embedder (flutter_windows.dll) as this program uses
// it. Declared here so that the build needs no engine SDK; the import library comes from
// host/imports/flutter_windows.def. The Win32 types are spelt out as what they are on x64 (HWND
// is the STRICT handle pointer, UINT unsigned int, WPARAM and LPARAM pointer-sized), so the
// declarations match <windows.h> exactly and the host build's simulation can define them too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cwchar>

#include "engine_abi/flutter_messenger.h"

struct HWND__;
struct HMONITOR__;

// UTF-16 text: wchar_t where it is 16 bits wide, as on Windows; the same units as char16_t in the
// host build, whose wchar_t is wider.
#if WCHAR_MAX == 0xFFFF
typedef wchar_t FlutterDesktopWideChar;
#else
typedef char16_t FlutterDesktopWideChar;
#endif

extern "C" {

typedef struct FlutterDesktopViewControllerState* FlutterDesktopViewControllerRef;
typedef struct FlutterDesktopView* FlutterDesktopViewRef;
typedef struct FlutterDesktopEngine* FlutterDesktopEngineRef;
typedef struct FlutterDesktopPluginRegistrar* FlutterDesktopPluginRegistrarRef;

typedef struct {
  const FlutterDesktopWideChar* assets_path;
  const FlutterDesktopWideChar* icu_data_path;
  const FlutterDesktopWideChar* aot_library_path;
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
    FlutterDesktopViewControllerRef controller, HWND__* hwnd, unsigned int message,
    uintptr_t wparam, intptr_t lparam, intptr_t* result);
FLUTTER_EXPORT HWND__* FlutterDesktopViewGetHWND(FlutterDesktopViewRef view);

// Process-wide helpers.
FLUTTER_EXPORT unsigned int FlutterDesktopGetDpiForHWND(HWND__* hwnd);
FLUTTER_EXPORT unsigned int FlutterDesktopGetDpiForMonitor(HMONITOR__* monitor);
FLUTTER_EXPORT void FlutterDesktopResyncOutputStreams();

// Plugins.
FLUTTER_EXPORT FlutterDesktopMessengerRef
FlutterDesktopPluginRegistrarGetMessenger(FlutterDesktopPluginRegistrarRef registrar);

}  // extern "C"
