#include "sim_desktop.h"

#include <algorithm>
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
  Call(std::string name, blocker::WindowHandle window, std::string extra = {})
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

}  // namespace blocker::platform
