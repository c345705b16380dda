#include <windows.h>

#include <memory>

#include "host/system_platform.h"
#include "platform/win32_text.h"

namespace host::platform {

namespace {

// The thread owns this block and frees it at its end.
struct ThreadStart {
  ThreadProcedure procedure;
  void* parameter;
};

DWORD WINAPI RunThread(LPVOID block) {
  std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(block));
  return start->procedure(start->parameter);
}

}  // namespace

bool LockWorkStation() { return ::LockWorkStation() != 0; }

bool ExitWindowsEx(unsigned flags, std::uint32_t reason) {
  return ::ExitWindowsEx(flags, reason) != 0;
}

NativeHandle CreateThread(ThreadProcedure procedure, void* parameter) {
  auto start = std::make_unique<ThreadStart>(ThreadStart{procedure, parameter});
  HANDLE thread = ::CreateThread(nullptr, 0, RunThread, start.get(), 0, nullptr);
  if (thread) start.release();
  return thread;
}

bool SendMessageTimeoutW(NativeHandle window, unsigned message, std::uintptr_t wParam,
                         std::intptr_t lParam, unsigned flags, unsigned timeoutMilliseconds) {
  DWORD_PTR answer = 0;
  return ::SendMessageTimeoutW(static_cast<HWND>(window), message, wParam, lParam, flags,
                               timeoutMilliseconds, &answer) != 0;
}

NativeHandle GetCurrentProcess() { return ::GetCurrentProcess(); }

NativeHandle OpenProcessToken(NativeHandle process, std::uint32_t desiredAccess) {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(static_cast<HANDLE>(process), desiredAccess, &token)) return nullptr;
  return token;
}

std::optional<Luid> LookupPrivilegeValueW(const std::u16string& name) {
  LUID luid = {};
  if (!::LookupPrivilegeValueW(nullptr, AsWide(name).c_str(), &luid)) return std::nullopt;
  return Luid{luid.LowPart, luid.HighPart};
}

bool AdjustTokenPrivileges(NativeHandle token, const Luid& privilege, std::uint32_t attributes) {
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Luid.LowPart = privilege.lowPart;
  privileges.Privileges[0].Luid.HighPart = privilege.highPart;
  privileges.Privileges[0].Attributes = attributes;
  return ::AdjustTokenPrivileges(static_cast<HANDLE>(token), FALSE, &privileges, 0, nullptr,
                                 nullptr) != 0;
}

std::optional<std::uint32_t> GetLastInputInfo() {
  LASTINPUTINFO info = {};
  static_assert(sizeof(info) == 8, "the record size the call is given");
  info.cbSize = sizeof(info);
  if (!::GetLastInputInfo(&info)) return std::nullopt;
  return info.dwTime;
}

std::uint32_t GetTickCount() { return ::GetTickCount(); }

}  // namespace host::platform
