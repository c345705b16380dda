// Method calls over the engine driver, encoded with the project's own codec, as Dart would
// send them.
#pragma once

#include <optional>
#include <string>

#include "channels/encodable_value.h"
#include "engine_driver.h"

namespace driver {

struct MethodReply {
  enum class Kind { kSuccess, kError, kNotImplemented };
  Kind kind = Kind::kNotImplemented;
  EncodableValue value;  // the success value
  std::string errorCode;
  std::string errorMessage;
  EncodableValue errorDetails;
};

Bytes EncodeMethodCall(const std::string& method,
                       std::optional<EncodableValue> arguments = std::nullopt);

// An empty payload is the not-implemented answer; bytes that are no envelope throw DriverError.
MethodReply DecodeMethodReply(const Bytes& payload);

MethodReply CallMethod(EngineDriver& engine, const std::string& channel, const std::string& method,
                       std::optional<EncodableValue> arguments, Timeout timeout);

}  // namespace driver
