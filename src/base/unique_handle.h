// One owning type per handle kind: closes on every path and leaves the caller's last error as
// it was, so a failure code read after cleanup is still the failure's.
#pragma once

#include <utility>

template <typename Traits>
class UniqueHandle {
 public:
  using Type = typename Traits::Type;

  UniqueHandle() = default;
  explicit UniqueHandle(Type value) : value_(value) {}
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  UniqueHandle(UniqueHandle&& other) noexcept : value_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  ~UniqueHandle() { reset(); }

  Type get() const { return value_; }
  explicit operator bool() const { return Traits::IsValid(value_); }
  Type release() { return std::exchange(value_, Traits::Null()); }
  void reset(Type value = Traits::Null()) {
    Type old = std::exchange(value_, value);
    if (Traits::IsValid(old)) Traits::Close(old);
  }

 private:
  Type value_ = Traits::Null();
};
