// The agent's Windows service: asked for once at start-up, started if it is installed and
// stopped, never installed or stopped from here. Results go to the debugger output and the
// application log; the caller goes on whatever they are.
#pragma once

// True only when the service's state could be read and is running.
bool IsServiceRunning();

// True when the service runs at the end, also when it ran already. Blocks for at most the
// start wait (about 10 s) while a started service comes up.
bool EnsureServiceRunning();
