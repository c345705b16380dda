// Control of the simulated platform that the host build links in place of the Win32 adapters.
// Every test starts from ResetSimulation().
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"

namespace sim {

void ResetSimulation();

// Every simulated platform call that matters for order, and every appended line (as
// "append: " and the line without its ending), in the order they happened.
std::vector<std::string> Journal();
void Record(std::string entry);

// Known folders and the file system. Paths compare without A-Z case; a path's parent must be
// an existing directory (or a drive such as "C:") for anything to be created under it.
void SetCommonAppDataFolder(std::optional<std::u16string> folder);
bool DirectoryExists(const std::u16string& path);
void AddDirectory(const std::u16string& path);
void SetFile(const std::u16string& path, const std::string& bytes);
std::optional<std::string> GetFile(const std::u16string& path);
void RemoveFile(const std::u16string& path);
// A read-only file can be read but not opened for writing.
void SetReadOnly(const std::u16string& path, bool readOnly);
// Another process holds the file open with the given share mode; an open that the share mode
// forbids fails, as it does on Windows.
void HoldOpenByOtherProcess(const std::u16string& path, bool sharesWrite);
std::vector<std::u16string> CreatedDirectories();

void SetLocalTime(const platform::LocalTime& time);

// platform::Sleep returns at once; the simulated time it would have taken adds up here, and the
// hook (if any) runs after each sleep so that a test can change the world as time passes.
unsigned long long SleptMilliseconds();
std::vector<unsigned> Sleeps();
void SetSleepHook(std::function<void(unsigned milliseconds)> hook);

// Debugger output, in order, narrow lines as UTF-8.
std::vector<std::string> DebugOutput();

// SHA-256 through libcrypto, or a failure at the provider when set.
void SetSha256Fails(bool fails);

}  // namespace sim
