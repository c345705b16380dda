#include "sim_messenger.h"

#include <map>
#include <mutex>
#include <thread>
#include <utility>

// The engine's response handle: which delivery it belongs to.
struct _FlutterPlatformMessageResponseHandle {  // NOLINT(bugprone-reserved-identifier)
  int delivery;
};

struct FlutterDesktopMessenger {
  struct Callback {
    FlutterDesktopMessageCallback function;
    void* userData;
  };
  struct PendingReply {
    FlutterDesktopBinaryReply function;
    void* userData;
  };

  // The embedder's lock, taken by FlutterDesktopMessengerLock.
  std::mutex messengerLock;

  // Everything below is guarded by `mutex`.
  mutable std::mutex mutex;
  std::optional<std::thread::id> lockOwner;
  int lockCount = 0;
  bool available = true;
  bool sendWithReplyFails = false;
  int references = 0;
  int addRefCount = 0;
  int violations = 0;
  int strayResponses = 0;
  std::map<std::string, Callback> callbacks;
  std::vector<std::unique_ptr<_FlutterPlatformMessageResponseHandle>> handles;
  std::map<const _FlutterPlatformMessageResponseHandle*, bool> handleUsed;
  std::map<int, std::vector<sim::MessengerResponse>> responses;
  std::vector<sim::SentMessage> sent;
  std::map<size_t, PendingReply> pendingReplies;

  bool HeldByCaller() const { return lockOwner == std::this_thread::get_id(); }
};

namespace {

std::vector<uint8_t> Bytes(const uint8_t* data, size_t size) {
  return data ? std::vector<uint8_t>(data, data + size) : std::vector<uint8_t>();
}

}  // namespace

extern "C" {

bool FlutterDesktopMessengerSend(FlutterDesktopMessengerRef messenger, const char* channel,
                                 const uint8_t* message, size_t messageSize) {
  const std::lock_guard lock(messenger->mutex);
  messenger->sent.push_back({channel, Bytes(message, messageSize), false});
  return true;
}

bool FlutterDesktopMessengerSendWithReply(FlutterDesktopMessengerRef messenger, const char* channel,
                                          const uint8_t* message, size_t messageSize,
                                          FlutterDesktopBinaryReply reply, void* userData) {
  const std::lock_guard lock(messenger->mutex);
  if (messenger->sendWithReplyFails) return false;
  messenger->sent.push_back({channel, Bytes(message, messageSize), true});
  messenger->pendingReplies[messenger->sent.size() - 1] = {reply, userData};
  return true;
}

void FlutterDesktopMessengerSendResponse(FlutterDesktopMessengerRef messenger,
                                         const FlutterDesktopMessageResponseHandle* handle,
                                         const uint8_t* data, size_t dataLength) {
  const std::lock_guard lock(messenger->mutex);
  if (!messenger->HeldByCaller()) ++messenger->violations;
  const auto used = messenger->handleUsed.find(handle);
  if (used == messenger->handleUsed.end() || used->second) {
    ++messenger->strayResponses;
    return;
  }
  used->second = true;
  messenger->responses[handle->delivery].push_back({data == nullptr, Bytes(data, dataLength)});
}

void FlutterDesktopMessengerSetCallback(FlutterDesktopMessengerRef messenger, const char* channel,
                                        FlutterDesktopMessageCallback callback, void* userData) {
  const std::lock_guard lock(messenger->mutex);
  if (callback == nullptr) {
    messenger->callbacks.erase(channel);
  } else {
    messenger->callbacks[channel] = {callback, userData};
  }
}

FlutterDesktopMessengerRef FlutterDesktopMessengerAddRef(FlutterDesktopMessengerRef messenger) {
  const std::lock_guard lock(messenger->mutex);
  ++messenger->references;
  ++messenger->addRefCount;
  return messenger;
}

void FlutterDesktopMessengerRelease(FlutterDesktopMessengerRef messenger) {
  const std::lock_guard lock(messenger->mutex);
  if (messenger->references == 0) {
    ++messenger->violations;
    return;
  }
  --messenger->references;
}

bool FlutterDesktopMessengerIsAvailable(FlutterDesktopMessengerRef messenger) {
  const std::lock_guard lock(messenger->mutex);
  if (!messenger->HeldByCaller()) ++messenger->violations;
  return messenger->available;
}

FlutterDesktopMessengerRef FlutterDesktopMessengerLock(FlutterDesktopMessengerRef messenger) {
  messenger->messengerLock.lock();
  const std::lock_guard lock(messenger->mutex);
  messenger->lockOwner = std::this_thread::get_id();
  ++messenger->lockCount;
  return messenger;
}

void FlutterDesktopMessengerUnlock(FlutterDesktopMessengerRef messenger) {
  {
    const std::lock_guard lock(messenger->mutex);
    if (!messenger->HeldByCaller()) {
      ++messenger->violations;
      return;
    }
    messenger->lockOwner.reset();
  }
  messenger->messengerLock.unlock();
}

}  // extern "C"

namespace sim {

FakeMessenger::FakeMessenger() : state_(std::make_unique<FlutterDesktopMessenger>()) {}

FakeMessenger::~FakeMessenger() = default;

FlutterDesktopMessengerRef FakeMessenger::ref() const { return state_.get(); }

bool FakeMessenger::HasCallback(const std::string& channel) const {
  const std::lock_guard lock(state_->mutex);
  return state_->callbacks.count(channel) != 0;
}

int FakeMessenger::Deliver(const std::string& channel, const std::vector<uint8_t>& bytes) {
  std::optional<FlutterDesktopMessenger::Callback> callback;
  const _FlutterPlatformMessageResponseHandle* handle = nullptr;
  int delivery = 0;
  {
    const std::lock_guard lock(state_->mutex);
    delivery = static_cast<int>(state_->handles.size());
    state_->handles.push_back(std::make_unique<_FlutterPlatformMessageResponseHandle>(
        _FlutterPlatformMessageResponseHandle{delivery}));
    handle = state_->handles.back().get();
    state_->handleUsed[handle] = false;
    const auto found = state_->callbacks.find(channel);
    if (found == state_->callbacks.end()) {
      state_->handleUsed[handle] = true;
      state_->responses[delivery].push_back({true, {}});
      return delivery;
    }
    callback = found->second;
  }
  // Called without the fake's own lock, since a handler may answer or send from inside.
  const FlutterDesktopMessage message{sizeof(FlutterDesktopMessage), channel.c_str(),
                                      bytes.empty() ? nullptr : bytes.data(), bytes.size(), handle};
  callback->function(state_.get(), &message, callback->userData);
  return delivery;
}

std::vector<MessengerResponse> FakeMessenger::ResponsesTo(int delivery) const {
  const std::lock_guard lock(state_->mutex);
  const auto found = state_->responses.find(delivery);
  return found == state_->responses.end() ? std::vector<MessengerResponse>() : found->second;
}

int FakeMessenger::StrayResponses() const {
  const std::lock_guard lock(state_->mutex);
  return state_->strayResponses;
}

std::vector<SentMessage> FakeMessenger::Sent() const {
  const std::lock_guard lock(state_->mutex);
  return state_->sent;
}

bool FakeMessenger::Reply(size_t index, const std::vector<uint8_t>& bytes) {
  FlutterDesktopMessenger::PendingReply pending{};
  {
    const std::lock_guard lock(state_->mutex);
    const auto found = state_->pendingReplies.find(index);
    if (found == state_->pendingReplies.end()) return false;
    pending = found->second;
    state_->pendingReplies.erase(found);
  }
  pending.function(bytes.empty() ? nullptr : bytes.data(), bytes.size(), pending.userData);
  return true;
}

void FakeMessenger::SetSendWithReplyFails(bool fails) {
  const std::lock_guard lock(state_->mutex);
  state_->sendWithReplyFails = fails;
}

void FakeMessenger::SetAvailable(bool available) {
  const std::lock_guard lock(state_->mutex);
  state_->available = available;
}

int FakeMessenger::References() const {
  const std::lock_guard lock(state_->mutex);
  return state_->references;
}

int FakeMessenger::AddRefCount() const {
  const std::lock_guard lock(state_->mutex);
  return state_->addRefCount;
}

int FakeMessenger::RuleViolations() const {
  const std::lock_guard lock(state_->mutex);
  return state_->violations;
}

int FakeMessenger::LockCount() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lockCount;
}

bool FakeMessenger::Locked() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lockOwner.has_value();
}

}  // namespace sim
