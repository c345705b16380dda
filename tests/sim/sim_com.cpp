#include "sim_com.h"

#include <atomic>
#include <optional>
#include <string_view>

#include "platform/com.h"
#include "sim_core.h"

namespace sim {
namespace {

std::atomic<std::int32_t> initializeResult{0};

const bool registered = OnReset([] { initializeResult = 0; });

constexpr std::int32_t kCoEClassString = static_cast<std::int32_t>(0x800401F3);

int HexValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

// `digits` hex digits at `text[at]`, or nullopt.
std::optional<std::uint64_t> ParseHex(std::u16string_view text, std::size_t at,
                                      std::size_t digits) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    const int digit = HexValue(text[at + i]);
    if (digit < 0) return std::nullopt;
    value = value * 16 + static_cast<std::uint64_t>(digit);
  }
  return value;
}

}  // namespace

void SetCoInitializeResult(std::int32_t result) { initializeResult = result; }

}  // namespace sim

namespace platform {

std::int32_t CoInitializeEx() {
  sim::Record("CoInitializeEx");
  return sim::initializeResult;
}

void CoUninitialize() { sim::Record("CoUninitialize"); }

std::int32_t CLSIDFromString(std::u16string_view text, Guid* guid) {
  // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
  constexpr std::size_t kLength = 38;
  if (text.size() != kLength || text.front() != u'{' || text.back() != u'}' || text[9] != u'-' ||
      text[14] != u'-' || text[19] != u'-' || text[24] != u'-') {
    return sim::kCoEClassString;
  }
  const auto data1 = sim::ParseHex(text, 1, 8);
  const auto data2 = sim::ParseHex(text, 10, 4);
  const auto data3 = sim::ParseHex(text, 15, 4);
  if (!data1 || !data2 || !data3) return sim::kCoEClassString;
  Guid parsed;
  parsed.data1 = static_cast<std::uint32_t>(*data1);
  parsed.data2 = static_cast<std::uint16_t>(*data2);
  parsed.data3 = static_cast<std::uint16_t>(*data3);
  constexpr std::size_t kByteAt[8] = {20, 22, 25, 27, 29, 31, 33, 35};
  for (std::size_t i = 0; i < 8; ++i) {
    const auto byte = sim::ParseHex(text, kByteAt[i], 2);
    if (!byte) return sim::kCoEClassString;
    parsed.data4[i] = static_cast<std::uint8_t>(*byte);
  }
  *guid = parsed;
  return 0;
}

}  // namespace platform
