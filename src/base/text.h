// UTF-8 <-> UTF-16 conversion and A-Z-only case folding, identical on both builds.
#pragma once

#include <string>
#include <string_view>

// WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS): an unpaired surrogate fails the whole
// conversion. Empty input or a failed conversion gives the empty string.
std::string WideToUtf8(std::u16string_view wide);

// MultiByteToWideChar(CP_UTF8, 0): each maximal invalid subsequence becomes one U+FFFD.
std::u16string Utf8ToWide(std::string_view utf8);

// Folds A-Z to a-z and nothing else, so results never depend on a runtime's locale.
char16_t FoldChar(char16_t c);
std::u16string FoldCase(std::u16string_view text);

// _wcsicmp(a, b) == 0 under the C locale: A-Z fold, every other unit compares exactly.
bool EqualsFolded(std::u16string_view a, std::u16string_view b);
// _wcsnicmp(text, prefix, prefix.size()) == 0, with text at least as long as the prefix.
bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix);

// ASCII text as UTF-16, for the fixed strings of the system.
std::u16string AsciiToWide(std::string_view ascii);
