// Single instance and activation. A second launch that finds the instance mutex taken asks the
// running instance over the activation pipe to show itself and forces its window to the front
// from outside; the running instance serves that pipe on a detached thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/owners.h"
#include "platform/user.h"

// The driver's process-wide state: the main window, written once on the main thread before the
// pipe thread starts, and the flag that ends the pipe thread's loop.
extern platform::WindowHandle mainWindowHandle;
extern std::atomic<bool> activationPipeStopFlag;

inline constexpr std::uint32_t kUnknownSession = 0xFFFFFFFF;

// Another instance holds the mutex: bring it forward, closing `mutex` on the way. An exit code
// ends this process; nullopt means it goes on as the application, without a mutex.
std::optional<int> ActivateRunningInstance(platform::UniqueKernelHandle& mutex);

// Starts the pipe server thread, detached; a failure to start is logged and nothing more.
void StartActivationPipeServer();

// What the window enumeration carries from window to window.
struct ExistingWindowSearch {
  platform::WindowHandle found = nullptr;
  std::uint32_t ownProcessId = 0;
  std::uint32_t ownSessionId = kUnknownSession;
};

// One pass: the main window class, the titles "ZMS" and "KelvoTarnel", then the enumeration.
platform::WindowHandle FindExistingWindow();
// Up to twelve passes, 120 ms apart.
platform::WindowHandle FindExistingWindowWithRetry();
// False (stop) on a hit, which it leaves in `search`.
bool EnumExistingWindowProc(platform::WindowHandle window, ExistingWindowSearch* search);

// Writes "SHOW" to the running instance's pipe; false when no server took it.
bool SendActivationRequest();

// True when `window` ends up as the foreground window.
bool ForceForegroundWindow(platform::WindowHandle window);

// Serves the activation pipe until activationPipeStopFlag is set.
void ActivationPipeServerThread();
// The pipe's security as SDDL: all access for this process's logon session and nobody else;
// empty when the token names no logon session.
std::u16string ActivationPipeSecurity();
// Whether a payload read from the pipe asks for the window.
bool IsShowRequest(std::string_view payload);
