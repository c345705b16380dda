#include "sim_user.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "base/text.h"
#include "engine_abi/flutter_embedder.h"
#include "platform/kernel.h"
#include "sim_core.h"
#include "sim_kernel.h"

namespace {

using platform::WindowHandle;

constexpr std::uintptr_t kWindowBase = 0x10000;
constexpr std::uintptr_t kWindowStride = 0x10;
constexpr std::uintptr_t kMenuBase = 0x50000;
constexpr std::uintptr_t kHookBase = 0x5000;
constexpr std::uintptr_t kIcon = 0x600000;
constexpr std::uintptr_t kArrowCursor = 0x610000;
constexpr std::uintptr_t kHandCursor = 0x610010;
constexpr std::uintptr_t kMonitor = 0x2000;
constexpr std::uintptr_t kThreadTimerBase = 0x7F00;

constexpr unsigned long kErrorInvalidWindowHandle = 1400;
constexpr unsigned long kErrorClassAlreadyExists = 1410;
constexpr unsigned long kErrorClassDoesNotExist = 1411;
constexpr unsigned long kErrorClassHasWindows = 1412;
constexpr unsigned long kErrorInvalidThreadId = 1444;
constexpr unsigned long kErrorPrivilegeNotHeld = 1314;
constexpr unsigned long kErrorInvalidMenuHandle = 1401;

constexpr std::int32_t kENotImpl = static_cast<std::int32_t>(0x80004001);
constexpr std::int32_t kEHandle = static_cast<std::int32_t>(0x80070006);
constexpr std::int32_t kEInvalidArg = static_cast<std::int32_t>(0x80070057);

constexpr unsigned long kWsThickFrame = 0x00040000;
constexpr unsigned kWmShowWindow = 0x0018;
constexpr unsigned kWmNull = 0;
constexpr int kIconResource = 101;
constexpr std::uintptr_t kWindowHandleTopmost = static_cast<std::uintptr_t>(-1);
constexpr std::uintptr_t kWindowHandleNoTopmost = static_cast<std::uintptr_t>(-2);
constexpr std::uintptr_t kWindowHandleBottom = 1;
constexpr std::uintptr_t kWindowHandleBroadcast = 0xFFFF;

// Made-up handles, never dereferenced.
template <typename Handle>
Handle FakeHandle(std::uintptr_t value) {
  return reinterpret_cast<Handle>(value);  // NOLINT(performance-no-int-to-ptr)
}

struct WindowRecord {
  sim::DesktopWindow window;
  bool alive = true;
  bool ours = false;  // made by CreateWindowExW: messages go through its procedure
  bool refuses = false;
  bool defersAsyncShow = false;
  std::vector<int> deferredShows;
  platform::WindowProcedure procedure = nullptr;
  std::map<int, std::intptr_t> longs;
  std::vector<unsigned> defaultHandled;
  std::optional<Rect> update;  // the invalidated part of the client area, for BeginPaint
};

struct Timer {
  WindowHandle window = nullptr;
  std::uintptr_t id = 0;
  std::uint32_t threadId = 0;
  unsigned interval = 0;
  std::uint32_t due = 0;
};

struct QueuedItem {
  bool isEvent = false;
  platform::Message message;
  platform::WinEventHookHandle hook = nullptr;
  std::uint32_t event = 0;
  std::int32_t objectId = 0;
  std::int32_t childId = 0;
};

struct Queue {
  std::deque<QueuedItem> items;
  std::optional<int> quitCode;  // PostQuitMessage: WM_QUIT once the posted messages are out
  int waiting = 0;
};

struct HookRecord {
  std::uint32_t eventMin = 0;
  std::uint32_t eventMax = 0;
  platform::WinEventProcedure procedure = nullptr;
  std::uint32_t threadId = 0;
  std::uint32_t processId = 0;
  std::uint32_t flags = 0;
};

struct Desktop {
  std::mutex lock;  // workers and hook threads ask at once; procedures run outside it
  std::condition_variable changed;
  std::vector<WindowRecord> windows;  // window n is windows[n - 1]
  std::vector<int> zOrder;            // top-level windows, top first
  std::vector<platform::WindowClass> classes;
  std::vector<std::string> calls;
  std::function<void(std::string_view, WindowHandle)> hook;
  std::vector<sim::PostedMessage> posted;

  WindowHandle focus = nullptr;
  WindowHandle foreground = nullptr;
  sim::ForegroundYieldsTo yieldsTo = sim::ForegroundYieldsTo::kSetForegroundWindow;
  bool attachSucceeds = true;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> attached;
  bool altTapped = false;

  WindowHandle inNcCreate = nullptr;
  int quitMessages = 0;
  bool iconPresent = true;
  bool createFails = false;
  bool winEventHooksFail = false;
  platform::CursorHandle cursor = nullptr;

  std::map<platform::WinEventHookHandle, HookRecord> hooks;
  std::uintptr_t nextHook = kHookBase;
  std::map<std::uint32_t, Queue> queues;  // a thread has one once it asked for messages
  int pendingEvents = 0;
  bool holdQueueCreation = false;
  int heldInPeek = 0;
  std::vector<Timer> timers;
  std::uintptr_t nextThreadTimer = kThreadTimerBase;

  std::optional<Point> cursorPos = Point{640, 400};
  std::optional<std::uint32_t> lastInput = 0U;
  std::map<platform::MenuHandle, std::vector<sim::MenuItem>> menus;
  std::uintptr_t nextMenu = kMenuBase;
  int menuChoice = 0;
  std::vector<sim::MenuItem> lastTracked;

  bool taskbarRunning = true;
  bool trayThrows = false;
  std::vector<std::pair<WindowHandle, unsigned>> trayIcons;
  std::vector<sim::TrayCall> trayCalls;

  sim::MonitorConfig monitor;

  bool lockSucceeds = true;
  bool locked = false;
  std::vector<sim::ExitRequest> exits;
  bool displayIgnores = false;
  bool displayOff = false;
};

Desktop& D() {
  static Desktop desktop;
  return desktop;
}

// The test's controls set and read one field each under the lock.
template <typename Field, typename Value>
void Assign(Field Desktop::*field, Value value) {
  const std::lock_guard guard(D().lock);
  D().*field = std::move(value);
}

template <typename Field>
Field Read(Field Desktop::*field) {
  const std::lock_guard guard(D().lock);
  return D().*field;
}

// Message names live for the session, so they outlast every reset.
std::map<std::u16string, unsigned>& RegisteredMessages() {
  static std::map<std::u16string, unsigned> messages;
  return messages;
}

int NumberOfLocked(WindowHandle window) {
  const auto value = reinterpret_cast<std::uintptr_t>(window);
  if (value <= kWindowBase || (value - kWindowBase) % kWindowStride != 0) return 0;
  const auto number = (value - kWindowBase) / kWindowStride;
  return number <= D().windows.size() ? static_cast<int>(number) : 0;
}

WindowHandle HandleOf(int number) {
  return FakeHandle<WindowHandle>(kWindowBase +
                                  kWindowStride * static_cast<std::uintptr_t>(number));
}

WindowRecord* FindLocked(WindowHandle window) {
  const int number = NumberOfLocked(window);
  if (number == 0) return nullptr;
  WindowRecord& record = D().windows[static_cast<std::size_t>(number - 1)];
  return record.alive ? &record : nullptr;
}

std::string LabelLocked(WindowHandle window) {
  if (!window) return "null";
  const int number = NumberOfLocked(window);
  return number == 0 ? "stale" : "w" + std::to_string(number);
}

std::string InsertAfterLocked(WindowHandle insertAfter) {
  const auto value = reinterpret_cast<std::uintptr_t>(insertAfter);
  if (value == 0) return "TOP";
  if (value == kWindowHandleBottom) return "BOTTOM";
  if (value == kWindowHandleTopmost) return "TOPMOST";
  if (value == kWindowHandleNoTopmost) return "NOTOPMOST";
  return LabelLocked(insertAfter);
}

bool IsTopLevel(const sim::DesktopWindow& window) {
  return window.parent == nullptr || (window.style & platform::kWsChild) == 0;
}

void RaiseLocked(WindowHandle window) {
  const int number = NumberOfLocked(window);
  auto& order = D().zOrder;
  const auto it = std::find(order.begin(), order.end(), number);
  if (it == order.end()) return;
  order.erase(it);
  order.insert(order.begin(), number);
}

std::string Geometry(int x, int y, int width, int height) {
  return std::to_string(x) + "," + std::to_string(y) + " " + std::to_string(width) + "x" +
         std::to_string(height);
}

Rect ClientOf(const sim::DesktopWindow& window) {
  if (!window.windowRect) return {};
  const bool framed = (window.style & platform::kWsCaption) == platform::kWsCaption;
  const int width = std::max(0, window.windowRect->Width() - (framed ? sim::kFrameWidth : 0));
  const int height = std::max(0, window.windowRect->Height() - (framed ? sim::kFrameHeight : 0));
  return {0, 0, width, height};
}

Point ClientOriginOf(const sim::DesktopWindow& window) {
  if (!window.windowRect) return {};
  const bool framed = (window.style & platform::kWsCaption) == platform::kWsCaption;
  return {window.windowRect->left + (framed ? sim::kFrameWidth / 2 : 0),
          window.windowRect->top + (framed ? sim::kFrameHeight - sim::kFrameWidth / 2 : 0)};
}

// Lists the call, journals it when it acts, then runs the desktop's hook outside the lock.
void Note(const std::string& entry, WindowHandle window, bool acts) {
  std::function<void(std::string_view, WindowHandle)> hook;
  {
    const std::lock_guard guard(D().lock);
    D().calls.push_back(entry);
    hook = D().hook;
  }
  if (acts) sim::Record(entry);
  if (hook) hook(std::string_view(entry).substr(0, entry.find(' ')), window);
}

// Lists the call and journals it when it acts; the desktop's hook runs once the call is done,
// outside the lock, so that a test changes the world between two calls.
class Call {
 public:
  Call(std::string entry, WindowHandle window, bool acts) : window_(window) {
    {
      const std::lock_guard guard(D().lock);
      D().calls.push_back(entry);
      hook_ = D().hook;
    }
    if (acts) sim::Record(entry);
    name_ = entry.substr(0, entry.find(' '));
  }
  ~Call() {
    if (hook_) hook_(name_, window_);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  std::string name_;
  WindowHandle window_;
  std::function<void(std::string_view, WindowHandle)> hook_;
};

std::string Entry(const std::string& name, WindowHandle window, const std::string& extra) {
  std::string entry;
  {
    const std::lock_guard guard(D().lock);
    entry = name + " " + LabelLocked(window);
  }
  if (!extra.empty()) entry += " " + extra;
  return entry;
}

Call Query(const std::string& name, WindowHandle window, const std::string& extra = {}) {
  return {Entry(name, window, extra), window, false};
}

Call Act(const std::string& name, WindowHandle window, const std::string& extra = {}) {
  return {Entry(name, window, extra), window, true};
}

std::intptr_t PackSize(int width, int height) {
  return static_cast<std::intptr_t>((static_cast<std::uint32_t>(height) << 16U) |
                                    (static_cast<std::uint32_t>(width) & 0xFFFFU));
}

// Runs the window's procedure on the calling thread, without the desktop's lock.
std::intptr_t Deliver(WindowHandle window, unsigned message, std::uintptr_t wParam,
                      std::intptr_t lParam) {
  platform::WindowProcedure procedure = nullptr;
  {
    const std::lock_guard guard(D().lock);
    const WindowRecord* record = FindLocked(window);
    if (!record || !record->ours) return 0;
    procedure = record->procedure;
  }
  if (procedure) return procedure(window, message, wParam, lParam);
  return platform::DefWindowProcW(window, message, wParam, lParam);
}

void SendSize(WindowHandle window) {
  Rect client;
  {
    const std::lock_guard guard(D().lock);
    const WindowRecord* record = FindLocked(window);
    if (!record) return;
    client = ClientOf(record->window);
  }
  Deliver(window, platform::kWmSize, 0, PackSize(client.right, client.bottom));
}

void DestroyTree(WindowHandle window) {
  Deliver(window, platform::kWmDestroy, 0, 0);
  std::vector<WindowHandle> children;
  {
    const std::lock_guard guard(D().lock);
    for (std::size_t i = 0; i < D().windows.size(); ++i) {
      const WindowRecord& record = D().windows[i];
      if (record.alive && record.window.parent == window && !IsTopLevel(record.window)) {
        children.push_back(HandleOf(static_cast<int>(i + 1)));
      }
    }
  }
  for (const WindowHandle child : children) DestroyTree(child);
  Deliver(window, platform::kWmNcDestroy, 0, 0);

  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) return;
  record->alive = false;
  auto& order = D().zOrder;
  order.erase(std::remove(order.begin(), order.end(), NumberOfLocked(window)), order.end());
  if (D().focus == window) D().focus = nullptr;
  if (D().foreground == window) D().foreground = nullptr;
  // A destroyed window's messages and timers leave with it.
  for (auto& [thread, queue] : D().queues) {
    std::erase_if(queue.items, [window](const QueuedItem& item) {
      return !item.isEvent && item.message.window == window;
    });
  }
  std::erase_if(D().timers, [window](const Timer& timer) { return timer.window == window; });
}

// Raises a window event to every hook that wants it, as Windows does for an out-of-context hook.
bool QueueEventLocked(std::uint32_t event, WindowHandle window, std::int32_t objectId,
                      std::int32_t childId, std::uint32_t sourceProcess, bool byTest) {
  bool taken = false;
  for (const auto& [handle, hook] : D().hooks) {
    if (event < hook.eventMin || event > hook.eventMax) continue;
    if (!byTest) {
      if ((hook.flags & platform::kWineventSkipOwnProcess) != 0 &&
          sourceProcess == platform::GetCurrentProcessId()) {
        continue;
      }
      if (hook.processId != 0 && hook.processId != sourceProcess) continue;
    }
    const auto queue = D().queues.find(hook.threadId);
    if (queue == D().queues.end()) continue;
    QueuedItem item;
    item.isEvent = true;
    item.hook = handle;
    item.event = event;
    item.message.window = window;
    item.objectId = objectId;
    item.childId = childId;
    queue->second.items.push_back(item);
    ++D().pendingEvents;
    taken = true;
  }
  if (taken) D().changed.notify_all();
  return taken;
}

bool Matches(const platform::Message& message, WindowHandle window, unsigned filterMin,
             unsigned filterMax) {
  if (window && message.window != window) return false;
  if (filterMin == 0 && filterMax == 0) return true;
  return message.message >= filterMin && message.message <= filterMax;
}

Queue& QueueOfLocked(std::uint32_t threadId) { return D().queues[threadId]; }

// The thread's next timer that is due by `now`, or any when `now` is none; its next time set.
std::optional<Timer> TakeTimerLocked(std::uint32_t threadId, std::optional<std::uint32_t> now) {
  Timer* earliest = nullptr;
  for (Timer& timer : D().timers) {
    if (timer.threadId != threadId) continue;
    if (now && static_cast<std::int32_t>(timer.due - *now) > 0) continue;
    if (!earliest || static_cast<std::int32_t>(timer.due - earliest->due) < 0) earliest = &timer;
  }
  if (!earliest) return std::nullopt;
  const Timer taken = *earliest;
  earliest->due += std::max(1U, earliest->interval);
  return taken;
}

platform::Message MessageOf(WindowHandle window, unsigned number, std::uintptr_t wParam = 0) {
  platform::Message message;
  message.window = window;
  message.message = number;
  message.wParam = wParam;
  return message;
}

platform::Message TimerMessage(const Timer& timer) {
  platform::Message message;
  message.window = timer.window;
  message.message = platform::kWmTimer;
  message.wParam = timer.id;
  return message;
}

void ResetUser() {
  const std::lock_guard guard(D().lock);
  Desktop& d = D();
  // A loop that a test left running gets WM_QUIT rather than a queue that vanishes under it.
  std::map<std::uint32_t, Queue> waiting;
  for (auto& [thread, queue] : d.queues) {
    if (queue.waiting == 0) continue;
    Queue& kept = waiting[thread];
    kept.waiting = queue.waiting;
    kept.quitCode = 0;
  }
  d.windows.clear();
  d.zOrder.clear();
  d.classes.clear();
  d.calls.clear();
  d.hook = nullptr;
  d.posted.clear();
  d.focus = nullptr;
  d.foreground = nullptr;
  d.yieldsTo = sim::ForegroundYieldsTo::kSetForegroundWindow;
  d.attachSucceeds = true;
  d.attached.clear();
  d.altTapped = false;
  d.inNcCreate = nullptr;
  d.quitMessages = 0;
  d.iconPresent = true;
  d.createFails = false;
  d.winEventHooksFail = false;
  d.cursor = nullptr;
  d.hooks.clear();
  d.nextHook = kHookBase;
  d.queues = std::move(waiting);
  d.pendingEvents = 0;
  d.holdQueueCreation = false;
  d.timers.clear();
  d.nextThreadTimer = kThreadTimerBase;
  d.cursorPos = Point{640, 400};
  d.lastInput = 0U;
  d.menus.clear();
  d.nextMenu = kMenuBase;
  d.menuChoice = 0;
  d.lastTracked.clear();
  d.taskbarRunning = true;
  d.trayThrows = false;
  d.trayIcons.clear();
  d.trayCalls.clear();
  d.monitor = {};
  d.lockSucceeds = true;
  d.locked = false;
  d.exits.clear();
  d.displayIgnores = false;
  d.displayOff = false;
  d.changed.notify_all();
}

const bool registered = sim::OnReset(&ResetUser);

WindowHandle AddLocked(const sim::DesktopWindow& window, bool ours) {
  WindowRecord record;
  record.window = window;
  record.ours = ours;
  D().windows.push_back(std::move(record));
  const int number = static_cast<int>(D().windows.size());
  if (IsTopLevel(window)) D().zOrder.insert(D().zOrder.begin(), number);
  return HandleOf(number);
}

const platform::WindowClass* FindClassLocked(std::u16string_view className) {
  for (const platform::WindowClass& windowClass : D().classes) {
    if (EqualsFolded(windowClass.className, className)) return &windowClass;
  }
  return nullptr;
}

void SetShownLocked(WindowRecord& record, int command) {
  switch (command) {
    case platform::kSwHide:
      record.window.visible = false;
      break;
    case 2:  // SW_SHOWMINIMIZED
    case 6:  // SW_MINIMIZE
    case 7:  // SW_SHOWMINNOACTIVE
      record.window.visible = true;
      record.window.iconic = true;
      break;
    case 1:  // SW_SHOWNORMAL
    case platform::kSwRestore:
      record.window.visible = true;
      record.window.iconic = false;
      break;
    default:  // SW_SHOW and the rest keep the minimised state
      record.window.visible = true;
      break;
  }
}

WindowHandle RootLocked(WindowHandle window) {
  const WindowRecord* record = FindLocked(window);
  if (!record) return nullptr;
  while (!IsTopLevel(record->window) && FindLocked(record->window.parent)) {
    window = record->window.parent;
    record = FindLocked(window);
  }
  return window;
}

std::uint32_t ThreadOfLocked(WindowHandle window) {
  const WindowRecord* record = FindLocked(window);
  return record ? record->window.threadId : 0;
}

}  // namespace

namespace sim {

// ---- Windows ----

platform::WindowHandle AddDesktopWindow(const DesktopWindow& window) {
  if (window.pid != 0) NoteWindowOwner(window.pid);
  const std::lock_guard guard(D().lock);
  return AddLocked(window, false);
}

void ChangeDesktopWindow(platform::WindowHandle window,
                         const std::function<void(DesktopWindow&)>& change) {
  const std::lock_guard guard(D().lock);
  if (WindowRecord* record = FindLocked(window)) change(record->window);
}

void SetDesktopWindowVisible(platform::WindowHandle window, bool visible) {
  const std::lock_guard guard(D().lock);
  if (WindowRecord* record = FindLocked(window)) record->window.visible = visible;
}

void DestroyDesktopWindow(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) return;
  record->alive = false;
  auto& order = D().zOrder;
  order.erase(std::remove(order.begin(), order.end(), NumberOfLocked(window)), order.end());
  if (D().foreground == window) D().foreground = nullptr;
}

std::optional<DesktopWindow> Window(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) return std::nullopt;
  return record->window;
}

platform::WindowHandle RootAncestor(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  return RootLocked(window);
}

std::string Label(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  return LabelLocked(window);
}

platform::WindowHandle StaleHandle() { return FakeHandle<WindowHandle>(0xFFF0); }

int LiveWindowCount() {
  const std::lock_guard guard(D().lock);
  return static_cast<int>(std::count_if(D().windows.begin(), D().windows.end(),
                                        [](const WindowRecord& r) { return r.alive && r.ours; }));
}

// ---- Calls ----

std::vector<std::string> DesktopCalls() { return Read(&Desktop::calls); }

int QueryCount(const std::string& entry) {
  const std::lock_guard guard(D().lock);
  return static_cast<int>(std::count(D().calls.begin(), D().calls.end(), entry));
}

void SetDesktopCallHook(
    std::function<void(std::string_view call, platform::WindowHandle window)> hook) {
  const std::lock_guard guard(D().lock);
  D().hook = std::move(hook);
}

// ---- This process's windows ----

bool ClassRegistered(const std::u16string& className) {
  const std::lock_guard guard(D().lock);
  return FindClassLocked(className) != nullptr;
}

std::optional<platform::WindowClass> RegisteredClass(const std::u16string& className) {
  const std::lock_guard guard(D().lock);
  const platform::WindowClass* found = FindClassLocked(className);
  if (!found) return std::nullopt;
  return *found;
}

std::vector<unsigned> DefaultHandled(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  const int number = NumberOfLocked(window);
  if (number == 0) return {};
  return D().windows[static_cast<std::size_t>(number - 1)].defaultHandled;
}

int QuitMessagesPosted() { return Read(&Desktop::quitMessages); }

void SetCreateWindowFails(bool fails) { Assign(&Desktop::createFails, fails); }

void SetIconResourcePresent(bool present) { Assign(&Desktop::iconPresent, present); }

platform::IconHandle IconHandle() { return FakeHandle<platform::IconHandle>(kIcon); }
platform::CursorHandle ArrowCursorHandle() {
  return FakeHandle<platform::CursorHandle>(kArrowCursor);
}
platform::CursorHandle HandCursorHandle() {
  return FakeHandle<platform::CursorHandle>(kHandCursor);
}

std::intptr_t SendMessage(platform::WindowHandle window, unsigned message, std::uintptr_t wParam,
                          std::intptr_t lParam) {
  return Deliver(window, message, wParam, lParam);
}

MinMaxInfo SendGetMinMaxInfo(platform::WindowHandle window) {
  MinMaxInfo info;
  Deliver(window, platform::kWmGetMinMaxInfo, 0, reinterpret_cast<std::intptr_t>(&info));
  return info;
}

std::intptr_t SendDpiChanged(platform::WindowHandle window, unsigned dpi, const Rect& suggested) {
  Rect rect = suggested;
  const std::uintptr_t dpis = (static_cast<std::uintptr_t>(dpi) << 16U) | dpi;
  return Deliver(window, platform::kWmDpiChanged, dpis, reinterpret_cast<std::intptr_t>(&rect));
}

platform::WindowHandle CreatePlainWindow(const std::u16string& className, int width, int height) {
  DesktopWindow window;
  window.pid = platform::GetCurrentProcessId();
  window.threadId = platform::GetCurrentThreadId();
  window.className = className;
  window.windowRect = Rect{0, 0, width, height};
  window.cloaked = std::nullopt;
  WindowHandle handle = nullptr;
  {
    const std::lock_guard guard(D().lock);
    handle = AddLocked(window, true);
  }
  const Call call = Act("CreatePlainWindow", handle, WideToUtf8(className));
  return handle;
}

unsigned RegisteredMessage(const std::u16string& name) {
  const std::lock_guard guard(D().lock);
  auto& messages = RegisteredMessages();
  const auto it = messages.find(name);
  if (it != messages.end()) return it->second;
  const unsigned number = 0xC000 + static_cast<unsigned>(messages.size()) * 7 + 0x2F;
  messages.emplace(name, number);
  return number;
}

std::vector<PostedMessage> PostedMessages() { return Read(&Desktop::posted); }

void SetWindowDefersAsyncShow(platform::WindowHandle window, bool defers) {
  const std::lock_guard guard(D().lock);
  if (WindowRecord* record = FindLocked(window)) record->defersAsyncShow = defers;
}

void ApplyDeferredShows(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) return;
  for (const int command : record->deferredShows) SetShownLocked(*record, command);
  record->deferredShows.clear();
}

void SetWindowRefusesActions(platform::WindowHandle window, bool refuses) {
  const std::lock_guard guard(D().lock);
  if (WindowRecord* record = FindLocked(window)) record->refuses = refuses;
}

// ---- Foreground and focus ----

platform::WindowHandle ForegroundWindow() {
  const std::lock_guard guard(D().lock);
  return FindLocked(D().foreground) ? D().foreground : nullptr;
}

platform::WindowHandle FocusWindow() { return Read(&Desktop::focus); }

void SetForeground(platform::WindowHandle window) { Assign(&Desktop::foreground, window); }

void SetForegroundYieldsTo(ForegroundYieldsTo step) { Assign(&Desktop::yieldsTo, step); }

void SetAttachThreadInputSucceeds(bool succeeds) { Assign(&Desktop::attachSucceeds, succeeds); }

std::vector<std::string> AttachedInputs() {
  const std::lock_guard guard(D().lock);
  std::vector<std::string> pairs;
  for (const auto& [from, to] : D().attached) {
    pairs.push_back(std::to_string(from) + "->" + std::to_string(to));
  }
  return pairs;
}

// ---- Message queues and window events ----

bool DeliverWinEvent(std::uint32_t event, platform::WindowHandle window, std::int32_t objectId,
                     std::int32_t childId) {
  const std::lock_guard guard(D().lock);
  return QueueEventLocked(event, window, objectId, childId, 0, true);
}

void HoldMessageQueueCreation(bool hold) {
  const std::lock_guard guard(D().lock);
  D().holdQueueCreation = hold;
  D().changed.notify_all();
}

void WaitForThreadHeldBeforeItsQueue() {
  std::unique_lock guard(D().lock);
  D().changed.wait(guard, [] { return D().heldInPeek > 0; });
}

void QuitEveryMessageLoop() {
  const std::lock_guard guard(D().lock);
  for (auto& [thread, queue] : D().queues) queue.quitCode = 0;
  D().changed.notify_all();
}

int ActiveWinEventHooks() {
  const std::lock_guard guard(D().lock);
  return static_cast<int>(D().hooks.size());
}

int PendingWinEvents() { return Read(&Desktop::pendingEvents); }

void WaitForWinEventHooks(int count) {
  std::unique_lock guard(D().lock);
  D().changed.wait(guard, [count] { return static_cast<int>(D().hooks.size()) >= count; });
}

void SetWinEventHooksFail(bool fail) { Assign(&Desktop::winEventHooksFail, fail); }

void WaitForThreadInGetMessage() {
  std::unique_lock guard(D().lock);
  D().changed.wait(guard, [] {
    return std::any_of(D().queues.begin(), D().queues.end(),
                       [](const auto& entry) { return entry.second.waiting > 0; });
  });
}

void WaitForWinEventsHandled() {
  std::unique_lock guard(D().lock);
  D().changed.wait(guard, [] { return D().pendingEvents == 0; });
}

// ---- Input, menus, the tray ----

void SetCursorPos(std::optional<Point> point) { Assign(&Desktop::cursorPos, point); }

void SetLastInputTick(std::optional<std::uint32_t> tick) { Assign(&Desktop::lastInput, tick); }

void SetMenuChoice(int command) { Assign(&Desktop::menuChoice, command); }

std::vector<MenuItem> LastTrackedMenu() { return Read(&Desktop::lastTracked); }

int OpenMenuCount() {
  const std::lock_guard guard(D().lock);
  return static_cast<int>(D().menus.size());
}

std::vector<TrayCall> TrayCalls() { return Read(&Desktop::trayCalls); }

void SetTaskbarRunning(bool running) { Assign(&Desktop::taskbarRunning, running); }

void RestartTaskbar() {
  const std::lock_guard guard(D().lock);
  D().trayIcons.clear();
}

bool TrayIconShown(platform::WindowHandle window, unsigned id) {
  const std::lock_guard guard(D().lock);
  const auto& icons = D().trayIcons;
  return std::find(icons.begin(), icons.end(), std::make_pair(window, id)) != icons.end();
}

void SetTrayThrows(bool throws) { Assign(&Desktop::trayThrows, throws); }

// ---- Monitors, session and power ----

void SetMonitor(const MonitorConfig& monitor) { Assign(&Desktop::monitor, monitor); }

void SetLockWorkStationSucceeds(bool succeeds) { Assign(&Desktop::lockSucceeds, succeeds); }

bool SessionLocked() { return Read(&Desktop::locked); }

std::vector<ExitRequest> AcceptedExitRequests() { return Read(&Desktop::exits); }

void SetDisplayIgnoresPowerOff(bool ignores) { Assign(&Desktop::displayIgnores, ignores); }

bool DisplayOff() { return Read(&Desktop::displayOff); }

}  // namespace sim

namespace platform {

WindowHandle HwndTop() { return nullptr; }
WindowHandle HwndTopmost() { return FakeHandle<WindowHandle>(kWindowHandleTopmost); }
WindowHandle HwndNoTopmost() { return FakeHandle<WindowHandle>(kWindowHandleNoTopmost); }
WindowHandle HwndBroadcast() { return FakeHandle<WindowHandle>(kWindowHandleBroadcast); }

// ---- Window classes and windows ----

std::uint16_t RegisterClassW(const WindowClass& windowClass) {
  Note("RegisterClassW " + WideToUtf8(windowClass.className), nullptr, true);
  const std::lock_guard guard(D().lock);
  if (FindClassLocked(windowClass.className)) {
    sim::SetLastErrorValue(kErrorClassAlreadyExists);
    return 0;
  }
  D().classes.push_back(windowClass);
  return static_cast<std::uint16_t>(0xC100 + D().classes.size());
}

bool UnregisterClassW(std::u16string_view className, ModuleHandle instance) {
  Note("UnregisterClassW " + WideToUtf8(className), nullptr, true);
  const std::lock_guard guard(D().lock);
  const platform::WindowClass* found = FindClassLocked(className);
  if (!found || found->instance != instance) {
    sim::SetLastErrorValue(kErrorClassDoesNotExist);
    return false;
  }
  for (const WindowRecord& record : D().windows) {
    if (record.alive && record.ours && EqualsFolded(record.window.className, className)) {
      sim::SetLastErrorValue(kErrorClassHasWindows);
      return false;
    }
  }
  std::erase_if(D().classes, [found](const platform::WindowClass& c) { return &c == found; });
  return true;
}

WindowHandle CreateWindowExW(unsigned long exStyle, std::u16string_view className,
                             std::u16string_view title, unsigned long style, int x, int y,
                             int width, int height, WindowHandle parent, MenuHandle, ModuleHandle,
                             void* createParameter) {
  Note("CreateWindowExW " + WideToUtf8(className) + " \"" + WideToUtf8(title) + "\" " +
           std::to_string(style) + " " + Geometry(x, y, width, height),
       nullptr, true);
  WindowHandle handle = nullptr;
  {
    const std::lock_guard guard(D().lock);
    const platform::WindowClass* found = FindClassLocked(className);
    if (D().createFails || !found) {
      sim::SetLastErrorValue(found ? kErrorInvalidWindowHandle : kErrorClassDoesNotExist);
      return nullptr;
    }
    if (parent && !FindLocked(parent)) {
      sim::SetLastErrorValue(kErrorInvalidWindowHandle);
      return nullptr;
    }
    sim::DesktopWindow window;
    window.pid = platform::GetCurrentProcessId();
    window.threadId = platform::GetCurrentThreadId();
    window.className = found->className;
    window.title = std::u16string(title);
    const bool child = (style & kWsChild) != 0;
    window.parent = child ? parent : nullptr;
    // A pop-up or overlapped window made with a parent is owned by it and stays top-level.
    window.owner = child || !parent ? nullptr : RootLocked(parent);
    window.style = style & ~kWsVisible;
    window.exStyle = exStyle;
    window.topmost = (exStyle & kWsExTopmost) != 0;
    window.visible = false;
    window.cloaked = std::nullopt;
    window.windowRect = Rect{x, y, x + width, y + height};
    handle = AddLocked(window, true);
    D().windows.back().procedure = found->procedure;
    // Creating a window gives its thread a message queue.
    QueueOfLocked(window.threadId);
  }

  // Only a window with a sizing border or a caption is asked for its tracking sizes.
  if ((style & (kWsThickFrame | kWsCaption)) != 0) {
    sim::MinMaxInfo minMax;
    Deliver(handle, kWmGetMinMaxInfo, 0, reinterpret_cast<std::intptr_t>(&minMax));
  }
  struct CreateStruct {
    void* createParameter;
  } create{createParameter};
  {
    const std::lock_guard guard(D().lock);
    D().inNcCreate = handle;
  }
  const std::intptr_t accepted =
      Deliver(handle, kWmNcCreate, 0, reinterpret_cast<std::intptr_t>(&create));
  {
    const std::lock_guard guard(D().lock);
    D().inNcCreate = nullptr;
  }
  if (!accepted || Deliver(handle, kWmCreate, 0, reinterpret_cast<std::intptr_t>(&create)) == -1) {
    DestroyTree(handle);
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return nullptr;
  }
  SendSize(handle);
  {
    const std::lock_guard guard(D().lock);
    WindowRecord* record = FindLocked(handle);
    if (!record) return nullptr;
    record->window.visible = (style & kWsVisible) != 0;
    QueueEventLocked(kEventObjectCreate, handle, kObjidWindow, kChildidSelf, record->window.pid,
                     false);
  }
  return handle;
}

bool DestroyWindow(WindowHandle window) {
  const Call call = Act("DestroyWindow", window);
  {
    const std::lock_guard guard(D().lock);
    if (!FindLocked(window)) {
      sim::SetLastErrorValue(kErrorInvalidWindowHandle);
      return false;
    }
  }
  DestroyTree(window);
  return true;
}

std::intptr_t DefWindowProcW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                             std::intptr_t) {
  {
    const std::lock_guard guard(D().lock);
    WindowRecord* record = FindLocked(window);
    if (!record) return 0;
    record->defaultHandled.push_back(message);
  }
  if (message == kWmNcCreate) return 1;
  // A close request ends the window, as Windows' own handling does.
  if (message == kWmClose) DestroyWindow(window);
  if (message == kWmSysCommand && (wParam & 0xFFF0U) == kScClose) {
    SendMessageW(window, kWmClose, 0, 0);
  }
  return 0;
}

std::intptr_t SetWindowLongPtrW(WindowHandle window, int index, std::intptr_t value) {
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return 0;
  }
  if (index == kGwlStyle) {
    const auto previous = static_cast<std::intptr_t>(record->window.style);
    record->window.style = static_cast<unsigned long>(value) & ~kWsVisible;
    record->window.visible = (static_cast<unsigned long>(value) & kWsVisible) != 0;
    return previous;
  }
  if (index == kGwlExStyle) {
    const auto previous = static_cast<std::intptr_t>(record->window.exStyle);
    record->window.exStyle = static_cast<unsigned long>(value);
    return previous;
  }
  return std::exchange(record->longs[index], value);
}

std::intptr_t GetWindowLongPtrW(WindowHandle window, int index) {
  const Call call = Query("GetWindowLongPtrW", window, std::to_string(index));
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return 0;
  }
  if (index == kGwlStyle) {
    return static_cast<std::intptr_t>(record->window.style |
                                      (record->window.visible ? kWsVisible : 0));
  }
  if (index == kGwlExStyle) {
    return static_cast<std::intptr_t>(record->window.exStyle |
                                      (record->window.topmost ? kWsExTopmost : 0));
  }
  const auto it = record->longs.find(index);
  return it == record->longs.end() ? 0 : it->second;
}

void* CreateParameterOf(std::intptr_t lParam) { return *reinterpret_cast<void* const*>(lParam); }

void SetMinTrackSize(std::intptr_t lParam, int width, int height) {
  reinterpret_cast<sim::MinMaxInfo*>(lParam)->minTrackSize = {width, height};
}

Rect SuggestedRectOf(std::intptr_t lParam) { return *reinterpret_cast<const Rect*>(lParam); }

// ---- Window facts ----

bool IsWindow(WindowHandle window) {
  const Call call = Query("IsWindow", window);
  const std::lock_guard guard(D().lock);
  return FindLocked(window) != nullptr;
}

bool IsWindowVisible(WindowHandle window) {
  const Call call = Query("IsWindowVisible", window);
  const std::lock_guard guard(D().lock);
  // Visible only while every ancestor is visible too.
  for (const WindowRecord* record = FindLocked(window); record;
       record = FindLocked(record->window.parent)) {
    if (!record->window.visible) return false;
    if (IsTopLevel(record->window)) return true;
  }
  return false;
}

bool IsIconic(WindowHandle window) {
  const Call call = Query("IsIconic", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  return record && record->window.iconic;
}

WindowHandle FindWindowW(const char16_t* className, const char16_t* windowName) {
  WindowHandle found = nullptr;
  {
    const std::lock_guard guard(D().lock);
    for (const int number : D().zOrder) {
      const sim::DesktopWindow& window = D().windows[static_cast<std::size_t>(number - 1)].window;
      if (className && !EqualsFolded(window.className, className)) continue;
      if (windowName && !EqualsFolded(window.title, windowName)) continue;
      found = HandleOf(number);
      break;
    }
  }
  std::string entry = "FindWindowW";
  if (className) entry += std::string(" class ") + WideToUtf8(className);
  if (windowName) entry += std::string(" title ") + WideToUtf8(windowName);
  Note(entry, found, true);
  return found;
}

bool EnumWindows(const std::function<bool(WindowHandle)>& callback) {
  std::vector<WindowHandle> snapshot;
  {
    const std::lock_guard guard(D().lock);
    for (const int number : D().zOrder) snapshot.push_back(HandleOf(number));
  }
  // Taken before the hook runs, so that a test can destroy a window while the walk is under way.
  Note("EnumWindows", nullptr, true);
  for (const WindowHandle window : snapshot) {
    if (!callback(window)) return false;
  }
  return true;
}

WindowHandle GetWindow(WindowHandle window, unsigned command) {
  const Call call = Query("GetWindow", window, std::to_string(command));
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record || command != kGwOwner) return nullptr;
  return FindLocked(record->window.owner) ? record->window.owner : nullptr;
}

WindowHandle GetAncestor(WindowHandle window, unsigned flags) {
  const Call call = Query("GetAncestor", window, std::to_string(flags));
  return sim::RootAncestor(window);
}

std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId) {
  const Call call = Query("GetWindowThreadProcessId", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (processId) *processId = record ? record->window.pid : 0;
  if (!record) sim::SetLastErrorValue(kErrorInvalidWindowHandle);
  return record ? record->window.threadId : 0;
}

namespace {

int CopyText(const std::u16string& text, char16_t* buffer, int maxCount) {
  if (!buffer || maxCount <= 0) return 0;
  const int copied = std::min(static_cast<int>(text.size()), maxCount - 1);
  std::copy(text.begin(), text.begin() + copied, buffer);
  buffer[copied] = u'\0';
  return copied;
}

}  // namespace

int GetClassNameW(WindowHandle window, char16_t* buffer, int maxCount) {
  const Call call = Query("GetClassNameW", window, std::to_string(maxCount));
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) {
    if (buffer && maxCount > 0) buffer[0] = u'\0';
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return 0;
  }
  return CopyText(record->window.className, buffer, maxCount);
}

int GetWindowTextW(WindowHandle window, char16_t* buffer, int maxCount) {
  const Call call = Query("GetWindowTextW", window, std::to_string(maxCount));
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) {
    if (buffer && maxCount > 0) buffer[0] = u'\0';
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return 0;
  }
  return CopyText(record->window.title, buffer, maxCount);
}

int GetWindowTextLengthW(WindowHandle window) {
  const Call call = Query("GetWindowTextLengthW", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) return 0;
  return record->window.reportedTextLength ? *record->window.reportedTextLength
                                           : static_cast<int>(record->window.title.size());
}

bool GetWindowRect(WindowHandle window, Rect* rect) {
  const Call call = Query("GetWindowRect", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) sim::SetLastErrorValue(kErrorInvalidWindowHandle);
  if (!record || !record->window.windowRect || !rect) return false;
  *rect = *record->window.windowRect;
  return true;
}

bool GetClientRect(WindowHandle window, Rect* rect) {
  const Call call = Query("GetClientRect", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) sim::SetLastErrorValue(kErrorInvalidWindowHandle);
  if (!record || !record->window.windowRect || !rect) return false;
  *rect = ClientOf(record->window);
  return true;
}

bool ScreenToClient(WindowHandle window, Point* point) {
  const Call call = Query("ScreenToClient", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record || !point) return false;
  const Point origin = ClientOriginOf(record->window);
  point->x -= origin.x;
  point->y -= origin.y;
  return true;
}

bool GetLayeredWindowAttributes(WindowHandle window, std::uint32_t* colorKey, std::uint8_t* alpha,
                                std::uint32_t* flags) {
  const Call call = Query("GetLayeredWindowAttributes", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record || (record->window.exStyle & kWsExLayered) == 0 || !record->window.layered) {
    return false;
  }
  if (colorKey) *colorKey = record->window.layered->colorKey;
  if (alpha) *alpha = record->window.layered->alpha;
  if (flags) *flags = record->window.layered->flags;
  return true;
}

std::int32_t DwmGetWindowAttribute(WindowHandle window, std::uint32_t attribute, void* value,
                                   std::uint32_t size) {
  const Call call = Query("DwmGetWindowAttribute", window, std::to_string(attribute));
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) return kEHandle;
  if (attribute == kDwmwaCloaked) {
    if (size != sizeof(std::uint32_t)) return kEInvalidArg;
    if (!record->window.cloaked) return kENotImpl;
    std::memcpy(value, &*record->window.cloaked, sizeof(std::uint32_t));
    return 0;
  }
  if (attribute == kDwmwaExtendedFrameBounds) {
    if (size != sizeof(Rect)) return kEInvalidArg;
    if (!record->window.frameBounds) return kENotImpl;
    std::memcpy(value, &*record->window.frameBounds, sizeof(Rect));
    return 0;
  }
  return kEInvalidArg;
}

// ---- Placement ----

bool ShowWindow(WindowHandle window, int command) {
  const Call call = Act("ShowWindow", window, std::to_string(command));
  bool wasVisible = false;
  bool changed = false;
  {
    const std::lock_guard guard(D().lock);
    WindowRecord* record = FindLocked(window);
    if (!record) {
      sim::SetLastErrorValue(kErrorInvalidWindowHandle);
      return false;
    }
    wasVisible = record->window.visible;
    SetShownLocked(*record, command);
    changed = wasVisible != record->window.visible;
  }
  if (changed) Deliver(window, kWmShowWindow, wasVisible ? 0 : 1, 0);
  return wasVisible;
}

bool SetLayeredWindowAttributes(WindowHandle window, std::uint32_t colorKey, std::uint8_t alpha,
                                std::uint32_t flags) {
  const Call call = Act("SetLayeredWindowAttributes", window,
                        sim::Hex(colorKey) + " " + std::to_string(alpha) + " " + sim::Hex(flags));
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  // Windows refuses a window that is not layered.
  if (!record || (record->window.exStyle & kWsExLayered) == 0) {
    sim::SetLastErrorValue(kErrorInvalidParameter);
    return false;
  }
  record->window.layered = sim::LayeredAttributes{colorKey, alpha, flags};
  return true;
}

bool ShowWindowAsync(WindowHandle window, int command) {
  const Call call = Act("ShowWindowAsync", window, std::to_string(command));
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) sim::SetLastErrorValue(kErrorInvalidWindowHandle);
  if (!record || record->refuses) return false;
  if (record->defersAsyncShow) {
    record->deferredShows.push_back(command);
    return true;
  }
  SetShownLocked(*record, command);
  return true;
}

bool UpdateWindow(WindowHandle window) {
  const Call call = Act("UpdateWindow", window);
  const std::lock_guard guard(D().lock);
  return FindLocked(window) != nullptr;
}

namespace {

// Moves and sizes a window; a new size reaches the window as WM_SIZE, as WM_WINDOWPOSCHANGED's
// default handling does.
void Place(WindowHandle window, std::optional<Point> origin, std::optional<Size> size) {
  bool resized = false;
  {
    const std::lock_guard guard(D().lock);
    WindowRecord* record = FindLocked(window);
    if (!record) return;
    Rect rect = record->window.windowRect.value_or(Rect{});
    if (origin) rect = rect.Offset(origin->x - rect.left, origin->y - rect.top);
    if (size) {
      resized = rect.Width() != size->width || rect.Height() != size->height;
      rect.right = rect.left + size->width;
      rect.bottom = rect.top + size->height;
    }
    record->window.windowRect = rect;
  }
  if (resized) SendSize(window);
}

}  // namespace

bool SetWindowPos(WindowHandle window, WindowHandle insertAfter, int x, int y, int width,
                  int height, unsigned flags) {
  {
    std::string where;
    {
      const std::lock_guard guard(D().lock);
      where = InsertAfterLocked(insertAfter);
    }
    const Call call =
        Act("SetWindowPos", window,
            where + " " + Geometry(x, y, width, height) + " " + std::to_string(flags));
  }
  {
    const std::lock_guard guard(D().lock);
    WindowRecord* record = FindLocked(window);
    if (!record) sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    if (!record || record->refuses) return false;
    if ((flags & kSwpNoZOrder) == 0) {
      const auto value = reinterpret_cast<std::uintptr_t>(insertAfter);
      if (value == kWindowHandleTopmost) record->window.topmost = true;
      if (value == kWindowHandleNoTopmost) record->window.topmost = false;
      if (value != kWindowHandleNoTopmost && value != kWindowHandleBottom) RaiseLocked(window);
    }
    if ((flags & kSwpShowWindow) != 0) record->window.visible = true;
    if ((flags & kSwpHideWindow) != 0) record->window.visible = false;
  }
  std::optional<Point> origin;
  std::optional<Size> size;
  if ((flags & kSwpNoMove) == 0) origin = Point{x, y};
  if ((flags & kSwpNoSize) == 0) size = Size{width, height};
  Place(window, origin, size);
  return true;
}

bool MoveWindow(WindowHandle window, int x, int y, int width, int height, bool repaint) {
  const Call call =
      Act("MoveWindow", window, Geometry(x, y, width, height) + (repaint ? " repaint" : ""));
  {
    const std::lock_guard guard(D().lock);
    if (!FindLocked(window)) {
      sim::SetLastErrorValue(kErrorInvalidWindowHandle);
      return false;
    }
  }
  Place(window, Point{x, y}, Size{width, height});
  return true;
}

WindowHandle SetParent(WindowHandle child, WindowHandle parent) {
  std::string parentLabel;
  {
    const std::lock_guard guard(D().lock);
    parentLabel = LabelLocked(parent);
  }
  const Call call = Act("SetParent", child, parentLabel);
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(child);
  if (!record || (parent && !FindLocked(parent))) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return nullptr;
  }
  const WindowHandle previous = std::exchange(record->window.parent, parent);
  // Adopted, a window leaves the top-level order; let go, it joins it at the top.
  auto& order = D().zOrder;
  const int number = NumberOfLocked(child);
  order.erase(std::remove(order.begin(), order.end(), number), order.end());
  if (IsTopLevel(record->window)) order.insert(order.begin(), number);
  return previous;
}

WindowHandle SetFocus(WindowHandle window) {
  const Call call = Act("SetFocus", window);
  const std::lock_guard guard(D().lock);
  if (window && !FindLocked(window)) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return nullptr;
  }
  return std::exchange(D().focus, window);
}

bool InvalidateRect(WindowHandle window, const Rect* rect, bool) {
  const Call call = Act("InvalidateRect", window,
                        rect ? std::to_string(rect->left) + " " + std::to_string(rect->top) + " " +
                                   std::to_string(rect->right) + " " + std::to_string(rect->bottom)
                             : std::string());
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) return false;
  const Rect client = ClientOf(record->window);
  const Rect part = rect ? *rect : client;
  const Rect cut{std::max(part.left, client.left), std::max(part.top, client.top),
                 std::min(part.right, client.right), std::min(part.bottom, client.bottom)};
  if (cut.Width() <= 0 || cut.Height() <= 0) return true;
  const Rect was = record->update.value_or(cut);
  record->update = Rect{std::min(was.left, cut.left), std::min(was.top, cut.top),
                        std::max(was.right, cut.right), std::max(was.bottom, cut.bottom)};
  return true;
}

// ---- Message queues ----

bool PostMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                  std::intptr_t lParam) {
  const Call call =
      Act("PostMessageW", window,
          std::to_string(message) + " " + std::to_string(wParam) + " " + std::to_string(lParam));
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return false;
  }
  if (record->refuses) {
    sim::SetLastErrorValue(kErrorAccessDenied);
    return false;
  }
  D().posted.push_back({window, message, wParam, lParam});
  if (record->ours) {
    QueuedItem item;
    item.message.window = window;
    item.message.message = message;
    item.message.wParam = wParam;
    item.message.lParam = lParam;
    QueueOfLocked(record->window.threadId).items.push_back(item);
    D().changed.notify_all();
  }
  return true;
}

std::intptr_t SendMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                           std::intptr_t lParam) {
  const Call call =
      Query("SendMessageW", window,
            std::to_string(message) + " " + std::to_string(wParam) + " " + std::to_string(lParam));
  return Deliver(window, message, wParam, lParam);
}

bool SendMessageTimeoutW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                         std::intptr_t lParam, unsigned flags, unsigned timeoutMilliseconds) {
  const bool broadcast = window == HwndBroadcast();
  std::string target;
  {
    const std::lock_guard guard(D().lock);
    target = broadcast ? sim::Hex(kWindowHandleBroadcast) : LabelLocked(window);
  }
  Note("SendMessageTimeoutW " + target + " " + std::to_string(message) + " " +
           std::to_string(wParam) + " " + std::to_string(lParam) + " " + std::to_string(flags) +
           " " + std::to_string(timeoutMilliseconds),
       window, true);
  if (broadcast) {
    const std::lock_guard guard(D().lock);
    // A hung or absent receiver lets the wait run out.
    if (D().displayIgnores) {
      sim::SetLastErrorValue(1460);  // ERROR_TIMEOUT
      return false;
    }
    if (message == kWmSysCommand && wParam == kScMonitorPower && lParam == 2) {
      D().displayOff = true;
    }
    return true;
  }
  {
    const std::lock_guard guard(D().lock);
    if (!FindLocked(window)) {
      sim::SetLastErrorValue(kErrorInvalidWindowHandle);
      return false;
    }
  }
  Deliver(window, message, wParam, lParam);
  return true;
}

bool PostThreadMessageW(std::uint32_t threadId, unsigned message, std::uintptr_t wParam,
                        std::intptr_t lParam) {
  bool posted = false;
  {
    const std::lock_guard guard(D().lock);
    // A thread without a queue cannot be posted to.
    const auto queue = D().queues.find(threadId);
    if (queue != D().queues.end()) {
      QueuedItem item;
      item.message.message = message;
      item.message.wParam = wParam;
      item.message.lParam = lParam;
      queue->second.items.push_back(item);
      D().changed.notify_all();
      posted = true;
    }
  }
  if (!posted) sim::SetLastErrorValue(kErrorInvalidThreadId);
  // Listed once the post is decided, so that a test seeing it knows the outcome is fixed.
  Note("PostThreadMessageW " + std::to_string(message) + " " + std::to_string(wParam) + " " +
           std::to_string(lParam),
       nullptr, false);
  return posted;
}

bool PeekMessageW(Message* message, WindowHandle window, unsigned filterMin, unsigned filterMax,
                  unsigned removeFlags) {
  Note("PeekMessageW " + std::to_string(filterMin) + " " + std::to_string(filterMax) + " " +
           std::to_string(removeFlags),
       window, false);
  const std::uint32_t caller = GetCurrentThreadId();
  const std::uint32_t now = GetTickCount();
  std::unique_lock guard(D().lock);
  if (D().holdQueueCreation && D().queues.count(caller) == 0) {
    ++D().heldInPeek;
    D().changed.notify_all();
    D().changed.wait(guard, [] { return !D().holdQueueCreation; });
    --D().heldInPeek;
  }
  Queue& queue = QueueOfLocked(caller);
  for (auto it = queue.items.begin(); it != queue.items.end(); ++it) {
    if (it->isEvent || !Matches(it->message, window, filterMin, filterMax)) continue;
    if (message) *message = it->message;
    if ((removeFlags & kPmRemove) != 0) queue.items.erase(it);
    return true;
  }
  if (queue.quitCode && Matches(MessageOf(nullptr, kWmQuit), window, filterMin, filterMax)) {
    if (message)
      *message = MessageOf(nullptr, kWmQuit, static_cast<std::uintptr_t>(*queue.quitCode));
    if ((removeFlags & kPmRemove) != 0) queue.quitCode.reset();
    return true;
  }
  if ((removeFlags & kPmRemove) != 0 &&
      Matches(MessageOf(window, kWmTimer), window, filterMin, filterMax)) {
    if (const std::optional<Timer> timer = TakeTimerLocked(caller, now)) {
      if (message) *message = TimerMessage(*timer);
      return true;
    }
  }
  return false;
}

int GetMessageW(Message* message, WindowHandle window, unsigned filterMin, unsigned filterMax) {
  const std::uint32_t caller = GetCurrentThreadId();
  for (;;) {
    QueuedItem event;
    platform::WinEventProcedure procedure = nullptr;
    std::optional<std::uint32_t> advanceTo;
    {
      std::unique_lock guard(D().lock);
      Queue& queue = QueueOfLocked(caller);
      const auto ready = [&] {
        const bool waiting =
            std::any_of(queue.items.begin(), queue.items.end(), [&](const QueuedItem& item) {
              return item.isEvent || Matches(item.message, window, filterMin, filterMax);
            });
        if (waiting || queue.quitCode) return true;
        return std::any_of(D().timers.begin(), D().timers.end(),
                           [caller](const Timer& timer) { return timer.threadId == caller; });
      };
      ++queue.waiting;
      D().changed.notify_all();  // for WaitForThreadInGetMessage
      D().changed.wait(guard, ready);
      --queue.waiting;
      // Window events are handed to their callback inside the wait, as Windows does.
      const auto eventIt = std::find_if(queue.items.begin(), queue.items.end(),
                                        [](const QueuedItem& item) { return item.isEvent; });
      const auto messageIt =
          std::find_if(queue.items.begin(), queue.items.end(), [&](const QueuedItem& item) {
            return !item.isEvent && Matches(item.message, window, filterMin, filterMax);
          });
      if (eventIt != queue.items.end() && eventIt <= messageIt) {
        event = *eventIt;
        queue.items.erase(eventIt);
        const auto hook = D().hooks.find(event.hook);
        if (hook != D().hooks.end()) procedure = hook->second.procedure;
      } else if (messageIt != queue.items.end()) {
        const platform::Message taken = messageIt->message;
        queue.items.erase(messageIt);
        if (message) *message = taken;
        return taken.message == kWmQuit ? 0 : 1;
      } else if (queue.quitCode) {
        if (message)
          *message = MessageOf(nullptr, kWmQuit, static_cast<std::uintptr_t>(*queue.quitCode));
        queue.quitCode.reset();
        return 0;
      } else if (const std::optional<Timer> timer = TakeTimerLocked(caller, std::nullopt)) {
        // Nothing else to do: the wait lasts until the timer is due.
        if (message) *message = TimerMessage(*timer);
        advanceTo = timer->due;
      } else {
        continue;
      }
    }
    if (advanceTo) {
      const auto ahead = static_cast<std::int32_t>(*advanceTo - GetTickCount());
      if (ahead > 0) sim::AdvanceSystemTimeMs(ahead);
      return 1;
    }
    if (procedure) {
      procedure(event.hook, event.event, event.message.window, event.objectId, event.childId);
    }
    // Counted as handled only now, so that whatever the callback started is already started.
    const std::lock_guard guard(D().lock);
    --D().pendingEvents;
    D().changed.notify_all();
  }
}

bool TranslateMessage(const Message&) { return false; }

std::intptr_t DispatchMessageW(const Message& message) {
  if (!message.window) return 0;
  return Deliver(message.window, message.message, message.wParam, message.lParam);
}

void PostQuitMessage(int exitCode) {
  Note("PostQuitMessage " + std::to_string(exitCode), nullptr, true);
  const std::lock_guard guard(D().lock);
  ++D().quitMessages;
  QueueOfLocked(GetCurrentThreadId()).quitCode = exitCode;
  D().changed.notify_all();
}

unsigned RegisterWindowMessageW(std::u16string_view name) {
  Note("RegisterWindowMessageW " + WideToUtf8(name), nullptr, true);
  return sim::RegisteredMessage(std::u16string(name));
}

// ---- Timers ----

std::uintptr_t SetTimer(WindowHandle window, std::uintptr_t id, unsigned elapseMilliseconds) {
  const Call call =
      Act("SetTimer", window, std::to_string(id) + " " + std::to_string(elapseMilliseconds));
  const std::uint32_t now = GetTickCount();
  const std::lock_guard guard(D().lock);
  std::uint32_t threadId = GetCurrentThreadId();
  if (window) {
    const WindowRecord* record = FindLocked(window);
    if (!record) {
      sim::SetLastErrorValue(kErrorInvalidWindowHandle);
      return 0;
    }
    threadId = record->window.threadId;
  } else {
    id = D().nextThreadTimer++;
  }
  std::erase_if(D().timers,
                [&](const Timer& timer) { return timer.window == window && timer.id == id; });
  D().timers.push_back({window, id, threadId, elapseMilliseconds, now + elapseMilliseconds});
  QueueOfLocked(threadId);
  D().changed.notify_all();
  return window && id == 0 ? 1 : id;
}

bool KillTimer(WindowHandle window, std::uintptr_t id) {
  const Call call = Act("KillTimer", window, std::to_string(id));
  const std::lock_guard guard(D().lock);
  return std::erase_if(D().timers, [&](const Timer& timer) {
           return timer.window == window && timer.id == id;
         }) != 0;
}

// ---- Window events ----

WinEventHookHandle SetWinEventHook(std::uint32_t eventMin, std::uint32_t eventMax,
                                   WinEventProcedure procedure, std::uint32_t processId,
                                   std::uint32_t threadId, std::uint32_t flags) {
  Note("SetWinEventHook " + std::to_string(eventMin) + " " + std::to_string(eventMax) + " " +
           std::to_string(processId) + " " + std::to_string(threadId) + " " + std::to_string(flags),
       nullptr, false);
  if (!procedure) {
    sim::SetLastErrorValue(kErrorInvalidParameter);
    return nullptr;
  }
  const std::uint32_t caller = GetCurrentThreadId();
  const std::lock_guard guard(D().lock);
  if (D().winEventHooksFail) {
    sim::SetLastErrorValue(kErrorInvalidParameter);
    return nullptr;
  }
  auto* handle = FakeHandle<WinEventHookHandle>(D().nextHook);
  D().nextHook += 4;
  D().hooks[handle] = {eventMin, eventMax, procedure, caller, processId, flags};
  D().changed.notify_all();
  return handle;
}

bool UnhookWinEvent(WinEventHookHandle hook) {
  Note("UnhookWinEvent", nullptr, false);
  const std::lock_guard guard(D().lock);
  return D().hooks.erase(hook) != 0;
}

// ---- Input and the foreground ----

WindowHandle GetForegroundWindow() {
  Note("GetForegroundWindow", nullptr, false);
  return sim::ForegroundWindow();
}

bool SetForegroundWindow(WindowHandle window) {
  const Call call = Act("SetForegroundWindow", window);
  const std::lock_guard guard(D().lock);
  if (!FindLocked(window)) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return false;
  }
  bool moved = false;
  switch (D().yieldsTo) {
    case sim::ForegroundYieldsTo::kSetForegroundWindow:
      moved = true;
      break;
    case sim::ForegroundYieldsTo::kAttachedInput: {
      const auto attachedToUs =
          std::make_pair(ThreadOfLocked(D().foreground), ThreadOfLocked(window));
      const auto& attached = D().attached;
      moved = std::find(attached.begin(), attached.end(), attachedToUs) != attached.end();
      break;
    }
    case sim::ForegroundYieldsTo::kAltKey:
      moved = D().altTapped;
      break;
    default:
      break;
  }
  moved = moved || D().foreground == window;
  if (moved) D().foreground = window;
  return moved;
}

bool BringWindowToTop(WindowHandle window) {
  const Call call = Act("BringWindowToTop", window);
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) {
    sim::SetLastErrorValue(kErrorInvalidWindowHandle);
    return false;
  }
  RaiseLocked(window);
  if (D().yieldsTo == sim::ForegroundYieldsTo::kTopmost && record->window.topmost) {
    D().foreground = window;
  }
  return true;
}

void SwitchToThisWindow(WindowHandle window, bool altTab) {
  const Call call = Act("SwitchToThisWindow", window, altTab ? "1" : "0");
  const std::lock_guard guard(D().lock);
  if (FindLocked(window) && D().yieldsTo == sim::ForegroundYieldsTo::kSwitchToThisWindow) {
    D().foreground = window;
  }
}

bool AttachThreadInput(std::uint32_t attachThread, std::uint32_t toThread, bool attach) {
  bool done = false;
  {
    const std::lock_guard guard(D().lock);
    auto& attached = D().attached;
    const auto pair = std::make_pair(attachThread, toThread);
    const auto it = std::find(attached.begin(), attached.end(), pair);
    if (attach && D().attachSucceeds) {
      attached.push_back(pair);
      done = true;
    } else if (!attach && it != attached.end()) {
      attached.erase(it);
      done = true;
    }
  }
  if (!done) sim::SetLastErrorValue(kErrorInvalidParameter);
  Note("AttachThreadInput " + std::to_string(attachThread) + " " + std::to_string(toThread) + " " +
           (attach ? "1" : "0"),
       nullptr, true);
  return done;
}

bool AllowSetForegroundWindow(std::uint32_t processId) {
  Note("AllowSetForegroundWindow " + std::to_string(processId), nullptr, true);
  return true;
}

unsigned SendInput(std::span<const KeyboardInput> inputs) {
  std::string entry = "SendInput";
  bool altDown = false;
  bool altTapped = false;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const bool up = (inputs[i].flags & kKeyEventFKeyUp) != 0;
    entry +=
        (i == 0 ? " VK" : ", VK") + std::to_string(inputs[i].virtualKey) + (up ? " up" : " down");
    if (inputs[i].virtualKey == kVkMenu) {
      altDown = altDown || !up;
      altTapped = altTapped || (up && altDown);
    }
  }
  {
    const std::lock_guard guard(D().lock);
    D().altTapped = D().altTapped || altTapped;
  }
  Note(entry, nullptr, true);
  return static_cast<unsigned>(inputs.size());
}

bool GetCursorPos(Point* point) {
  const std::lock_guard guard(D().lock);
  if (!point || !D().cursorPos) return false;
  *point = *D().cursorPos;
  return true;
}

bool GetLastInputInfo(std::uint32_t* time) {
  Note("GetLastInputInfo", nullptr, true);
  const std::lock_guard guard(D().lock);
  if (!D().lastInput || !time) return false;
  *time = *D().lastInput;
  return true;
}

// ---- Icons, cursors, menus ----

IconHandle LoadIconW(ModuleHandle instance, int resource) {
  const std::lock_guard guard(D().lock);
  if (instance != sim::ModuleHandle() || resource != kIconResource || !D().iconPresent) {
    return nullptr;
  }
  return sim::IconHandle();
}

CursorHandle LoadCursorW(int id) {
  if (id == kIdcArrow) return sim::ArrowCursorHandle();
  if (id == kIdcHand) return sim::HandCursorHandle();
  return nullptr;
}

CursorHandle SetCursor(CursorHandle cursor) {
  const std::lock_guard guard(D().lock);
  return std::exchange(D().cursor, cursor);
}

MenuHandle CreatePopupMenu() {
  Note("CreatePopupMenu", nullptr, true);
  const std::lock_guard guard(D().lock);
  auto* menu = FakeHandle<MenuHandle>(D().nextMenu);
  D().nextMenu += kWindowStride;
  D().menus.emplace(menu, std::vector<sim::MenuItem>{});
  return menu;
}

bool AppendMenuW(MenuHandle menu, unsigned flags, std::uintptr_t id, std::u16string_view text) {
  const bool separator = (flags & kMfSeparator) != 0;
  Note("AppendMenuW " + std::to_string(flags) + " " + std::to_string(id) +
           (separator ? "" : " " + WideToUtf8(text)),
       nullptr, true);
  const std::lock_guard guard(D().lock);
  const auto it = D().menus.find(menu);
  if (it == D().menus.end()) {
    sim::SetLastErrorValue(kErrorInvalidMenuHandle);
    return false;
  }
  it->second.push_back({flags, id, separator ? std::u16string() : std::u16string(text)});
  return true;
}

int TrackPopupMenu(MenuHandle menu, unsigned flags, int x, int y, WindowHandle owner) {
  const Call call("TrackPopupMenu " + std::to_string(flags) + " " + std::to_string(x) + "," +
                      std::to_string(y) + " " + sim::Label(owner),
                  owner, true);
  const std::lock_guard guard(D().lock);
  const auto it = D().menus.find(menu);
  if (it == D().menus.end() || !FindLocked(owner)) return 0;
  D().lastTracked = it->second;
  for (const sim::MenuItem& item : it->second) {
    if ((item.flags & kMfSeparator) == 0 && static_cast<int>(item.id) == D().menuChoice) {
      return D().menuChoice;
    }
  }
  return 0;
}

bool DestroyMenu(MenuHandle menu) {
  Note("DestroyMenu", nullptr, true);
  const std::lock_guard guard(D().lock);
  if (D().menus.erase(menu) == 0) {
    sim::SetLastErrorValue(kErrorInvalidMenuHandle);
    return false;
  }
  return true;
}

// ---- Monitors, metrics and DPI ----

MonitorHandle MonitorFromPoint(Point point, unsigned) {
  Note("MonitorFromPoint " + std::to_string(point.x) + "," + std::to_string(point.y), nullptr,
       true);
  const std::lock_guard guard(D().lock);
  return D().monitor.present ? FakeHandle<MonitorHandle>(kMonitor) : nullptr;
}

MonitorHandle MonitorFromRect(const Rect& rect, unsigned) {
  Note("MonitorFromRect " + Geometry(rect.left, rect.top, rect.Width(), rect.Height()), nullptr,
       false);
  const std::lock_guard guard(D().lock);
  return D().monitor.present ? FakeHandle<MonitorHandle>(kMonitor) : nullptr;
}

bool GetMonitorInfoW(MonitorHandle monitor, MonitorInfo* info) {
  const std::lock_guard guard(D().lock);
  if (monitor != FakeHandle<MonitorHandle>(kMonitor) || !D().monitor.present || !D().monitor.size ||
      !info) {
    return false;
  }
  info->monitor = {0, 0, D().monitor.size->width, D().monitor.size->height};
  info->work = info->monitor;
  info->flags = 1;  // MONITORINFOF_PRIMARY
  return true;
}

int GetSystemMetrics(int index) {
  const std::lock_guard guard(D().lock);
  const Size primary = D().monitor.primaryScreen;
  switch (index) {
    case kSmCxScreen:
    case kSmCxVirtualScreen:
      return primary.width;
    case kSmCyScreen:
    case kSmCyVirtualScreen:
      return primary.height;
    default:
      return 0;
  }
}

std::int32_t SetProcessDpiAwareness(int level) {
  Note("SetProcessDpiAwareness " + std::to_string(level), nullptr, true);
  return 0;
}

unsigned GetDpiForWindow(WindowHandle window) {
  const std::lock_guard guard(D().lock);
  const WindowRecord* record = FindLocked(window);
  if (!record) return 0;
  return record->window.dpi.value_or(D().monitor.dpi);
}

bool CallEnableNonClientDpiScaling(void* procedure, WindowHandle window) {
  if (!procedure) throw std::logic_error("called a function GetProcAddress did not give");
  const Call call = Act("EnableNonClientDpiScaling", window);
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  // Windows accepts it only while the window handles WM_NCCREATE.
  if (!record || D().inNcCreate != window) return false;
  record->window.nonClientDpiScaling = true;
  return true;
}

// ---- Session and power ----

bool LockWorkStation() {
  Note("LockWorkStation", nullptr, true);
  const std::lock_guard guard(D().lock);
  if (!D().lockSucceeds) return false;
  D().locked = true;
  return true;
}

bool ExitWindowsEx(unsigned flags, std::uint32_t reason) {
  Note("ExitWindowsEx " + std::to_string(flags) + " " + sim::Hex(reason), nullptr, true);
  if (!sim::ShutdownPrivilegeEnabled()) {
    sim::SetLastErrorValue(kErrorPrivilegeNotHeld);
    return false;
  }
  const std::lock_guard guard(D().lock);
  D().exits.push_back({flags, reason});
  return true;
}

// ---- The notification area ----

namespace {

const char* TrayMessageName(unsigned message) {
  switch (message) {
    case kNimAdd:
      return "NIM_ADD";
    case kNimModify:
      return "NIM_MODIFY";
    case kNimDelete:
      return "NIM_DELETE";
    default:
      return "NIM_?";
  }
}

}  // namespace

bool Shell_NotifyIconW(unsigned message, const NotifyIconData& data) {
  Note(std::string("Shell_NotifyIconW ") + TrayMessageName(message), data.window, true);
  const std::lock_guard guard(D().lock);
  if (D().trayThrows) throw std::runtime_error("shell tray failed");
  auto& icons = D().trayIcons;
  const auto key = std::make_pair(data.window, data.id);
  const auto shown = std::find(icons.begin(), icons.end(), key);
  bool succeeded = false;
  if (message == kNimAdd) {
    succeeded = D().taskbarRunning && shown == icons.end();
    if (succeeded) icons.push_back(key);
  } else if (message == kNimModify) {
    succeeded = shown != icons.end();
  } else if (message == kNimDelete) {
    succeeded = shown != icons.end();
    if (succeeded) icons.erase(shown);
  }
  D().trayCalls.push_back({message, data, succeeded});
  return succeeded;
}

}  // namespace platform

// The embedder's DPI helpers read the simulated monitor and windows.
unsigned int FlutterDesktopGetDpiForMonitor(HMONITOR__* monitor) {
  const std::lock_guard guard(D().lock);
  return monitor == FakeHandle<platform::MonitorHandle>(kMonitor) ? D().monitor.dpi : 96;
}

unsigned int FlutterDesktopGetDpiForHWND(HWND__* hwnd) {
  const unsigned dpi = platform::GetDpiForWindow(hwnd);
  return dpi != 0 ? dpi : 96;
}

// ---- Low-level keyboard hooks ----
// Kept apart from the desktop: the hooks are called on the test's thread, as the system calls
// them on the installing thread's message loop.
namespace {

constexpr std::uintptr_t kKeyboardHookBase = 0x5800;

struct KeyboardHooks {
  std::mutex lock;
  std::vector<std::pair<platform::HookHandle, platform::HookProcedure>> chain;  // newest last
  std::uintptr_t next = kKeyboardHookBase;
  bool fail = false;
  std::map<int, bool> down;
};

KeyboardHooks& K() {
  static KeyboardHooks hooks;
  return hooks;
}

void ResetKeyboardHooks() {
  const std::lock_guard guard(K().lock);
  K().chain.clear();
  K().next = kKeyboardHookBase;
  K().fail = false;
  K().down.clear();
}

const bool keyboardHooksRegistered = sim::OnReset(&ResetKeyboardHooks);

}  // namespace

namespace sim {

int ActiveKeyboardHooks() {
  const std::lock_guard guard(K().lock);
  return static_cast<int>(K().chain.size());
}

void SetWindowsHooksFail(bool fail) {
  const std::lock_guard guard(K().lock);
  K().fail = fail;
}

void SetAsyncKeyDown(unsigned virtualKey, bool down) {
  const std::lock_guard guard(K().lock);
  K().down[static_cast<int>(virtualKey)] = down;
}

std::intptr_t SendLowLevelKey(unsigned virtualKey, std::uint32_t flags) {
  platform::HookProcedure newest = nullptr;
  {
    const std::lock_guard guard(K().lock);
    if (!K().chain.empty()) newest = K().chain.back().second;
  }
  if (!newest) return 0;
  platform::KeyboardHookEvent event{virtualKey, flags};
  const std::uintptr_t message = (flags & platform::kLlkhfUp) != 0 ? 0x0101 : 0x0100;
  return newest(platform::kHcAction, message, reinterpret_cast<std::intptr_t>(&event));
}

}  // namespace sim

namespace platform {

HookHandle SetWindowsHookExW(int hookId, HookProcedure procedure, ModuleHandle module,
                             std::uint32_t threadId) {
  Note("SetWindowsHookExW " + std::to_string(hookId) + " " + std::to_string(threadId), nullptr,
       true);
  const std::lock_guard guard(K().lock);
  // A global low-level hook needs a procedure and takes no thread.
  if (!procedure || hookId != kWhKeyboardLl || threadId != 0 || K().fail) {
    sim::SetLastErrorValue(kErrorInvalidParameter);
    return nullptr;
  }
  static_cast<void>(module);
  auto* handle = FakeHandle<HookHandle>(K().next);
  K().next += 4;
  K().chain.emplace_back(handle, procedure);
  return handle;
}

bool UnhookWindowsHookEx(HookHandle hook) {
  Note("UnhookWindowsHookEx", nullptr, true);
  const std::lock_guard guard(K().lock);
  return std::erase_if(K().chain, [hook](const auto& entry) { return entry.first == hook; }) != 0;
}

// Nothing after the hook in this desktop: the key goes on to the focused window.
std::intptr_t CallNextHookEx(HookHandle /*hook*/, int /*code*/, std::uintptr_t /*wParam*/,
                             std::intptr_t /*lParam*/) {
  Note("CallNextHookEx", nullptr, false);
  return 0;
}

KeyboardHookEvent KeyboardHookEventOf(std::intptr_t lParam) {
  return *reinterpret_cast<const KeyboardHookEvent*>(lParam);
}

std::int16_t GetAsyncKeyState(int virtualKey) {
  const std::lock_guard guard(K().lock);
  const auto found = K().down.find(virtualKey);
  return found != K().down.end() && found->second ? static_cast<std::int16_t>(0x8000) : 0;
}

}  // namespace platform

// ---- The update region ----

namespace sim {

Rect TakeUpdateRect(platform::WindowHandle window) {
  const std::lock_guard guard(D().lock);
  WindowRecord* record = FindLocked(window);
  if (!record) return {};
  const Rect update = record->update.value_or(Rect{});
  record->update.reset();
  return update;
}

}  // namespace sim
