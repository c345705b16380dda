// The value that crosses every channel: a tagged union whose alternative order is part of the
// contract, because handlers test the alternative by its index.
#pragma once

#include <any>
#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <typeinfo>
#include <utility>
#include <variant>
#include <vector>

class EncodableValue;

using EncodableList = std::vector<EncodableValue>;
using EncodableMap = std::map<EncodableValue, EncodableValue>;

// A value the standard codec can't write. Kept so that the alternative table stays complete;
// nothing in the system builds one.
class CustomEncodableValue {
 public:
  explicit CustomEncodableValue(const std::any& value) : value_(value) {}

  operator std::any&() { return value_; }
  operator const std::any&() const { return value_; }
  const std::type_info& type() const noexcept { return value_.type(); }

 private:
  std::any value_;
};

using EncodableVariant =
    std::variant<std::monostate, bool, int32_t, int64_t, double, std::string, std::vector<uint8_t>,
                 std::vector<int32_t>, std::vector<int64_t>, std::vector<double>, EncodableList,
                 EncodableMap, CustomEncodableValue, std::vector<float>>;

class EncodableValue : public EncodableVariant {
 public:
  using EncodableVariant::EncodableVariant;
  using EncodableVariant::operator=;

  EncodableValue() = default;
  // Text literals become strings, never the bool that a pointer would also convert to.
  EncodableValue(const char* text) : EncodableVariant(std::string(text)) {}
  EncodableValue& operator=(const char* text) {
    EncodableVariant::operator=(std::string(text));
    return *this;
  }

  bool IsNull() const { return std::holds_alternative<std::monostate>(*this); }

  // Alternative index first, then the contained value. Floating-point numbers compare by their
  // IEEE total order, so that a map keyed by any decoded value (NaN included) keeps a strict
  // weak order; equality is therefore identity of representation. Custom values carry nothing
  // the codec can see and are all equivalent. The <=> of its own also spares the library the
  // variant's, whose constraints would recurse through the list and map alternatives.
  friend std::weak_ordering operator<=>(const EncodableValue& a, const EncodableValue& b) {
    return Compare(a, b) <=> 0;
  }
  friend bool operator==(const EncodableValue& a, const EncodableValue& b) {
    return Compare(a, b) == 0;
  }
  friend bool operator<(const EncodableValue& a, const EncodableValue& b) {
    return Compare(a, b) < 0;
  }

 private:
  // Negative, zero or positive, as a compared with b.
  static int Compare(const EncodableValue& a, const EncodableValue& b);
};
