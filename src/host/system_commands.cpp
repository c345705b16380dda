#include "host/system_commands.h"

#include <string_view>

#include "host/system_platform.h"
#include "platform/clock.h"

namespace {

constexpr unsigned kExitWindowsRestart = 18;   // EWX_REBOOT | EWX_FORCEIFHUNG
constexpr unsigned kExitWindowsShutdown = 24;  // EWX_POWEROFF | EWX_FORCEIFHUNG
// SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MAJOR_APPLICATION | SHTDN_REASON_MINOR_MAINTENANCE
constexpr std::uint32_t kShutdownReason = 0x80040001;

constexpr unsigned kDisplayOffDelayMilliseconds = 100;
constexpr unsigned kWmSysCommand = 274;
constexpr std::uintptr_t kScMonitorPower = 61808;
constexpr std::intptr_t kMonitorPowerOff = 2;
constexpr std::uintptr_t kHwndBroadcast = 0xFFFF;
constexpr unsigned kSmtoAbortIfHung = 2;
constexpr unsigned kDisplayOffTimeoutMilliseconds = 1000;

constexpr std::uint32_t kTokenAdjustPrivilegesAndQuery = 40;
constexpr char16_t kShutdownPrivilege[] = u"SeShutdownPrivilege";
constexpr std::uint32_t kSePrivilegeEnabled = 2;

bool StartTurnOffDisplay() {
  const platform::NativeHandle thread =
      host::platform::CreateThread(&TurnOffDisplayThread, nullptr);
  if (!thread) return false;
  // Nobody waits for the display: the thread runs detached.
  platform::CloseHandle(thread);
  return true;
}

bool ExitWindows(unsigned flags) {
  EnableShutdownPrivilege();
  return host::platform::ExitWindowsEx(flags, kShutdownReason);
}

// The commands whose answer is ExecuteSystemCommand's, in the order the handler tests them.
constexpr std::string_view kBooleanCommands[] = {"lockScreen", "restartSystem", "shutdownSystem",
                                                 "turnOffDisplay"};

}  // namespace

void HandleSystemCommandsCall(const MethodCall& call, std::unique_ptr<MethodResult> result) {
  const std::string& method = call.method_name();
  for (const std::string_view command : kBooleanCommands) {
    if (method == command) {
      result->Success(EncodableValue(ExecuteSystemCommand(method)));
      return;
    }
  }
  if (method == "getIdleSeconds") {
    result->Success(EncodableValue(GetIdleSeconds()));
    return;
  }
  result->NotImplemented();
}

bool ExecuteSystemCommand(const std::string& method) {
  if (method == "lockScreen") return host::platform::LockWorkStation();
  if (method == "turnOffDisplay") return StartTurnOffDisplay();
  if (method == "restartSystem") return ExitWindows(kExitWindowsRestart);
  if (method == "shutdownSystem") return ExitWindows(kExitWindowsShutdown);
  return false;
}

void EnableShutdownPrivilege() {
  const platform::NativeHandle token = host::platform::OpenProcessToken(
      host::platform::GetCurrentProcess(), kTokenAdjustPrivilegesAndQuery);
  if (!token) return;
  if (const auto privilege = host::platform::LookupPrivilegeValueW(kShutdownPrivilege)) {
    host::platform::AdjustTokenPrivileges(token, *privilege, kSePrivilegeEnabled);
    // ERROR_NOT_ALL_ASSIGNED would tell a missing privilege; ExitWindowsEx tells it as well.
    static_cast<void>(platform::GetLastError());
  }
  platform::CloseHandle(token);
}

std::int64_t GetIdleSeconds() {
  const std::optional<std::uint32_t> lastInput = host::platform::GetLastInputInfo();
  if (!lastInput) return -1;
  // Unsigned 32-bit on purpose: after the tick count wraps, the difference is still right.
  const std::uint32_t elapsed = host::platform::GetTickCount() - *lastInput;
  return static_cast<std::int64_t>(elapsed / 1000u);
}

std::uint32_t TurnOffDisplayThread(void*) {
  platform::Sleep(kDisplayOffDelayMilliseconds);
  // HWND_BROADCAST is a number that Win32 takes as a handle.
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  const auto broadcast = reinterpret_cast<platform::NativeHandle>(kHwndBroadcast);
  host::platform::SendMessageTimeoutW(broadcast, kWmSysCommand, kScMonitorPower, kMonitorPowerOff,
                                      kSmtoAbortIfHung, kDisplayOffTimeoutMilliseconds);
  return 0;
}
