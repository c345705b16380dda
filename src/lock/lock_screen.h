// The lock screen's state and its reactions to input, timer and layout, apart from Win32. The
// window procedure hands each message here and draws what PlanLockWindowPaint says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lock/lock_layout.h"
#include "lock/lock_paint_plan.h"
#include "paint/paint_plan.h"
#include "platform/handles.h"

using LockWindowHandle = platform::WindowHandle;

inline constexpr std::u16string_view kLockNoPasswordMessage = u"未配置锁屏密码，请联系管理员";
inline constexpr std::u16string_view kLockWrongPasswordMessage = u"密码错误，请重新输入";
inline constexpr std::size_t kLockMaxDigits = 32;

inline constexpr char16_t kLockCharBackspace = 8;
inline constexpr char16_t kLockCharEnter = 13;
inline constexpr char16_t kLockCharEscape = 27;

inline constexpr unsigned kLockTimerId = 1;
inline constexpr unsigned kLockTimerMilliseconds = 1000;

// The process-wide state of the one lock window; only its thread touches it.
struct LockScreenState {
  std::u16string lockStoredHash;
  std::u16string lockTypedText;
  std::u16string lockMessage;
  std::vector<LockKey> keys;
  LockRect lockInputRect;
  // Counts the layouts, so that the cached background is drawn again after each.
  std::uint64_t layoutVersion = 0;
  // The input layer as the screen shows it once the invalidated parts are painted: a repaint
  // invalidates only what differs from it.
  paint::Plan shownInput;
};

LockScreenState& GetLockScreenState();
// The state as at start, the cached background freed.
void ResetLockScreenState();

double ComputeLockScale(LockWindowHandle hwnd);
LockRect ComputeLockPanelRect(LockWindowHandle hwnd);
void LayoutLockKeys(LockWindowHandle hwnd);

void HandleLockInput(LockWindowHandle hwnd, char16_t character);
void SubmitLockPassword(LockWindowHandle hwnd);

// WM_KEYDOWN: Enter submits and Backspace deletes; the same press comes again as WM_CHAR.
void HandleLockKeyDown(LockWindowHandle hwnd, unsigned virtualKey);
// WM_CHAR: digits, Backspace, Enter and Esc; everything else is dropped.
void HandleLockChar(LockWindowHandle hwnd, char16_t character);
// WM_LBUTTONDOWN at a client point.
void PressLockKeyAt(LockWindowHandle hwnd, int x, int y);
// WM_SETCURSOR: true when the hand cursor must be shown.
bool WantsLockHandCursor(LockWindowHandle hwnd, int hitTest);

enum class LockTimerAction { kRaiseTopmost, kDestroy };
LockTimerAction DecideLockTimerAction(bool locked);
// WM_TIMER: reads the lock file anew and either lifts the window or ends the lock.
void OnLockTimer(LockWindowHandle hwnd);

LockPaintPlan PlanLockWindowPaint(LockWindowHandle hwnd);
// WM_PAINT: the invalidated part of the window made anew from the cached background with the
// input box and the keys drawn over it, double-buffered; the background is drawn again when the
// size, scale or layout changed, and then the whole window is copied.
void PaintLockWindow(LockWindowHandle hwnd);
// WM_DESTROY: the keys and the cached background go.
void EndLockWindow();
// Frees the cached background; the next paint draws it anew.
void ReleaseLockPaintCache();
