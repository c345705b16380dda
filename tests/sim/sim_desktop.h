// A simulated desktop for the blocker's window port: windows of several processes with their
// class, title, owner, parent, styles, visibility, cloaking, frame bounds and rectangles, the
// processes' image paths, the Windows directory and the system time. Every port call is listed
// with windows named "w1", "w2", ... in creation order, and a hook can change the desktop
// between two calls, as another thread or process would. Reset it in every test.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "blocker/window_system.h"

namespace sim {

constexpr std::uintptr_t kWsChild = 0x40000000;
constexpr std::uintptr_t kWsVisible = 0x10000000;
constexpr std::uintptr_t kWsPopup = 0x80000000;
constexpr std::uintptr_t kWsExToolWindow = 0x00000080;
constexpr std::uintptr_t kWsExLayered = 0x00080000;
constexpr std::uintptr_t kWsExTransparent = 0x00000020;
constexpr std::uintptr_t kWsExNoActivate = 0x08000000;
constexpr std::uint32_t kLwaColorKey = 1;
constexpr std::uint32_t kLwaAlpha = 2;

constexpr std::int32_t kENotImpl = static_cast<std::int32_t>(0x80004001);
constexpr std::int32_t kEHandle = static_cast<std::int32_t>(0x80070006);
constexpr std::int32_t kEInvalidArg = static_cast<std::int32_t>(0x80070057);

// Window events as SetWinEventHook numbers them.
constexpr std::uint32_t kEventObjectCreate = 0x8000;
constexpr std::uint32_t kEventObjectDestroy = 0x8001;
constexpr std::uint32_t kEventObjectShow = 0x8002;
constexpr std::uint32_t kEventObjectHide = 0x8003;

struct LayeredAttributes {
  std::uint32_t colorKey = 0;
  std::uint8_t alpha = 255;
  std::uint32_t flags = 0;
};

struct DesktopWindow {
  std::uint32_t pid = 0;
  std::u16string className;
  std::u16string title;
  blocker::WindowHandle owner = nullptr;
  blocker::WindowHandle parent = nullptr;
  std::uintptr_t style = 0;  // WS_VISIBLE is added while `visible` holds
  std::uintptr_t exStyle = 0;
  bool visible = true;
  // The DWMWA_CLOAKED word; none makes the query fail, as it does without composition.
  std::optional<std::uint32_t> cloaked = 0u;
  // DWMWA_EXTENDED_FRAME_BOUNDS; none makes the query fail.
  std::optional<blocker::Rect> frameBounds;
  // GetWindowRect; none makes it fail.
  std::optional<blocker::Rect> windowRect;
  // GetLayeredWindowAttributes of a WS_EX_LAYERED window; none makes the call fail, as for a
  // window drawn with UpdateLayeredWindow.
  std::optional<LayeredAttributes> layered;
  // What GetWindowTextLengthW answers when it differs from the title's length.
  std::optional<int> reportedTextLength;
};

struct DesktopProcess {
  std::u16string imagePath;
  bool openRefused = false;  // OpenProcess denied, as for a protected or elevated process
  bool queryFails = false;   // QueryFullProcessImageNameW fails on the handle
};

void ResetDesktop();

blocker::WindowHandle AddDesktopWindow(const DesktopWindow& window);
void ChangeDesktopWindow(blocker::WindowHandle window,
                         const std::function<void(DesktopWindow&)>& change);
void SetDesktopWindowVisible(blocker::WindowHandle window, bool visible);
void DestroyDesktopWindow(blocker::WindowHandle window);
std::optional<DesktopWindow> GetDesktopWindow(blocker::WindowHandle window);
// GetAncestor(GA_ROOT): up the parent chain to the window below the desktop.
blocker::WindowHandle RootAncestor(blocker::WindowHandle window);
std::string DesktopLabel(blocker::WindowHandle window);  // "w1", ...; "null" for none
// A handle that never named a window.
blocker::WindowHandle StaleHandle();

void AddProcess(std::uint32_t pid, const DesktopProcess& process);
// Process handles handed out and not yet closed.
int OpenProcessHandles();

// None makes GetWindowsDirectoryW fail.
void SetWindowsDirectory(std::optional<std::u16string> directory);
void SetSystemTimeFileTime(std::uint64_t ticks);
void SetSystemTimeMs(std::int64_t unixMs);

// The port calls in order, e.g. "IsWindow w1", "DwmGetWindowAttribute w1 14",
// "OpenProcess 4096 0 1200".
std::vector<std::string> DesktopCalls();
// Runs after each port call that names a window, outside the desktop's lock.
void SetDesktopCallHook(std::function<void(std::string_view call, blocker::WindowHandle)> hook);

struct DesktopEvent {
  std::uint32_t event = 0;
  blocker::WindowHandle window = nullptr;
};
// Created, shown, hidden and destroyed windows, in order, as the system raises the events.
std::vector<DesktopEvent> DesktopEvents();

// The engine's side of the desktop: its own process id, actions that a window refuses, window
// events through hooks and per-thread message queues, and the workers it starts.

// What GetCurrentProcessId answers; 0 until set.
void SetCurrentProcessId(std::uint32_t pid);
// Posts, ShowWindowAsync and SetWindowPos on the window fail and change nothing.
void SetWindowRefusesActions(blocker::WindowHandle window, bool refuses);
// Moves the system time on, as a sleep hook does to run delays on a simulated clock.
void AdvanceSystemTimeMs(std::int64_t milliseconds);

// Queues the event to every hook whose range holds it, as the system does for an out-of-context
// hook: the callback runs on the hook's thread inside its GetMessageW. False when no hook took it.
bool DeliverWinEvent(std::uint32_t event, blocker::WindowHandle window, std::int32_t objectId = 0,
                     std::int32_t childId = 0);
// While held, a thread's first PeekMessageW waits before its queue exists, so that a post to
// it fails as it does to a thread that has no queue yet.
void HoldMessageQueueCreation(bool hold);
void WaitForThreadHeldBeforeItsQueue();
// Posts WM_QUIT to every thread that has a queue: frees a test that went wrong.
void QuitEveryMessageLoop();
int ActiveWinEventHooks();
// Events queued to hook threads whose callback has not yet returned.
int PendingWinEvents();
// Block until that many hooks are set, or until every queued event is handled. A hook thread
// that never reads its queue keeps the second waiting.
void WaitForWinEventHooks(int count);
void WaitForWinEventsHandled();

// Threads started through StartDetachedThread run for real; this joins every one of them,
// including those started while it waits, and gives how many it joined.
int WaitForDesktopThreads();
int DesktopThreadsStarted();

}  // namespace sim
