// ParseVidPid against the two case-insensitive ECMAScript patterns it stands in for, on any
// UTF-16 text: unpaired surrogates, fullwidth and other letters that fold elsewhere, ids cut
// short. The patterns are compiled once; the parser must answer exactly as their searches do.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <regex>
#include <string>

#include "devices/device_classification.h"

#define KT_CHECK(condition)                                                           \
  do {                                                                                \
    if (!(condition)) {                                                               \
      std::fprintf(stderr, "invariant failed: %s (line %d)\n", #condition, __LINE__); \
      std::abort();                                                                   \
    }                                                                                 \
  } while (false)

namespace {

const std::wregex& VendorPattern() {
  static const std::wregex pattern(L"VID_([0-9A-F]{4})",
                                   std::regex::ECMAScript | std::regex::icase);
  return pattern;
}

const std::wregex& ProductPattern() {
  static const std::wregex pattern(L"PID_([0-9A-F]{4})",
                                   std::regex::ECMAScript | std::regex::icase);
  return pattern;
}

// Capture group 1, upper-cased by the runtime's wide upper-casing in the classic locale, back
// in UTF-16 units.
std::u16string UpperCapture(const std::wsmatch& match) {
  const auto& ctype = std::use_facet<std::ctype<wchar_t>>(std::locale::classic());
  std::u16string digits;
  for (const wchar_t unit : match[1].str()) {
    digits.push_back(static_cast<char16_t>(ctype.toupper(unit)));
  }
  return digits;
}

}  // namespace

// The input's bytes are little-endian UTF-16 units; an odd last byte is dropped.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::u16string source;
  std::wstring wide;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    const auto unit = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    source.push_back(unit);
    wide.push_back(static_cast<wchar_t>(unit));
  }

  std::wsmatch vendor;
  std::wsmatch product;
  const bool expected = std::regex_search(wide, vendor, VendorPattern()) &&
                        std::regex_search(wide, product, ProductPattern());

  const std::u16string untouched = u"\xFFFF-unset";
  std::u16string vid = untouched;
  std::u16string pid = untouched;
  const bool parsed = ParseVidPid(source, vid, pid);

  KT_CHECK(parsed == expected);
  if (expected) {
    KT_CHECK(vid == UpperCapture(vendor));
    KT_CHECK(pid == UpperCapture(product));
  } else {
    KT_CHECK(vid == untouched);
    KT_CHECK(pid == untouched);
  }
  return 0;
}
