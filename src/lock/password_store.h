// The two password files: lock state and digests, read by text search, never by a JSON parser.
#pragma once

#include <string>
#include <string_view>

#include "app/data_paths.h"

// Whole file as UTF-16, a leading byte-order mark dropped; empty on any failure.
std::u16string ReadUtf8File(const std::u16string& path);

bool ReadJsonBool(std::u16string_view text, std::u16string_view key, bool defaultValue);
std::u16string ReadJsonString(std::u16string_view text, std::u16string_view key);

bool IsPseudoLockLocked();
std::u16string ReadLockPasswordHash();
std::u16string ReadUninstallPasswordHash();
void WritePseudoLockState(bool locked);

// Lower-case hex SHA-256 of the text's UTF-8 bytes; empty on failure.
std::u16string Sha256Hex(std::u16string_view text);

// The verification mode's exit code: 0 match, 1 mismatch, 2 no password, 3 no digest.
int VerifyUninstallPassword();
