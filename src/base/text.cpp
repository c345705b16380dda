#include "base/text.h"

#include <cstdint>

namespace {

bool IsHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

void AppendUtf16(std::u16string& out, char32_t cp) {
  if (cp < 0x10000) {
    out.push_back(static_cast<char16_t>(cp));
  } else {
    cp -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
  }
}

// Trailing bytes after a lead byte; 0 for bytes that never start a sequence (continuations,
// the overlong leads C0 and C1, and F5 to FF).
int TrailingBytes(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  if (lead >= 0xF0 && lead <= 0xF4) return 3;
  return 0;
}

bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

}  // namespace

std::string WideToUtf8(std::u16string_view wide) {
  std::string out;
  out.reserve(wide.size() * 3);
  for (size_t i = 0; i < wide.size(); ++i) {
    const char16_t c = wide[i];
    if (IsHighSurrogate(c)) {
      if (i + 1 >= wide.size() || !IsLowSurrogate(wide[i + 1])) return {};
      const char32_t cp = 0x10000 + ((static_cast<char32_t>(c) - 0xD800) << 10) +
                          (static_cast<char32_t>(wide[i + 1]) - 0xDC00);
      AppendUtf8(out, cp);
      ++i;
    } else if (IsLowSurrogate(c)) {
      return {};
    } else {
      AppendUtf8(out, c);
    }
  }
  return out;
}

std::u16string Utf8ToWide(std::string_view utf8) {
  // A broken sequence is replaced by one U+FFFD covering the lead and the continuation bytes
  // accepted before the fault showed; a sequence cut by the end of the input is one U+FFFD.
  std::u16string out;
  out.reserve(utf8.size());
  size_t i = 0;
  while (i < utf8.size()) {
    const auto lead = static_cast<unsigned char>(utf8[i++]);
    if (lead < 0x80) {
      out.push_back(lead);
      continue;
    }
    const int trailing = TrailingBytes(lead);
    if (trailing == 0) {
      out.push_back(0xFFFD);
      continue;
    }
    if (utf8.size() - i < static_cast<size_t>(trailing)) {
      out.push_back(0xFFFD);
      i = utf8.size();
      continue;
    }
    char32_t value = lead & (0x3F >> trailing);
    bool valid = false;
    for (int left = trailing; left > 0; --left) {
      const auto next = static_cast<unsigned char>(utf8[i]);
      if (!IsContinuation(next)) break;
      value = (value << 6) | (next & 0x3F);
      // Past U+10FFFF already: the byte that showed it is not consumed.
      if (left == 2 && value >= 0x4400) break;
      ++i;
      if (left == 3 && value < 0x10) break;                     // overlong four-byte form
      if (left == 2 && trailing == 2 && value < 0x20) break;    // overlong three-byte form
      if (left == 2 && value >= 0x360 && value < 0x380) break;  // a surrogate
      if (left == 1) valid = true;
    }
    if (valid) {
      AppendUtf16(out, value);
    } else {
      out.push_back(0xFFFD);
    }
  }
  return out;
}

char16_t FoldChar(char16_t c) {
  return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
}

std::u16string FoldCase(std::u16string_view text) {
  std::u16string out(text);
  for (auto& c : out) c = FoldChar(c);
  return out;
}

bool EqualsFolded(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (FoldChar(a[i]) != FoldChar(b[i])) return false;
  }
  return true;
}

bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() && EqualsFolded(text.substr(0, prefix.size()), prefix);
}

std::u16string AsciiToWide(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }
