// The shell: known folders, the command line's arguments and the notification area. Names and
// values are Win32's; the Windows build implements them in win32/shell.cpp.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handles.h"

namespace platform {

inline constexpr int kCsidlCommonAppData = 35;

// SHGetFolderPathW(nullptr, csidl, nullptr, 0, ...); nullopt when the lookup fails.
std::optional<std::u16string> SHGetFolderPathW(int csidl);

// CommandLineToArgvW (freed with LocalFree); nullopt when parsing fails.
std::optional<std::vector<std::u16string>> CommandLineToArgvW(std::u16string_view commandLine);

inline constexpr unsigned kNimAdd = 0;
inline constexpr unsigned kNimModify = 1;
inline constexpr unsigned kNimDelete = 2;
inline constexpr unsigned kNifMessage = 0x1;
inline constexpr unsigned kNifIcon = 0x2;
inline constexpr unsigned kNifTip = 0x4;
inline constexpr std::uint32_t kNotifyIconDataSize = 976;  // sizeof(NOTIFYICONDATAW)

// The NOTIFYICONDATAW fields that the tray sets; the adapter leaves every other field zero.
struct NotifyIconData {
  std::uint32_t size = 0;  // cbSize
  WindowHandle window = nullptr;
  unsigned id = 0;
  unsigned flags = 0;
  unsigned callbackMessage = 0;
  IconHandle icon = nullptr;
  std::array<char16_t, 128> tip = {};  // zero-terminated
};
bool Shell_NotifyIconW(unsigned message, const NotifyIconData& data);

// ShellExecuteW; empty parameters or directory are passed as null. The HINSTANCE it answers, as
// a number: above 32 for success.
inline constexpr int kSwShowNormal = 1;
std::intptr_t ShellExecuteW(WindowHandle owner, std::u16string_view verb, std::u16string_view file,
                            std::u16string_view parameters, std::u16string_view directory,
                            int show);

}  // namespace platform
