#include "app/app_log.h"
#include "app/product.h"
#include "launch/launch_driver.h"
#include "platform/kernel.h"
#include "single_instance/single_instance.h"

std::optional<int> AcquireInstanceMutex(platform::UniqueKernelHandle& mutex) {
  mutex.reset(platform::CreateMutexW(product::kGlobalMutexName));
  if (!mutex) {
    WriteAppLog(FormatLogLine(u"Warning: Failed to create global mutex. Error: %lu",
                              platform::GetLastError()));
    WriteAppLog(u"Trying local mutex fallback...");
    mutex.reset(platform::CreateMutexW(product::kLocalMutexName));
    if (!mutex) {
      WriteAppLog(FormatLogLine(u"ERROR: Failed to create local mutex. Error: %lu",
                                platform::GetLastError()));
      return 1;
    }
  }
  if (platform::GetLastError() != platform::kErrorAlreadyExists) return std::nullopt;

  WriteAppLog(u"Another instance is already running, trying to show it...");
  platform::OutputDebugStringA(
      "[KelvoTarnel] Another instance is already running, trying to show it...\n");
  return ActivateRunningInstance(mutex);
}
