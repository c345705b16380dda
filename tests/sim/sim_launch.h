// Control of the simulated launch platform: the command line, the mutexes, the console, COM,
// the monitor and the message loop. Calls are recorded in sim::Journal().
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "launch/launch_platform.h"

namespace sim {

void ResetLaunch();

// nullopt makes CommandLineToArgvW fail.
void SetCommandLine(std::optional<std::vector<std::u16string>> argv);

struct MutexBehaviour {
  bool globalFails = false;
  unsigned long globalError = 5;
  bool localFails = false;
  unsigned long localError = 5;
  bool alreadyExists = false;
};
void SetMutexBehaviour(const MutexBehaviour& behaviour);
int OpenMutexCount();  // created and not yet closed

void SetAttachConsoleSucceeds(bool succeeds);
void SetDebuggerPresent(bool present);
void SetAllocConsoleSucceeds(bool succeeds);
void SetReopenSucceeds(bool output, bool error);
void SetCoInitializeResult(std::int32_t hr);
void SetLastErrorValue(unsigned long error);

struct MonitorConfig {
  bool present = true;
  unsigned dpi = 96;
  std::optional<platform::MonitorSize> size = platform::MonitorSize{1920, 1080};
};
void SetMonitor(const MonitorConfig& monitor);

}  // namespace sim
