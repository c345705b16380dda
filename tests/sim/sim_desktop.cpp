#include "sim_desktop.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <set>
#include <thread>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

namespace {

constexpr std::uintptr_t kWindowBase = 0x70000;
constexpr std::uintptr_t kWindowStride = 0x10;
constexpr std::uintptr_t kProcessHandleBase = 0x9000;
constexpr std::uint64_t kUnixEpochAsFileTime = 116444736000000000ULL;
// 2026-03-07 09:05:02 UTC, the simulated platform's local time read as UTC.
constexpr std::int64_t kDefaultUnixMs = 1772874302000;

struct WindowRecord {
  int id = 0;
  sim::DesktopWindow window;
};

struct Desktop {
  std::mutex lock;  // engine workers and the platform thread ask at once
  std::map<blocker::WindowHandle, WindowRecord> windows;
  std::map<blocker::WindowHandle, int> labels;  // destroyed windows keep their label
  int nextWindowId = 1;
  std::map<std::uint32_t, sim::DesktopProcess> processes;
  std::map<blocker::ProcessHandle, std::uint32_t> processHandles;
  std::uintptr_t nextProcessHandle = kProcessHandleBase;
  std::optional<std::u16string> windowsDirectory = u"C:\\Windows";
  std::uint64_t fileTime = kUnixEpochAsFileTime + kDefaultUnixMs * 10000ULL;
  std::vector<std::string> calls;
  std::vector<sim::DesktopEvent> events;
  std::function<void(std::string_view, blocker::WindowHandle)> hook;
};

Desktop& D() {
  static Desktop desktop;
  return desktop;
}

struct QueuedItem {
  bool isEvent = false;
  std::uint32_t message = 0;
  blocker::platform::HookHandle hook = nullptr;
  std::uint32_t event = 0;
  blocker::WindowHandle window = nullptr;
  std::int32_t objectId = 0;
  std::int32_t childId = 0;
};

struct HookRecord {
  std::uint32_t eventMin = 0;
  std::uint32_t eventMax = 0;
  blocker::platform::WinEventCallback callback = nullptr;
  std::uint32_t threadId = 0;
};

// The engine's side: hooks, message queues and workers. Taken after the desktop's lock when both
// are needed, never before it.
struct EngineSide {
  std::mutex lock;
  std::condition_variable changed;
  std::uint32_t processId = 0;
  std::set<blocker::WindowHandle> refusing;
  std::map<blocker::platform::HookHandle, HookRecord> hooks;
  std::uintptr_t nextHook = 0x5000;
  std::map<std::uint32_t, std::deque<QueuedItem>> queues;  // a thread has one once it peeked
  int pendingEvents = 0;
  bool holdQueueCreation = false;
  int heldInPeek = 0;
  std::vector<std::thread> threads;
  int threadsStarted = 0;
};

EngineSide& E() {
  static EngineSide engine;
  return engine;
}

std::atomic<std::uint32_t> nextThreadId{100};

bool Refuses(blocker::WindowHandle window) {
  std::lock_guard guard(E().lock);
  return E().refusing.count(window) != 0;
}

std::string LabelLocked(blocker::WindowHandle window) {
  if (!window) return "null";
  const auto it = D().labels.find(window);
  if (it == D().labels.end()) return "stale";
  return "w" + std::to_string(it->second);
}

const sim::DesktopWindow* FindLocked(blocker::WindowHandle window) {
  const auto it = D().windows.find(window);
  return it == D().windows.end() ? nullptr : &it->second.window;
}

// Records the call under the lock, then lets the test's hook change the desktop without it.
class Call {
 public:
  Call(std::string name, blocker::WindowHandle window, const std::string& extra = {})
      : name_(std::move(name)), window_(window), guard_(D().lock) {
    std::string entry = name_ + " " + LabelLocked(window);
    if (!extra.empty()) entry += " " + extra;
    D().calls.push_back(std::move(entry));
  }
  ~Call() {
    auto hook = D().hook;
    guard_.unlock();
    if (hook) hook(name_, window_);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  std::string name_;
  blocker::WindowHandle window_;
  std::unique_lock<std::mutex> guard_;
};

int CopyText(const std::u16string& text, char16_t* buffer, int maxCount) {
  if (!buffer || maxCount <= 0) return 0;
  const int copied = std::min(static_cast<int>(text.size()), maxCount - 1);
  std::copy(text.begin(), text.begin() + copied, buffer);
  buffer[copied] = u'\0';
  return copied;
}

}  // namespace

namespace sim {

void ResetDesktop() {
  WaitForDesktopThreads();
  {
    std::lock_guard guard(E().lock);
    E().processId = 0;
    E().refusing.clear();
    E().hooks.clear();
    E().queues.clear();
    E().pendingEvents = 0;
    E().holdQueueCreation = false;
    E().threadsStarted = 0;
  }
  std::lock_guard guard(D().lock);
  Desktop& d = D();
  d.windows.clear();
  d.labels.clear();
  d.nextWindowId = 1;
  d.processes.clear();
  d.processHandles.clear();
  d.nextProcessHandle = kProcessHandleBase;
  d.windowsDirectory = u"C:\\Windows";
  d.fileTime = kUnixEpochAsFileTime + kDefaultUnixMs * 10000ULL;
  d.calls.clear();
  d.events.clear();
  d.hook = nullptr;
}

blocker::WindowHandle AddDesktopWindow(const DesktopWindow& window) {
  std::lock_guard guard(D().lock);
  const int id = D().nextWindowId++;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
  auto* handle = reinterpret_cast<blocker::WindowHandle>(kWindowBase + kWindowStride * id);
  D().windows[handle] = {id, window};
  D().labels[handle] = id;
  D().events.push_back({kEventObjectCreate, handle});
  if (window.visible) D().events.push_back({kEventObjectShow, handle});
  return handle;
}

void ChangeDesktopWindow(blocker::WindowHandle window,
                         const std::function<void(DesktopWindow&)>& change) {
  std::lock_guard guard(D().lock);
  const auto it = D().windows.find(window);
  if (it != D().windows.end()) change(it->second.window);
}

void SetDesktopWindowVisible(blocker::WindowHandle window, bool visible) {
  std::lock_guard guard(D().lock);
  const auto it = D().windows.find(window);
  if (it == D().windows.end() || it->second.window.visible == visible) return;
  it->second.window.visible = visible;
  D().events.push_back({visible ? kEventObjectShow : kEventObjectHide, window});
}

void DestroyDesktopWindow(blocker::WindowHandle window) {
  std::lock_guard guard(D().lock);
  if (D().windows.erase(window) != 0) D().events.push_back({kEventObjectDestroy, window});
}

std::optional<DesktopWindow> GetDesktopWindow(blocker::WindowHandle window) {
  std::lock_guard guard(D().lock);
  const DesktopWindow* found = FindLocked(window);
  if (!found) return std::nullopt;
  return *found;
}

blocker::WindowHandle RootAncestor(blocker::WindowHandle window) {
  std::lock_guard guard(D().lock);
  const DesktopWindow* found = FindLocked(window);
  if (!found) return nullptr;
  while (found->parent && FindLocked(found->parent)) {
    window = found->parent;
    found = FindLocked(window);
  }
  return window;
}

std::string DesktopLabel(blocker::WindowHandle window) {
  std::lock_guard guard(D().lock);
  return LabelLocked(window);
}

blocker::WindowHandle StaleHandle() { return reinterpret_cast<blocker::WindowHandle>(0x6FFF0); }

void AddProcess(std::uint32_t pid, const DesktopProcess& process) {
  std::lock_guard guard(D().lock);
  D().processes[pid] = process;
}

int OpenProcessHandles() {
  std::lock_guard guard(D().lock);
  return static_cast<int>(D().processHandles.size());
}

void SetWindowsDirectory(std::optional<std::u16string> directory) {
  std::lock_guard guard(D().lock);
  D().windowsDirectory = std::move(directory);
}

void SetSystemTimeFileTime(std::uint64_t ticks) {
  std::lock_guard guard(D().lock);
  D().fileTime = ticks;
}

void SetSystemTimeMs(std::int64_t unixMs) {
  SetSystemTimeFileTime(kUnixEpochAsFileTime + static_cast<std::uint64_t>(unixMs) * 10000ULL);
}

std::vector<std::string> DesktopCalls() {
  std::lock_guard guard(D().lock);
  return D().calls;
}

void SetDesktopCallHook(std::function<void(std::string_view, blocker::WindowHandle)> hook) {
  std::lock_guard guard(D().lock);
  D().hook = std::move(hook);
}

std::vector<DesktopEvent> DesktopEvents() {
  std::lock_guard guard(D().lock);
  return D().events;
}

void SetCurrentProcessId(std::uint32_t pid) {
  std::lock_guard guard(E().lock);
  E().processId = pid;
}

void SetWindowRefusesActions(blocker::WindowHandle window, bool refuses) {
  std::lock_guard guard(E().lock);
  if (refuses) {
    E().refusing.insert(window);
  } else {
    E().refusing.erase(window);
  }
}

void AdvanceSystemTimeMs(std::int64_t milliseconds) {
  std::lock_guard guard(D().lock);
  D().fileTime += static_cast<std::uint64_t>(milliseconds) * 10000ULL;
}

bool DeliverWinEvent(std::uint32_t event, blocker::WindowHandle window, std::int32_t objectId,
                     std::int32_t childId) {
  std::lock_guard guard(E().lock);
  bool taken = false;
  for (const auto& [handle, hook] : E().hooks) {
    if (event < hook.eventMin || event > hook.eventMax) continue;
    const auto queue = E().queues.find(hook.threadId);
    if (queue == E().queues.end()) continue;
    QueuedItem item;
    item.isEvent = true;
    item.hook = handle;
    item.event = event;
    item.window = window;
    item.objectId = objectId;
    item.childId = childId;
    queue->second.push_back(item);
    ++E().pendingEvents;
    taken = true;
  }
  if (taken) E().changed.notify_all();
  return taken;
}

void HoldMessageQueueCreation(bool hold) {
  std::lock_guard guard(E().lock);
  E().holdQueueCreation = hold;
  E().changed.notify_all();
}

void WaitForThreadHeldBeforeItsQueue() {
  std::unique_lock guard(E().lock);
  E().changed.wait(guard, [] { return E().heldInPeek > 0; });
}

void QuitEveryMessageLoop() {
  std::lock_guard guard(E().lock);
  for (auto& [thread, queue] : E().queues) {
    QueuedItem item;
    item.message = blocker::platform::kWmQuit;
    queue.push_back(item);
  }
  E().changed.notify_all();
}

int ActiveWinEventHooks() {
  std::lock_guard guard(E().lock);
  return static_cast<int>(E().hooks.size());
}

void WaitForWinEventHooks(int count) {
  std::unique_lock guard(E().lock);
  E().changed.wait(guard, [&] { return static_cast<int>(E().hooks.size()) >= count; });
}

void WaitForWinEventsHandled() {
  std::unique_lock guard(E().lock);
  E().changed.wait(guard, [] { return E().pendingEvents == 0; });
}

int PendingWinEvents() {
  std::lock_guard guard(E().lock);
  return E().pendingEvents;
}

int WaitForDesktopThreads() {
  int joined = 0;
  for (;;) {
    std::vector<std::thread> batch;
    {
      std::lock_guard guard(E().lock);
      batch.swap(E().threads);
    }
    if (batch.empty()) return joined;
    // Workers may start workers; the next round picks those up.
    for (std::thread& thread : batch) thread.join();
    joined += static_cast<int>(batch.size());
  }
}

int DesktopThreadsStarted() {
  std::lock_guard guard(E().lock);
  return E().threadsStarted;
}

}  // namespace sim

namespace blocker::platform {

bool IsWindow(WindowHandle window) {
  Call call("IsWindow", window);
  return FindLocked(window) != nullptr;
}

bool IsWindowVisible(WindowHandle window) {
  Call call("IsWindowVisible", window);
  // Visible only while every ancestor is visible too, as Windows answers.
  for (const sim::DesktopWindow* w = FindLocked(window); w; w = FindLocked(w->parent)) {
    if (!w->visible) return false;
    if (!w->parent) return true;
  }
  return false;
}

std::intptr_t GetWindowLongPtrW(WindowHandle window, int index) {
  Call call("GetWindowLongPtrW", window, std::to_string(index));
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w) return 0;
  if (index == kGwlStyle) {
    return static_cast<std::intptr_t>(w->style | (w->visible ? sim::kWsVisible : 0));
  }
  if (index == kGwlExStyle) return static_cast<std::intptr_t>(w->exStyle);
  return 0;
}

std::int32_t DwmGetWindowAttribute(WindowHandle window, std::uint32_t attribute, void* value,
                                   std::uint32_t size) {
  Call call("DwmGetWindowAttribute", window, std::to_string(attribute));
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w) return sim::kEHandle;
  if (attribute == kDwmwaCloaked) {
    if (size != sizeof(std::uint32_t)) return sim::kEInvalidArg;
    if (!w->cloaked) return sim::kENotImpl;
    std::memcpy(value, &*w->cloaked, sizeof(std::uint32_t));
    return 0;
  }
  if (attribute == kDwmwaExtendedFrameBounds) {
    if (size != sizeof(Rect)) return sim::kEInvalidArg;
    if (!w->frameBounds) return sim::kENotImpl;
    std::memcpy(value, &*w->frameBounds, sizeof(Rect));
    return 0;
  }
  return sim::kEInvalidArg;
}

bool GetWindowRect(WindowHandle window, Rect* rect) {
  Call call("GetWindowRect", window);
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w || !w->windowRect || !rect) return false;
  *rect = *w->windowRect;
  return true;
}

int GetClassNameW(WindowHandle window, char16_t* buffer, int maxCount) {
  Call call("GetClassNameW", window, std::to_string(maxCount));
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w) {
    if (buffer && maxCount > 0) buffer[0] = u'\0';
    return 0;
  }
  return CopyText(w->className, buffer, maxCount);
}

bool GetLayeredWindowAttributes(WindowHandle window, std::uint32_t* colorKey, std::uint8_t* alpha,
                                std::uint32_t* flags) {
  Call call("GetLayeredWindowAttributes", window);
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w || (w->exStyle & sim::kWsExLayered) == 0 || !w->layered) return false;
  if (colorKey) *colorKey = w->layered->colorKey;
  if (alpha) *alpha = w->layered->alpha;
  if (flags) *flags = w->layered->flags;
  return true;
}

std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId) {
  Call call("GetWindowThreadProcessId", window);
  const sim::DesktopWindow* w = FindLocked(window);
  if (processId) *processId = w ? w->pid : 0;
  return w ? w->pid + 4 : 0;
}

int GetWindowTextLengthW(WindowHandle window) {
  Call call("GetWindowTextLengthW", window);
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w) return 0;
  return w->reportedTextLength ? *w->reportedTextLength : static_cast<int>(w->title.size());
}

int GetWindowTextW(WindowHandle window, char16_t* buffer, int maxCount) {
  Call call("GetWindowTextW", window, std::to_string(maxCount));
  const sim::DesktopWindow* w = FindLocked(window);
  if (!w) {
    if (buffer && maxCount > 0) buffer[0] = u'\0';
    return 0;
  }
  return CopyText(w->title, buffer, maxCount);
}

ProcessHandle OpenProcess(std::uint32_t access, bool inheritHandle, std::uint32_t processId) {
  std::lock_guard guard(D().lock);
  D().calls.push_back("OpenProcess " + std::to_string(access) + " " +
                      std::to_string(inheritHandle ? 1 : 0) + " " + std::to_string(processId));
  const auto it = D().processes.find(processId);
  if (it == D().processes.end() || it->second.openRefused) return nullptr;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
  auto* handle = reinterpret_cast<ProcessHandle>(D().nextProcessHandle);
  D().nextProcessHandle += 4;
  D().processHandles[handle] = processId;
  return handle;
}

bool QueryFullProcessImageNameW(ProcessHandle process, std::uint32_t flags, char16_t* buffer,
                                std::uint32_t* size) {
  std::lock_guard guard(D().lock);
  D().calls.push_back("QueryFullProcessImageNameW " + std::to_string(flags) + " " +
                      std::to_string(size ? *size : 0));
  const auto handle = D().processHandles.find(process);
  if (handle == D().processHandles.end() || !buffer || !size) return false;
  const auto it = D().processes.find(handle->second);
  if (it == D().processes.end() || it->second.queryFails) return false;
  const std::u16string& path = it->second.imagePath;
  // ERROR_INSUFFICIENT_BUFFER: the terminator must fit too.
  if (path.size() + 1 > *size) return false;
  std::copy(path.begin(), path.end(), buffer);
  buffer[path.size()] = u'\0';
  *size = static_cast<std::uint32_t>(path.size());
  return true;
}

bool CloseHandle(ProcessHandle handle) {
  std::lock_guard guard(D().lock);
  D().calls.push_back("CloseHandle");
  return D().processHandles.erase(handle) != 0;
}

std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size) {
  std::lock_guard guard(D().lock);
  D().calls.push_back("GetWindowsDirectoryW " + std::to_string(size));
  if (!D().windowsDirectory) return 0;
  const std::u16string& directory = *D().windowsDirectory;
  // Too small a buffer answers the size it would need, terminator included.
  if (directory.size() + 1 > size) return static_cast<std::uint32_t>(directory.size() + 1);
  std::copy(directory.begin(), directory.end(), buffer);
  buffer[directory.size()] = u'\0';
  return static_cast<std::uint32_t>(directory.size());
}

std::uint64_t GetSystemTimeAsFileTime() {
  std::lock_guard guard(D().lock);
  return D().fileTime;
}

std::uint32_t GetCurrentProcessId() {
  std::lock_guard guard(E().lock);
  return E().processId;
}

std::uint32_t GetCurrentThreadId() {
  thread_local const std::uint32_t id = nextThreadId.fetch_add(4);
  return id;
}

HookHandle SetWinEventHook(std::uint32_t eventMin, std::uint32_t eventMax,
                           WinEventCallback callback, std::uint32_t processId,
                           std::uint32_t threadId, std::uint32_t flags) {
  {
    std::lock_guard guard(D().lock);
    D().calls.push_back("SetWinEventHook " + std::to_string(eventMin) + " " +
                        std::to_string(eventMax) + " " + std::to_string(processId) + " " +
                        std::to_string(threadId) + " " + std::to_string(flags));
  }
  if (!callback) return nullptr;
  const std::uint32_t caller = GetCurrentThreadId();
  std::lock_guard guard(E().lock);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
  auto* handle = reinterpret_cast<HookHandle>(E().nextHook);
  E().nextHook += 4;
  E().hooks[handle] = {eventMin, eventMax, callback, caller};
  E().changed.notify_all();
  return handle;
}

bool UnhookWinEvent(HookHandle hook) {
  {
    std::lock_guard guard(D().lock);
    D().calls.push_back("UnhookWinEvent");
  }
  std::lock_guard guard(E().lock);
  return E().hooks.erase(hook) != 0;
}

bool PeekMessageW(Message* message, std::uint32_t filterMin, std::uint32_t filterMax,
                  std::uint32_t removeFlags) {
  {
    std::lock_guard guard(D().lock);
    D().calls.push_back("PeekMessageW " + std::to_string(filterMin) + " " +
                        std::to_string(filterMax) + " " + std::to_string(removeFlags));
  }
  const std::uint32_t caller = GetCurrentThreadId();
  std::unique_lock guard(E().lock);
  if (E().holdQueueCreation && E().queues.count(caller) == 0) {
    ++E().heldInPeek;
    E().changed.notify_all();
    E().changed.wait(guard, [] { return !E().holdQueueCreation; });
    --E().heldInPeek;
  }
  std::deque<QueuedItem>& queue = E().queues[caller];
  for (const QueuedItem& item : queue) {
    if (!item.isEvent && item.message >= filterMin && item.message <= filterMax) {
      if (message) message->message = item.message;
      return true;
    }
  }
  return false;
}

int GetMessageW(Message* message) {
  const std::uint32_t caller = GetCurrentThreadId();
  for (;;) {
    QueuedItem item;
    WinEventCallback callback = nullptr;
    {
      std::unique_lock guard(E().lock);
      std::deque<QueuedItem>& queue = E().queues[caller];
      E().changed.wait(guard, [&] { return !queue.empty(); });
      item = queue.front();
      queue.pop_front();
      if (!item.isEvent) {
        if (message) message->message = item.message;
        return item.message == kWmQuit ? 0 : 1;
      }
      const auto hook = E().hooks.find(item.hook);
      if (hook != E().hooks.end()) callback = hook->second.callback;
    }
    // Out-of-context events are handed to the callback inside the wait, as Windows does.
    if (callback) callback(item.hook, item.event, item.window, item.objectId, item.childId);
    // Counted as handled only now, so that whatever the callback started is already started.
    std::lock_guard guard(E().lock);
    --E().pendingEvents;
    E().changed.notify_all();
  }
}

void TranslateMessage(const Message*) {}

void DispatchMessageW(const Message*) {}

bool PostThreadMessageW(std::uint32_t threadId, std::uint32_t message, std::uintptr_t wParam,
                        std::intptr_t lParam) {
  bool posted = false;
  {
    std::lock_guard guard(E().lock);
    // A thread without a queue cannot be posted to.
    const auto queue = E().queues.find(threadId);
    if (queue != E().queues.end()) {
      QueuedItem item;
      item.message = message;
      queue->second.push_back(item);
      E().changed.notify_all();
      posted = true;
    }
  }
  // Journaled once the post is decided, so that a test seeing it knows the outcome is fixed.
  std::lock_guard guard(D().lock);
  D().calls.push_back("PostThreadMessageW " + std::to_string(message) + " " +
                      std::to_string(wParam) + " " + std::to_string(lParam));
  return posted;
}

WindowHandle GetAncestor(WindowHandle window, std::uint32_t flags) {
  Call call("GetAncestor", window, std::to_string(flags));
  const sim::DesktopWindow* found = FindLocked(window);
  if (!found) return nullptr;
  while (found->parent && FindLocked(found->parent)) {
    window = found->parent;
    found = FindLocked(window);
  }
  return window;
}

bool EnumWindows(EnumWindowsCallback callback, void* context) {
  std::vector<WindowHandle> topLevel;
  {
    std::lock_guard guard(D().lock);
    D().calls.push_back("EnumWindows");
    for (const auto& [handle, record] : D().windows) {
      if (!record.window.parent) topLevel.push_back(handle);
    }
  }
  // Called without the lock, so the callback may ask the desktop again.
  for (const WindowHandle window : topLevel) {
    if (!callback(window, context)) break;
  }
  return true;
}

bool PostMessageW(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                  std::intptr_t lParam) {
  Call call("PostMessageW", window,
            std::to_string(message) + " " + std::to_string(wParam) + " " + std::to_string(lParam));
  if (!FindLocked(window)) return false;
  return !Refuses(window);
}

bool ShowWindowAsync(WindowHandle window, int command) {
  Call call("ShowWindowAsync", window, std::to_string(command));
  const auto it = D().windows.find(window);
  if (it == D().windows.end() || Refuses(window)) return false;
  const bool visible = command != kSwHide;
  if (it->second.window.visible != visible) {
    it->second.window.visible = visible;
    D().events.push_back({visible ? sim::kEventObjectShow : sim::kEventObjectHide, window});
  }
  return true;
}

bool SetWindowPos(WindowHandle window, WindowHandle insertAfter, int x, int y, int cx, int cy,
                  std::uint32_t flags) {
  Call call("SetWindowPos", window,
            (insertAfter ? std::string("hwnd") : std::string("null")) + " " + std::to_string(x) +
                " " + std::to_string(y) + " " + std::to_string(cx) + " " + std::to_string(cy) +
                " " + std::to_string(flags));
  const auto it = D().windows.find(window);
  if (it == D().windows.end() || Refuses(window)) return false;
  constexpr std::uint32_t kSwpShowWindow = 0x40;
  constexpr std::uint32_t kSwpHideWindow = 0x80;
  bool visible = it->second.window.visible;
  if (flags & kSwpShowWindow) visible = true;
  if (flags & kSwpHideWindow) visible = false;
  if (it->second.window.visible != visible) {
    it->second.window.visible = visible;
    D().events.push_back({visible ? sim::kEventObjectShow : sim::kEventObjectHide, window});
  }
  return true;
}

void StartDetachedThread(std::function<void()> work) {
  std::lock_guard guard(E().lock);
  ++E().threadsStarted;
  // Kept, not detached, so that a test can join every worker before it ends.
  E().threads.emplace_back(std::move(work));
}

}  // namespace blocker::platform
