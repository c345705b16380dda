// ParseVidPid against the two case-insensitive ECMAScript patterns it stands in for, on any
// UTF-16 text: unpaired surrogates, fullwidth and other letters that fold elsewhere, ids cut
// short. The patterns are compiled once; the parser must answer exactly as their searches do.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <locale>
#include <regex>
#include <string>

#include "devices/device_classification.h"
#include "fuzz_check.h"

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

// One text through both: the parser must find what the searches find, and leave its outputs alone
// when they do not.
void CheckAgainstPatterns(const std::u16string& source) {
  const std::wstring wide(source.begin(), source.end());
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
}

// Random units seldom spell a tag followed by four digits, so each byte also picks one unit of
// the patterns' own letters, their neighbours and units that fold onto them elsewhere (dotted
// capital I, Kelvin sign, fullwidth A, a lone surrogate): a short run then meets near-misses and
// matches at every position.
constexpr char16_t kAlphabet[] = u"VvIiDdPp__00199aAfFgG&\\#-\u0130\u0131\u212A\uFF21\uFF44\xD800";

}  // namespace

// The input's bytes are read twice: as little-endian UTF-16 units (an odd last byte dropped),
// and one byte to one unit of the alphabet above.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::u16string raw;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    raw.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
  }
  CheckAgainstPatterns(raw);

  constexpr std::size_t kLetters = std::size(kAlphabet) - 1;
  std::u16string spelled;
  for (std::size_t i = 0; i < size; ++i) spelled.push_back(kAlphabet[data[i] % kLetters]);
  CheckAgainstPatterns(spelled);
  return 0;
}
