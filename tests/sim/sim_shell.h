// The simulated shell behind platform/shell.h, apart from the notification area (the desktop's):
// the known folders and the command line's splitting, which follows Windows' rules.
#pragma once

#include <cstdint>

#include <optional>
#include <string>
#include <vector>

namespace sim {

// What SHGetFolderPathW answers for the machine's application data; nullopt makes it fail.
void SetCommonAppDataFolder(std::optional<std::u16string> folder);
// Sets the process's command line to one that splits into exactly these arguments, each quoted
// and escaped as Windows' rules want it.
void SetCommandLineArguments(const std::vector<std::u16string>& arguments);
// CommandLineToArgvW fails, as it does when it cannot allocate.
void SetCommandLineSplitFails(bool fails);

// What ShellExecuteW answers from now on: 42 (a success) until set. Every call is journalled as
// "ShellExecuteW <owner> <verb> <file> <parameters> <directory> <show>", empty ones as "-".
void SetShellExecuteResult(std::intptr_t result);

}  // namespace sim
