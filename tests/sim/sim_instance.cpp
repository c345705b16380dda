#include "sim_instance.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "base/text.h"
#include "sim_launch.h"
#include "sim_platform.h"

namespace {

using platform::WindowHandle;

constexpr std::u16string_view kRunningInstancePipe = u"\\\\.\\pipe\\KelvoTarnelActivation";

constexpr unsigned long kErrorFileNotFound = 2;
constexpr unsigned long kErrorAccessDenied = 5;
constexpr unsigned long kErrorInvalidHandle = 6;
constexpr unsigned long kErrorNotEnoughMemory = 8;
constexpr unsigned long kErrorInvalidParameter = 87;
constexpr unsigned long kErrorBrokenPipe = 109;
constexpr unsigned long kErrorNoData = 232;
constexpr unsigned long kErrorMoreData = 234;
constexpr unsigned long kErrorPipeConnected = 535;
constexpr unsigned long kErrorOperationAborted = 995;
constexpr unsigned long kErrorInvalidWindowHandle = 1400;
constexpr unsigned long kErrorTimeout = 1460;

constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr unsigned kGwOwner = 4;
constexpr unsigned kSwpShowWindow = 0x40;
constexpr std::uint16_t kVkMenu = 18;
constexpr std::uint32_t kKeyEventKeyUp = 2;

struct Window {
  sim::WindowSpec shape;
  bool alive = true;
  bool topmost = false;
};

enum class HandleKind { kClientPipe, kServerPipe, kThread };

struct OpenHandle {
  HandleKind kind;
  std::optional<sim::IncomingClient> client;  // a server pipe's connected client
};

struct World {
  std::vector<Window> windows;  // window n is windows[n - 1]
  std::vector<int> zOrder;      // window numbers, top first
  std::map<std::uint32_t, std::optional<std::uint32_t>> sessions;
  WindowHandle foreground = nullptr;
  sim::ForegroundYieldsTo yieldsTo = sim::ForegroundYieldsTo::kSetForegroundWindow;
  bool attachSucceeds = true;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> attached;
  bool altTapped = false;

  bool listening = true;
  std::deque<unsigned long> openScript;
  bool writesFail = false;
  std::vector<std::string> delivered;

  int createFailures = 0;
  unsigned long createError = kErrorAccessDenied;
  std::deque<sim::IncomingClient> clients;
  bool releaseRequested = false;
  bool blockedIdle = false;
  int connectTimeouts = 0;
  std::vector<sim::PostedMessage> posted;

  bool createThreadFails = false;
  std::vector<std::thread> threads;
  int started = 0;
  int finished = 0;

  std::uintptr_t nextHandle = 0x7000;
  std::map<std::uintptr_t, OpenHandle> handles;
  int invalidUses = 0;
  std::map<std::string, int> queries;
  std::function<void(const std::string&)> hook;
};

std::mutex& Lock() {
  static std::mutex lock;
  return lock;
}

std::condition_variable& Changed() {
  static std::condition_variable changed;
  return changed;
}

World& W() {
  static World world;
  return world;
}

WindowHandle HandleOf(int number) {
  return reinterpret_cast<WindowHandle>(static_cast<std::uintptr_t>(0x10000 + number * 0x10));
}

int NumberOf(WindowHandle window) {
  const auto value = reinterpret_cast<std::uintptr_t>(window);
  if (value <= 0x10000 || (value - 0x10000) % 0x10 != 0) return 0;
  const int number = static_cast<int>((value - 0x10000) / 0x10);
  return number <= static_cast<int>(W().windows.size()) ? number : 0;
}

// The live window behind a handle, or null. Callers hold the lock.
Window* Find(WindowHandle window) {
  const int number = NumberOf(window);
  if (number == 0) return nullptr;
  Window& entry = W().windows[number - 1];
  return entry.alive ? &entry : nullptr;
}

std::string LabelLocked(WindowHandle window) {
  if (!window) return "null";
  const int number = NumberOf(window);
  return number == 0 ? "#?" : "#" + std::to_string(number);
}

void RaiseLocked(WindowHandle window) {
  const int number = NumberOf(window);
  auto& order = W().zOrder;
  order.erase(std::remove(order.begin(), order.end(), number), order.end());
  order.insert(order.begin(), number);
}

std::uint32_t ThreadOfLocked(WindowHandle window) {
  const Window* entry = Find(window);
  return entry ? entry->shape.threadId : 0;
}

void CountQuery(const std::string& query) {
  std::lock_guard guard(Lock());
  ++W().queries[query];
}

// Records a call and runs the test's hook; never called with the lock held, as the hook may
// call back into the simulation.
void Note(const std::string& entry) {
  sim::Record(entry);
  std::function<void(const std::string&)> hook;
  {
    std::lock_guard guard(Lock());
    hook = W().hook;
  }
  if (hook) hook(entry);
}

std::string Narrow(std::u16string_view text) { return WideToUtf8(text); }

std::uintptr_t NewHandleLocked(HandleKind kind) {
  const std::uintptr_t value = W().nextHandle;
  W().nextHandle += 4;
  W().handles[value] = {kind, std::nullopt};
  return value;
}

// The open handle of this kind, or null after counting the misuse.
OpenHandle* LookupLocked(std::uintptr_t value, HandleKind kind) {
  const auto it = W().handles.find(value);
  if (it == W().handles.end() || it->second.kind != kind) {
    ++W().invalidUses;
    return nullptr;
  }
  return &it->second;
}

OpenHandle* LookupPipeLocked(platform::PipeHandle pipe, HandleKind kind) {
  return LookupLocked(static_cast<std::uintptr_t>(pipe), kind);
}

void ApplyShowCommand(Window& window, int command) {
  switch (command) {
    case 0:  // SW_HIDE
      window.shape.visible = false;
      break;
    case 2:  // SW_SHOWMINIMIZED
    case 6:  // SW_MINIMIZE
      window.shape.iconic = true;
      window.shape.visible = true;
      break;
    case 9:  // SW_RESTORE
      window.shape.iconic = false;
      window.shape.visible = true;
      break;
    default:
      window.shape.visible = true;
      break;
  }
}

std::string Hex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", value);
  return text;
}

}  // namespace

namespace sim {

void ResetInstances() {
  std::lock_guard guard(Lock());
  // A thread that a failed test left behind can't be joined: let it go rather than abort.
  for (std::thread& thread : W().threads) {
    if (thread.joinable()) thread.detach();
  }
  W() = World();
}

WindowHandle AddWindow(const WindowSpec& shape) {
  std::lock_guard guard(Lock());
  W().windows.push_back({shape, true, false});
  const int number = static_cast<int>(W().windows.size());
  W().zOrder.insert(W().zOrder.begin(), number);
  return HandleOf(number);
}

void DestroyWindow(WindowHandle window) {
  std::lock_guard guard(Lock());
  if (Window* entry = Find(window)) entry->alive = false;
  auto& order = W().zOrder;
  order.erase(std::remove(order.begin(), order.end(), NumberOf(window)), order.end());
  if (W().foreground == window) W().foreground = nullptr;
}

bool IsVisible(WindowHandle window) {
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  return entry && entry->shape.visible;
}

bool IsIconicWindow(WindowHandle window) {
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  return entry && entry->shape.iconic;
}

bool IsTopmost(WindowHandle window) {
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  return entry && entry->topmost;
}

std::string Label(WindowHandle window) {
  std::lock_guard guard(Lock());
  return LabelLocked(window);
}

void SetSessionOf(std::uint32_t processId, std::optional<std::uint32_t> session) {
  std::lock_guard guard(Lock());
  W().sessions[processId] = session;
}

void SetForeground(WindowHandle window) {
  std::lock_guard guard(Lock());
  W().foreground = window;
}

WindowHandle Foreground() {
  std::lock_guard guard(Lock());
  return Find(W().foreground) ? W().foreground : nullptr;
}

void SetForegroundYieldsTo(ForegroundYieldsTo step) {
  std::lock_guard guard(Lock());
  W().yieldsTo = step;
}

void SetAttachThreadInputSucceeds(bool succeeds) {
  std::lock_guard guard(Lock());
  W().attachSucceeds = succeeds;
}

std::vector<std::string> AttachedInputs() {
  std::lock_guard guard(Lock());
  std::vector<std::string> pairs;
  for (const auto& [from, to] : W().attached) {
    pairs.push_back(std::to_string(from) + "->" + std::to_string(to));
  }
  return pairs;
}

void SetPipeServerListening(bool listening) {
  std::lock_guard guard(Lock());
  W().listening = listening;
}

void ScriptPipeOpens(std::vector<unsigned long> errors) {
  std::lock_guard guard(Lock());
  W().openScript.assign(errors.begin(), errors.end());
}

void SetPipeWritesFail(bool fail) {
  std::lock_guard guard(Lock());
  W().writesFail = fail;
}

std::vector<std::string> DeliveredRequests() {
  std::lock_guard guard(Lock());
  return W().delivered;
}

void FailPipeCreates(int count, unsigned long error) {
  std::lock_guard guard(Lock());
  W().createFailures = count;
  W().createError = error;
}

void QueueClient(const IncomingClient& client) {
  {
    std::lock_guard guard(Lock());
    W().clients.push_back(client);
  }
  Changed().notify_all();
}

bool WaitForBlockedConnect(std::chrono::milliseconds bound) {
  std::unique_lock lock(Lock());
  return Changed().wait_for(lock, bound, [] { return W().blockedIdle; });
}

void ReleaseBlockedConnect() {
  {
    std::lock_guard guard(Lock());
    W().releaseRequested = true;
  }
  Changed().notify_all();
}

int ConnectTimeouts() {
  std::lock_guard guard(Lock());
  return W().connectTimeouts;
}

std::vector<PostedMessage> PostedMessages() {
  std::lock_guard guard(Lock());
  return W().posted;
}

void SetCreateThreadFails(bool fails) {
  std::lock_guard guard(Lock());
  W().createThreadFails = fails;
}

int StartedThreads() {
  std::lock_guard guard(Lock());
  return W().started;
}

bool WaitForThreads(std::chrono::milliseconds bound) {
  std::vector<std::thread> threads;
  {
    std::unique_lock lock(Lock());
    if (!Changed().wait_for(lock, bound, [] { return W().finished == W().started; })) {
      return false;
    }
    threads.swap(W().threads);
  }
  // Each has run its start function to the end; what is left is the thread's own exit.
  for (std::thread& thread : threads) thread.join();
  return true;
}

int OpenPipeHandles() {
  std::lock_guard guard(Lock());
  return static_cast<int>(std::count_if(W().handles.begin(), W().handles.end(), [](const auto& h) {
    return h.second.kind != HandleKind::kThread;
  }));
}

int OpenThreadHandles() {
  std::lock_guard guard(Lock());
  return static_cast<int>(std::count_if(W().handles.begin(), W().handles.end(), [](const auto& h) {
    return h.second.kind == HandleKind::kThread;
  }));
}

int InvalidHandleUses() {
  std::lock_guard guard(Lock());
  return W().invalidUses;
}

int QueryCount(const std::string& query) {
  std::lock_guard guard(Lock());
  const auto it = W().queries.find(query);
  return it == W().queries.end() ? 0 : it->second;
}

void SetCallHook(std::function<void(const std::string& entry)> hook) {
  std::lock_guard guard(Lock());
  W().hook = std::move(hook);
}

}  // namespace sim

namespace platform {

WindowHandle FindWindowW(const char16_t* className, const char16_t* windowName) {
  WindowHandle found = nullptr;
  {
    std::lock_guard guard(Lock());
    for (const int number : W().zOrder) {
      const Window& window = W().windows[number - 1];
      if (className && !EqualsFolded(window.shape.className, className)) continue;
      if (windowName && !EqualsFolded(window.shape.title, windowName)) continue;
      found = HandleOf(number);
      break;
    }
  }
  std::string entry = "FindWindowW";
  if (className) entry += " class " + Narrow(className);
  if (windowName) entry += " title " + Narrow(windowName);
  Note(entry);
  return found;
}

bool IsWindow(WindowHandle window) {
  CountQuery("IsWindow");
  std::lock_guard guard(Lock());
  return Find(window) != nullptr;
}

void EnumWindows(const std::function<bool(WindowHandle)>& callback) {
  std::vector<WindowHandle> snapshot;
  {
    std::lock_guard guard(Lock());
    for (const int number : W().zOrder) snapshot.push_back(HandleOf(number));
  }
  // Taken before the hook runs, so a test can destroy a window while the walk is under way.
  Note("EnumWindows");
  for (const WindowHandle window : snapshot) {
    if (!callback(window)) return;
  }
}

WindowHandle GetWindow(WindowHandle window, unsigned command) {
  CountQuery("GetWindow");
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  if (!entry || command != kGwOwner) return nullptr;
  return Find(entry->shape.owner) ? entry->shape.owner : nullptr;
}

std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId) {
  CountQuery("GetWindowThreadProcessId");
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  if (processId) *processId = entry ? entry->shape.processId : 0;
  return entry ? entry->shape.threadId : 0;
}

std::uint32_t GetCurrentProcessId() {
  CountQuery("GetCurrentProcessId");
  return sim::kOwnProcessId;
}

std::optional<std::uint32_t> ProcessIdToSessionId(std::uint32_t processId) {
  CountQuery("ProcessIdToSessionId");
  std::lock_guard guard(Lock());
  const auto it = W().sessions.find(processId);
  return it == W().sessions.end() ? std::optional<std::uint32_t>(sim::kOwnSessionId) : it->second;
}

namespace {

std::u16string CopiedText(const std::u16string& text, int capacity) {
  if (capacity <= 0) return {};
  return text.substr(0, static_cast<std::size_t>(capacity - 1));
}

}  // namespace

std::u16string GetClassNameW(WindowHandle window, int capacity) {
  CountQuery("GetClassNameW " + std::to_string(capacity));
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  return entry ? CopiedText(entry->shape.className, capacity) : std::u16string();
}

std::u16string GetWindowTextW(WindowHandle window, int capacity) {
  CountQuery("GetWindowTextW " + std::to_string(capacity));
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  return entry ? CopiedText(entry->shape.title, capacity) : std::u16string();
}

PipeHandle CreateFileW(std::u16string_view name, std::uint32_t desiredAccess,
                       std::uint32_t shareMode, std::uint32_t creationDisposition) {
  unsigned long error = 0;
  std::uintptr_t handle = 0;
  {
    std::lock_guard guard(Lock());
    if (!W().openScript.empty()) {
      error = W().openScript.front();
      W().openScript.pop_front();
    } else if (!EqualsFolded(name, kRunningInstancePipe) || !W().listening) {
      error = kErrorFileNotFound;
    } else if ((desiredAccess & kGenericRead) != 0 || (desiredAccess & kGenericWrite) == 0) {
      error = kErrorAccessDenied;  // the server's end is inbound only
    }
    if (error == 0) handle = NewHandleLocked(HandleKind::kClientPipe);
  }
  if (error != 0) sim::SetLastErrorValue(error);
  Note("CreateFileW " + Narrow(name) + " " + Hex(desiredAccess) + " " + std::to_string(shareMode) +
       " " + std::to_string(creationDisposition));
  return static_cast<PipeHandle>(handle);
}

bool WriteFile(PipeHandle pipe, std::string_view bytes) {
  unsigned long error = 0;
  {
    std::lock_guard guard(Lock());
    if (!LookupPipeLocked(pipe, HandleKind::kClientPipe)) {
      error = kErrorInvalidHandle;
    } else if (W().writesFail) {
      error = kErrorNoData;
    } else {
      W().delivered.emplace_back(bytes);
    }
  }
  if (error != 0) sim::SetLastErrorValue(error);
  Note("WriteFile " + std::string(bytes));
  return error == 0;
}

PipeHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                            std::uint32_t pipeMode, std::uint32_t maxInstances,
                            std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                            std::uint32_t defaultTimeout) {
  unsigned long error = 0;
  std::uintptr_t handle = 0;
  {
    std::lock_guard guard(Lock());
    if (W().createFailures > 0) {
      --W().createFailures;
      error = W().createError;
    } else {
      handle = NewHandleLocked(HandleKind::kServerPipe);
    }
  }
  if (error != 0) sim::SetLastErrorValue(error);
  Note("CreateNamedPipeW " + Narrow(name) + " " + std::to_string(openMode) + " " +
       std::to_string(pipeMode) + " " + std::to_string(maxInstances) + " " +
       std::to_string(outBufferSize) + " " + std::to_string(inBufferSize) + " " +
       std::to_string(defaultTimeout));
  return static_cast<PipeHandle>(handle);
}

bool ConnectNamedPipe(PipeHandle pipe) {
  Note("ConnectNamedPipe");
  unsigned long error = 0;
  {
    std::unique_lock lock(Lock());
    if (!LookupPipeLocked(pipe, HandleKind::kServerPipe)) {
      error = kErrorInvalidHandle;
    } else {
      W().blockedIdle = W().clients.empty() && !W().releaseRequested;
      if (W().blockedIdle) Changed().notify_all();
      const bool woken = Changed().wait_for(lock, sim::kSimulatedWaitBound, [] {
        return !W().clients.empty() || W().releaseRequested;
      });
      W().blockedIdle = false;
      if (!woken) {
        ++W().connectTimeouts;
        error = kErrorTimeout;
      } else if (W().releaseRequested) {
        W().releaseRequested = false;
        error = kErrorOperationAborted;
      } else {
        const sim::IncomingClient client = W().clients.front();
        W().clients.pop_front();
        switch (client.connect) {
          case sim::IncomingClient::Connect::kWaited:
            LookupPipeLocked(pipe, HandleKind::kServerPipe)->client = client;
            break;
          case sim::IncomingClient::Connect::kBeforeTheWait:
            LookupPipeLocked(pipe, HandleKind::kServerPipe)->client = client;
            error = kErrorPipeConnected;
            break;
          case sim::IncomingClient::Connect::kFails:
            error = client.connectError;
            break;
        }
      }
    }
  }
  if (error != 0) sim::SetLastErrorValue(error);
  return error == 0;
}

std::optional<std::string> ReadFile(PipeHandle pipe, std::size_t capacity) {
  unsigned long error = 0;
  std::optional<std::string> result;
  {
    std::lock_guard guard(Lock());
    const OpenHandle* open = LookupPipeLocked(pipe, HandleKind::kServerPipe);
    if (!open) {
      error = kErrorInvalidHandle;
    } else if (!open->client || !open->client->payload) {
      error = kErrorBrokenPipe;
    } else if (open->client->payload->size() > capacity) {
      error = kErrorMoreData;  // a message longer than the buffer fails the read
    } else {
      result = open->client->payload;
    }
  }
  if (error != 0) sim::SetLastErrorValue(error);
  Note("ReadFile " + std::to_string(capacity));
  return result;
}

bool FlushFileBuffers(PipeHandle pipe) {
  bool valid = false;
  {
    std::lock_guard guard(Lock());
    valid = LookupPipeLocked(pipe, HandleKind::kServerPipe) != nullptr;
  }
  Note("FlushFileBuffers");
  return valid;
}

bool DisconnectNamedPipe(PipeHandle pipe) {
  bool valid = false;
  {
    std::lock_guard guard(Lock());
    if (OpenHandle* open = LookupPipeLocked(pipe, HandleKind::kServerPipe)) {
      open->client.reset();
      valid = true;
    }
  }
  Note("DisconnectNamedPipe");
  return valid;
}

void CloseHandle(PipeHandle pipe) {
  {
    std::lock_guard guard(Lock());
    const auto it = W().handles.find(static_cast<std::uintptr_t>(pipe));
    if (it == W().handles.end() || it->second.kind == HandleKind::kThread) {
      ++W().invalidUses;
    } else {
      W().handles.erase(it);
    }
  }
  Note("CloseHandle pipe");
}

ThreadHandle CreateThread(ThreadStart start) {
  std::uintptr_t handle = 0;
  {
    std::lock_guard guard(Lock());
    if (!W().createThreadFails) {
      handle = NewHandleLocked(HandleKind::kThread);
      ++W().started;
      W().threads.emplace_back([start] {
        start();
        {
          std::lock_guard inner(Lock());
          ++W().finished;
        }
        Changed().notify_all();
      });
    }
  }
  if (handle == 0) sim::SetLastErrorValue(kErrorNotEnoughMemory);
  Note("CreateThread");
  return static_cast<ThreadHandle>(handle);
}

void CloseHandle(ThreadHandle thread) {
  {
    std::lock_guard guard(Lock());
    if (LookupLocked(static_cast<std::uintptr_t>(thread), HandleKind::kThread)) {
      W().handles.erase(static_cast<std::uintptr_t>(thread));
    }
  }
  Note("CloseHandle thread");
}

bool PostMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                  std::intptr_t lParam) {
  bool posted = false;
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (Find(window)) {
      W().posted.push_back({window, message, wParam, lParam});
      posted = true;
    }
  }
  if (!posted) sim::SetLastErrorValue(kErrorInvalidWindowHandle);
  Note("PostMessageW " + label + " " + std::to_string(message) + " " + std::to_string(wParam) +
       " " + std::to_string(lParam));
  return posted;
}

bool ShowWindow(WindowHandle window, int command) {
  bool wasVisible = false;
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (Window* entry = Find(window)) {
      wasVisible = entry->shape.visible;
      ApplyShowCommand(*entry, command);
    }
  }
  Note("ShowWindow " + label + " " + std::to_string(command));
  return wasVisible;
}

bool ShowWindowAsync(WindowHandle window, int command) {
  bool alive = false;
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (Window* entry = Find(window)) {
      ApplyShowCommand(*entry, command);
      alive = true;
    }
  }
  Note("ShowWindowAsync " + label + " " + std::to_string(command));
  return alive;
}

bool IsIconic(WindowHandle window) {
  CountQuery("IsIconic");
  std::lock_guard guard(Lock());
  const Window* entry = Find(window);
  return entry && entry->shape.iconic;
}

bool SetWindowPos(WindowHandle window, InsertAfter insertAfter, int, int, int, int,
                  unsigned flags) {
  bool alive = false;
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (Window* entry = Find(window)) {
      alive = true;
      if (insertAfter == InsertAfter::kTopmost) entry->topmost = true;
      if (insertAfter == InsertAfter::kNoTopmost) entry->topmost = false;
      if (insertAfter != InsertAfter::kNoTopmost) RaiseLocked(window);
      if (flags & kSwpShowWindow) entry->shape.visible = true;
    }
  }
  const char* where = insertAfter == InsertAfter::kTop       ? "TOP"
                      : insertAfter == InsertAfter::kTopmost ? "TOPMOST"
                                                             : "NOTOPMOST";
  Note("SetWindowPos " + label + " " + where + " " + std::to_string(flags));
  return alive;
}

WindowHandle GetForegroundWindow() {
  CountQuery("GetForegroundWindow");
  std::lock_guard guard(Lock());
  return Find(W().foreground) ? W().foreground : nullptr;
}

bool AttachThreadInput(std::uint32_t attachThread, std::uint32_t toThread, bool attach) {
  bool done = false;
  {
    std::lock_guard guard(Lock());
    auto& attached = W().attached;
    const auto pair = std::make_pair(attachThread, toThread);
    const auto it = std::find(attached.begin(), attached.end(), pair);
    if (attach && W().attachSucceeds) {
      attached.push_back(pair);
      done = true;
    } else if (!attach && it != attached.end()) {
      attached.erase(it);
      done = true;
    }
  }
  if (!done) sim::SetLastErrorValue(kErrorInvalidParameter);
  Note("AttachThreadInput " + std::to_string(attachThread) + " " + std::to_string(toThread) + " " +
       (attach ? "1" : "0"));
  return done;
}

bool SetForegroundWindow(WindowHandle window) {
  bool moved = false;
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (Find(window)) {
      const auto attachedToUs =
          std::make_pair(ThreadOfLocked(W().foreground), ThreadOfLocked(window));
      switch (W().yieldsTo) {
        case sim::ForegroundYieldsTo::kSetForegroundWindow:
          moved = true;
          break;
        case sim::ForegroundYieldsTo::kAttachedInput:
          moved = std::find(W().attached.begin(), W().attached.end(), attachedToUs) !=
                  W().attached.end();
          break;
        case sim::ForegroundYieldsTo::kAltKey:
          moved = W().altTapped;
          break;
        default:
          break;
      }
      moved = moved || W().foreground == window;
      if (moved) W().foreground = window;
    }
  }
  Note("SetForegroundWindow " + label);
  return moved;
}

bool BringWindowToTop(WindowHandle window) {
  bool alive = false;
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (const Window* entry = Find(window)) {
      alive = true;
      RaiseLocked(window);
      if (W().yieldsTo == sim::ForegroundYieldsTo::kTopmost && entry->topmost) {
        W().foreground = window;
      }
    }
  }
  Note("BringWindowToTop " + label);
  return alive;
}

void SwitchToThisWindow(WindowHandle window, bool altTab) {
  std::string label;
  {
    std::lock_guard guard(Lock());
    label = LabelLocked(window);
    if (Find(window) && W().yieldsTo == sim::ForegroundYieldsTo::kSwitchToThisWindow) {
      W().foreground = window;
    }
  }
  Note("SwitchToThisWindow " + label + " " + (altTab ? "1" : "0"));
}

unsigned SendInput(std::span<const KeyboardInput> inputs) {
  std::string entry = "SendInput";
  bool altDown = false;
  bool altTapped = false;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const bool up = (inputs[i].flags & kKeyEventKeyUp) != 0;
    entry +=
        (i == 0 ? " VK" : ", VK") + std::to_string(inputs[i].virtualKey) + (up ? " up" : " down");
    if (inputs[i].virtualKey == kVkMenu) {
      if (!up) altDown = true;
      if (up && altDown) altTapped = true;
    }
  }
  {
    std::lock_guard guard(Lock());
    W().altTapped = W().altTapped || altTapped;
  }
  Note(entry);
  return static_cast<unsigned>(inputs.size());
}

bool AllowSetForegroundWindow(std::uint32_t processId) {
  Note("AllowSetForegroundWindow " + std::to_string(processId));
  return true;
}

}  // namespace platform
