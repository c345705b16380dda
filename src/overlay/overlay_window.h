// The one window class of both overlay windows, the procedure that tells them apart, and the
// module's start and stop as the main window calls them.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/geometry.h"
#include "paint/paint_plan.h"
#include "platform/handles.h"

inline constexpr std::u16string_view kOverlayWindowClass = u"KelvoTarnel_MarqueeNotification";
inline constexpr std::uintptr_t kMarqueeTimerId = 1001;
inline constexpr unsigned kMarqueeTimerMilliseconds = 30;
inline constexpr std::uintptr_t kPopupTimerId = 2001;

// Registers the class once (a failure shows itself as a failed creation); always true.
bool RegisterOverlayWindowClass();
bool IsOverlayWindowClassRegistered();
// Both windows closed and the class unregistered. Harmless with nothing started.
void ShutdownOverlay();

// WM_PAINT, the two timers, WM_LBUTTONDOWN, WM_CLOSE and WM_DESTROY of the marquee and the
// popup; everything else, and any window that is neither, goes to DefWindowProcW.
std::intptr_t OverlayWindowProc(platform::WindowHandle window, unsigned message,
                                std::uintptr_t wParam, std::intptr_t lParam);

// The "!", the "X" and the prompt buttons' texts: one line centred in its box.
inline constexpr std::uint32_t kCentredLine =
    paint::kTextCenter | paint::kTextVCenter | paint::kTextSingleLine;

// The client rectangle; empty for a window that is gone.
Rect OverlayClientRect(platform::WindowHandle window);

// WM_LBUTTONDOWN's client point: both words unsigned.
Point ClickPointOf(std::intptr_t lParam);

// Both edges of the box count as inside.
bool ContainsInclusive(const Rect& box, Point point);

// A borderless, topmost, layered tool window of the class, not yet shown; null when it could not
// be made.
platform::WindowHandle CreateOverlayWindow(int x, int y, int width, int height);
// Fully opaque, shown without activation and painted at once. The caller stores the handle
// first: the procedure paints only the windows it knows.
void ShowOverlayWindow(platform::WindowHandle window);
// Kills the window's timer when it runs and clears the stored result of SetTimer.
void StopOverlayTimer(platform::WindowHandle window, std::uintptr_t& timer, std::uintptr_t id);
// The timer first, then the window; both stored values cleared. Nothing without a window.
void DestroyOverlayWindow(platform::WindowHandle& window, std::uintptr_t& timer, std::uintptr_t id);
