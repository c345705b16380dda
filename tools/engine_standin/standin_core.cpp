#include "standin_core.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace standin {

namespace {

constexpr wchar_t kDeliveryClass[] = L"KtStandinDelivery";
constexpr wchar_t kRunnerClass[] = L"FLUTTER_RUNNER_WIN32_WINDOW";
constexpr UINT kDeliverMessage = WM_APP + 0x4B;

HINSTANCE ThisModule() { return reinterpret_cast<HINSTANCE>(&__ImageBase); }

frames::Bytes CopyBytes(const uint8_t* data, size_t size) {
  return data && size ? frames::Bytes(data, data + size) : frames::Bytes();
}

// The runner window of this process; the driver's window messages are meant for it alone.
HWND FindRunnerWindow() {
  struct Search {
    DWORD process;
    HWND found;
  } search{::GetCurrentProcessId(), nullptr};
  ::EnumWindows(
      [](HWND window, LPARAM context) -> BOOL {
        auto* s = reinterpret_cast<Search*>(context);
        DWORD process = 0;
        ::GetWindowThreadProcessId(window, &process);
        if (process != s->process) return TRUE;
        wchar_t name[64] = {};
        if (::GetClassNameW(window, name, 64) == 0 || std::wstring_view(name) != kRunnerClass)
          return TRUE;
        s->found = window;
        return FALSE;
      },
      reinterpret_cast<LPARAM>(&search));
  return search.found;
}

}  // namespace

std::shared_ptr<Core> Core::Create(bool listening) {
  std::shared_ptr<Core> core(new Core(listening));
  WNDCLASSEXW wc{};
  wc.cbSize = sizeof wc;
  if (!::GetClassInfoExW(ThisModule(), kDeliveryClass, &wc)) {
    wc = WNDCLASSEXW{};
    wc.cbSize = sizeof wc;
    wc.lpfnWndProc = &Core::DeliveryWindowProc;
    wc.hInstance = ThisModule();
    wc.lpszClassName = kDeliveryClass;
    ::RegisterClassExW(&wc);
  }
  // A message-only window: the thread's message loop, and any nested loop a handler runs
  // (a dialog, a menu, a GetMessage loop), dispatches what is posted to it.
  core->deliveryWindow_ = ::CreateWindowExW(0, kDeliveryClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                            nullptr, ThisModule(), nullptr);
  if (core->deliveryWindow_) {
    ::SetWindowLongPtrW(core->deliveryWindow_, GWLP_USERDATA,
                        reinterpret_cast<LONG_PTR>(core.get()));
  } else {
    std::fprintf(stderr, "engine stand-in: no delivery window (error %lu)\n", ::GetLastError());
  }
  return core;
}

Core::Core(bool listening) : listening_(listening) {
  outgoingEvent_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

Core::~Core() {
  if (outgoingEvent_) ::CloseHandle(outgoingEvent_);
}

LRESULT CALLBACK Core::DeliveryWindowProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == kDeliverMessage) {
    auto* raw = reinterpret_cast<Core*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (raw) {
      // Held for the whole delivery: a handler may destroy the engine, and with it this window.
      std::shared_ptr<Core> core = raw->shared_from_this();
      core->RunNextDelivery();
    }
    return 0;
  }
  return ::DefWindowProcW(window, message, wparam, lparam);
}

void Core::EmitLocked(frames::Frame frame) {
  if (!listening_) return;  // no driver can ever come for it
  std::optional<frames::Bytes> bytes = frames::Encode(frame);
  if (!bytes) {
    std::fprintf(stderr, "engine stand-in: cannot encode %s\n", frames::Describe(frame).c_str());
    return;
  }
  outgoing_.push_back(std::move(*bytes));
  ::SetEvent(outgoingEvent_);
}

void Core::Emit(frames::Frame frame) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return;
  EmitLocked(std::move(frame));
}

void Core::EmitEvent(std::string name, std::string text) {
  Emit(frames::Event{std::move(name), std::move(text)});
}

bool Core::IsAvailable() {
  std::lock_guard<std::mutex> lock(mutex_);
  return available_;
}

void Core::SetCallback(const char* channel, FlutterDesktopMessageCallback callback,
                       void* userData) {
  if (!channel) return;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return;
  if (callback) {
    receivers_[channel] = ReceiveFunction{callback, userData};
    EmitLocked(frames::Event{"handler-set", channel});
  } else {
    receivers_.erase(channel);
    EmitLocked(frames::Event{"handler-cleared", channel});
  }
}

bool Core::Send(const char* channel, const uint8_t* data, size_t size) {
  if (!channel) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return false;
  EmitLocked(frames::NativeMessage{0, channel, CopyBytes(data, size)});
  return true;
}

bool Core::SendWithReply(const char* channel, const uint8_t* data, size_t size,
                         FlutterDesktopBinaryReply reply, void* userData) {
  if (!channel) return false;
  if (!reply) return Send(channel, data, size);
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return false;
  do {
    ++lastReplyId_;
  } while (lastReplyId_ == 0 || pendingReplies_.count(lastReplyId_));
  const uint32_t id = lastReplyId_;
  pendingReplies_[id] = PendingReply{reply, userData};
  if (listening_) {
    EmitLocked(frames::NativeMessage{id, channel, CopyBytes(data, size)});
  } else {
    // No Dart side at all: answer as Dart does for a channel nobody listens on, with an empty
    // reply, on the platform thread like every other reply.
    QueueDeliveryLocked(frames::NativeReply{id, {}});
  }
  return true;
}

void Core::SendResponse(const FlutterDesktopMessageResponseHandle* handle, const uint8_t* data,
                        size_t size) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto open = openResponses_.find(reinterpret_cast<uintptr_t>(handle));
  if (open == openResponses_.end()) return;  // answered before, or not one of ours
  const uint32_t id = open->second;
  openResponses_.erase(open);
  if (!available_) return;
  // Null or empty data is the not-implemented answer: an empty payload.
  EmitLocked(frames::Response{id, CopyBytes(data, size)});
}

void Core::QueueDeliveryLocked(frames::Frame frame) {
  deliveries_.push_back(std::move(frame));
  if (deliveryWindow_ && ::PostMessageW(deliveryWindow_, kDeliverMessage, 0, 0))
    ++postedDeliveries_;
}

void Core::Deliver(frames::Frame frame) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return;
  QueueDeliveryLocked(std::move(frame));
}

std::optional<frames::Bytes> Core::TakeOutgoing() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (outgoing_.empty()) return std::nullopt;
  frames::Bytes front = std::move(outgoing_.front());
  outgoing_.pop_front();
  return front;
}

void Core::ReturnOutgoing(frames::Bytes frame) {
  std::lock_guard<std::mutex> lock(mutex_);
  outgoing_.push_front(std::move(frame));
}

void Core::StopKeepingFrames() {
  std::lock_guard<std::mutex> lock(mutex_);
  listening_ = false;
  outgoing_.clear();
}

bool Core::HasOutgoing() {
  std::lock_guard<std::mutex> lock(mutex_);
  return !outgoing_.empty();
}

void Core::Shutdown() {
  HWND window = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!available_) return;
    EmitLocked(frames::Event{"engine-destroyed", ""});
    available_ = false;
    deliveries_.clear();
    postedDeliveries_ = 0;
    receivers_.clear();
    // Reply functions that never got their answer are not called: their records belong to the
    // executable, which may be tearing down the objects they point at.
    pendingReplies_.clear();
    openResponses_.clear();
    window = std::exchange(deliveryWindow_, nullptr);
  }
  if (window) {
    ::SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    ::DestroyWindow(window);
  }
}

void Core::RunNextDelivery() {
  frames::Frame frame;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (postedDeliveries_ > 0) --postedDeliveries_;
    if (deliveries_.empty()) return;
    frame = std::move(deliveries_.front());
    deliveries_.pop_front();
    // Keep one posted message per waiting frame before running this one, so that a handler
    // that runs a nested loop sees the rest delivered inside it; this also makes up for a post
    // that failed when the queue was full.
    while (postedDeliveries_ < deliveries_.size() && deliveryWindow_ &&
           ::PostMessageW(deliveryWindow_, kDeliverMessage, 0, 0))
      ++postedDeliveries_;
  }
  std::visit(
      [this](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, frames::Message>) {
          RunMessage(value);
        } else if constexpr (std::is_same_v<T, frames::NativeReply>) {
          RunNativeReply(value);
        } else if constexpr (std::is_same_v<T, frames::WindowMessage>) {
          RunWindowMessage(value);
        } else if constexpr (std::is_same_v<T, frames::Call>) {
          RunCall(value);
        }
      },
      frame);
}

void Core::RunMessage(const frames::Message& message) {
  ReceiveFunction receiver;
  uintptr_t token = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!available_) return;
    const auto found = receivers_.find(message.channel);
    if (found == receivers_.end()) {
      EmitLocked(frames::Response{message.id, {}});
      return;
    }
    receiver = found->second;
    token = ++lastResponseToken_;
    openResponses_[token] = message.id;
  }
  FlutterDesktopMessage desktopMessage{};
  desktopMessage.struct_size = sizeof desktopMessage;
  desktopMessage.channel = message.channel.c_str();
  desktopMessage.message = message.payload.data();
  desktopMessage.message_size = message.payload.size();
  desktopMessage.response_handle =
      reinterpret_cast<const FlutterDesktopMessageResponseHandle*>(token);
  receiver.callback(messenger_, &desktopMessage, receiver.userData);
}

void Core::RunNativeReply(const frames::NativeReply& reply) {
  PendingReply pending;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!available_) return;
    const auto found = pendingReplies_.find(reply.id);
    if (found == pendingReplies_.end()) return;  // a second reply, or one for nobody
    pending = found->second;
    pendingReplies_.erase(found);
  }
  pending.reply(reply.payload.data(), reply.payload.size(), pending.userData);
}

void Core::RunWindowMessage(const frames::WindowMessage& message) {
  HWND runner = FindRunnerWindow();
  // Without a runner window there is nobody to ask; 0 is what a window that ignores a message
  // answers, and the driver still gets its result instead of waiting in vain.
  LRESULT result = 0;
  if (runner) {
    // The copy outlives the call: the window may read it for as long as SendMessageW runs.
    std::vector<uint8_t> copy(message.payload.begin(), message.payload.end());
    const LPARAM lparam =
        copy.empty() ? static_cast<LPARAM>(message.lparam) : reinterpret_cast<LPARAM>(copy.data());
    result = ::SendMessageW(runner, message.message, static_cast<WPARAM>(message.wparam), lparam);
  }
  Emit(frames::WindowResult{message.id, static_cast<int64_t>(result)});
}

void Core::RunCall(const frames::Call& call) {
  FARPROC address = nullptr;
  if (!call.exportName.empty() && call.exportName.find('\0') == std::string::npos)
    address = ::GetProcAddress(::GetModuleHandleW(nullptr), call.exportName.c_str());
  if (!address) {
    Emit(frames::CallResult{call.id, false, 0, {}});
    return;
  }
  // Every argument travels as one 64-bit integer; extra ones are harmless in the x64 calling
  // convention, where the callee ignores registers it does not read.
  using Export = int64_t (*)(int64_t, int64_t, int64_t, int64_t);
  std::array<int64_t, frames::kMaxArguments> values{};
  std::array<std::vector<uint8_t>, frames::kMaxArguments> buffers;
  std::array<std::wstring, frames::kMaxArguments> texts;
  for (size_t i = 0; i < call.arguments.size() && i < frames::kMaxArguments; ++i) {
    const frames::CallArgument& argument = call.arguments[i];
    switch (argument.tag) {
      case frames::ArgumentTag::kInt64:
        values[i] = argument.value;
        break;
      case frames::ArgumentTag::kBuffer:
        // One spare byte so that even an empty buffer is a valid, non-null pointer.
        buffers[i].assign(argument.buffer.begin(), argument.buffer.end());
        buffers[i].reserve(buffers[i].size() + 1);
        values[i] = static_cast<int64_t>(reinterpret_cast<intptr_t>(buffers[i].data()));
        break;
      case frames::ArgumentTag::kString:
        texts[i].assign(argument.text.begin(), argument.text.end());
        values[i] = static_cast<int64_t>(reinterpret_cast<intptr_t>(texts[i].c_str()));
        break;
    }
  }
  auto function = reinterpret_cast<Export>(reinterpret_cast<void*>(address));
  frames::CallResult result{
      call.id, true, function(values[0], values[1], values[2], values[3]), {}};
  for (size_t i = 0; i < call.arguments.size() && i < frames::kMaxArguments; ++i) {
    if (call.arguments[i].tag == frames::ArgumentTag::kBuffer) result.buffers.push_back(buffers[i]);
  }
  Emit(std::move(result));
}

}  // namespace standin
