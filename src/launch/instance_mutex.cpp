#include "launch/app_log.h"
#include "launch/launch_driver.h"
#include "platform/debug_output.h"

namespace {

constexpr std::u16string_view kGlobalMutexName = u"Global\\KelvoTarnelSingleInstance";
constexpr std::u16string_view kLocalMutexName = u"Local\\KelvoTarnelSingleInstance";
constexpr unsigned long kErrorAlreadyExists = 183;

}  // namespace

std::optional<int> AcquireInstanceMutex(InstanceMutex& mutex) {
  mutex.reset(platform::CreateMutexW(std::u16string(kGlobalMutexName)));
  if (!mutex) {
    WriteAppLog(FormatLogLine(u"Warning: Failed to create global mutex. Error: %lu",
                              platform::GetLastError()));
    WriteAppLog(u"Trying local mutex fallback...");
    mutex.reset(platform::CreateMutexW(std::u16string(kLocalMutexName)));
    if (!mutex) {
      WriteAppLog(FormatLogLine(u"ERROR: Failed to create local mutex. Error: %lu",
                                platform::GetLastError()));
      return 1;
    }
  }
  if (platform::GetLastError() != kErrorAlreadyExists) return std::nullopt;

  WriteAppLog(u"Another instance is already running, trying to show it...");
  platform::OutputDebugStringA(
      "[KelvoTarnel] Another instance is already running, trying to show it...\n");
  return ActivateRunningInstance(mutex);
}
