// The answer to one method call. A handler owns it and may answer at once, later, or from
// another thread.
#pragma once

#include <functional>
#include <string>

#include "channels/encodable_value.h"

class MethodResult {
 public:
  MethodResult() = default;
  MethodResult(const MethodResult&) = delete;
  MethodResult& operator=(const MethodResult&) = delete;
  virtual ~MethodResult();

  void Success(const EncodableValue& result) { SuccessInternal(&result); }
  void Success() { SuccessInternal(nullptr); }
  void Error(const std::string& errorCode, const std::string& errorMessage,
             const EncodableValue& errorDetails) {
    ErrorInternal(errorCode, errorMessage, &errorDetails);
  }
  void Error(const std::string& errorCode, const std::string& errorMessage = "") {
    ErrorInternal(errorCode, errorMessage, nullptr);
  }
  void NotImplemented() { NotImplementedInternal(); }

 protected:
  // Null `result` is a success with no value; null `errorDetails` an error without details.
  virtual void SuccessInternal(const EncodableValue* result) = 0;
  virtual void ErrorInternal(const std::string& errorCode, const std::string& errorMessage,
                             const EncodableValue* errorDetails) = 0;
  virtual void NotImplementedInternal() = 0;
};

// A MethodResult made of three functions, for the caller of InvokeMethod. A missing function
// ignores that kind of answer.
class MethodResultFunctions : public MethodResult {
 public:
  using SuccessHandler = std::function<void(const EncodableValue* result)>;
  using ErrorHandler =
      std::function<void(const std::string& errorCode, const std::string& errorMessage,
                         const EncodableValue* errorDetails)>;
  using NotImplementedHandler = std::function<void()>;

  MethodResultFunctions(SuccessHandler onSuccess, ErrorHandler onError,
                        NotImplementedHandler onNotImplemented);
  ~MethodResultFunctions() override;

 protected:
  void SuccessInternal(const EncodableValue* result) override;
  void ErrorInternal(const std::string& errorCode, const std::string& errorMessage,
                     const EncodableValue* errorDetails) override;
  void NotImplementedInternal() override;

 private:
  SuccessHandler on_success_;
  ErrorHandler on_error_;
  NotImplementedHandler on_not_implemented_;
};
