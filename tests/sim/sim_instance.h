// A simulated desktop for single instance and activation: top-level windows of processes in
// sessions, the foreground, the activation pipe of a running instance (the client's side) and
// of this process (the server's side), and the threads this process starts.
//
// Calls that act, search or touch a pipe or thread are recorded in sim::Journal(), for example
// "FindWindowW class FLUTTER_RUNNER_WIN32_WINDOW", "EnumWindows", "ShowWindow #1 9",
// "SetWindowPos #1 TOPMOST 67", "AttachThreadInput 3001 2001 1", "SendInput VK18 down, VK18 up",
// "CreateFileW \\.\pipe\KelvoTarnelActivation 0x40000000 0 3", "WriteFile SHOW",
// "CreateNamedPipeW \\.\pipe\KelvoTarnelActivation 1 6 255 64 64 0", "ReadFile 64",
// "PostMessageW #1 1034 0 0", "CloseHandle pipe", "CreateThread". Windows are named "#n" in the
// order they were added. Queries (IsWindow, GetWindow, class and title reads, ids, sessions,
// IsIconic, GetForegroundWindow) are counted, not recorded. Failures set the error that
// platform::GetLastError() answers.
//
// All windows share the one desktop whatever their session: the session is only what
// ProcessIdToSessionId answers for a window's process.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "launch/instance_platform.h"

namespace sim {

constexpr std::uint32_t kOwnProcessId = 100;
constexpr std::uint32_t kOwnThreadId = 1001;
constexpr std::uint32_t kOtherProcessId = 200;
constexpr std::uint32_t kOtherThreadId = 2001;
constexpr std::uint32_t kOwnSessionId = 1;

// Waits on ConnectNamedPipe and on threads never last longer than this in the simulation.
constexpr std::chrono::milliseconds kSimulatedWaitBound{10000};

void ResetInstances();

// ---- Windows ----
struct WindowSpec {
  std::u16string className;
  std::u16string title;
  std::uint32_t processId = kOtherProcessId;
  std::uint32_t threadId = kOtherThreadId;
  platform::WindowHandle owner = nullptr;
  bool visible = true;
  bool iconic = false;
};
// Added windows go to the top of the z-order, where FindWindowW and EnumWindows look first.
platform::WindowHandle AddWindow(const WindowSpec& shape);
// The handle stays a value; it is no longer a window.
void DestroyWindow(platform::WindowHandle window);
bool IsVisible(platform::WindowHandle window);
bool IsIconicWindow(platform::WindowHandle window);
bool IsTopmost(platform::WindowHandle window);
std::string Label(platform::WindowHandle window);

// Sessions by process; every process is in kOwnSessionId until told otherwise. nullopt makes
// the lookup fail.
void SetSessionOf(std::uint32_t processId, std::optional<std::uint32_t> session);

// ---- Foreground ----
void SetForeground(platform::WindowHandle window);
platform::WindowHandle Foreground();
// The one step of the escalation at which the foreground gives way; before it, every other
// call leaves the foreground where it is.
enum class ForegroundYieldsTo {
  kSetForegroundWindow,  // any SetForegroundWindow
  kAttachedInput,        // SetForegroundWindow while the foreground's input is attached to ours
  kSwitchToThisWindow,
  kAltKey,   // SetForegroundWindow after an Alt press and release from SendInput
  kTopmost,  // BringWindowToTop of a topmost window
  kNothing,
};
void SetForegroundYieldsTo(ForegroundYieldsTo step);
void SetAttachThreadInputSucceeds(bool succeeds);
// Thread pairs attached and not yet detached, as "from->to".
std::vector<std::string> AttachedInputs();

// ---- The running instance's pipe, from this process's side (a client) ----
// Whether a server of the other instance waits on the pipe; without one an open fails with
// ERROR_FILE_NOT_FOUND (2).
void SetPipeServerListening(bool listening);
// The next opens fail with these errors, one each, in order (0 lets that open through); then
// SetPipeServerListening answers again.
void ScriptPipeOpens(std::vector<unsigned long> errors);
void SetPipeWritesFail(bool fail);
// The bytes each client wrote, in order.
std::vector<std::string> DeliveredRequests();

// ---- This process's pipe server ----
// The next creates fail with this error; the ones after succeed.
void FailPipeCreates(int count, unsigned long error = 5);
struct IncomingClient {
  enum class Connect { kWaited, kBeforeTheWait, kFails } connect = Connect::kWaited;
  unsigned long connectError = 232;  // for kFails
  // What a read finds; nullopt makes the read fail (the client left).
  std::optional<std::string> payload = std::string("SHOW");
};
// Clients that come, one per ConnectNamedPipe, in order. ConnectNamedPipe with none waiting
// blocks, as the real call does, until one is queued or ReleaseBlockedConnect.
void QueueClient(const IncomingClient& client);
// True once a ConnectNamedPipe blocks with no client left to take, within `bound`.
bool WaitForBlockedConnect(std::chrono::milliseconds bound);
// The blocked (or the next) ConnectNamedPipe fails with ERROR_OPERATION_ABORTED (995).
void ReleaseBlockedConnect();
int ConnectTimeouts();  // blocked waits that ran into kSimulatedWaitBound

struct PostedMessage {
  platform::WindowHandle window;
  unsigned message;
  std::uintptr_t wParam;
  std::intptr_t lParam;
};
std::vector<PostedMessage> PostedMessages();

// ---- Threads ----
void SetCreateThreadFails(bool fails);
int StartedThreads();
// True once every started thread has ended, within `bound`; they are joined then.
bool WaitForThreads(std::chrono::milliseconds bound);

// Pipe and thread handles open, and calls that named one that was not open.
int OpenPipeHandles();
int OpenThreadHandles();
int InvalidHandleUses();
int QueryCount(const std::string& query);

// Runs after every recorded call, with its journal entry, on the calling thread: a test changes
// the world at a chosen step.
void SetCallHook(std::function<void(const std::string& entry)> hook);

}  // namespace sim
