#include "app/registry_reader.h"

#include <algorithm>
#include <array>

namespace {

using platform::kErrorSuccess;
using platform::RegistryKey;

// RegGetValueW refuses RRF_RT_REG_EXPAND_SZ without RRF_NOEXPAND (ERROR_INVALID_PARAMETER, on
// Windows as under Wine), so both string types are only to be had as stored.
constexpr std::uint32_t kTextFlags =
    platform::kRrfRtRegSz | platform::kRrfRtRegExpandSz | platform::kRrfNoExpand;

std::uint32_t SubkeyViewFlag(std::uint32_t view) {
  return (view & platform::kKeyWow6432Key) ? platform::kRrfSubkeyWow6432Key
                                           : platform::kRrfSubkeyWow6464Key;
}

}  // namespace

platform::UniqueRegistryKey OpenRegistryKey(RegistryKey parent, std::u16string_view subKey,
                                            std::uint32_t access) {
  RegistryKey key = nullptr;
  if (platform::RegOpenKeyExW(parent, subKey, 0, access, &key) != kErrorSuccess) return {};
  return platform::UniqueRegistryKey(key);
}

std::vector<std::u16string> EnumerateSubkeyNames(RegistryKey key) {
  std::vector<std::u16string> names;
  for (std::uint32_t index = 0;; ++index) {
    std::array<char16_t, kSubkeyNameCapacity> name{};
    std::uint32_t length = kSubkeyNameCapacity;
    if (platform::RegEnumKeyExW(key, index, name.data(), &length) != kErrorSuccess) break;
    names.emplace_back(name.data(), std::min(length, kSubkeyNameCapacity - 1));
  }
  return names;
}

std::u16string ReadRegistryString(RegistryKey key, std::u16string_view valueName) {
  std::uint32_t type = platform::kRegNone;
  std::uint32_t size = 0;
  if (platform::RegQueryValueExW(key, valueName, &type, nullptr, &size) != kErrorSuccess ||
      size == 0 || (type != platform::kRegSz && type != platform::kRegExpandSz)) {
    return {};
  }
  // Room for an odd last byte too, so that the read takes the whole value; asking for exactly
  // its size also keeps Windows from ending the text in the buffer.
  std::vector<char16_t> buffer((size + 1) / 2, u'\0');
  std::uint32_t read = size;
  if (platform::RegQueryValueExW(key, valueName, nullptr, buffer.data(), &read) != kErrorSuccess) {
    return {};
  }
  std::u16string text(buffer.data(), read / 2);
  while (!text.empty() && text.back() == u'\0') text.pop_back();
  return text;
}

RegistryDword QueryRegistryDword(RegistryKey key, std::u16string_view valueName) {
  RegistryDword result;
  std::uint32_t size = sizeof(result.value);
  result.status = platform::RegQueryValueExW(key, valueName, &result.type, &result.value, &size);
  return result;
}

std::u16string ReadRegistryText(RegistryKey root, std::u16string_view subKey,
                                std::u16string_view valueName) {
  std::uint32_t size = 0;
  if (platform::RegGetValueW(root, subKey, valueName, kTextFlags, nullptr, nullptr, &size) !=
          kErrorSuccess ||
      size == 0) {
    return {};
  }
  std::vector<char16_t> buffer(size / 2 + 1, u'\0');
  auto capacity = static_cast<std::uint32_t>(buffer.size() * 2);
  if (platform::RegGetValueW(root, subKey, valueName, kTextFlags, nullptr, buffer.data(),
                             &capacity) != kErrorSuccess) {
    return {};
  }
  // An odd size leaves the last unit's high byte zero but maybe not its low one: the text may
  // fill the buffer without ending in it.
  const std::u16string_view text(buffer.data(), buffer.size());
  return std::u16string(text.substr(0, text.find(u'\0')));
}

RegistryNumber ReadRegistryDword(RegistryKey root, std::u16string_view subKey,
                                 std::u16string_view valueName, std::uint32_t view) {
  RegistryNumber result;
  std::uint32_t value = 0;
  std::uint32_t size = sizeof(value);
  result.status = platform::RegGetValueW(root, subKey, valueName,
                                         platform::kRrfRtRegDword | SubkeyViewFlag(view), nullptr,
                                         &value, &size);
  if (result.status == kErrorSuccess) result.value = value;
  return result;
}

long WriteRegistryDword(RegistryKey root, std::u16string_view subKey, std::u16string_view valueName,
                        std::uint32_t value, std::uint32_t view) {
  RegistryKey key = nullptr;
  const long opened = platform::RegOpenKeyExW(root, subKey, 0, platform::kKeySetValue | view, &key);
  if (opened != kErrorSuccess) return opened;
  const platform::UniqueRegistryKey owner(key);
  return platform::RegSetValueExW(key, valueName, platform::kRegDword, &value, sizeof(value));
}
