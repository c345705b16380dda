// The lock mode's entry point: one borderless topmost window over the whole virtual desktop, in
// a process of its own without the engine, until the password is typed or the lock file says
// unlocked.
#pragma once

#include "platform/handles.h"

// 0 when the lock window ran and ended, 1 when it could not be created.
int RunNativeLockScreen(platform::ModuleHandle instance);
