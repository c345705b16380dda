// The modules the launch driver starts, each built in its own folder. The driver only calls
// them in order; host tests link fakes in their place.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "launch/dart_project.h"
#include "launch/launch_platform.h"
#include "platform/unique_handle.h"

struct PlatformHandleTraits {
  using Type = platform::NativeHandle;
  static constexpr Type Null() { return nullptr; }
  static bool IsValid(Type handle) { return handle != nullptr; }
  static void Close(Type handle) { platform::CloseHandle(handle); }
};
using InstanceMutex = UniqueHandle<PlatformHandleTraits>;

// Verification mode: the exit code of the password answer.
int VerifyUninstallPassword();

// Lock mode: 0 when the lock window ran and ended, 1 when it could not be created.
int RunNativeLockScreen(platform::NativeHandle instance);

// Another instance holds the mutex: bring it forward, closing `mutex` on the way. An exit code
// ends this process; nullopt means it goes on as the application, without a mutex.
std::optional<int> ActivateRunningInstance(InstanceMutex& mutex);

// The service the application wants running; false when it does not run at the end.
bool EnsureServiceRunning();

// What the driver needs of the main window.
class MainWindow {
 public:
  virtual ~MainWindow() = default;
  virtual bool CreateAndShow(const std::u16string& title, int x, int y, unsigned width,
                             unsigned height) = 0;
  virtual bool CreateHidden(const std::u16string& title, int x, int y, unsigned width,
                            unsigned height) = 0;
  virtual platform::NativeHandle GetHandle() const = 0;
  virtual void SetQuitOnClose(bool quitOnClose) = 0;
};

std::unique_ptr<MainWindow> CreateFlutterWindow(const DartProject& project);

void StartActivationPipeServer();
