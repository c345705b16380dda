// What the tray icon and its menu need of the shell and of the menu manager.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "host/window_platform.h"
#include "launch/launch_platform.h"

namespace host::platform {

using ::platform::NativeHandle;

// The NOTIFYICONDATAW fields that the tray sets; the adapter leaves every other field zero.
struct NotifyIconData {
  std::uint32_t size = 0;  // cbSize
  NativeHandle window = nullptr;
  unsigned id = 0;
  unsigned flags = 0;
  unsigned callbackMessage = 0;
  NativeHandle icon = nullptr;
  std::array<char16_t, 128> tip = {};  // zero-terminated
};

// NIM_ADD 0, NIM_MODIFY 1, NIM_DELETE 2.
bool Shell_NotifyIconW(unsigned message, const NotifyIconData& data);

Point GetCursorPos();
NativeHandle CreatePopupMenu();
bool AppendMenuW(NativeHandle menu, unsigned flags, std::uintptr_t id, const std::u16string& text);
// The chosen command with TPM_RETURNCMD among the flags, 0 for none.
int TrackPopupMenu(NativeHandle menu, unsigned flags, int x, int y, NativeHandle owner);
bool DestroyMenu(NativeHandle menu);

[[noreturn]] void ExitProcess(unsigned exitCode);

}  // namespace host::platform
