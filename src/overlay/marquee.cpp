#include "overlay/marquee.h"

#include "overlay/overlay_scale.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "paint/gdi_executor.h"
#include "paint/gdi_owners.h"
#include "platform/gdi.h"
#include "platform/user.h"

namespace {

constexpr paint::Color kBarColor{30, 30, 30};
constexpr paint::Color kWhite{255, 255, 255};
constexpr paint::Color kDiscColor{66, 133, 244};
constexpr paint::Color kButtonFill{245, 245, 245};
constexpr paint::Color kButtonOutline{180, 180, 180};
constexpr paint::Color kCrossColor{60, 60, 60};

constexpr std::size_t kTextFont = 0;
constexpr std::size_t kCrossFont = 1;

// 0 when it cannot be measured: the text then counts as gone once the position passes 0.
int MeasureText(platform::WindowHandle window, const std::u16string& text, double scale) {
  const paint::Font font = MarqueeTextFont(scale);
  const paint::UniqueFont made(platform::CreateFontW(
      font.height, 0, 0, 0, font.weight, 0, 0, 0, platform::kDefaultCharset,
      platform::kOutDefaultPrecis, platform::kClipDefaultPrecis, platform::kClearTypeQuality,
      platform::kDefaultPitch | platform::kFfDontCare, font.face));
  const paint::WindowDc dc(window);
  if (!dc) return 0;
  const paint::SelectedObject selected(dc.get(), made.get());
  Size extent;
  return platform::GetTextExtentPoint32W(dc.get(), text, &extent) ? extent.width : 0;
}

}  // namespace

MarqueeState& GetMarqueeState() {
  static MarqueeState state;
  return state;
}

std::u16string BuildMarqueeText(const std::u16string& prefix, const std::u16string& title,
                                const std::u16string& content) {
  if (title.empty()) return prefix + content;
  if (content.empty()) return prefix + title;
  return prefix + title + u" - " + content;
}

void ShowMarquee(const std::u16string& title, const std::u16string& content,
                 std::int32_t playCount) {
  CloseMarquee();
  RegisterOverlayWindowClass();
  MarqueeState& state = GetMarqueeState();
  state.text = BuildMarqueeText(GetOverlayStrings().marqueePrefix, title, content);
  state.playCount = playCount;
  state.passesDone = 0;
  const int screenWidth = platform::GetSystemMetrics(platform::kSmCxScreen);
  state.position = screenWidth;
  // The bar lies on the primary screen only.
  state.window = CreateOverlayWindow(0, 0, screenWidth, Px(40, ScreenScale()));
  if (!state.window) return;
  ShowOverlayWindow(state.window);
  state.timer = platform::SetTimer(state.window, kMarqueeTimerId, kMarqueeTimerMilliseconds);
}

void CloseMarquee() {
  MarqueeState& state = GetMarqueeState();
  DestroyOverlayWindow(state.window, state.timer, kMarqueeTimerId);
  state.text.clear();
  state.playCount = 0;
  state.passesDone = 0;
  state.position = 0;
}

MarqueeTick AdvanceMarquee(MarqueeState& state, int step, int textWidth, int screenWidth) {
  state.position -= step;
  if (state.position >= -textWidth) return MarqueeTick::kScrolled;
  // A play count of 1 or less, zero and negatives included, is one pass.
  if (++state.passesDone >= state.playCount) return MarqueeTick::kFinished;
  state.position = screenWidth;
  return MarqueeTick::kRestarted;
}

void MarqueeTimerStep(platform::WindowHandle window) {
  MarqueeState& state = GetMarqueeState();
  const double scale = WindowScale(window, OverlayClientRect(window), false);
  const int step = Px(3, scale);
  const int width = MeasureText(window, state.text, scale);
  if (AdvanceMarquee(state, step, width, platform::GetSystemMetrics(platform::kSmCxScreen)) ==
      MarqueeTick::kFinished) {
    platform::PostMessageW(window, platform::kWmClose, 0, 0);
    return;
  }
  // No erase: the paint covers every pixel, and an erase would flicker 33 times a second.
  platform::InvalidateRect(window, nullptr, false);
}

Rect MarqueeCloseButton(int clientWidth, double scale) {
  const int left = clientWidth - Px(42, scale);
  const int top = Px(8, scale);
  const int side = Px(24, scale);
  return {left, top, left + side, top + side};
}

bool MarqueeCloseButtonHit(int clientWidth, double scale, Point point) {
  return ContainsInclusive(MarqueeCloseButton(clientWidth, scale), point);
}

paint::Font MarqueeTextFont(double scale) {
  return {u"Microsoft YaHei", Px(20, scale), platform::kFwNormal};
}

paint::Plan PlanMarqueePaint(const MarqueePaintInput& input) {
  const double s = input.scale;
  const int width = input.client.width;
  const int height = input.client.height;
  paint::Plan plan;
  plan.size = input.client;
  plan.fonts = {MarqueeTextFont(s), {u"Segoe UI", Px(16, s), 600}};
  plan.ops.emplace_back(paint::FillRect{{0, 0, width, height}, kBarColor});

  const Rect disc{Px(10, s), Px(8, s), Px(34, s), Px(32, s)};
  plan.ops.emplace_back(paint::FillRegion{paint::RegionShape::kEllipse, disc, 0, kDiscColor});
  plan.ops.emplace_back(paint::Text{u"!", disc, kTextFont, kWhite, kCentredLine});

  const int textLeft = Px(44, s);
  const int textRight = width - Px(40, s);
  if (textRight > textLeft) {
    plan.ops.emplace_back(paint::PushClip{{textLeft, 0, textRight, height}});
    // DT_NOCLIP: the clip alone decides what shows of a text that starts left of the box.
    plan.ops.emplace_back(
        paint::Text{input.text,
                    {input.position, 0, input.position + Px(2000, s), height},
                    kTextFont,
                    kWhite,
                    paint::kTextSingleLine | paint::kTextVCenter | paint::kTextNoClip});
    plan.ops.emplace_back(paint::PopClip{});
  }

  const Rect button = MarqueeCloseButton(width, s);
  const int corner = Px(8, s);
  plan.ops.emplace_back(
      paint::FillRegion{paint::RegionShape::kRoundRect, button, corner, kButtonFill});
  plan.ops.emplace_back(paint::Outline{paint::OutlineShape::kRoundRect, button, corner,
                                       paint::Pen{Px(1, s), kButtonOutline}});
  plan.ops.emplace_back(paint::Text{u"X", button, kCrossFont, kCrossColor, kCentredLine});
  return plan;
}

paint::Plan PlanMarqueeWindowPaint(platform::WindowHandle window) {
  const Rect client = OverlayClientRect(window);
  const MarqueeState& state = GetMarqueeState();
  return PlanMarqueePaint({{client.Width(), client.Height()},
                           WindowScale(window, client, false),
                           state.text,
                           state.position});
}

void PaintMarquee(platform::WindowHandle window) {
  paint::PaintWindow(window, PlanMarqueeWindowPaint(window));
}

void ClickMarquee(platform::WindowHandle window, std::intptr_t lParam) {
  const Rect client = OverlayClientRect(window);
  if (MarqueeCloseButtonHit(client.Width(), WindowScale(window, client, false),
                            ClickPointOf(lParam))) {
    platform::PostMessageW(window, platform::kWmClose, 0, 0);
  }
}
