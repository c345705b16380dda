// GDI: device contexts and what is drawn into them. Names and values are Win32's; the Windows
// build implements them in win32/gdi.cpp.
#pragma once

#include "platform/handles.h"

namespace platform {

inline constexpr int kLogPixelsX = 88;

// GetDC / ReleaseDC of a window's client area.
DcHandle GetDC(WindowHandle window);
int ReleaseDC(WindowHandle window, DcHandle dc);
int GetDeviceCaps(DcHandle dc, int index);

}  // namespace platform
