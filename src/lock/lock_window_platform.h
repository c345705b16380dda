// What the lock screen's logic needs of the window system, nothing more. The Windows build
// implements it over user32 and gdi32; host tests link a scripted window in its place.
#pragma once

#include <optional>

#include "lock/lock_layout.h"

namespace lock::platform {

using WindowHandle = void*;

// Size of GetClientRect; 0 by 0 when the call fails.
LockSize GetClientSize(WindowHandle window);

// GetDpiForWindow, looked up in user32.dll at run time; 0 when it is missing or answers 0.
unsigned GetDpiForWindow(WindowHandle window);
// GetDeviceCaps(LOGPIXELSX) on the window's DC; 0 when there is no DC.
unsigned GetDeviceCapsLogPixelsX(WindowHandle window);
// rcMonitor of MonitorFromRect(GetWindowRect, MONITOR_DEFAULTTONEAREST); nullopt on failure.
std::optional<LockSize> GetNearestMonitorSize(WindowHandle window);
// SM_CXSCREEN by SM_CYSCREEN.
LockSize GetPrimaryScreenSize();

// GetCursorPos through ScreenToClient; nullopt when either fails.
std::optional<LockPoint> GetCursorClientPos(WindowHandle window);

// InvalidateRect of the whole client area without erasing.
void InvalidateRect(WindowHandle window);
void DestroyWindow(WindowHandle window);
// SetWindowPos(HWND_TOPMOST, SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW).
void SetWindowPosTopmost(WindowHandle window);

}  // namespace lock::platform
