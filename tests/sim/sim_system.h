// A simulated machine for the system commands: a lockable session, a process token with the
// shutdown privilege to enable, a power manager that refuses without it, a display and the input
// clock. Calls are recorded in sim::Journal(), CloseHandle among them (the launch simulation's);
// nothing here ever touches the real machine.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace sim {

void ResetSystem();

void SetLockWorkStationSucceeds(bool succeeds);
bool SessionLocked();

// The account holds SeShutdownPrivilege, as a desktop user does. Held is not enabled: only
// AdjustTokenPrivileges on a token opened for adjusting enables it.
void SetAccountHoldsShutdownPrivilege(bool holds);
void SetOpenProcessTokenFails(bool fails);
void SetLookupPrivilegeValueFails(bool fails);
bool ShutdownPrivilegeEnabled();

// What ExitWindowsEx accepted; the simulated machine only notes it.
struct ExitRequest {
  unsigned flags = 0;
  std::uint32_t reason = 0;
};
std::vector<ExitRequest> AcceptedExitRequests();

// Threads are held until RunPendingThreads, so a test sees what happens before and after.
void SetCreateThreadFails(bool fails);
int PendingThreadCount();
void RunPendingThreads();

// A hung or absent receiver: SendMessageTimeoutW fails and the display stays on.
void SetDisplayIgnoresPowerOff(bool ignores);
bool DisplayOff();

void SetTickCount(std::uint32_t tick);
// nullopt makes GetLastInputInfo fail.
void SetLastInputTick(std::optional<std::uint32_t> tick);

}  // namespace sim
