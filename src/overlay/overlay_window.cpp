#include "overlay/overlay_window.h"

#include "overlay/marquee.h"
#include "overlay/popup.h"
#include "platform/kernel.h"
#include "platform/user.h"

namespace {

bool classRegistered = false;

}  // namespace

void StopOverlayTimer(platform::WindowHandle window, std::uintptr_t& timer, std::uintptr_t id) {
  if (timer == 0) return;
  platform::KillTimer(window, id);
  timer = 0;
}

void DestroyOverlayWindow(platform::WindowHandle& window, std::uintptr_t& timer,
                          std::uintptr_t id) {
  if (!window) return;
  StopOverlayTimer(window, timer, id);
  platform::DestroyWindow(window);
  window = nullptr;
}

bool RegisterOverlayWindowClass() {
  if (!classRegistered) {
    platform::WindowClass windowClass;
    windowClass.style = platform::kCsHRedraw | platform::kCsVRedraw;
    windowClass.procedure = OverlayWindowProc;
    windowClass.instance = platform::GetModuleHandleW(nullptr);
    windowClass.cursor = platform::LoadCursorW(platform::kIdcArrow);
    windowClass.className = std::u16string(kOverlayWindowClass);
    platform::RegisterClassW(windowClass);
    classRegistered = true;
  }
  return true;
}

bool IsOverlayWindowClassRegistered() { return classRegistered; }

void ShutdownOverlay() {
  CloseMarquee();
  ClosePopup();
  platform::UnregisterClassW(kOverlayWindowClass, platform::GetModuleHandleW(nullptr));
  classRegistered = false;
}

Rect OverlayClientRect(platform::WindowHandle window) {
  Rect client;
  if (!platform::GetClientRect(window, &client)) return {};
  return client;
}

Point ClickPointOf(std::intptr_t lParam) {
  const auto bits = static_cast<std::uintptr_t>(lParam);
  return {static_cast<std::int32_t>(bits & 0xFFFF),
          static_cast<std::int32_t>((bits >> 16) & 0xFFFF)};
}

bool ContainsInclusive(const Rect& box, Point point) {
  return point.x >= box.left && point.x <= box.right && point.y >= box.top && point.y <= box.bottom;
}

platform::WindowHandle CreateOverlayWindow(int x, int y, int width, int height) {
  const platform::WindowHandle window = platform::CreateWindowExW(
      platform::kWsExLayered | platform::kWsExToolWindow | platform::kWsExTopmost,
      kOverlayWindowClass, u"", platform::kWsPopup, x, y, width, height, nullptr, nullptr,
      platform::GetModuleHandleW(nullptr), nullptr);
  return window;
}

void ShowOverlayWindow(platform::WindowHandle window) {
  platform::SetLayeredWindowAttributes(window, 0, 255, platform::kLwaAlpha);
  // Never takes the focus from what the user is doing.
  platform::ShowWindow(window, platform::kSwShowNoActivate);
  platform::UpdateWindow(window);
}

std::intptr_t OverlayWindowProc(platform::WindowHandle window, unsigned message,
                                std::uintptr_t wParam, std::intptr_t lParam) {
  MarqueeState& marquee = GetMarqueeState();
  PopupState& popup = GetPopupState();
  const bool isMarquee = window != nullptr && window == marquee.window;
  const bool isPopup = window != nullptr && window == popup.window;
  if (!isMarquee && !isPopup) return platform::DefWindowProcW(window, message, wParam, lParam);
  switch (message) {
    case platform::kWmPaint:
      if (isMarquee) {
        PaintMarquee(window);
      } else {
        PaintPopup(window);
      }
      return 0;
    case platform::kWmTimer:
      if (isMarquee && wParam == kMarqueeTimerId) MarqueeTimerStep(window);
      if (isPopup && wParam == kPopupTimerId) {
        platform::PostMessageW(window, platform::kWmClose, 0, 0);
      }
      return 0;
    case platform::kWmLButtonDown:
      if (isMarquee) {
        ClickMarquee(window, lParam);
      } else {
        ClickPopup(window, lParam);
      }
      return 0;
    case platform::kWmClose:
      if (isMarquee) {
        CloseMarquee();
      } else {
        ClosePopup();
      }
      return 0;
    case platform::kWmDestroy:
      // For a window that goes down by another way than its close.
      if (isMarquee) {
        StopOverlayTimer(window, marquee.timer, kMarqueeTimerId);
      } else {
        StopOverlayTimer(window, popup.timer, kPopupTimerId);
      }
      return 0;
    default:
      return platform::DefWindowProcW(window, message, wParam, lParam);
  }
}
