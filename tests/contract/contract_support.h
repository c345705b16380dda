// What the contract tests share. Everything here reaches the platform through the seams only, so
// that the same cases run against the Win32 adapters under Wine and against the simulation.
// The waits are bounded in real time: both sides answer these cases within milliseconds, and a
// case that never gets its answer fails instead of hanging the run.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/handles.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/user.h"

namespace contract {

// Win32 values that the cases check and the logic never names, so the seams do not carry them.
// The Windows build checks them against <windows.h> (win32_values_check.cpp).
inline constexpr unsigned long kErrorPathNotFound = 3;
inline constexpr unsigned long kErrorSharingViolation = 32;
inline constexpr unsigned long kErrorBrokenPipe = 109;
inline constexpr unsigned long kErrorInvalidWindowHandle = 1400;
inline constexpr unsigned long kErrorClassAlreadyExists = 1410;
inline constexpr unsigned long kErrorClassDoesNotExist = 1411;
inline constexpr unsigned long kErrorInvalidThreadId = 1444;
inline constexpr std::int32_t kENotImpl = static_cast<std::int32_t>(0x80004001);

inline constexpr auto kAnswerLimit = std::chrono::seconds(10);

inline std::u16string Decimal(std::uint64_t value) {
  std::u16string digits;
  do {
    digits.insert(digits.begin(), static_cast<char16_t>(u'0' + value % 10));
    value /= 10;
  } while (value != 0);
  return digits;
}

// A-Z folded to a-z, as Windows compares the names of paths, classes and titles here.
inline std::u16string Folded(std::u16string_view text) {
  std::u16string folded(text);
  for (char16_t& unit : folded) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  return folded;
}

// A name no other process and no other case uses: other Wine tests share the session.
inline std::u16string UniqueName(std::u16string_view stem) {
  static std::atomic<unsigned> counter{0};
  return std::u16string(stem) + u"-" + Decimal(platform::GetCurrentProcessId()) + u"-" +
         Decimal(++counter);
}

// What a seam copies into a buffer of `capacity` units: the units it says it copied.
template <typename Copy>
std::u16string CopiedText(platform::WindowHandle window, int capacity, Copy copy) {
  std::u16string buffer(static_cast<std::size_t>(capacity), u'\0');
  const int copied = copy(window, buffer.data(), capacity);
  buffer.resize(static_cast<std::size_t>(copied > 0 ? copied : 0));
  return buffer;
}

inline std::u16string ClassNameOf(platform::WindowHandle window, int capacity = 256) {
  return CopiedText(window, capacity, &platform::GetClassNameW);
}

inline std::u16string TitleOf(platform::WindowHandle window, int capacity = 256) {
  return CopiedText(window, capacity, &platform::GetWindowTextW);
}

// One message as a window procedure saw it.
struct SeenMessage {
  platform::WindowHandle window = nullptr;
  unsigned message = 0;
  std::uintptr_t wParam = 0;
  std::uint32_t threadId = 0;
  void* createParameter = nullptr;  // WM_NCCREATE's only
};

// Every message the recording class's procedure was given, from every thread, in order.
class MessageLog {
 public:
  static MessageLog& Instance() {
    static MessageLog log;
    return log;
  }
  void Add(const SeenMessage& seen) {
    {
      const std::lock_guard guard(mutex_);
      seen_.push_back(seen);
    }
    changed_.notify_all();
  }
  std::vector<SeenMessage> For(platform::WindowHandle window) const {
    const std::lock_guard guard(mutex_);
    std::vector<SeenMessage> found;
    for (const SeenMessage& seen : seen_) {
      if (seen.window == window) found.push_back(seen);
    }
    return found;
  }
  // The messages of `window` among `wanted`, in the order they came.
  std::vector<unsigned> SequenceOf(platform::WindowHandle window,
                                   const std::vector<unsigned>& wanted) const {
    std::vector<unsigned> sequence;
    for (const SeenMessage& seen : For(window)) {
      for (const unsigned message : wanted) {
        if (seen.message == message) sequence.push_back(message);
      }
    }
    return sequence;
  }
  // The messages among `wanted` of any of `windows`, in the order they came.
  std::vector<std::pair<platform::WindowHandle, unsigned>> Across(
      const std::vector<platform::WindowHandle>& windows,
      const std::vector<unsigned>& wanted) const {
    const std::lock_guard guard(mutex_);
    std::vector<std::pair<platform::WindowHandle, unsigned>> sequence;
    for (const SeenMessage& seen : seen_) {
      const bool ofWindow = std::find(windows.begin(), windows.end(), seen.window) != windows.end();
      const bool isWanted = std::find(wanted.begin(), wanted.end(), seen.message) != wanted.end();
      if (ofWindow && isWanted) sequence.emplace_back(seen.window, seen.message);
    }
    return sequence;
  }
  // True once `window` has been given `message`; false when that did not happen in time.
  bool WaitFor(platform::WindowHandle window, unsigned message) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kAnswerLimit, [&] {
      for (const SeenMessage& seen : seen_) {
        if (seen.window == window && seen.message == message) return true;
      }
      return false;
    });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<SeenMessage> seen_;
};

// Records every message and leaves it to DefWindowProcW, but keeps WM_CLOSE from destroying the
// window, so that a close request can be seen arriving.
inline std::intptr_t RecordingProcedure(platform::WindowHandle window, unsigned message,
                                        std::uintptr_t wParam, std::intptr_t lParam) {
  SeenMessage seen{window, message, wParam, platform::GetCurrentThreadId(), nullptr};
  if (message == platform::kWmNcCreate) seen.createParameter = platform::CreateParameterOf(lParam);
  MessageLog::Instance().Add(seen);
  if (message == platform::kWmClose) return 0;
  return platform::DefWindowProcW(window, message, wParam, lParam);
}

inline constexpr std::u16string_view kRecordingClass = u"KtContractRecording";

// The recording class, registered once for the whole run.
inline const std::u16string& RecordingClass() {
  static const std::u16string name = [] {
    platform::WindowClass windowClass;
    windowClass.procedure = &RecordingProcedure;
    windowClass.instance = platform::GetModuleHandleW(nullptr);
    windowClass.className = UniqueName(kRecordingClass);
    platform::RegisterClassW(windowClass);
    return windowClass.className;
  }();
  return name;
}

struct WindowRequest {
  std::u16string title = u"Contract";
  unsigned long style = platform::kWsPopup;
  unsigned long exStyle = 0;
  Rect rect = {200, 150, 520, 390};
  platform::WindowHandle parent = nullptr;
  void* createParameter = nullptr;
};

// A window of the recording class on the calling thread, destroyed with the object unless it is
// gone already.
class TestWindow {
 public:
  explicit TestWindow(const WindowRequest& request = {})
      : window_(platform::CreateWindowExW(
            request.exStyle, RecordingClass(), request.title, request.style, request.rect.left,
            request.rect.top, request.rect.Width(), request.rect.Height(), request.parent, nullptr,
            platform::GetModuleHandleW(nullptr), request.createParameter)) {}
  ~TestWindow() {
    if (window_ && platform::IsWindow(window_)) platform::DestroyWindow(window_);
  }
  TestWindow(const TestWindow&) = delete;
  TestWindow& operator=(const TestWindow&) = delete;

  platform::WindowHandle get() const { return window_; }

 private:
  platform::WindowHandle window_;
};

// A thread started through the seam, its handle closed at once as the logic does. Join waits
// (bounded) for its function to return; the shared state outlives a thread that is late.
class SeamThread {
 public:
  explicit SeamThread(std::function<void()> work) : done_(std::make_shared<std::promise<void>>()) {
    finished_ = done_->get_future();
    const platform::UniqueKernelHandle handle(
        platform::CreateThread([work = std::move(work), done = done_] {
          work();
          done->set_value();
        }));
    started_ = static_cast<bool>(handle);
  }
  ~SeamThread() { Join(); }
  SeamThread(const SeamThread&) = delete;
  SeamThread& operator=(const SeamThread&) = delete;

  bool started() const { return started_; }
  // True once the thread's function has returned.
  bool Join() {
    if (!started_) return false;
    return finished_.wait_for(kAnswerLimit) == std::future_status::ready;
  }

 private:
  std::shared_ptr<std::promise<void>> done_;
  std::future<void> finished_;
  bool started_ = false;
};

// A one-shot signal between threads, waited for in bounded time.
class Signal {
 public:
  void Raise() {
    {
      const std::lock_guard guard(mutex_);
      raised_ = true;
    }
    changed_.notify_all();
  }
  bool Wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kAnswerLimit, [this] { return raised_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool raised_ = false;
};

}  // namespace contract
