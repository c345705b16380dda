// Records what a MethodResult was told, for tests of the channel layer.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "channels/encodable_value.h"
#include "channels/method_result.h"

namespace {

struct Answer {
  enum Kind { kNone, kSuccess, kError, kNotImplemented } kind = kNone;
  int count = 0;
  std::optional<EncodableValue> value;
  std::string code;
  std::string message;
  std::optional<EncodableValue> details;
};

std::unique_ptr<MethodResult> Recorder(Answer& answer) {
  return std::make_unique<MethodResultFunctions>(
      [&answer](const EncodableValue* value) {
        ++answer.count;
        answer.kind = Answer::kSuccess;
        if (value) answer.value = *value;
      },
      [&answer](const std::string& code, const std::string& message,
                const EncodableValue* details) {
        ++answer.count;
        answer.kind = Answer::kError;
        answer.code = code;
        answer.message = message;
        if (details) answer.details = *details;
      },
      [&answer] {
        ++answer.count;
        answer.kind = Answer::kNotImplemented;
      });
}

}  // namespace
