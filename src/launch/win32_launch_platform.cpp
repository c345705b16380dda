#include <windows.h>
#include <objbase.h>
#include <shellapi.h>
#include <shellscalingapi.h>

#include <cstdio>
#include <io.h>
#include <ios>
#include <memory>

#include "launch/launch_platform.h"
#include "platform/win32_text.h"

namespace {

struct LocalFreeDeleter {
  void operator()(LPWSTR* argv) const { ::LocalFree(argv); }
};

}  // namespace

namespace platform {

std::optional<std::vector<std::u16string>> CommandLineToArgvW() {
  int count = 0;
  std::unique_ptr<LPWSTR, LocalFreeDeleter> argv(::CommandLineToArgvW(::GetCommandLineW(), &count));
  if (!argv) return std::nullopt;
  std::vector<std::u16string> arguments;
  arguments.reserve(count);
  for (int i = 0; i < count; ++i) arguments.push_back(FromWide(argv.get()[i]));
  return arguments;
}

void SetProcessDpiAwareness(int level) {
  ::SetProcessDpiAwareness(static_cast<PROCESS_DPI_AWARENESS>(level));
}

unsigned long GetLastError() { return ::GetLastError(); }

NativeHandle CreateMutexW(const std::u16string& name) {
  return ::CreateMutexW(nullptr, TRUE, AsWide(name).c_str());
}

void CloseHandle(NativeHandle handle) { ::CloseHandle(handle); }

bool AttachConsole() { return ::AttachConsole(ATTACH_PARENT_PROCESS) != 0; }

bool IsDebuggerPresent() { return ::IsDebuggerPresent() != 0; }

bool AllocConsole() { return ::AllocConsole() != 0; }

bool ReopenStreamToConsole(StandardStream stream) {
  FILE* unused = nullptr;
  FILE* target = stream == StandardStream::kOutput ? stdout : stderr;
  return freopen_s(&unused, "CONOUT$", "w", target) == 0;
}

void DuplicateStdoutOnto(int descriptor) { _dup2(_fileno(stdout), descriptor); }

void SyncWithStdio() { std::ios::sync_with_stdio(); }

std::int32_t CoInitializeEx() { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }

void CoUninitialize() { ::CoUninitialize(); }

NativeHandle MonitorFromPoint(int x, int y) {
  return ::MonitorFromPoint(POINT{x, y}, MONITOR_DEFAULTTONEAREST);
}

std::optional<MonitorSize> GetMonitorInfoW(NativeHandle monitor) {
  MONITORINFO info = {};
  info.cbSize = sizeof(info);
  if (!::GetMonitorInfoW(static_cast<HMONITOR>(monitor), &info)) return std::nullopt;
  return MonitorSize{info.rcMonitor.right - info.rcMonitor.left,
                     info.rcMonitor.bottom - info.rcMonitor.top};
}

void RunMessageLoop() {
  MSG message;
  // -1 is an error result, yet it is not zero: the loop goes on, as the Win32 template's does.
  while (::GetMessageW(&message, nullptr, 0, 0)) {
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

}  // namespace platform
