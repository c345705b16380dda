#include "lock/lock_shortcuts.h"

#include "platform/user.h"

namespace {

bool IsDown(unsigned virtualKey) {
  return platform::GetAsyncKeyState(static_cast<int>(virtualKey)) < 0;
}

}  // namespace

bool ShouldSwallowLockKey(unsigned virtualKey, bool altDown, bool ctrlDown) {
  switch (virtualKey) {
    case platform::kVkLWin:
    case platform::kVkRWin:
      return true;
    case platform::kVkTab:
    case platform::kVkF4:
      return altDown;
    case platform::kVkEscape:
      return altDown || ctrlDown;
    default:
      return false;
  }
}

std::intptr_t LockKeyboardHookProc(int code, std::uintptr_t wParam, std::intptr_t lParam) {
  if (code == platform::kHcAction) {
    const platform::KeyboardHookEvent event = platform::KeyboardHookEventOf(lParam);
    // The event carries Alt but not Ctrl, and injected input may not carry Alt either: the
    // async state is the keyboard as it is now.
    const bool altDown = (event.flags & platform::kLlkhfAltDown) != 0 || IsDown(platform::kVkMenu);
    const bool ctrlDown = IsDown(platform::kVkControl);
    if (ShouldSwallowLockKey(event.virtualKey, altDown, ctrlDown)) return 1;
  }
  return platform::CallNextHookEx(nullptr, code, wParam, lParam);
}

platform::UniqueWindowsHook InstallLockKeyboardHook(platform::ModuleHandle instance) {
  return platform::UniqueWindowsHook(
      platform::SetWindowsHookExW(platform::kWhKeyboardLl, &LockKeyboardHookProc, instance, 0));
}
