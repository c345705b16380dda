// The embedder's messenger on the host: the FlutterDesktopMessenger* functions over an object
// that a test drives as the engine would. It delivers Dart's messages, keeps what native code
// sends, answers those sends, and checks the rules the embedder relies on: every response
// handle answered at most once, the lock held around the availability test and the response,
// and every reference taken given back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine_abi/flutter_messenger.h"

namespace sim {

struct SentMessage {
  std::string channel;
  std::vector<uint8_t> bytes;
  bool expectsReply = false;
};

struct MessengerResponse {
  // Sent with a null data pointer: the not-implemented answer.
  bool nullData = false;
  std::vector<uint8_t> bytes;
};

class FakeMessenger {
 public:
  FakeMessenger();
  FakeMessenger(const FakeMessenger&) = delete;
  FakeMessenger& operator=(const FakeMessenger&) = delete;
  ~FakeMessenger();

  FlutterDesktopMessengerRef ref() const;

  bool HasCallback(const std::string& channel) const;

  // A message from Dart, delivered at once on the calling thread. Returns the delivery's
  // number, by which its response is found. A channel with no callback is answered at once
  // with a null response, as the engine does.
  int Deliver(const std::string& channel, const std::vector<uint8_t>& bytes);

  // The responses sent on the delivery's handle, in order; more than one is a broken rule.
  std::vector<MessengerResponse> ResponsesTo(int delivery) const;
  // Responses on a handle that was used up already or never given out.
  int StrayResponses() const;

  std::vector<SentMessage> Sent() const;
  // Dart's reply to the send at `index`; false when that send wanted none or was answered.
  bool Reply(size_t index, const std::vector<uint8_t>& bytes);
  // The embedder refuses messages that want a reply.
  void SetSendWithReplyFails(bool fails);

  // False once the engine is gone.
  void SetAvailable(bool available);

  // References taken by FlutterDesktopMessengerAddRef and not yet released.
  int References() const;
  int AddRefCount() const;
  // Release without a reference, unlock without the lock, or the availability test or a
  // response outside the lock.
  int RuleViolations() const;
  int LockCount() const;
  bool Locked() const;

 private:
  std::unique_ptr<FlutterDesktopMessenger> state_;
};

}  // namespace sim
