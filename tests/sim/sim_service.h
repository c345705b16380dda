// A simulated service control manager with one installed service. Calls are recorded in
// sim::Journal() ("OpenSCManagerW 1", "OpenServiceW KelvoTarnelService 20",
// "QueryServiceStatusEx", "StartServiceW", "CloseServiceHandle manager|service"), and a failed
// call sets the error that platform::GetLastError() answers.
//
// Like the real manager it refuses what the handle's access does not grant (error 5), a handle
// that is not open (error 6), and a start of a service that is not stopped (error 1056). A
// successful start puts the service into start pending; a test moves it on with SetServiceState,
// from a sleep hook or through scripted query answers.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sim {

constexpr unsigned long kServiceStopped = 1;
constexpr unsigned long kServiceStartPending = 2;
constexpr unsigned long kServiceStopPending = 3;
constexpr unsigned long kServiceRunning = 4;
constexpr unsigned long kServiceContinuePending = 5;
constexpr unsigned long kServicePausePending = 6;
constexpr unsigned long kServicePaused = 7;

void ResetServices();

// The installed service and its state; a missing service makes every open fail with 1060.
void SetServiceInstalled(bool installed);
void SetServiceState(unsigned long state);
unsigned long ServiceState();

// OpenSCManagerW fails with `error` once `successfulOpens` opens have succeeded.
void FailOpenSCManager(unsigned long error, int successfulOpens = 0);

// OpenServiceW with exactly this access fails with `error` (for example 5 for an ordinary user
// asking for the right to start).
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
