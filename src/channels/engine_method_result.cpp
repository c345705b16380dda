#include "channels/engine_method_result.h"

#include <utility>

#include "channels/error_output.h"

ReplyManager::ReplyManager(BinaryReply reply) : reply_(std::move(reply)) {}

ReplyManager::~ReplyManager() {
  if (reply_) WriteErrorLine("Warning: Failed to respond to a message. This is a memory leak.");
}

void ReplyManager::SendResponseData(const std::vector<uint8_t>* data) {
  BinaryReply reply;
  {
    // Taken out under the lock, so that two threads answering at once can't both send; called
    // outside it, so that the reply may take the messenger's lock without an order to keep.
    const std::lock_guard lock(mutex_);
    reply = std::exchange(reply_, nullptr);
  }
  if (!reply) {
    WriteErrorLine(
        "Error: Only one of Success, Error, or NotImplemented can be called,"
        " and it can be called exactly once. Ignoring duplicate result.");
    return;
  }
  const bool empty = data == nullptr || data->empty();
  reply(empty ? nullptr : data->data(), data ? data->size() : 0);
}

EngineMethodResult::EngineMethodResult(BinaryReply reply, const MethodCodec* codec)
    : reply_manager_(std::move(reply)), codec_(codec) {}

EngineMethodResult::~EngineMethodResult() = default;

void EngineMethodResult::SuccessInternal(const EncodableValue* result) {
  const auto data = codec_->EncodeSuccessEnvelope(result);
  reply_manager_.SendResponseData(data.get());
}

void EngineMethodResult::ErrorInternal(const std::string& errorCode,
                                       const std::string& errorMessage,
                                       const EncodableValue* errorDetails) {
  const auto data = codec_->EncodeErrorEnvelope(errorCode, errorMessage, errorDetails);
  reply_manager_.SendResponseData(data.get());
}

void EngineMethodResult::NotImplementedInternal() { reply_manager_.SendResponseData(nullptr); }
