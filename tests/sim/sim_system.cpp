#include "sim_system.h"

#include <string>
#include <utility>

#include "host/system_platform.h"
#include "base/text.h"
#include "sim_launch.h"
#include "sim_platform.h"

namespace {

constexpr std::uintptr_t kCurrentProcess = static_cast<std::uintptr_t>(-1);
constexpr std::uintptr_t kToken = 0x3000;
constexpr std::uintptr_t kThreadBase = 0x3100;
constexpr std::uint32_t kTokenAdjustPrivileges = 0x20;
constexpr std::uint32_t kSePrivilegeEnabled = 2;
constexpr host::platform::Luid kShutdownLuid{19, 0};
constexpr unsigned long kErrorNotAllAssigned = 1300;
constexpr unsigned long kErrorPrivilegeNotHeld = 1314;
constexpr unsigned long kErrorNoSuchPrivilege = 1313;
constexpr unsigned long kErrorAccessDenied = 5;
constexpr unsigned long kErrorInvalidHandle = 6;

struct PendingThread {
  host::platform::ThreadProcedure procedure;
  void* parameter;
};

struct Machine {
  bool lockSucceeds = true;
  bool locked = false;
  bool holdsShutdownPrivilege = true;
  bool openTokenFails = false;
  bool lookupFails = false;
  bool privilegeEnabled = false;
  std::uint32_t tokenAccess = 0;
  std::vector<sim::ExitRequest> exits;
  bool createThreadFails = false;
  int threadsCreated = 0;
  std::vector<PendingThread> pending;
  bool displayIgnores = false;
  bool displayOff = false;
  std::uint32_t tick = 5'000'000;
  std::optional<std::uint32_t> lastInput = 5'000'000;
};

Machine& M() {
  static Machine machine;
  return machine;
}

std::string Hex(std::uint64_t value) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  do {
    text.insert(text.begin(), digits[value & 0xF]);
    value >>= 4;
  } while (value);
  return "0x" + text;
}

}  // namespace

namespace sim {

void ResetSystem() { M() = Machine(); }
void SetLockWorkStationSucceeds(bool succeeds) { M().lockSucceeds = succeeds; }
bool SessionLocked() { return M().locked; }
void SetAccountHoldsShutdownPrivilege(bool holds) { M().holdsShutdownPrivilege = holds; }
void SetOpenProcessTokenFails(bool fails) { M().openTokenFails = fails; }
void SetLookupPrivilegeValueFails(bool fails) { M().lookupFails = fails; }
bool ShutdownPrivilegeEnabled() { return M().privilegeEnabled; }
std::vector<ExitRequest> AcceptedExitRequests() { return M().exits; }
void SetCreateThreadFails(bool fails) { M().createThreadFails = fails; }
int PendingThreadCount() { return static_cast<int>(M().pending.size()); }

void RunPendingThreads() {
  while (!M().pending.empty()) {
    const PendingThread thread = M().pending.front();
    M().pending.erase(M().pending.begin());
    thread.procedure(thread.parameter);
  }
}

void SetDisplayIgnoresPowerOff(bool ignores) { M().displayIgnores = ignores; }
bool DisplayOff() { return M().displayOff; }
void SetTickCount(std::uint32_t tick) { M().tick = tick; }
void SetLastInputTick(std::optional<std::uint32_t> tick) { M().lastInput = tick; }

}  // namespace sim

namespace host::platform {

bool LockWorkStation() {
  sim::Record("LockWorkStation");
  if (!M().lockSucceeds) return false;
  M().locked = true;
  return true;
}

bool ExitWindowsEx(unsigned flags, std::uint32_t reason) {
  sim::Record("ExitWindowsEx " + std::to_string(flags) + " " + Hex(reason));
  if (!M().privilegeEnabled) {
    sim::SetLastErrorValue(kErrorPrivilegeNotHeld);
    return false;
  }
  M().exits.push_back({flags, reason});
  return true;
}

NativeHandle CreateThread(ThreadProcedure procedure, void* parameter) {
  sim::Record("CreateThread");
  if (M().createThreadFails) return nullptr;
  M().pending.push_back({procedure, parameter});
  return reinterpret_cast<NativeHandle>(kThreadBase + M().threadsCreated++);
}

bool SendMessageTimeoutW(NativeHandle window, unsigned message, std::uintptr_t wParam,
                         std::intptr_t lParam, unsigned flags, unsigned timeoutMilliseconds) {
  sim::Record("SendMessageTimeoutW " + Hex(reinterpret_cast<std::uintptr_t>(window)) + " " +
              std::to_string(message) + " " + std::to_string(wParam) + " " +
              std::to_string(lParam) + " " + std::to_string(flags) + " " +
              std::to_string(timeoutMilliseconds));
  if (M().displayIgnores) return false;
  // The display answers only the broadcast power-off command.
  if (window == reinterpret_cast<NativeHandle>(0xFFFF) && message == 274 && wParam == 61808 &&
      lParam == 2) {
    M().displayOff = true;
  }
  return true;
}

NativeHandle GetCurrentProcess() { return reinterpret_cast<NativeHandle>(kCurrentProcess); }

NativeHandle OpenProcessToken(NativeHandle process, std::uint32_t desiredAccess) {
  sim::Record("OpenProcessToken " + std::to_string(desiredAccess));
  if (M().openTokenFails || process != reinterpret_cast<NativeHandle>(kCurrentProcess)) {
    sim::SetLastErrorValue(kErrorAccessDenied);
    return nullptr;
  }
  M().tokenAccess = desiredAccess;
  return reinterpret_cast<NativeHandle>(kToken);
}

std::optional<Luid> LookupPrivilegeValueW(const std::u16string& name) {
  sim::Record("LookupPrivilegeValueW " + WideToUtf8(name));
  if (M().lookupFails || name != u"SeShutdownPrivilege") {
    sim::SetLastErrorValue(kErrorNoSuchPrivilege);
    return std::nullopt;
  }
  return kShutdownLuid;
}

bool AdjustTokenPrivileges(NativeHandle token, const Luid& privilege, std::uint32_t attributes) {
  sim::Record("AdjustTokenPrivileges " + std::to_string(privilege.lowPart) + " " +
              std::to_string(attributes));
  if (token != reinterpret_cast<NativeHandle>(kToken)) {
    sim::SetLastErrorValue(kErrorInvalidHandle);
    return false;
  }
  if (!(M().tokenAccess & kTokenAdjustPrivileges)) {
    sim::SetLastErrorValue(kErrorAccessDenied);
    return false;
  }
  const bool isShutdown =
      privilege.lowPart == kShutdownLuid.lowPart && privilege.highPart == kShutdownLuid.highPart;
  // As on Windows, the call succeeds for a privilege the account lacks and says so only through
  // the last error.
  if (isShutdown && !M().holdsShutdownPrivilege) {
    sim::SetLastErrorValue(kErrorNotAllAssigned);
    return true;
  }
  if (isShutdown) M().privilegeEnabled = (attributes & kSePrivilegeEnabled) != 0;
  sim::SetLastErrorValue(0);
  return true;
}

std::optional<std::uint32_t> GetLastInputInfo() {
  sim::Record("GetLastInputInfo");
  return M().lastInput;
}

std::uint32_t GetTickCount() { return M().tick; }

}  // namespace host::platform
