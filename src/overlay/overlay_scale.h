// Sizes of the overlay windows: design lengths at 96 DPI on a 1920 by 1080 screen, times a scale.
// The DPI factor may reach 3.0 before the final clamp at 2.6, which sets the largest size.
#pragma once

#include "base/geometry.h"
#include "platform/handles.h"

// A design length n in scaled pixels: n times the scale, plus 0.5, truncated.
int Px(int n, double scale);

// The pure forms of the scales below.
double ScreenScaleFrom(int dpi, int screenWidth, int screenHeight);
double WindowScaleFrom(unsigned dpi, Size client, bool isPopup);
// The file prompt's lower buttons: client width / 560, with no DPI factor.
double PromptButtonsScale(int clientWidth);
// One prompt button's own: its height / 44.
double PromptButtonScale(int buttonHeight);

// GetDpiForWindow when the system has it and it answers; else LOGPIXELSX of the window's DC; 96
// when neither answers.
unsigned WindowDpi(platform::WindowHandle window);
// For sizing a new window: the screen's DC and the primary screen's size.
double ScreenScale();
// For painting and timing a window of this client area.
double WindowScale(platform::WindowHandle window, const Rect& client, bool isPopup);
