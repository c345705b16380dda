#include "method_calls.h"

#include <memory>

#include "channels/method_call.h"
#include "channels/method_result.h"
#include "channels/standard_codec.h"

namespace driver {

Bytes EncodeMethodCall(const std::string& method, std::optional<EncodableValue> arguments) {
  const MethodCall call(
      method, arguments ? std::make_unique<EncodableValue>(std::move(*arguments)) : nullptr);
  const auto bytes = StandardMethodCodec::GetInstance().EncodeMethodCall(call);
  return Bytes(bytes->begin(), bytes->end());
}

MethodReply DecodeMethodReply(const Bytes& payload) {
  MethodReply reply;
  if (payload.empty()) return reply;
  MethodResultFunctions result(
      [&](const EncodableValue* value) {
        reply.kind = MethodReply::Kind::kSuccess;
        if (value) reply.value = *value;
      },
      [&](const std::string& code, const std::string& message, const EncodableValue* details) {
        reply.kind = MethodReply::Kind::kError;
        reply.errorCode = code;
        reply.errorMessage = message;
        if (details) reply.errorDetails = *details;
      },
      nullptr);
  if (!StandardMethodCodec::GetInstance().DecodeAndProcessResponseEnvelope(
          payload.data(), payload.size(), &result)) {
    throw DriverError("reply is no method envelope (" + std::to_string(payload.size()) + " bytes)");
  }
  return reply;
}

MethodReply CallMethod(EngineDriver& engine, const std::string& channel, const std::string& method,
                       std::optional<EncodableValue> arguments, Timeout timeout) {
  return DecodeMethodReply(
      engine.SendMessage(channel, EncodeMethodCall(method, std::move(arguments)), timeout));
}

}  // namespace driver
