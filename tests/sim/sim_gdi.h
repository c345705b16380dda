// The simulated GDI behind platform/gdi.h: device contexts of windows and the screen's DPI.
#pragma once

namespace sim {

// What GetDeviceCaps(LOGPIXELSX) answers for every device context; 96 until set.
void SetScreenDpi(int dpi);
// Device contexts handed out by GetDC and not yet released.
int OpenDcCount();

}  // namespace sim
