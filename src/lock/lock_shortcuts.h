// The shortcuts that would take the user away from the lock: the Windows keys, Alt+Tab, Alt+Esc,
// Ctrl+Esc and Alt+F4. A low-level keyboard hook of the lock process swallows them while the
// lock is up; Ctrl+Alt+Del is the system's and never reaches a hook.
#pragma once

#include <cstdint>

#include "platform/handles.h"
#include "platform/owners.h"

// True when the key event must not reach the system: decided from the key alone, whether Alt is
// down and whether Ctrl is down. Key-up events are decided the same
// way, so that the system never sees half of a swallowed shortcut.
bool ShouldSwallowLockKey(unsigned virtualKey, bool altDown, bool ctrlDown);

// The WH_KEYBOARD_LL procedure of the lock.
std::intptr_t LockKeyboardHookProc(int code, std::uintptr_t wParam, std::intptr_t lParam);

// Sets the hook for this process's desktop; it is called on the installing thread's message
// loop, and removed when the owner ends. A refused hook leaves the lock as it was, without it.
platform::UniqueWindowsHook InstallLockKeyboardHook(platform::ModuleHandle instance);
