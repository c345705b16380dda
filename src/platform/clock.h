// Wall-clock readings.
#pragma once

namespace platform {

struct LocalTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

LocalTime GetLocalTime();

// Blocks the calling thread; the host build only advances a simulated clock.
void Sleep(unsigned milliseconds);

}  // namespace platform
