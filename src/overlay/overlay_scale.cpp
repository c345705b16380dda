#include "overlay/overlay_scale.h"

#include <algorithm>

#include "paint/gdi_owners.h"
#include "platform/gdi.h"
#include "platform/user.h"

namespace {

constexpr double kDesignDpi = 96.0;

double DpiFactor(double dpi) { return std::clamp(dpi / kDesignDpi, 1.0, 3.0); }

double FinalClamp(double scale) { return std::clamp(scale, 1.0, 2.6); }

int LogPixelsOf(platform::WindowHandle window) {
  const paint::WindowDc dc(window);
  return dc ? platform::GetDeviceCaps(dc.get(), platform::kLogPixelsX) : 0;
}

}  // namespace

int Px(int n, double scale) { return static_cast<int>(n * scale + 0.5); }

double ScreenScaleFrom(int dpi, int screenWidth, int screenHeight) {
  const double dpiFactor = DpiFactor(dpi > 0 ? dpi : kDesignDpi);
  const double screenFactor = std::max(screenHeight / 1080.0, screenWidth / 1920.0);
  return FinalClamp(std::max(dpiFactor, screenFactor));
}

double WindowScaleFrom(unsigned dpi, Size client, bool isPopup) {
  const double sizeFactor = isPopup ? client.width / 560.0 : client.height / 40.0;
  return FinalClamp(std::max(DpiFactor(dpi), sizeFactor));
}

double PromptButtonsScale(int clientWidth) { return FinalClamp(clientWidth / 560.0); }

double PromptButtonScale(int buttonHeight) { return FinalClamp(buttonHeight / 44.0); }

unsigned WindowDpi(platform::WindowHandle window) {
  if (window) {
    const unsigned dpi = platform::GetDpiForWindow(window);
    if (dpi != 0) return dpi;
  }
  const int dpi = LogPixelsOf(window);
  return dpi > 0 ? static_cast<unsigned>(dpi) : 96;
}

double ScreenScale() {
  return ScreenScaleFrom(LogPixelsOf(nullptr), platform::GetSystemMetrics(platform::kSmCxScreen),
                         platform::GetSystemMetrics(platform::kSmCyScreen));
}

double WindowScale(platform::WindowHandle window, const Rect& client, bool isPopup) {
  return WindowScaleFrom(WindowDpi(window), {client.Width(), client.Height()}, isPopup);
}
