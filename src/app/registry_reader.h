// Typed reads and the one typed write of the registry, each the way its caller does it: the scan
// of installed applications (keys opened in either view, subkey names, string values and a
// number read as they come), the hardware report (ReadRegistryText) and the USB storage policy (a
// number of one view, read and written). Failures are answers: an empty text, a zero, or the
// status of the call that failed. Every key opened here is closed before the function returns.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/owners.h"
#include "platform/registry.h"

// `subKey` below `parent`, opened with `access`, which carries the view flag when one is wanted;
// an empty owner when it can't be opened.
platform::UniqueRegistryKey OpenRegistryKey(platform::RegistryKey parent,
                                            std::u16string_view subKey, std::uint32_t access);

// The subkeys' names in the order RegEnumKeyExW gives them, asked for from index 0 with a name
// buffer of kSubkeyNameCapacity units. The first answer other than success ends the list: past
// the last subkey, on a failure, and at a name of more than 255 units, which does not fit.
inline constexpr std::uint32_t kSubkeyNameCapacity = 256;
std::vector<std::u16string> EnumerateSubkeyNames(platform::RegistryKey key);

// A string value as the installed-applications scan reads it (empty name: the default value).
// Unless asking for its type and size succeeds with a size above zero and REG_SZ or
// REG_EXPAND_SZ, the answer is empty. The value's size/2 units are then read (an odd last byte
// is no unit and is dropped), a failed read gives empty, and every trailing zero unit goes. A
// zero unit inside the text stays; REG_EXPAND_SZ text is not expanded.
std::u16string ReadRegistryString(platform::RegistryKey key, std::u16string_view valueName);

// What RegQueryValueExW gives for a 32-bit number read into four bytes that start as zero. The
// status and type are the caller's to judge: `value` is whatever landed in the bytes, so a
// shorter value fills its low bytes and a longer one (kErrorMoreData) none; `type` is kRegNone
// when the value is missing.
struct RegistryDword {
  long status = platform::kErrorSuccess;
  std::uint32_t type = platform::kRegNone;
  std::uint32_t value = 0;
};
RegistryDword QueryRegistryDword(platform::RegistryKey key, std::u16string_view valueName);

// A string value of `subKey` below `root` through RegGetValueW, REG_SZ or REG_EXPAND_SZ, the
// latter as stored. The size is asked for first; a failure or a size of zero gives empty. The
// value is then read into size/2 + 1 zeroed units, and the text runs to its first zero unit, so
// that a value stored without a terminator still ends. Any failure gives empty.
std::u16string ReadRegistryText(platform::RegistryKey root, std::u16string_view subKey,
                                std::u16string_view valueName);

// A REG_DWORD of `subKey` below `root` in one view (kKeyWow6464Key or kKeyWow6432Key), through
// RegGetValueW: the status, and the number when it is kErrorSuccess (zero otherwise). Any other
// type fails with kErrorUnsupportedType.
struct RegistryNumber {
  long status = platform::kErrorSuccess;
  std::uint32_t value = 0;
};
RegistryNumber ReadRegistryDword(platform::RegistryKey root, std::u16string_view subKey,
                                 std::u16string_view valueName, std::uint32_t view);

// Writes `value` as a REG_DWORD of four bytes to `subKey` below `root` in one view: the key is
// opened with kKeySetValue and the view, written and closed. The status of the open or of the
// write when either fails, kErrorSuccess otherwise. The same value is written again all the same.
long WriteRegistryDword(platform::RegistryKey root, std::u16string_view subKey,
                        std::u16string_view valueName, std::uint32_t value, std::uint32_t view);
