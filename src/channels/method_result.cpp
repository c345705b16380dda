#include "channels/method_result.h"

#include <utility>

MethodResult::~MethodResult() = default;

MethodResultFunctions::MethodResultFunctions(SuccessHandler onSuccess, ErrorHandler onError,
                                             NotImplementedHandler onNotImplemented)
    : on_success_(std::move(onSuccess)),
      on_error_(std::move(onError)),
      on_not_implemented_(std::move(onNotImplemented)) {}

MethodResultFunctions::~MethodResultFunctions() = default;

void MethodResultFunctions::SuccessInternal(const EncodableValue* result) {
  if (on_success_) on_success_(result);
}

void MethodResultFunctions::ErrorInternal(const std::string& errorCode,
                                          const std::string& errorMessage,
                                          const EncodableValue* errorDetails) {
  if (on_error_) on_error_(errorCode, errorMessage, errorDetails);
}

void MethodResultFunctions::NotImplementedInternal() {
  if (on_not_implemented_) on_not_implemented_();
}
