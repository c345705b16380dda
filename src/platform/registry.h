// The registry. Names, shapes and values are Win32's; the Windows build implements it in
// win32/registry.cpp, the host build with a simulated registry. Every call returns its LSTATUS,
// kErrorSuccess or a system error code, and leaves the last error alone. Names and paths are read
// up to their first zero unit, as Win32 reads a C string; an empty value name is the key's
// default value.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/handles.h"
#include "platform/kernel.h"

namespace platform {

// ---- Predefined keys ----
// Win32 makes them by sign-extending a 32-bit number into a handle, so they are no constant
// expressions; the Wine test program compares them with <windows.h>'s.
inline RegistryKey PredefinedRegistryKey(std::int32_t value) {
  return reinterpret_cast<RegistryKey>(  // NOLINT(performance-no-int-to-ptr)
      static_cast<std::intptr_t>(value));
}
inline const RegistryKey kHkeyClassesRoot =
    PredefinedRegistryKey(static_cast<std::int32_t>(0x80000000));
inline const RegistryKey kHkeyCurrentUser =
    PredefinedRegistryKey(static_cast<std::int32_t>(0x80000001));
inline const RegistryKey kHkeyLocalMachine =
    PredefinedRegistryKey(static_cast<std::int32_t>(0x80000002));
inline const RegistryKey kHkeyUsers = PredefinedRegistryKey(static_cast<std::int32_t>(0x80000003));
inline const RegistryKey kHkeyCurrentConfig =
    PredefinedRegistryKey(static_cast<std::int32_t>(0x80000005));

// ---- Access rights (REGSAM) ----
inline constexpr std::uint32_t kKeyQueryValue = 0x0001;
inline constexpr std::uint32_t kKeySetValue = 0x0002;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x0004;
inline constexpr std::uint32_t kKeyEnumerateSubKeys = 0x0008;
inline constexpr std::uint32_t kKeyNotify = 0x0010;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;
inline constexpr std::uint32_t kKeyAllAccess = 0xF003F;
// The registry views of a 64-bit process: its own, and the one that 32-bit programs see.
inline constexpr std::uint32_t kKeyWow6464Key = 0x0100;
inline constexpr std::uint32_t kKeyWow6432Key = 0x0200;

// ---- Value types ----
inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegDwordBigEndian = 5;
inline constexpr std::uint32_t kRegLink = 6;
inline constexpr std::uint32_t kRegMultiSz = 7;
inline constexpr std::uint32_t kRegResourceList = 8;
inline constexpr std::uint32_t kRegFullResourceDescriptor = 9;
inline constexpr std::uint32_t kRegResourceRequirementsList = 10;
inline constexpr std::uint32_t kRegQword = 11;

// ---- RegGetValueW flags ----
inline constexpr std::uint32_t kRrfRtRegNone = 0x00000001;
inline constexpr std::uint32_t kRrfRtRegSz = 0x00000002;
inline constexpr std::uint32_t kRrfRtRegExpandSz = 0x00000004;
inline constexpr std::uint32_t kRrfRtRegBinary = 0x00000008;
inline constexpr std::uint32_t kRrfRtRegDword = 0x00000010;
inline constexpr std::uint32_t kRrfRtRegMultiSz = 0x00000020;
inline constexpr std::uint32_t kRrfRtRegQword = 0x00000040;
inline constexpr std::uint32_t kRrfRtDword = 0x00000018;  // REG_DWORD, or REG_BINARY of 4 bytes
inline constexpr std::uint32_t kRrfRtQword = 0x00000048;  // REG_QWORD, or REG_BINARY of 8 bytes
inline constexpr std::uint32_t kRrfRtAny = 0x0000FFFF;
inline constexpr std::uint32_t kRrfSubkeyWow6464Key = 0x00010000;
inline constexpr std::uint32_t kRrfSubkeyWow6432Key = 0x00020000;
inline constexpr std::uint32_t kRrfNoExpand = 0x10000000;
inline constexpr std::uint32_t kRrfZeroOnFailure = 0x20000000;

// ---- RegCreateKeyExW ----
inline constexpr std::uint32_t kRegOptionNonVolatile = 0;
inline constexpr std::uint32_t kRegCreatedNewKey = 1;
inline constexpr std::uint32_t kRegOpenedExistingKey = 2;

// ---- Error codes of the registry alone (the common ones are in kernel.h) ----
inline constexpr unsigned long kErrorBadPathname = 161;
inline constexpr unsigned long kErrorNoAccess = 998;  // data that cannot be read
inline constexpr unsigned long kErrorKeyDeleted = 1018;
inline constexpr unsigned long kErrorDatatypeMismatch = 1629;
inline constexpr unsigned long kErrorUnsupportedType = 1630;

// RegOpenKeyExW. An empty subkey opens the key itself again. *result is null on failure.
long RegOpenKeyExW(RegistryKey key, std::u16string_view subKey, std::uint32_t options,
                   std::uint32_t access, RegistryKey* result);

// RegCreateKeyExW with no class and no security attributes: opens the key, making it and every
// missing key on its path first. *disposition, when given, tells which of the two happened.
long RegCreateKeyExW(RegistryKey key, std::u16string_view subKey, std::uint32_t options,
                     std::uint32_t access, RegistryKey* result, std::uint32_t* disposition);

// RegQueryValueExW. With no data, *dataSize receives the value's size in bytes. With data,
// *dataSize holds the buffer's capacity in bytes and receives the size; a buffer too small gives
// kErrorMoreData with the size needed and leaves the buffer alone. The bytes come as stored: a
// string value may lack its terminator or have an odd length.
long RegQueryValueExW(RegistryKey key, std::u16string_view valueName, std::uint32_t* type,
                      void* data, std::uint32_t* dataSize);

// RegGetValueW: the value `valueName` of `subKey` (empty: of `key` itself), allowed only when its
// type is among the kRrfRt flags (kErrorUnsupportedType otherwise); REG_EXPAND_SZ text is expanded
// unless kRrfNoExpand is given. Sizes as for RegQueryValueExW. kRrfRtRegExpandSz without
// kRrfNoExpand is refused with kErrorInvalidParameter unless every type is allowed: the expanded
// text would be REG_SZ.
long RegGetValueW(RegistryKey key, std::u16string_view subKey, std::u16string_view valueName,
                  std::uint32_t flags, std::uint32_t* type, void* data, std::uint32_t* dataSize);

// RegEnumKeyExW of the subkey at `index`, with no class and no time. *nameSize holds the name
// buffer's capacity in units, terminator included, and receives the name's length without it; a
// name that does not fit gives kErrorMoreData. Past the last subkey: kErrorNoMoreItems.
long RegEnumKeyExW(RegistryKey key, std::uint32_t index, char16_t* name, std::uint32_t* nameSize);

// RegSetValueExW: stores `dataSize` bytes of `data` as the value of that type. For a string type
// whose count left out the terminator, Windows counts it in when the unit just after the count is
// zero; so it reads one unit past `dataSize`, and the buffer must hold it.
long RegSetValueExW(RegistryKey key, std::u16string_view valueName, std::uint32_t type,
                    const void* data, std::uint32_t dataSize);

// RegDeleteTreeW: the subkey with everything below it; with an empty subkey, every value and
// subkey of `key` but not the key itself.
long RegDeleteTreeW(RegistryKey key, std::u16string_view subKey);

long RegCloseKey(RegistryKey key);

}  // namespace platform
