// One call on a method channel: a method name and the arguments it owns.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "channels/encodable_value.h"

class MethodCall {
 public:
  // `arguments` may be null; a decoded call always has one, holding null when Dart sent none.
  MethodCall(const std::string& methodName, std::unique_ptr<EncodableValue> arguments)
      : method_name_(methodName), arguments_(std::move(arguments)) {}

  MethodCall(const MethodCall&) = delete;
  MethodCall& operator=(const MethodCall&) = delete;

  // Compared byte for byte by the handlers.
  const std::string& method_name() const { return method_name_; }
  const EncodableValue* arguments() const { return arguments_.get(); }

 private:
  std::string method_name_;
  std::unique_ptr<EncodableValue> arguments_;
};
