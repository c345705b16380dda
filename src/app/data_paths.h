// Where the product's files live: under the machine's shared application data folder, with the
// fallbacks the outside writers of these files use when the folder can't be asked for.
#pragma once

#include <string>

std::u16string GetAppLogPath();
std::u16string GetPseudoLockPath();
std::u16string GetUninstallAuthPath();
