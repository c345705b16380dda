#include "host/system_commands.h"

#include <string_view>

#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/user.h"

namespace {

constexpr unsigned kExitWindowsRestart = platform::kEwxReboot | platform::kEwxForceIfHung;
constexpr unsigned kExitWindowsShutdown = platform::kEwxPowerOff | platform::kEwxForceIfHung;
static_assert(kExitWindowsRestart == 18 && kExitWindowsShutdown == 24);
// SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MAJOR_APPLICATION | SHTDN_REASON_MINOR_MAINTENANCE
constexpr std::uint32_t kShutdownReason = 0x80040001;

constexpr unsigned kDisplayOffDelayMilliseconds = 100;
constexpr std::intptr_t kMonitorPowerOff = 2;
constexpr unsigned kDisplayOffTimeoutMilliseconds = 1000;

constexpr std::uint32_t kTokenAdjustPrivilegesAndQuery =
    platform::kTokenAdjustPrivileges | platform::kTokenQuery;
static_assert(kTokenAdjustPrivilegesAndQuery == 40);
constexpr char16_t kShutdownPrivilege[] = u"SeShutdownPrivilege";

bool StartTurnOffDisplay() {
  const platform::KernelHandle thread =
      platform::CreateThread([] { TurnOffDisplayThread(nullptr); });
  if (thread == platform::KernelHandle{}) return false;
  // Nobody waits for the display: the thread runs detached.
  platform::CloseHandle(thread);
  return true;
}

bool ExitWindows(unsigned flags) {
  EnableShutdownPrivilege();
  return platform::ExitWindowsEx(flags, kShutdownReason);
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
  if (method == "lockScreen") return platform::LockWorkStation();
  if (method == "turnOffDisplay") return StartTurnOffDisplay();
  if (method == "restartSystem") return ExitWindows(kExitWindowsRestart);
  if (method == "shutdownSystem") return ExitWindows(kExitWindowsShutdown);
  return false;
}

void EnableShutdownPrivilege() {
  platform::KernelHandle rawToken{};
  if (!platform::OpenProcessToken(platform::GetCurrentProcess(), kTokenAdjustPrivilegesAndQuery,
                                  &rawToken)) {
    return;
  }
  const platform::UniqueKernelHandle token(rawToken);
  platform::Luid privilege;
  if (platform::LookupPrivilegeValueW(kShutdownPrivilege, &privilege)) {
    platform::AdjustTokenPrivileges(token.get(), privilege, platform::kSePrivilegeEnabled);
    // ERROR_NOT_ALL_ASSIGNED would tell a missing privilege; ExitWindowsEx tells it as well.
    static_cast<void>(platform::GetLastError());
  }
}

std::int64_t GetIdleSeconds() {
  std::uint32_t lastInput = 0;
  if (!platform::GetLastInputInfo(&lastInput)) return -1;
  // Unsigned 32-bit on purpose: after the tick count wraps, the difference is still right.
  const std::uint32_t elapsed = platform::GetTickCount() - lastInput;
  return static_cast<std::int64_t>(elapsed / 1000u);
}

std::uint32_t TurnOffDisplayThread(void*) {
  platform::Sleep(kDisplayOffDelayMilliseconds);
  platform::SendMessageTimeoutW(platform::HwndBroadcast(), platform::kWmSysCommand,
                                platform::kScMonitorPower, kMonitorPowerOff,
                                platform::kSmtoAbortIfHung, kDisplayOffTimeoutMilliseconds);
  return 0;
}
