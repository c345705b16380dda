// Turns method calls and their answers into bytes and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "channels/encodable_value.h"
#include "channels/method_call.h"
#include "channels/method_result.h"

class MethodCodec {
 public:
  MethodCodec() = default;
  MethodCodec(const MethodCodec&) = delete;
  MethodCodec& operator=(const MethodCodec&) = delete;
  virtual ~MethodCodec() = default;

  // Null when the bytes don't hold a call.
  std::unique_ptr<MethodCall> DecodeMethodCall(const uint8_t* message, size_t messageSize) const {
    return DecodeMethodCallInternal(message, messageSize);
  }
  std::unique_ptr<MethodCall> DecodeMethodCall(const std::vector<uint8_t>& message) const {
    return DecodeMethodCallInternal(message.data(), message.size());
  }
  std::unique_ptr<std::vector<uint8_t>> EncodeMethodCall(const MethodCall& call) const {
    return EncodeMethodCallInternal(call);
  }
  std::unique_ptr<std::vector<uint8_t>> EncodeSuccessEnvelope(
      const EncodableValue* result = nullptr) const {
    return EncodeSuccessEnvelopeInternal(result);
  }
  std::unique_ptr<std::vector<uint8_t>> EncodeErrorEnvelope(
      const std::string& errorCode, const std::string& errorMessage = "",
      const EncodableValue* errorDetails = nullptr) const {
    return EncodeErrorEnvelopeInternal(errorCode, errorMessage, errorDetails);
  }
  // Answers `result` from the envelope; false, with `result` untouched, when it can't be read.
  bool DecodeAndProcessResponseEnvelope(const uint8_t* response, size_t responseSize,
                                        MethodResult* result) const {
    return DecodeAndProcessResponseEnvelopeInternal(response, responseSize, result);
  }

 protected:
  virtual std::unique_ptr<MethodCall> DecodeMethodCallInternal(const uint8_t* message,
                                                               size_t messageSize) const = 0;
  virtual std::unique_ptr<std::vector<uint8_t>> EncodeMethodCallInternal(
      const MethodCall& call) const = 0;
  virtual std::unique_ptr<std::vector<uint8_t>> EncodeSuccessEnvelopeInternal(
      const EncodableValue* result) const = 0;
  virtual std::unique_ptr<std::vector<uint8_t>> EncodeErrorEnvelopeInternal(
      const std::string& errorCode, const std::string& errorMessage,
      const EncodableValue* errorDetails) const = 0;
  virtual bool DecodeAndProcessResponseEnvelopeInternal(const uint8_t* response,
                                                        size_t responseSize,
                                                        MethodResult* result) const = 0;
};
