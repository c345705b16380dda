// Reading the process's command line. Flags and options are whole arguments after the
// program name, compared without A-Z case.
#pragma once

#include <string>
#include <string_view>
#include <vector>

bool HasCommandLineFlag(std::u16string_view name);
std::u16string GetCommandLineOption(std::u16string_view name);
std::vector<std::string> GetCommandLineArguments();

// The same rules over an argument vector whose first entry is the program.
bool HasFlagInArguments(const std::vector<std::u16string>& argv, std::u16string_view name);
std::u16string FindOptionInArguments(const std::vector<std::u16string>& argv,
                                     std::u16string_view name);
std::vector<std::string> ArgumentsAsUtf8(const std::vector<std::u16string>& argv);
