// The simulated service control manager behind platform/services.h: a table of services, the
// agent's own among them, installed and stopped after a reset. Calls are recorded in
// sim::Journal() ("OpenSCManagerW 1", "OpenServiceW KelvoTarnelService 20",
// "QueryServiceStatusEx", "StartServiceW", "CloseServiceHandle manager|service"), and a failed
// call sets the error that platform::GetLastError() answers.
//
// Like the real manager it refuses what the handle's access does not grant (kErrorAccessDenied),
// a handle that is not open (kErrorInvalidHandle), and a start of a service that is not stopped
// (kErrorServiceAlreadyRunning). A successful start puts the service into start pending; a test
// moves it on with SetServiceState, from a sleep hook or through scripted query answers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/services.h"

namespace sim {

inline constexpr std::uint32_t kServiceWin32OwnProcess = 0x10;

struct Service {
  std::u16string name;
  std::optional<std::u16string> displayName;
  std::uint32_t type = kServiceWin32OwnProcess;
  unsigned long state = platform::kServiceStopped;
  std::optional<std::u16string> binaryPath;
};
// Adds a service, or replaces the one of the same name.
void AddService(const Service& service);

// The agent's own service: installed or not, and its state.
void SetServiceInstalled(bool installed);
void SetServiceState(unsigned long state);
unsigned long ServiceState();

// OpenSCManagerW fails with `error` once `successfulOpens` opens have succeeded.
void FailOpenSCManager(unsigned long error, int successfulOpens = 0);
// OpenServiceW with exactly this access fails with `error` (for example kErrorAccessDenied for an
// ordinary user asking for the right to start).
void FailOpenService(unsigned long access, unsigned long error);

// One answer of QueryServiceStatusEx: a state, or (state nullopt) a failure with `error`.
struct QueryAnswer {
  std::optional<unsigned long> state;
  unsigned long error = 0;
};
// Answers for the next queries, one each, in order; once they are used up the service's state
// answers again.
void ScriptQueries(std::vector<QueryAnswer> answers);
// StartServiceW fails with `error` whatever the state.
void FailStartService(unsigned long error);

int QueryCount();
int StartCount();
// Handles opened and not yet closed, and calls that named a handle that was not open.
int OpenServiceHandleCount();
int InvalidServiceHandleUses();

}  // namespace sim
