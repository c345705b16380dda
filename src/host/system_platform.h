// What the system commands need of the operating system: the lock, the power operations with
// their privilege, the display and the input clock. CloseHandle and GetLastError are the launch
// port's, Sleep the clock's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "launch/launch_platform.h"

namespace host::platform {

using ::platform::NativeHandle;

// Non-zero from LockWorkStation.
bool LockWorkStation();
bool ExitWindowsEx(unsigned flags, std::uint32_t reason);

using ThreadProcedure = std::uint32_t (*)(void* parameter);
// CreateThread with default security and stack, running at once; null on failure.
NativeHandle CreateThread(ThreadProcedure procedure, void* parameter);

// SendMessageTimeoutW; the result of the call (non-zero), not the message's.
bool SendMessageTimeoutW(NativeHandle window, unsigned message, std::uintptr_t wParam,
                         std::intptr_t lParam, unsigned flags, unsigned timeoutMilliseconds);

NativeHandle GetCurrentProcess();
// OpenProcessToken; null on failure.
NativeHandle OpenProcessToken(NativeHandle process, std::uint32_t desiredAccess);

struct Luid {
  std::uint32_t lowPart = 0;
  std::int32_t highPart = 0;
};
// LookupPrivilegeValueW on the local system; nullopt on failure.
std::optional<Luid> LookupPrivilegeValueW(const std::u16string& name);
// AdjustTokenPrivileges with one privilege and no previous state wanted. Note that success
// here does not mean the privilege was assigned: that is what GetLastError tells afterwards.
bool AdjustTokenPrivileges(NativeHandle token, const Luid& privilege, std::uint32_t attributes);

// dwTime of GetLastInputInfo, a GetTickCount reading; nullopt on failure.
std::optional<std::uint32_t> GetLastInputInfo();
std::uint32_t GetTickCount();

}  // namespace host::platform
