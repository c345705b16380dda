// wWinMain's logic: the mode order, the start-up stages of the full application, exit codes.
#pragma once

#include <atomic>
#include <optional>

#include "launch/command_line.h"
#include "launch/dart_project.h"
#include "launch/launch_platform.h"
#include "launch/launch_stages.h"

// Written once on the main thread before the activation pipe thread starts.
extern platform::NativeHandle mainWindowHandle;
extern std::atomic<bool> activationPipeStopFlag;

struct InitialWindowSize {
  unsigned width = 0;
  unsigned height = 0;
};

// The logical size of the main window for the monitor at (10, 10); logs its own line.
InitialWindowSize ComputeInitialWindowSize();

// The pure part of it: scale against a 1920-wide reference, bounded to 0.75..1.0.
struct WindowScale {
  double ratio = 1.0;
  double scale = 1.0;
  InitialWindowSize size;
};
WindowScale ScaleInitialWindow(unsigned dpi, int screenWidth);

void CreateDebugConsole();

// Takes the instance mutex, or hands over to the running instance. An exit code ends the
// process; otherwise `mutex` holds the mutex, or nothing on the no-target path.
std::optional<int> AcquireInstanceMutex(InstanceMutex& mutex);

int RunLaunchDriver(platform::NativeHandle instance, int showCommand);
