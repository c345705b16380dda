#include <windows.h>

#include "platform/clock.h"

namespace platform {

LocalTime GetLocalTime() {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond};
}

void Sleep(unsigned milliseconds) { ::Sleep(milliseconds); }

}  // namespace platform
