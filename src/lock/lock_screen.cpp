#include "lock/lock_screen.h"

#include <iterator>
#include <optional>
#include <utility>

#include "base/text.h"
#include "lock/password_store.h"
#include "paint/gdi_executor.h"
#include "paint/gdi_owners.h"
#include "platform/gdi.h"
#include "platform/user.h"

namespace {

LockSize ClientSizeOf(LockWindowHandle hwnd) {
  Rect rect;
  if (!platform::GetClientRect(hwnd, &rect)) return {};
  return {rect.Width(), rect.Height()};
}

unsigned DeviceDpiOf(LockWindowHandle hwnd) {
  const platform::DcHandle dc = platform::GetDC(hwnd);
  if (!dc) return 0;
  const int dpi = platform::GetDeviceCaps(dc, platform::kLogPixelsX);
  platform::ReleaseDC(hwnd, dc);
  return dpi > 0 ? static_cast<unsigned>(dpi) : 0;
}

// rcMonitor of the monitor nearest to the window; nullopt when either call fails.
std::optional<LockSize> NearestMonitorSizeOf(LockWindowHandle hwnd) {
  Rect windowRect;
  if (!platform::GetWindowRect(hwnd, &windowRect)) return std::nullopt;
  const platform::MonitorHandle monitor =
      platform::MonitorFromRect(windowRect, platform::kMonitorDefaultToNearest);
  platform::MonitorInfo info;
  if (!monitor || !platform::GetMonitorInfoW(monitor, &info)) return std::nullopt;
  return LockSize{info.monitor.Width(), info.monitor.Height()};
}

LockSize PrimaryScreenSize() {
  return {platform::GetSystemMetrics(platform::kSmCxScreen),
          platform::GetSystemMetrics(platform::kSmCyScreen)};
}

LockPaintInput CurrentPaintInput(LockWindowHandle hwnd) {
  const LockScreenState& state = GetLockScreenState();
  LockPaintInput input;
  input.client = ClientSizeOf(hwnd);
  input.scale = ComputeLockScale(hwnd);
  input.keys = &state.keys;
  input.inputRect = state.lockInputRect;
  input.typedCount = state.lockTypedText.size();
  input.hasMessage = !state.lockMessage.empty();
  return input;
}

// Only what the input layer changes is invalidated, without erasing: the rest of the window
// stays as it is painted. A repaint that changes nothing still repaints the box, as cheap as it
// is, so that every input is answered on the screen as before.
void Repaint(LockWindowHandle hwnd) {
  LockScreenState& state = GetLockScreenState();
  paint::Plan input = PlanLockInputLayer(CurrentPaintInput(hwnd));
  std::optional<Rect> dirty = paint::ChangedBounds(state.shownInput, input);
  if (!dirty) dirty = paint::Bounds(input);
  state.shownInput = std::move(input);
  platform::InvalidateRect(hwnd, dirty ? &*dirty : nullptr, false);
}

paint::CachedLayer& LockBackground() {
  static paint::CachedLayer background;
  return background;
}

bool IsLockDigit(char16_t character) { return character >= u'0' && character <= u'9'; }

// The digests are compared as _wcsicmp compares them, which stops at a NUL.
std::u16string_view UpToFirstNul(std::u16string_view text) {
  return text.substr(0, text.find(u'\0'));
}

}  // namespace

LockScreenState& GetLockScreenState() {
  static LockScreenState state;
  return state;
}

void ResetLockScreenState() {
  ReleaseLockPaintCache();
  GetLockScreenState() = LockScreenState{};
}

double ComputeLockScale(LockWindowHandle hwnd) {
  const unsigned windowDpi = platform::GetDpiForWindow(hwnd);
  // The DC is only fetched when the window cannot tell its own DPI.
  const unsigned dpi = ChooseLockDpi(windowDpi, windowDpi != 0 ? 0 : DeviceDpiOf(hwnd));
  const auto monitor = NearestMonitorSizeOf(hwnd);
  return ComputeLockScaleFrom(dpi, monitor ? *monitor : PrimaryScreenSize());
}

LockRect ComputeLockPanelRect(LockWindowHandle hwnd) {
  return ComputeLockPanelRectFrom(ClientSizeOf(hwnd), ComputeLockScale(hwnd));
}

void LayoutLockKeys(LockWindowHandle hwnd) {
  LockScreenState& state = GetLockScreenState();
  state.keys.clear();
  LockLayout layout = LayoutLockKeysFrom(ClientSizeOf(hwnd), ComputeLockScale(hwnd));
  state.lockInputRect = layout.inputRect;
  state.keys = std::move(layout.keys);
  ++state.layoutVersion;
  state.shownInput = PlanLockInputLayer(CurrentPaintInput(hwnd));
}

void HandleLockInput(LockWindowHandle hwnd, char16_t character) {
  LockScreenState& state = GetLockScreenState();
  state.lockMessage.clear();
  if (IsLockDigit(character)) {
    if (state.lockTypedText.size() < kLockMaxDigits) state.lockTypedText += character;
  } else if (character == kLockCharBackspace) {
    if (!state.lockTypedText.empty()) state.lockTypedText.pop_back();
  } else if (character == kLockCharEnter) {
    SubmitLockPassword(hwnd);
    return;
  } else if (character == kLockCharEscape) {
    state.lockTypedText.clear();
  }
  Repaint(hwnd);
}

void SubmitLockPassword(LockWindowHandle hwnd) {
  LockScreenState& state = GetLockScreenState();
  const std::u16string digest = Sha256Hex(state.lockTypedText);
  if (state.lockStoredHash.empty()) {
    // Nothing typed is lost: the administrator may set a digest and the user tries again.
    state.lockMessage = kLockNoPasswordMessage;
    Repaint(hwnd);
    return;
  }
  if (!EqualsFolded(UpToFirstNul(digest), UpToFirstNul(state.lockStoredHash))) {
    state.lockMessage = kLockWrongPasswordMessage;
    state.lockTypedText.clear();
    Repaint(hwnd);
    return;
  }
  WritePseudoLockState(false);
  platform::DestroyWindow(hwnd);
}

void HandleLockKeyDown(LockWindowHandle hwnd, unsigned virtualKey) {
  if (virtualKey == platform::kVkReturn) {
    SubmitLockPassword(hwnd);
  } else if (virtualKey == platform::kVkBack) {
    HandleLockInput(hwnd, kLockCharBackspace);
  }
}

void HandleLockChar(LockWindowHandle hwnd, char16_t character) {
  if (IsLockDigit(character) || character == kLockCharBackspace || character == kLockCharEnter ||
      character == kLockCharEscape) {
    HandleLockInput(hwnd, character);
  }
}

void PressLockKeyAt(LockWindowHandle hwnd, int x, int y) {
  LockScreenState& state = GetLockScreenState();
  const int index = FindLockKeyAt(state.keys, x, y);
  // A click beside the keys leaves the message, and so the red border, as it was.
  if (index < 0) return;
  const LockKey key = state.keys[static_cast<std::size_t>(index)];
  state.lockMessage.clear();
  switch (key.kind) {
    case LockKeyKind::kDigit:
      HandleLockInput(hwnd, key.character);
      break;
    case LockKeyKind::kBackspace:
      HandleLockInput(hwnd, kLockCharBackspace);
      break;
    case LockKeyKind::kClear:
      state.lockTypedText.clear();
      Repaint(hwnd);
      break;
    case LockKeyKind::kSubmit:
      SubmitLockPassword(hwnd);
      break;
  }
}

bool WantsLockHandCursor(LockWindowHandle hwnd, int hitTest) {
  if (hitTest != platform::kHtClient) return false;
  Point point;
  if (!platform::GetCursorPos(&point) || !platform::ScreenToClient(hwnd, &point)) return false;
  return FindLockKeyAt(GetLockScreenState().keys, point.x, point.y) >= 0;
}

LockTimerAction DecideLockTimerAction(bool locked) {
  return locked ? LockTimerAction::kRaiseTopmost : LockTimerAction::kDestroy;
}

void OnLockTimer(LockWindowHandle hwnd) {
  switch (DecideLockTimerAction(IsPseudoLockLocked())) {
    case LockTimerAction::kRaiseTopmost:
      // Whatever got above the lock since the last tick goes back under it.
      platform::SetWindowPos(
          hwnd, platform::HwndTopmost(), 0, 0, 0, 0,
          platform::kSwpNoSize | platform::kSwpNoMove | platform::kSwpShowWindow);
      break;
    case LockTimerAction::kDestroy:
      platform::DestroyWindow(hwnd);
      break;
  }
}

LockPaintPlan PlanLockWindowPaint(LockWindowHandle hwnd) {
  return PlanLockPaint(CurrentPaintInput(hwnd));
}

void PaintLockWindow(LockWindowHandle hwnd) {
  const paint::PaintScope scope(hwnd);
  const LockPaintInput input = CurrentPaintInput(hwnd);
  if (input.client.width < 1 || input.client.height < 1 || !scope.dc()) return;
  paint::CachedLayer& background = LockBackground();
  const paint::LayerKey key{input.client, input.scale, GetLockScreenState().layoutVersion};
  const bool drawnAnew =
      background.Update(scope.dc(), key, [&input] { return PlanLockBackgroundLayer(input); });
  if (!background) {
    // No bitmap to keep the background in: the whole picture, drawn as one plan.
    paint::PaintPlan(scope.dc(), ToPaintPlan(PlanLockPaint(input)));
    return;
  }
  paint::Plan over = PlanLockInputLayer(input);
  paint::Plan keys = PlanLockKeysLayer(input);
  over.ops.insert(over.ops.end(), std::make_move_iterator(keys.ops.begin()),
                  std::make_move_iterator(keys.ops.end()));
  const Rect whole{0, 0, input.client.width, input.client.height};
  paint::PaintOverLayer(scope.dc(), background, drawnAnew ? whole : scope.area(), over);
}

void EndLockWindow() {
  GetLockScreenState().keys.clear();
  ReleaseLockPaintCache();
}

void ReleaseLockPaintCache() { LockBackground().Release(); }
