#include "channels/method_channel.h"

#include <utility>
#include <vector>

#include "channels/engine_method_result.h"
#include "channels/error_output.h"

MethodChannel::MethodChannel(BinaryMessenger* messenger, const std::string& name,
                             const MethodCodec* codec)
    : messenger_(messenger), name_(name), codec_(codec) {}

MethodChannel::~MethodChannel() = default;

void MethodChannel::InvokeMethod(const std::string& method,
                                 std::unique_ptr<EncodableValue> arguments,
                                 std::unique_ptr<MethodResult> result) {
  const MethodCall call(method, std::move(arguments));
  const std::unique_ptr<std::vector<uint8_t>> message = codec_->EncodeMethodCall(call);
  if (!result) {
    messenger_->Send(name_, message->data(), message->size());
    return;
  }
  // Shared because the reply function is copyable while the result is not.
  std::shared_ptr<MethodResult> sharedResult(std::move(result));
  BinaryReply reply = [sharedResult, codec = codec_, channel = name_](const uint8_t* data,
                                                                      size_t size) {
    if (size == 0) {
      sharedResult->NotImplemented();
      return;
    }
    if (!codec->DecodeAndProcessResponseEnvelope(data, size, sharedResult.get())) {
      WriteErrorLine("Unable to decode reply to method invocation on channel " + channel);
      sharedResult->NotImplemented();
    }
  };
  messenger_->Send(name_, message->data(), message->size(), std::move(reply));
}

void MethodChannel::SetMethodCallHandler(MethodCallHandler handler) const {
  if (!handler) {
    messenger_->SetMessageHandler(name_, nullptr);
    return;
  }
  BinaryMessageHandler wrapper = [handler = std::move(handler), codec = codec_, channel = name_](
                                     const uint8_t* message, size_t size, BinaryReply reply) {
    // Made first, so that every path below answers through it, or warns that it didn't.
    auto result = std::make_unique<EngineMethodResult>(std::move(reply), codec);
    std::unique_ptr<MethodCall> call = codec->DecodeMethodCall(message, size);
    if (!call) {
      WriteErrorLine("Unable to construct method call from message on channel " + channel);
      result->NotImplemented();
      return;
    }
    handler(*call, std::move(result));
  };
  messenger_->SetMessageHandler(name_, std::move(wrapper));
}
