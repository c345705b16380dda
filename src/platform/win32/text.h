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

// A buffer of the logic's units that Win32 fills.
inline wchar_t* AsWideBuffer(char16_t* buffer) { return reinterpret_cast<wchar_t*>(buffer); }

// A name that may be null, as several Win32 calls take it.
inline const wchar_t* AsWideOrNull(const char16_t* text) {
  return reinterpret_cast<const wchar_t*>(text);
}
