#include "overlay/popup.h"

#include <algorithm>

#include "overlay/overlay_scale.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "paint/gdi_executor.h"
#include "platform/shell.h"
#include "platform/user.h"

namespace {

constexpr paint::Color kUnseenFill{30, 30, 30};
constexpr paint::Color kNoteFill{255, 249, 196};
constexpr paint::Color kBorder{214, 200, 120};
constexpr paint::Color kTitleInk{20, 20, 20};
constexpr paint::Color kCloseFill{255, 253, 230};
constexpr paint::Color kCloseOutline{203, 189, 110};
constexpr paint::Color kCrossInk{95, 85, 45};
constexpr paint::Color kDivider{224, 210, 130};
constexpr paint::Color kBodyInk{45, 45, 45};
constexpr paint::Color kOpenFill{255, 224, 130};
constexpr paint::Color kLaterFill{255, 253, 230};
constexpr paint::Color kLaterOutline{203, 189, 110};
constexpr paint::Color kButtonInk{35, 35, 35};

constexpr std::size_t kTitleFont = 0;
constexpr std::size_t kCrossFont = 1;
constexpr std::size_t kBodyFont = 2;

void ShowPopupWindow() {
  PopupState& state = GetPopupState();
  const double scale = ScreenScale();
  const int width = Px(560, scale);
  const int height = Px(420, scale);
  const int x = (platform::GetSystemMetrics(platform::kSmCxScreen) - width) / 2;
  const int y = (platform::GetSystemMetrics(platform::kSmCyScreen) - height) / 2;
  state.window = CreateOverlayWindow(x, y, width, height);
  if (!state.window) return;
  ShowOverlayWindow(state.window);
  if (state.duration > 0) {
    state.timer =
        platform::SetTimer(state.window, kPopupTimerId, PopupTimerMilliseconds(state.duration));
  }
}

// A button of its own scale c, from its height, so that its corner, outline and text follow the
// button rather than the window.
void AddPromptButton(paint::Plan& plan, const Rect& rect, const std::u16string& text,
                     paint::Color fill, paint::Color outline) {
  const double c = PromptButtonScale(rect.Height());
  const int corner = Px(10, c);
  plan.ops.emplace_back(paint::FillRegion{paint::RegionShape::kRoundRect, rect, corner, fill});
  plan.ops.emplace_back(paint::Outline{paint::OutlineShape::kRoundRect, rect, corner,
                                       paint::Pen{static_cast<int>(c + 0.5), outline}});
  const paint::Font font{u"Microsoft YaHei", Px(18, c), platform::kFwNormal};
  auto found = std::find(plan.fonts.begin(), plan.fonts.end(), font);
  if (found == plan.fonts.end()) found = plan.fonts.insert(plan.fonts.end(), font);
  plan.ops.emplace_back(paint::Text{
      text, rect, static_cast<std::size_t>(found - plan.fonts.begin()), kButtonInk, kCentredLine});
}

}  // namespace

PopupState& GetPopupState() {
  static PopupState state;
  return state;
}

std::int32_t PopupDuration(std::int32_t requested) { return requested > 0 ? requested : 1; }

std::int32_t PromptDuration(std::int32_t requested) { return requested > 0 ? requested : 0; }

unsigned PopupTimerMilliseconds(std::int32_t duration) {
  // USER_TIMER_MAXIMUM: SetTimer takes no longer period.
  constexpr std::int64_t kLongest = 0x7FFFFFFF;
  return static_cast<unsigned>(
      std::clamp<std::int64_t>(static_cast<std::int64_t>(duration) * 1000, 0, kLongest));
}

void ShowPopup(const std::u16string& title, const std::u16string& content, std::int32_t duration) {
  ClosePopup();
  RegisterOverlayWindowClass();
  PopupState& state = GetPopupState();
  state.isFilePrompt = false;
  state.filePath.clear();
  state.title = title.empty() ? GetOverlayStrings().defaultPopupTitle : title;
  state.content = content;
  state.duration = PopupDuration(duration);
  ShowPopupWindow();
}

void ShowFileOpenPrompt(const std::u16string& title, const std::u16string& content,
                        const std::u16string& filePath, std::int32_t duration) {
  ClosePopup();
  RegisterOverlayWindowClass();
  PopupState& state = GetPopupState();
  state.isFilePrompt = true;
  state.filePath = filePath;
  state.title = title.empty() ? GetOverlayStrings().defaultDownloadCompleteTitle : title;
  state.content = content;
  state.duration = PromptDuration(duration);
  ShowPopupWindow();
}

void ClosePopup() {
  PopupState& state = GetPopupState();
  DestroyOverlayWindow(state.window, state.timer, kPopupTimerId);
  state.title.clear();
  state.content.clear();
  state.filePath.clear();
  state.duration = 0;
  state.isFilePrompt = false;
}

Rect PopupCloseButton(int clientWidth, double scale) {
  const int left = clientWidth - Px(42, scale);
  const int top = Px(12, scale);
  const int side = Px(24, scale);
  return {left, top, left + side, top + side};
}

PromptButtons PromptButtonRects(Size client) {
  const double b = PromptButtonsScale(client.width);
  const int bottom = client.height - Px(16, b);
  const int top = bottom - Px(44, b);
  constexpr int kLeftEdge = 0;
  const int middle = (kLeftEdge + client.width) / 2;
  return {{Px(24, b), top, middle - Px(8, b), bottom},
          {middle + Px(8, b), top, client.width - Px(24, b), bottom}};
}

PopupHit HitTestPopup(Size client, double scale, bool isFilePrompt, Point point) {
  if (ContainsInclusive(PopupCloseButton(client.width, scale), point)) return PopupHit::kClose;
  if (!isFilePrompt) return PopupHit::kNothing;
  const PromptButtons buttons = PromptButtonRects(client);
  if (ContainsInclusive(buttons.open, point)) return PopupHit::kOpen;
  if (ContainsInclusive(buttons.later, point)) return PopupHit::kLater;
  return PopupHit::kNothing;
}

paint::Plan PlanPopupPaint(const PopupPaintInput& input) {
  const double s = input.scale;
  const int width = input.client.width;
  const int height = input.client.height;
  const int l = Px(24, s);
  const int p = Px(1, s);
  paint::Plan plan;
  plan.size = input.client;
  plan.fonts = {{u"Microsoft YaHei", Px(24, s), platform::kFwBold},
                {u"Segoe UI", Px(16, s), 600},
                {u"Microsoft YaHei", Px(20, s), platform::kFwNormal}};
  const Rect whole{0, 0, width, height};
  // The first fill never shows; it is where the shared paint path starts.
  plan.ops.emplace_back(paint::FillRect{whole, kUnseenFill});
  plan.ops.emplace_back(paint::FillRect{whole, kNoteFill});
  plan.ops.emplace_back(
      paint::Outline{paint::OutlineShape::kRectangle, whole, 0, paint::Pen{p, kBorder}});
  plan.ops.emplace_back(
      paint::Text{input.title,
                  {l, Px(18, s), width - Px(48, s), Px(70, s)},
                  kTitleFont,
                  kTitleInk,
                  paint::kTextSingleLine | paint::kTextVCenter | paint::kTextEndEllipsis});
  const Rect close = PopupCloseButton(width, s);
  const int corner = Px(8, s);
  plan.ops.emplace_back(
      paint::FillRegion{paint::RegionShape::kRoundRect, close, corner, kCloseFill});
  plan.ops.emplace_back(
      paint::Outline{paint::OutlineShape::kRoundRect, close, corner, paint::Pen{p, kCloseOutline}});
  plan.ops.emplace_back(paint::Text{u"X", close, kCrossFont, kCrossInk, kCentredLine});
  plan.ops.emplace_back(
      paint::Strokes{paint::Pen{p, kDivider}, {{{l, Px(74, s)}, {width - l, Px(74, s)}}}});
  const int bodyBottom = height - Px(input.isFilePrompt ? 76 : 20, s);
  plan.ops.emplace_back(paint::Text{input.content,
                                    {l, Px(92, s), width - l, bodyBottom},
                                    kBodyFont,
                                    kBodyInk,
                                    platform::kDtWordBreak | platform::kDtEditControl});
  if (input.isFilePrompt) {
    const PromptButtons buttons = PromptButtonRects(input.client);
    AddPromptButton(plan, buttons.open, input.openText, kOpenFill, kBorder);
    AddPromptButton(plan, buttons.later, input.laterText, kLaterFill, kLaterOutline);
  }
  return plan;
}

paint::Plan PlanPopupWindowPaint(platform::WindowHandle window) {
  const Rect client = OverlayClientRect(window);
  const PopupState& state = GetPopupState();
  const OverlayStrings& strings = GetOverlayStrings();
  return PlanPopupPaint({{client.Width(), client.Height()},
                         WindowScale(window, client, true),
                         state.title,
                         state.content,
                         state.isFilePrompt,
                         strings.openFile,
                         strings.later});
}

void PaintPopup(platform::WindowHandle window) {
  paint::PaintWindow(window, PlanPopupWindowPaint(window));
}

void ClickPopup(platform::WindowHandle window, std::intptr_t lParam) {
  const PopupState& state = GetPopupState();
  const Rect client = OverlayClientRect(window);
  const PopupHit hit =
      HitTestPopup({client.Width(), client.Height()}, WindowScale(window, client, true),
                   state.isFilePrompt, ClickPointOf(lParam));
  if (hit == PopupHit::kNothing) return;
  // The path is not examined first; a failed open is silent and the prompt closes all the same.
  if (hit == PopupHit::kOpen && !state.filePath.empty()) {
    platform::ShellExecuteW(nullptr, u"open", state.filePath, u"", u"", platform::kSwShowNormal);
  }
  platform::PostMessageW(window, platform::kWmClose, 0, 0);
}
