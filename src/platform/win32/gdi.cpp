// The GDI seam over gdi32 and user32's device-context calls.
#include <windows.h>

#include "platform/gdi.h"

namespace platform {

DcHandle GetDC(WindowHandle window) { return ::GetDC(window); }

int ReleaseDC(WindowHandle window, DcHandle dc) { return ::ReleaseDC(window, dc); }

int GetDeviceCaps(DcHandle dc, int index) { return ::GetDeviceCaps(dc, index); }

}  // namespace platform
