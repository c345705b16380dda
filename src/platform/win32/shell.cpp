// The shell seam over shell32.
#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cstring>
#include <memory>

#include "platform/shell.h"
#include "platform/win32/text.h"

namespace platform {

namespace {

struct LocalFreeDeleter {
  void operator()(LPWSTR* argv) const { ::LocalFree(argv); }
};

}  // namespace

static_assert(sizeof(NOTIFYICONDATAW) == kNotifyIconDataSize, "the record size the tray announces");
static_assert(sizeof(NotifyIconData::tip) == sizeof(NOTIFYICONDATAW::szTip));

std::optional<std::u16string> SHGetFolderPathW(int csidl) {
  wchar_t path[MAX_PATH] = {};
  if (FAILED(::SHGetFolderPathW(nullptr, csidl, nullptr, 0, path))) return std::nullopt;
  return FromWide(path);
}

std::optional<std::vector<std::u16string>> CommandLineToArgvW(std::u16string_view commandLine) {
  int count = 0;
  const std::wstring line = AsWide(commandLine);
  const std::unique_ptr<LPWSTR, LocalFreeDeleter> argv(::CommandLineToArgvW(line.c_str(), &count));
  if (!argv) return std::nullopt;
  std::vector<std::u16string> arguments;
  arguments.reserve(count);
  for (int i = 0; i < count; ++i) arguments.push_back(FromWide(argv.get()[i]));
  return arguments;
}

bool Shell_NotifyIconW(unsigned message, const NotifyIconData& data) {
  NOTIFYICONDATAW native = {};
  native.cbSize = data.size;
  native.hWnd = data.window;
  native.uID = data.id;
  native.uFlags = data.flags;
  native.uCallbackMessage = data.callbackMessage;
  native.hIcon = data.icon;
  std::memcpy(native.szTip, data.tip.data(), sizeof(native.szTip));
  return ::Shell_NotifyIconW(message, &native) != FALSE;
}

std::intptr_t ShellExecuteW(WindowHandle owner, std::u16string_view verb, std::u16string_view file,
                            std::u16string_view parameters, std::u16string_view directory,
                            int show) {
  const std::wstring wideVerb = AsWide(verb);
  const std::wstring wideFile = AsWide(file);
  const std::wstring wideParameters = AsWide(parameters);
  const std::wstring wideDirectory = AsWide(directory);
  const HINSTANCE result = ::ShellExecuteW(
      owner, wideVerb.c_str(), wideFile.c_str(),
      parameters.empty() ? nullptr : wideParameters.c_str(),
      directory.empty() ? nullptr : wideDirectory.c_str(), show);
  return reinterpret_cast<std::intptr_t>(result);
}

}  // namespace platform
