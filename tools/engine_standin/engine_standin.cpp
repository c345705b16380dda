// Stand-in for the engine's flutter_windows.dll in the test layout. It answers the process-wide
// calls the executable makes before any engine exists.
#include <windows.h>
#include <shellscalingapi.h>

#include <ios>

#include "host/flutter_embedder.h"

namespace {

constexpr UINT kDefaultDpi = 96;

}  // namespace

UINT FlutterDesktopGetDpiForMonitor(HMONITOR monitor) {
  UINT dpiX = 0;
  UINT dpiY = 0;
  if (monitor && SUCCEEDED(::GetDpiForMonitor(monitor, MDT_EFFECTIVE_DPI, &dpiX, &dpiY)) &&
      dpiX != 0)
    return dpiX;
  // Without a per-monitor answer the screen's logical DPI is the best guess.
  HDC screen = ::GetDC(nullptr);
  const int dpi = screen ? ::GetDeviceCaps(screen, LOGPIXELSX) : 0;
  if (screen) ::ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<UINT>(dpi) : kDefaultDpi;
}

UINT FlutterDesktopGetDpiForHWND(HWND hwnd) {
  return FlutterDesktopGetDpiForMonitor(::MonitorFromWindow(hwnd, MONITOR_DEFAULTTONEAREST));
}

void FlutterDesktopResyncOutputStreams() { std::ios::sync_with_stdio(); }

FlutterDesktopPluginRegistrarRef FlutterDesktopEngineGetPluginRegistrar(
    FlutterDesktopEngineRef engine, const char* /*plugin_name*/) {
  return reinterpret_cast<FlutterDesktopPluginRegistrarRef>(engine);
}
