// What the logic needs of the file system and the shell's known folders. Paths are Windows
// paths in UTF-16; the host build simulates them in memory.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

constexpr int kCsidlCommonAppData = 35;

// SHGetFolderPathW(nullptr, csidl, nullptr, 0, ...); nullopt when the lookup fails.
std::optional<std::u16string> SHGetFolderPathW(int csidl);

// CreateDirectoryW(path, nullptr); false for an existing directory or a missing parent.
bool CreateDirectoryW(const std::u16string& path);

// Opens for appending (created if missing) shared for reading and writing, writes the bytes
// and closes. False when the file could not be opened or written.
bool AppendFileShared(const std::u16string& path, std::string_view bytes);

// Reads the whole file, opened shared for reading and writing; nullopt when it can't be opened.
std::optional<std::string> ReadFileShared(const std::u16string& path);

// Replaces the file's content, opened shared for reading and writing; false when it can't.
bool ReplaceFileShared(const std::u16string& path, std::string_view bytes);

}  // namespace platform
