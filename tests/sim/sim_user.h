// The simulated desktop behind platform/user.h and the shell's notification area: windows of this
// process (run through their class procedure, in the order Windows sends the messages) and of
// other processes (described by the test), one z-order, the foreground and its rules, per-thread
// message queues with window-event hooks, timers, menus, the tray, monitors and DPI, the session's
// lock and the power calls.
//
// Windows are named "w1", "w2", ... in the order they were made, whoever made them; a destroyed
// window keeps its name and its handle stays a value that is no longer a window. Every call is
// listed in DesktopCalls(), e.g. "IsWindow w1", "GetClassNameW w1 256", "SetWindowPos w1 TOPMOST
// 0,0 0x0 67"; those that act (create, destroy, place, show, post, activate, menus, the tray,
// power) go to sim::Journal() as well, where a test reads them in order with the rest of the
// simulation.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/geometry.h"
#include "platform/shell.h"
#include "platform/user.h"
#include "sim_kernel.h"

namespace sim {

struct LayeredAttributes {
  std::uint32_t colorKey = 0;
  std::uint8_t alpha = 255;
  std::uint32_t flags = 0;
};

// One window as the desktop holds it. Tests describe other processes' windows with it; windows
// made by CreateWindowExW are described the same way.
struct DesktopWindow {
  std::uint32_t pid = kOtherProcessId;
  std::uint32_t threadId = kOtherThreadId;
  std::u16string className;
  std::u16string title;
  platform::WindowHandle owner = nullptr;
  platform::WindowHandle parent = nullptr;
  unsigned long style = 0;  // WS_VISIBLE is added while `visible` holds
  unsigned long exStyle = 0;
  bool visible = true;
  bool iconic = false;
  bool topmost = false;
  // The DWMWA_CLOAKED word; none makes the query fail, as it does without composition.
  std::optional<std::uint32_t> cloaked = 0U;
  // DWMWA_EXTENDED_FRAME_BOUNDS; none makes the query fail.
  std::optional<Rect> frameBounds;
  // GetWindowRect; none makes it fail. The client area is the same size, less the frame of a
  // window with a caption.
  std::optional<Rect> windowRect;
  // GetLayeredWindowAttributes of a WS_EX_LAYERED window; none makes the call fail, as for a
  // window drawn with UpdateLayeredWindow.
  std::optional<LayeredAttributes> layered;
  // What GetWindowTextLengthW answers when it differs from the title's length.
  std::optional<int> reportedTextLength;
  // What GetDpiForWindow answers; none is the monitor's DPI, 0 a system without the call.
  std::optional<unsigned> dpi;
  // Set by EnableNonClientDpiScaling while the window handles WM_NCCREATE.
  bool nonClientDpiScaling = false;
};

// Frame of a window with a caption: the client area is this much smaller than the window.
inline constexpr int kFrameWidth = 16;
inline constexpr int kFrameHeight = 39;

// Window events as SetWinEventHook numbers them.
using platform::kEventObjectCreate;
using platform::kEventObjectDestroy;
using platform::kEventObjectHide;
using platform::kEventObjectShow;

// ---- Windows ----
// Added windows go to the top of the z-order, where FindWindowW and EnumWindows look first.
platform::WindowHandle AddDesktopWindow(const DesktopWindow& window);
void ChangeDesktopWindow(platform::WindowHandle window,
                         const std::function<void(DesktopWindow&)>& change);
void SetDesktopWindowVisible(platform::WindowHandle window, bool visible);
// Gone without a message, as when its process ends.
void DestroyDesktopWindow(platform::WindowHandle window);
std::optional<DesktopWindow> Window(platform::WindowHandle window);
// GetAncestor(GA_ROOT): up the parent chain to the window below the desktop.
platform::WindowHandle RootAncestor(platform::WindowHandle window);
std::string Label(platform::WindowHandle window);  // "w1", ...; "null" for none, "stale"
// A handle that never named a window.
platform::WindowHandle StaleHandle();
// Live windows of this process.
int LiveWindowCount();

// ---- Calls ----
std::vector<std::string> DesktopCalls();
// How many calls were exactly this entry, e.g. "GetWindowTextW w1 256".
int QueryCount(const std::string& entry);
// Runs after each call that names a window, on the calling thread, outside the desktop's lock.
void SetDesktopCallHook(
    std::function<void(std::string_view call, platform::WindowHandle window)> hook);

// ---- This process's windows ----
bool ClassRegistered(const std::u16string& className);
std::optional<platform::WindowClass> RegisteredClass(const std::u16string& className);
// The messages a window left to DefWindowProcW, in order.
std::vector<unsigned> DefaultHandled(platform::WindowHandle window);
int QuitMessagesPosted();
void SetCreateWindowFails(bool fails);
// The module's icon resource 101 (missing makes LoadIconW fail).
void SetIconResourcePresent(bool present);
platform::IconHandle IconHandle();
platform::CursorHandle ArrowCursorHandle();
platform::CursorHandle HandCursorHandle();

// What WM_GETMINMAXINFO's lParam points at in the simulation.
struct MinMaxInfo {
  Point minTrackSize{112, 27};
  Point maxTrackSize{1944, 1104};
};
// Sends a message through the window's procedure, as SendMessageW would.
std::intptr_t SendMessage(platform::WindowHandle window, unsigned message,
                          std::uintptr_t wParam = 0, std::intptr_t lParam = 0);
MinMaxInfo SendGetMinMaxInfo(platform::WindowHandle window);
std::intptr_t SendDpiChanged(platform::WindowHandle window, unsigned dpi, const Rect& suggested);
// A window of no registered class, such as the engine's view: DefWindowProcW handles it all.
platform::WindowHandle CreatePlainWindow(const std::u16string& className, int width, int height);
// The number the session gives this message name, as another process would see it.
unsigned RegisteredMessage(const std::u16string& name);

struct PostedMessage {
  platform::WindowHandle window;
  unsigned message;
  std::uintptr_t wParam;
  std::intptr_t lParam;
};
// Messages posted to windows, in order, whoever they were for.
std::vector<PostedMessage> PostedMessages();
// Posts, ShowWindowAsync and SetWindowPos on the window fail and change nothing, as for a
// window of a hung or higher-integrity process.
void SetWindowRefusesActions(platform::WindowHandle window, bool refuses);
// ShowWindowAsync on the window only queues its command, as a busy owner thread leaves it
// waiting; ApplyDeferredShows carries the queue out in order.
void SetWindowDefersAsyncShow(platform::WindowHandle window, bool defers);
void ApplyDeferredShows(platform::WindowHandle window);

// ---- Foreground and focus ----
platform::WindowHandle ForegroundWindow();
platform::WindowHandle FocusWindow();
void SetForeground(platform::WindowHandle window);
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

// ---- Message queues and window events ----
// A thread has a queue once it called PeekMessageW or GetMessageW.
// Queues the event to every hook whose range holds it, as the system does for an out-of-context
// hook: the callback runs on the hook's thread inside its GetMessageW. False when no hook took it.
bool DeliverWinEvent(std::uint32_t event, platform::WindowHandle window, std::int32_t objectId = 0,
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
// Block until that many hooks are set, or until every queued event is handled.
void WaitForWinEventHooks(int count);
void WaitForWinEventsHandled();
// SetWinEventHook answers null, as it does when the system refuses the hook.
void SetWinEventHooksFail(bool fail);
// Blocks until some thread waits inside GetMessageW.
void WaitForThreadInGetMessage();

// ---- Input, menus, the tray ----
// nullopt makes GetCursorPos fail, as it does on a desktop the process cannot read.
void SetCursorPos(std::optional<Point> point);
// nullopt makes GetLastInputInfo fail.
void SetLastInputTick(std::optional<std::uint32_t> tick);
struct MenuItem {
  unsigned flags = 0;
  std::uintptr_t id = 0;
  std::u16string text;
};
// The command TrackPopupMenu answers; 0 (the default) is a menu dismissed without a choice.
void SetMenuChoice(int command);
// The items of the menu that TrackPopupMenu showed last.
std::vector<MenuItem> LastTrackedMenu();
int OpenMenuCount();

struct TrayCall {
  unsigned message = 0;
  platform::NotifyIconData data;
  bool succeeded = false;
};
std::vector<TrayCall> TrayCalls();
// Without a taskbar every NIM_ADD fails; a running one refuses NIM_ADD of an icon it shows and
// NIM_MODIFY or NIM_DELETE of one it doesn't.
void SetTaskbarRunning(bool running);
// The taskbar restarts: every icon is gone.
void RestartTaskbar();
bool TrayIconShown(platform::WindowHandle window, unsigned id);
// Shell_NotifyIconW throws, as an unexpected failure inside a module would.
void SetTrayThrows(bool throws);

// ---- Monitors ----
struct MonitorConfig {
  bool present = true;  // MonitorFromPoint and MonitorFromRect find it
  unsigned dpi = 96;
  // rcMonitor's size, at 0,0; none makes GetMonitorInfoW fail.
  std::optional<Size> size = Size{1920, 1080};
  // SM_CXSCREEN and SM_CYSCREEN, and the virtual screen.
  Size primaryScreen{1920, 1080};
};
void SetMonitor(const MonitorConfig& monitor);

// ---- Session and power ----
void SetLockWorkStationSucceeds(bool succeeds);
bool SessionLocked();
// What ExitWindowsEx accepted (with the shutdown privilege enabled); the machine only notes it.
struct ExitRequest {
  unsigned flags = 0;
  std::uint32_t reason = 0;
};
std::vector<ExitRequest> AcceptedExitRequests();
// A hung or absent receiver: SendMessageTimeoutW fails and the display stays on.
void SetDisplayIgnoresPowerOff(bool ignores);
bool DisplayOff();

// ---- The update region ----
// The bounding rectangle of what InvalidateRect asked for since the last call (cut to the client
// area), emptied as BeginPaint validates it; empty when nothing is invalid.
Rect TakeUpdateRect(platform::WindowHandle window);

// ---- Low-level keyboard hooks ----
// Hooks set by SetWindowsHookExW(WH_KEYBOARD_LL) and not yet removed.
int ActiveKeyboardHooks();
// SetWindowsHookExW answers null, as it does when the system refuses the hook.
void SetWindowsHooksFail(bool fail);
// What GetAsyncKeyState answers for the key; every key is up until set.
void SetAsyncKeyDown(unsigned virtualKey, bool down);
// One key event (LLKHF_* flags) through the newest hook, on the calling thread: its answer,
// non-zero when the hook swallowed the key; 0 without a hook.
std::intptr_t SendLowLevelKey(unsigned virtualKey, std::uint32_t flags = 0);

}  // namespace sim
