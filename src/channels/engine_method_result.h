// The MethodResult of a call that came in from Dart: its answer is encoded and sent back
// through the reply function of the message.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "channels/binary_messenger.h"
#include "channels/encodable_value.h"
#include "channels/method_codec.h"
#include "channels/method_result.h"

// Holds the reply function until the one answer. An empty function marks an answered call.
class ReplyManager {
 public:
  explicit ReplyManager(BinaryReply reply);
  ReplyManager(const ReplyManager&) = delete;
  ReplyManager& operator=(const ReplyManager&) = delete;
  // Unanswered, the reply function is dropped without a call: Dart's future never completes.
  ~ReplyManager();

  // Null or empty data goes out as a null pointer, which is how not-implemented looks on the
  // wire. A second answer is dropped with a complaint. Safe from any thread.
  void SendResponseData(const std::vector<uint8_t>* data);

 private:
  std::mutex mutex_;
  BinaryReply reply_;
};

class EngineMethodResult : public MethodResult {
 public:
  // `codec` is process-wide and outlives the result.
  EngineMethodResult(BinaryReply reply, const MethodCodec* codec);
  ~EngineMethodResult() override;

 protected:
  void SuccessInternal(const EncodableValue* result) override;
  void ErrorInternal(const std::string& errorCode, const std::string& errorMessage,
                     const EncodableValue* errorDetails) override;
  void NotImplementedInternal() override;

 private:
  ReplyManager reply_manager_;
  const MethodCodec* codec_;
};
