// The simulated shell behind platform/shell.h, apart from the notification area (the desktop's):
// the known folders and the command line's splitting, which follows Windows' rules.
#pragma once

#include <optional>
#include <string>

namespace sim {

// What SHGetFolderPathW answers for the machine's application data; nullopt makes it fail.
void SetCommonAppDataFolder(std::optional<std::u16string> folder);
// CommandLineToArgvW fails, as it does when it cannot allocate.
void SetCommandLineSplitFails(bool fails);

}  // namespace sim
