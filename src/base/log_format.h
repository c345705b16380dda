// The bounded wide formatter of the log and debugger lines. It follows the Windows runtime's
// wide printf rather than the host C library's: %s and %c take wide text, %S and %C narrow,
// 'l' and no modifier are 32 bits, %p prints 16 upper-case hex digits, and the result is cut to
// capacity - 1 units as _snwprintf_s(..., _TRUNCATE) cuts it.
#pragma once

#include <cstddef>
#include <cwchar>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

constexpr std::size_t kLogLineCapacity = 256;

// One argument of FormatLogLine, typed at the call so that no varargs are read blindly.
class LogArg {
 public:
  enum class Kind { kSigned, kUnsigned, kDouble, kWide, kNarrow, kPointer };

  template <typename T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>, int> = 0>
  LogArg(T v) : kind_(Kind::kSigned), signed_(v) {}  // NOLINT(google-explicit-constructor)
  template <typename T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T>, int> = 0>
  LogArg(T v) : kind_(Kind::kUnsigned), unsigned_(v) {}   // NOLINT(google-explicit-constructor)
  LogArg(double v) : kind_(Kind::kDouble), double_(v) {}  // NOLINT(google-explicit-constructor)
  LogArg(const char16_t* v)
      : kind_(Kind::kWide), wide_(v) {}  // NOLINT(google-explicit-constructor)
  LogArg(const char* v)
      : kind_(Kind::kNarrow), narrow_(v) {}  // NOLINT(google-explicit-constructor)
#if WCHAR_MAX == 0xFFFF
  // Where wchar_t is UTF-16, as on Windows, wide literals are wide text too.
  LogArg(const wchar_t* v)  // NOLINT(google-explicit-constructor)
      : kind_(Kind::kWide), wide_(reinterpret_cast<const char16_t*>(v)) {}
#endif
  LogArg(const void* v)
      : kind_(Kind::kPointer), pointer_(v) {}  // NOLINT(google-explicit-constructor)

  Kind kind() const { return kind_; }
  std::int64_t AsSigned() const;
  std::uint64_t AsUnsigned() const;
  double AsDouble() const;
  const char16_t* AsWide() const { return kind_ == Kind::kWide ? wide_ : nullptr; }
  const char* AsNarrow() const { return kind_ == Kind::kNarrow ? narrow_ : nullptr; }

 private:
  Kind kind_;
  union {
    std::int64_t signed_;
    std::uint64_t unsigned_;
    double double_;
    const char16_t* wide_;
    const char* narrow_;
    const void* pointer_;
  };
};

// Formats into at most capacity - 1 units. Missing arguments read as zero or the null text.
std::u16string FormatLogLineV(std::size_t capacity, std::u16string_view format, const LogArg* args,
                              std::size_t count);

template <typename... Args>
std::u16string FormatLogLine(std::u16string_view format, const Args&... args) {
  const LogArg list[] = {LogArg(args)..., LogArg(0)};
  return FormatLogLineV(kLogLineCapacity, format, list, sizeof...(Args));
}
