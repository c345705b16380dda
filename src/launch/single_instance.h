// Single instance and activation. A second launch finds the running instance through the mutex
// (instance_mutex.cpp), asks it over the activation pipe to show itself, and forces its window
// to the front from outside; the running instance serves that pipe on a detached thread.
// ActivateRunningInstance and StartActivationPipeServer are declared in launch_stages.h.
#pragma once

#include <cstdint>
#include <string_view>

#include "launch/instance_platform.h"
#include "launch/launch_stages.h"

inline constexpr std::u16string_view kActivationPipeName = u"\\\\.\\pipe\\KelvoTarnelActivation";
inline constexpr std::string_view kActivationRequest = "SHOW";
inline constexpr std::u16string_view kMainWindowClass = u"FLUTTER_RUNNER_WIN32_WINDOW";
inline constexpr std::u16string_view kLockWindowClass = u"KelvoTarnelNativeLockWindow";
inline constexpr std::uint32_t kUnknownSession = 0xFFFFFFFF;

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
// Whether a payload read from the pipe asks for the window.
bool IsShowRequest(std::string_view payload);
