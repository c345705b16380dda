// The standard message codec's value serializer and the method codec built on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "channels/byte_streams.h"
#include "channels/encodable_value.h"
#include "channels/method_codec.h"

// Deepest nesting of lists and maps that a message may have. A deeper message could exhaust
// the stack of the thread that decodes it, so it is undecodable, as is one that announces more
// elements or bytes than it still holds: a call that fails to decode, answered not-implemented,
// or a reply that fails to decode. A thousand levels take about half a megabyte of the main
// thread's two.
inline constexpr int kMaxDecodeDepth = 1000;

class StandardCodecSerializer {
 public:
  StandardCodecSerializer();
  StandardCodecSerializer(const StandardCodecSerializer&) = delete;
  StandardCodecSerializer& operator=(const StandardCodecSerializer&) = delete;
  virtual ~StandardCodecSerializer();

  // Lives for the whole process, so that a reply on a late thread never meets a destroyed one.
  static const StandardCodecSerializer& GetInstance();

  // Reads a type byte and the value it introduces. Read from a ByteBufferStreamReader, a value
  // that is undecodable as a whole (too deep, or claiming more than the buffer holds) reads as
  // null; the method codec turns that into a failed decoding.
  EncodableValue ReadValue(ByteStreamReader* stream) const;

  virtual void WriteValue(const EncodableValue& value, ByteStreamWriter* stream) const;

 protected:
  virtual EncodableValue ReadValueOfType(uint8_t type, ByteStreamReader* stream) const;

  // One byte below 254; 254 and a 16-bit size; 255 and a 32-bit size.
  size_t ReadSize(ByteStreamReader* stream) const;
  void WriteSize(size_t size, ByteStreamWriter* stream) const;

 private:
  // The first value read from a stream sets up the bounds of that stream's decoding; `type`
  // is the type byte when it was read already.
  EncodableValue ReadOutermostValue(ByteStreamReader* stream, const uint8_t* type) const;
};

class StandardMethodCodec : public MethodCodec {
 public:
  // One codec per serializer for the life of the process; null means the default serializer.
  static const StandardMethodCodec& GetInstance(
      const StandardCodecSerializer* serializer = nullptr);

  ~StandardMethodCodec() override;

 protected:
  std::unique_ptr<MethodCall> DecodeMethodCallInternal(const uint8_t* message,
                                                       size_t messageSize) const override;
  std::unique_ptr<std::vector<uint8_t>> EncodeMethodCallInternal(
      const MethodCall& call) const override;
  std::unique_ptr<std::vector<uint8_t>> EncodeSuccessEnvelopeInternal(
      const EncodableValue* result) const override;
  std::unique_ptr<std::vector<uint8_t>> EncodeErrorEnvelopeInternal(
      const std::string& errorCode, const std::string& errorMessage,
      const EncodableValue* errorDetails) const override;
  bool DecodeAndProcessResponseEnvelopeInternal(const uint8_t* response, size_t responseSize,
                                                MethodResult* result) const override;

 private:
  explicit StandardMethodCodec(const StandardCodecSerializer* serializer);

  const StandardCodecSerializer* serializer_;
};
