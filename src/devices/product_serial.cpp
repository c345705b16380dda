#include "devices/product_serial.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "platform/kernel.h"

namespace {

constexpr std::size_t kRawHeaderBytes = 8;  // calling method, versions, DMI revision, length
constexpr std::size_t kStructureHeaderBytes = 4;
constexpr std::uint8_t kSystemType = 1;
constexpr std::uint8_t kBaseboardType = 2;
constexpr std::uint8_t kEndOfTableType = 127;
// Both the system and the baseboard structure keep their serial's string number here.
constexpr std::size_t kSerialOffset = 7;

constexpr std::string_view kPlaceholders[] = {"to be filled by o.e.m.",
                                              "default string",
                                              "system serial number",
                                              "base board serial number",
                                              "not specified",
                                              "not applicable",
                                              "none",
                                              "n/a",
                                              "oem",
                                              "o.e.m.",
                                              "serial number",
                                              "invalid",
                                              "0123456789",
                                              "123456789",
                                              "chassis serial number"};

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view TrimBlanks(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string Latin1ToUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) {
    const auto unit = static_cast<unsigned char>(byte);
    if (unit < 0x80) {
      text += byte;
    } else {
      text += static_cast<char>(0xC0 | (unit >> 6));
      text += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  return text;
}

// One structure: its type, formatted area and strings, all inside the table.
struct Structure {
  std::uint8_t type = 0;
  std::string_view formatted;
  std::vector<std::string_view> strings;
};

// The structure at `at`, and where the next one starts; nullopt when its header or formatted
// area runs past the end. Strings cut off by the end of the table are left out.
std::optional<Structure> ReadStructure(std::string_view table, std::size_t& at) {
  if (table.size() - at < kStructureHeaderBytes) return std::nullopt;
  const auto length = static_cast<std::uint8_t>(table[at + 1]);
  if (length < kStructureHeaderBytes || table.size() - at < length) return std::nullopt;
  Structure structure;
  structure.type = static_cast<std::uint8_t>(table[at]);
  structure.formatted = table.substr(at, length);
  std::size_t cursor = at + length;
  // No strings at all is written as two zero bytes.
  if (table.size() - cursor >= 2 && table[cursor] == '\0' && table[cursor + 1] == '\0') {
    at = cursor + 2;
    return structure;
  }
  while (cursor < table.size()) {
    const std::size_t end = table.find('\0', cursor);
    if (end == std::string_view::npos) {
      at = table.size();
      return structure;
    }
    if (end == cursor) {  // the empty string that ends the set
      at = end + 1;
      return structure;
    }
    structure.strings.push_back(table.substr(cursor, end - cursor));
    cursor = end + 1;
  }
  at = table.size();
  return structure;
}

// The serial a structure names, trimmed; empty when it names none or a placeholder.
std::string_view SerialOf(const Structure& structure) {
  if (structure.formatted.size() <= kSerialOffset) return {};
  const auto number = static_cast<std::uint8_t>(structure.formatted[kSerialOffset]);
  if (number == 0 || number > structure.strings.size()) return {};
  const std::string_view serial = TrimBlanks(structure.strings[number - 1]);
  return IsPlaceholderSerial(serial) ? std::string_view() : serial;
}

}  // namespace

bool IsPlaceholderSerial(std::string_view serial) {
  if (serial.empty()) return true;
  if (std::all_of(serial.begin(), serial.end(), [](char c) { return c == '0'; })) return true;
  for (const std::string_view placeholder : kPlaceholders) {
    if (serial.size() == placeholder.size() &&
        std::equal(serial.begin(), serial.end(), placeholder.begin(),
                   [](char a, char b) { return LowerAscii(a) == b; })) {
      return true;
    }
  }
  return false;
}

std::string ParseSmbiosSerial(const std::uint8_t* data, std::size_t size) {
  if (data == nullptr || size < kRawHeaderBytes) return {};
  const std::uint32_t stated =
      static_cast<std::uint32_t>(data[4]) | static_cast<std::uint32_t>(data[5]) << 8 |
      static_cast<std::uint32_t>(data[6]) << 16 | static_cast<std::uint32_t>(data[7]) << 24;
  const std::string_view table(reinterpret_cast<const char*>(data) + kRawHeaderBytes,
                               std::min<std::size_t>(stated, size - kRawHeaderBytes));
  std::string_view system;
  std::string_view baseboard;
  std::size_t at = 0;
  while (system.empty()) {
    const std::optional<Structure> structure = ReadStructure(table, at);
    if (!structure || structure->type == kEndOfTableType) break;
    if (structure->type == kSystemType) system = SerialOf(*structure);
    if (structure->type == kBaseboardType && baseboard.empty()) baseboard = SerialOf(*structure);
  }
  return Latin1ToUtf8(system.empty() ? baseboard : system);
}

std::string GetWindowsProductSerialNumber() {
  const std::uint32_t size =
      platform::GetSystemFirmwareTable(platform::kFirmwareTableRsmb, 0, nullptr, 0);
  if (size == 0) return {};
  std::vector<std::uint8_t> table(size);
  const std::uint32_t written =
      platform::GetSystemFirmwareTable(platform::kFirmwareTableRsmb, 0, table.data(), size);
  // A table that grew between the calls was not written.
  if (written == 0 || written > size) return {};
  return ParseSmbiosSerial(table.data(), written);
}
