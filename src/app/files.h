// Whole-file operations on the product's small text files. Each opens the file shared for
// reading and writing, so that another process reading or appending at the same moment is never
// refused, and closes it before it returns.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// Appends the bytes (the file is created if missing); false when it could not be opened or
// written. Every write lands at the end, whoever else appends meanwhile.
bool AppendFileShared(std::u16string_view path, std::string_view bytes);

// The whole file; nullopt when it can't be opened.
std::optional<std::string> ReadFileShared(std::u16string_view path);

// Replaces the file's content; false when it can't be opened or written.
bool ReplaceFileShared(std::u16string_view path, std::string_view bytes);
