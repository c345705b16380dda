#include "lock/lock_screen.h"

#include "lock/password_store.h"
#include "platform/text.h"

namespace {

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

void ResetLockScreenState() { GetLockScreenState() = LockScreenState{}; }

double ComputeLockScale(LockWindowHandle hwnd) {
  const unsigned windowDpi = lock::platform::GetDpiForWindow(hwnd);
  // The DC is only fetched when the window cannot tell its own DPI.
  const unsigned dpi =
      ChooseLockDpi(windowDpi, windowDpi != 0 ? 0 : lock::platform::GetDeviceCapsLogPixelsX(hwnd));
  const auto monitor = lock::platform::GetNearestMonitorSize(hwnd);
  return ComputeLockScaleFrom(dpi, monitor ? *monitor : lock::platform::GetPrimaryScreenSize());
}

LockRect ComputeLockPanelRect(LockWindowHandle hwnd) {
  return ComputeLockPanelRectFrom(lock::platform::GetClientSize(hwnd), ComputeLockScale(hwnd));
}

void LayoutLockKeys(LockWindowHandle hwnd) {
  LockScreenState& state = GetLockScreenState();
  state.keys.clear();
  LockLayout layout =
      LayoutLockKeysFrom(lock::platform::GetClientSize(hwnd), ComputeLockScale(hwnd));
  state.lockInputRect = layout.inputRect;
  state.keys = std::move(layout.keys);
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
  lock::platform::InvalidateRect(hwnd);
}

void SubmitLockPassword(LockWindowHandle hwnd) {
  LockScreenState& state = GetLockScreenState();
  const std::u16string digest = Sha256Hex(state.lockTypedText);
  if (state.lockStoredHash.empty()) {
    // Nothing typed is lost: the administrator may set a digest and the user tries again.
    state.lockMessage = kLockNoPasswordMessage;
    lock::platform::InvalidateRect(hwnd);
    return;
  }
  if (!EqualsFolded(UpToFirstNul(digest), UpToFirstNul(state.lockStoredHash))) {
    state.lockMessage = kLockWrongPasswordMessage;
    state.lockTypedText.clear();
    lock::platform::InvalidateRect(hwnd);
    return;
  }
  WritePseudoLockState(false);
  lock::platform::DestroyWindow(hwnd);
}

void HandleLockKeyDown(LockWindowHandle hwnd, unsigned virtualKey) {
  if (virtualKey == kLockVirtualKeyEnter) {
    SubmitLockPassword(hwnd);
  } else if (virtualKey == kLockVirtualKeyBackspace) {
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
      lock::platform::InvalidateRect(hwnd);
      break;
    case LockKeyKind::kSubmit:
      SubmitLockPassword(hwnd);
      break;
  }
}

bool WantsLockHandCursor(LockWindowHandle hwnd, int hitTest) {
  if (hitTest != kLockHitClient) return false;
  const auto point = lock::platform::GetCursorClientPos(hwnd);
  return point && FindLockKeyAt(GetLockScreenState().keys, point->x, point->y) >= 0;
}

LockTimerAction DecideLockTimerAction(bool locked) {
  return locked ? LockTimerAction::kRaiseTopmost : LockTimerAction::kDestroy;
}

void OnLockTimer(LockWindowHandle hwnd) {
  switch (DecideLockTimerAction(IsPseudoLockLocked())) {
    case LockTimerAction::kRaiseTopmost:
      // Whatever got above the lock since the last tick goes back under it.
      lock::platform::SetWindowPosTopmost(hwnd);
      break;
    case LockTimerAction::kDestroy:
      lock::platform::DestroyWindow(hwnd);
      break;
  }
}

LockPaintPlan PlanLockWindowPaint(LockWindowHandle hwnd) {
  const LockScreenState& state = GetLockScreenState();
  LockPaintInput input;
  input.client = lock::platform::GetClientSize(hwnd);
  input.scale = ComputeLockScale(hwnd);
  input.keys = &state.keys;
  input.inputRect = state.lockInputRect;
  input.typedCount = state.lockTypedText.size();
  input.hasMessage = !state.lockMessage.empty();
  return PlanLockPaint(input);
}
