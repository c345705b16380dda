// wWinMain's logic: the mode order, the start-up stages of the full application, exit codes.
#pragma once

#include <optional>

#include "platform/handles.h"
#include "platform/owners.h"

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
std::optional<int> AcquireInstanceMutex(platform::UniqueKernelHandle& mutex);

// GetMessageW with no window filter until it returns zero (-1 counts as a message, as the Win32
// template's loop has it), with TranslateMessage and DispatchMessageW for each.
void RunMessageLoop();

int RunLaunchDriver(platform::ModuleHandle instance, int showCommand);
