// UTF-16 of the logic as wchar_t at the Win32 edge: the same units, only the type differs.
#pragma once

#include <string>
#include <string_view>

static_assert(sizeof(wchar_t) == sizeof(char16_t), "the Windows build has 16-bit wchar_t");

inline std::wstring AsWide(std::u16string_view text) {
  return {reinterpret_cast<const wchar_t*>(text.data()), text.size()};
}

inline std::u16string FromWide(std::wstring_view text) {
  return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}
