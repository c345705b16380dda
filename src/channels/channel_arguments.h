// Typed reads out of a call's argument map, shared by the handlers. None fails: a missing key
// or another alternative gives the empty string or the default, and the handler decides
// whether that is an error. Keys compare as string values, so a key written as a number is
// never found.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "channels/encodable_value.h"

std::string GetString(const EncodableMap& map, std::string_view key);

// The text up to its first NUL, converted from UTF-8; invalid bytes come out replaced.
std::u16string GetWideString(const EncodableMap& map, std::string_view key);

// Also takes a 64-bit value, keeping its low 32 bits.
int32_t GetInt(const EncodableMap& map, std::string_view key, int32_t defaultValue = 0);

// Also takes a 32-bit value, sign-extended.
int64_t GetInt64(const EncodableMap& map, std::string_view key, int64_t defaultValue = 0);

bool GetBool(const EncodableMap& map, std::string_view key, bool defaultValue = false);
