// A named channel of method calls in both directions.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "channels/binary_messenger.h"
#include "channels/encodable_value.h"
#include "channels/method_call.h"
#include "channels/method_codec.h"
#include "channels/method_result.h"
#include "channels/standard_codec.h"

using MethodCallHandler =
    std::function<void(const MethodCall& call, std::unique_ptr<MethodResult> result)>;

class MethodChannel {
 public:
  // Neither the messenger nor the codec is owned; both outlive the channel. Sends nothing.
  MethodChannel(BinaryMessenger* messenger, const std::string& name,
                const MethodCodec* codec = &StandardMethodCodec::GetInstance());
  MethodChannel(const MethodChannel&) = delete;
  MethodChannel& operator=(const MethodChannel&) = delete;
  ~MethodChannel();

  // Calls Dart. Without `result` no answer is awaited; with one, the answer or not-implemented
  // arrives there, possibly on another thread.
  void InvokeMethod(const std::string& method, std::unique_ptr<EncodableValue> arguments,
                    std::unique_ptr<MethodResult> result = nullptr);

  // An empty handler removes the channel's handler from the messenger.
  void SetMethodCallHandler(MethodCallHandler handler) const;

 private:
  BinaryMessenger* messenger_;
  std::string name_;
  const MethodCodec* codec_;
};
