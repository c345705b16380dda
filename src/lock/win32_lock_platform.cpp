// The lock's window-system port over user32 and gdi32.
#include <windows.h>

#include "lock/lock_window_platform.h"
#include "lock/win32_gdi_handles.h"

namespace lock::platform {

namespace {

HWND AsWindow(WindowHandle window) { return static_cast<HWND>(window); }

using GetDpiForWindowFunction = UINT(WINAPI*)(HWND);

// Looked up rather than linked: user32 of older systems does not have it.
GetDpiForWindowFunction FindGetDpiForWindow() {
  const HMODULE user32 = ::GetModuleHandleW(L"user32.dll");
  if (!user32) return nullptr;
  return reinterpret_cast<GetDpiForWindowFunction>(
      reinterpret_cast<void*>(::GetProcAddress(user32, "GetDpiForWindow")));
}

}  // namespace

LockSize GetClientSize(WindowHandle window) {
  RECT rect{};
  if (!::GetClientRect(AsWindow(window), &rect)) return {};
  return {rect.right - rect.left, rect.bottom - rect.top};
}

unsigned GetDpiForWindow(WindowHandle window) {
  static const GetDpiForWindowFunction getDpiForWindow = FindGetDpiForWindow();
  return getDpiForWindow ? getDpiForWindow(AsWindow(window)) : 0;
}

unsigned GetDeviceCapsLogPixelsX(WindowHandle window) {
  const WindowDc dc(AsWindow(window));
  if (!dc) return 0;
  const int dpi = ::GetDeviceCaps(dc.get(), LOGPIXELSX);
  return dpi > 0 ? static_cast<unsigned>(dpi) : 0;
}

std::optional<LockSize> GetNearestMonitorSize(WindowHandle window) {
  RECT windowRect{};
  if (!::GetWindowRect(AsWindow(window), &windowRect)) return std::nullopt;
  const HMONITOR monitor = ::MonitorFromRect(&windowRect, MONITOR_DEFAULTTONEAREST);
  MONITORINFO info{};
  info.cbSize = sizeof(info);
  if (!monitor || !::GetMonitorInfoW(monitor, &info)) return std::nullopt;
  return LockSize{info.rcMonitor.right - info.rcMonitor.left,
                  info.rcMonitor.bottom - info.rcMonitor.top};
}

LockSize GetPrimaryScreenSize() {
  return {::GetSystemMetrics(SM_CXSCREEN), ::GetSystemMetrics(SM_CYSCREEN)};
}

std::optional<LockPoint> GetCursorClientPos(WindowHandle window) {
  POINT point{};
  if (!::GetCursorPos(&point) || !::ScreenToClient(AsWindow(window), &point)) return std::nullopt;
  return LockPoint{point.x, point.y};
}

void InvalidateRect(WindowHandle window) { ::InvalidateRect(AsWindow(window), nullptr, FALSE); }

void DestroyWindow(WindowHandle window) { ::DestroyWindow(AsWindow(window)); }

void SetWindowPosTopmost(WindowHandle window) {
  constexpr UINT kFlags = SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW;
  static_assert(kFlags == 67);
  ::SetWindowPos(AsWindow(window), HWND_TOPMOST, 0, 0, 0, 0, kFlags);
}

}  // namespace lock::platform
