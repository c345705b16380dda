// A simulated registry behind platform/registry.h: five hives of keys and values in memory, seen
// by a 64-bit process, answering as Wine 8 answers the same calls (the contract tests hold the
// two side by side).
//
// What it copies:
// - Views: with kKeyWow6432Key (or kRrfSubkeyWow6432Key) a path that passes through
//   HKLM\SOFTWARE goes on into SOFTWARE\WOW6432Node, unless it names WOW6432Node itself; a path
//   that starts below SOFTWARE, from an open handle, is not redirected. HKCU\Software is shared, as
//   on Windows since 7. The 64-bit view is the physical tree.
// - Names: keys compare without case (A-Z, Latin-1, Greek and Cyrillic letters) and enumerate in
//   the order of their lower-cased names, as Wine orders them; Windows orders upper-cased names,
//   which differs only for the six characters between 'Z' and 'a'. A name may hold 256 units; a
//   longer one is refused with kErrorInvalidParameter, a path that starts with '\' with
//   kErrorBadPathname; empty components are skipped.
// - Handles carry the access they were opened with: a query needs kKeyQueryValue, a write
//   kKeySetValue, an enumeration kKeyEnumerateSubKeys (kErrorAccessDenied otherwise). Opening,
//   creating or deleting below a handle asks nothing of it, as under Wine. A handle of a deleted
//   key answers kErrorKeyDeleted.
// - Data is bytes as written: no terminator is added or removed, except in the two places where
//   Windows itself does so (see RegSetValueExW and RegQueryValueExW in the seam and the .cpp).
//
// After a reset the hives hold what every Windows has and the views need: HKLM\SOFTWARE with
// its WOW6432Node, HKLM\SYSTEM and HKCU\Software, all empty.
//
// What Wine cannot show and the simulation adds for tests: keys whose security refuses some
// rights (Wine's prefix runs as its administrator), scripted failures of any call, and a journal
// of every write. Each write is also recorded in sim::Journal() as
// "RegSetValueExW <key path> <value name>", "RegCreateKeyExW <key path>" (only for a key that
// was made) or "RegDeleteTreeW <key path>"; key paths start with the hive's short name (HKLM,
// HKCU, HKCR, HKU, HKCC).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace sim {

// Where a fixture path lands: as a 64-bit program or as a 32-bit program names it.
enum class RegistryView { k64, k32 };

// ---- Fixtures: no access checks, no journal, no scripted failures ----
// Makes the key and every missing key on its path.
void CreateRegistryKey(platform::RegistryKey root, std::u16string_view path,
                       RegistryView view = RegistryView::k64);
// Stores a value (making its key) exactly as given.
void SetRegistryValue(platform::RegistryKey root, std::u16string_view path,
                      std::u16string_view name, std::uint32_t type, std::vector<std::uint8_t> data,
                      RegistryView view = RegistryView::k64);
// The text with one terminator, as a program writes it.
void SetRegistryString(platform::RegistryKey root, std::u16string_view path,
                       std::u16string_view name, std::u16string_view text,
                       std::uint32_t type = platform::kRegSz,
                       RegistryView view = RegistryView::k64);
void SetRegistryDword(platform::RegistryKey root, std::u16string_view path,
                      std::u16string_view name, std::uint32_t value,
                      RegistryView view = RegistryView::k64);
void DeleteRegistryKey(platform::RegistryKey root, std::u16string_view path,
                       RegistryView view = RegistryView::k64);

bool RegistryKeyExists(platform::RegistryKey root, std::u16string_view path,
                       RegistryView view = RegistryView::k64);
struct StoredValue {
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};
std::optional<StoredValue> RegistryValue(platform::RegistryKey root, std::u16string_view path,
                                         std::u16string_view name,
                                         RegistryView view = RegistryView::k64);

// ---- Refusals ----
// The key's security refuses these rights: an open or a create that asks any of them fails with
// kErrorAccessDenied, and so does making a subkey below it when kKeyCreateSubKey is among them.
// The key is made if it is missing.
void DenyRegistryAccess(platform::RegistryKey root, std::u16string_view path,
                        std::uint32_t deniedAccess, RegistryView view = RegistryView::k64);

// ---- Scripted failures ----
enum class RegistryCall {
  kRegOpenKeyExW,
  kRegCreateKeyExW,
  kRegQueryValueExW,
  kRegGetValueW,
  kRegEnumKeyExW,
  kRegSetValueExW,
  kRegDeleteTreeW,
  kRegCloseKey,
};
// Which calls fail and how: by default the next call of that name, whatever it works on.
struct RegistryFailure {
  RegistryFailure(RegistryCall failing, long answer) : call(failing), status(answer) {}
  // Only calls on the key of this full path, as in the journal ("HKLM\SOFTWARE\WOW6432Node\..."),
  // or on the value of this name; letter case does not count.
  RegistryFailure& OnKey(std::u16string_view path) {
    keyPath = path;
    return *this;
  }
  RegistryFailure& OnValue(std::u16string_view name) {
    valueName = name;
    return *this;
  }
  // Lets `calls` matching calls through first.
  RegistryFailure& After(int calls) {
    skip = calls;
    return *this;
  }
  // Fails `count` matching calls, or all of them from then on.
  RegistryFailure& Times(int count) {
    times = count;
    return *this;
  }
  RegistryFailure& Always() { return Times(-1); }

  RegistryCall call;
  long status;
  std::u16string keyPath;
  std::u16string valueName;
  int skip = 0;
  int times = 1;
};
// A failing call returns `status` and changes nothing, and an open gives a null key; a failing
// RegCloseKey still closes the handle.
void FailRegistryCall(RegistryFailure failure);

// ---- Journal and handles ----
struct RegistryWrite {
  RegistryCall call = RegistryCall::kRegSetValueExW;
  std::u16string keyPath;
  std::u16string valueName;  // RegSetValueExW only
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};
// Every write that took effect, in order, from whichever thread.
std::vector<RegistryWrite> RegistryWrites();

// Keys opened and not yet closed; predefined keys are not counted.
std::size_t OpenRegistryKeyCount();
// Calls that named a handle that was never opened or is already closed.
int InvalidRegistryKeyUses();

// What RegGetValueW puts in place of %name% when it expands REG_EXPAND_SZ text; a name with no
// value stays as it is written. Names compare without case; none is set after a reset.
void SetExpansionVariable(std::u16string_view name, std::u16string_view value);

}  // namespace sim
