#include "channels/encodable_value.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <type_traits>

namespace {

// IEEE 754 totalOrder as a signed integer key: negative numbers have their magnitude bits
// flipped so that they count down, and every distinct representation gets its own place.
int64_t TotalOrderKey(double value) {
  const auto bits = std::bit_cast<int64_t>(value);
  return bits ^ static_cast<int64_t>(static_cast<uint64_t>(bits >> 63) >> 1);
}

int32_t TotalOrderKey(float value) {
  const auto bits = std::bit_cast<int32_t>(value);
  return bits ^ static_cast<int32_t>(static_cast<uint32_t>(bits >> 31) >> 1);
}

template <typename T>
int CompareScalars(const T& a, const T& b) {
  if constexpr (std::is_floating_point_v<T>) {
    return CompareScalars(TotalOrderKey(a), TotalOrderKey(b));
  } else {
    return a < b ? -1 : (b < a ? 1 : 0);
  }
}

// char_traits<char> compares as unsigned bytes: the order of the UTF-8 bytes.
int CompareText(const std::string& a, const std::string& b) {
  const int order = a.compare(b);
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

template <typename Element, typename ElementCompare>
int CompareSequences(const std::vector<Element>& a, const std::vector<Element>& b,
                     ElementCompare compare) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (const int order = compare(a[i], b[i]); order != 0) return order;
  }
  return CompareScalars(a.size(), b.size());
}

}  // namespace

int EncodableValue::Compare(const EncodableValue& a, const EncodableValue& b) {
  if (a.index() != b.index()) return CompareScalars(a.index(), b.index());
  // Map keys are strings nearly always: no visit for them.
  if (const auto* left = std::get_if<std::string>(&a)) {
    return CompareText(*left, *std::get_if<std::string>(&b));
  }
  return std::visit(
      [&b](const auto& left) -> int {
        using T = std::decay_t<decltype(left)>;
        const T& right = std::get<T>(b);
        if constexpr (std::is_same_v<T, std::monostate> ||
                      std::is_same_v<T, CustomEncodableValue>) {
          return 0;
        } else if constexpr (std::is_same_v<T, std::string>) {
          return CompareText(left, right);
        } else if constexpr (std::is_same_v<T, EncodableList>) {
          return CompareSequences(left, right, &EncodableValue::Compare);
        } else if constexpr (std::is_same_v<T, EncodableMap>) {
          auto l = left.begin();
          auto r = right.begin();
          for (; l != left.end() && r != right.end(); ++l, ++r) {
            if (const int order = Compare(l->first, r->first); order != 0) return order;
            if (const int order = Compare(l->second, r->second); order != 0) return order;
          }
          return CompareScalars(left.size(), right.size());
        } else if constexpr (std::is_arithmetic_v<T>) {
          return CompareScalars(left, right);
        } else {
          return CompareSequences(
              left, right, [](const auto& x, const auto& y) { return CompareScalars(x, y); });
        }
      },
      static_cast<const EncodableVariant&>(a));
}
