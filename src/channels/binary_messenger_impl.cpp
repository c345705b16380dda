#include "channels/binary_messenger_impl.h"

#include <memory>
#include <utility>

#include "channels/error_output.h"

namespace {

// What every copy of one message's reply function shares: a reference that keeps the messenger
// object alive past the engine, and the response handle, which the messenger's lock guards.
// Sharing the handle is what makes the answer once-only across copies of the function.
class PendingResponse {
 public:
  PendingResponse(FlutterDesktopMessengerRef messenger,
                  const FlutterDesktopMessageResponseHandle* handle)
      : messenger_(FlutterDesktopMessengerAddRef(messenger)), handle_(handle) {}
  PendingResponse(const PendingResponse&) = delete;
  PendingResponse& operator=(const PendingResponse&) = delete;
  ~PendingResponse() { FlutterDesktopMessengerRelease(messenger_); }

  // May run on any thread.
  void Respond(const uint8_t* data, size_t size) {
    const MessengerLock lock(messenger_);
    if (!FlutterDesktopMessengerIsAvailable(messenger_)) return;
    if (handle_ == nullptr) {
      WriteErrorLine("Error: Response can be set only once. Ignoring duplicate response.");
      return;
    }
    FlutterDesktopMessengerSendResponse(messenger_, std::exchange(handle_, nullptr), data, size);
  }

 private:
  // Unlocks on every path, a throwing error stream included.
  class MessengerLock {
   public:
    explicit MessengerLock(FlutterDesktopMessengerRef messenger) : messenger_(messenger) {
      FlutterDesktopMessengerLock(messenger_);
    }
    MessengerLock(const MessengerLock&) = delete;
    MessengerLock& operator=(const MessengerLock&) = delete;
    ~MessengerLock() { FlutterDesktopMessengerUnlock(messenger_); }

   private:
    FlutterDesktopMessengerRef messenger_;
  };

  FlutterDesktopMessengerRef messenger_;
  const FlutterDesktopMessageResponseHandle* handle_;
};

void ForwardToHandler(FlutterDesktopMessengerRef messenger, const FlutterDesktopMessage* message,
                      void* userData) {
  auto pending = std::make_shared<PendingResponse>(messenger, message->response_handle);
  BinaryReply reply = [pending](const uint8_t* data, size_t size) { pending->Respond(data, size); };
  const auto& handler = *static_cast<const BinaryMessageHandler*>(userData);
  handler(message->message, message->message_size, std::move(reply));
}

struct ReplyRecord {
  BinaryReply reply;
};

void ForwardToReply(const uint8_t* data, size_t size, void* userData) {
  const std::unique_ptr<ReplyRecord> record(static_cast<ReplyRecord*>(userData));
  record->reply(data, size);
}

}  // namespace

BinaryMessengerImpl::BinaryMessengerImpl(FlutterDesktopMessengerRef messenger)
    : messenger_(messenger) {}

BinaryMessengerImpl::~BinaryMessengerImpl() = default;

void BinaryMessengerImpl::Send(const std::string& channel, const uint8_t* message,
                               size_t messageSize, BinaryReply reply) const {
  if (!reply) {
    FlutterDesktopMessengerSend(messenger_, channel.c_str(), message, messageSize);
    return;
  }
  auto record = std::make_unique<ReplyRecord>(ReplyRecord{std::move(reply)});
  // The embedder owns the record once it accepts the message, and hands it back to
  // ForwardToReply; a refused message never will.
  if (FlutterDesktopMessengerSendWithReply(messenger_, channel.c_str(), message, messageSize,
                                           &ForwardToReply, record.get())) {
    record.release();  // NOLINT(bugprone-unused-return-value): the embedder holds it now
  }
}

void BinaryMessengerImpl::SetMessageHandler(const std::string& channel,
                                            BinaryMessageHandler handler) {
  if (!handler) {
    handlers_.erase(channel);
    FlutterDesktopMessengerSetCallback(messenger_, channel.c_str(), nullptr, nullptr);
    return;
  }
  BinaryMessageHandler& stored = handlers_[channel];
  stored = std::move(handler);
  FlutterDesktopMessengerSetCallback(messenger_, channel.c_str(), &ForwardToHandler, &stored);
}
