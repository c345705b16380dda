#include "app/command_line.h"

#include "platform/kernel.h"
#include "platform/shell.h"
#include "base/text.h"

bool HasFlagInArguments(const std::vector<std::u16string>& argv, std::u16string_view name) {
  for (size_t i = 1; i < argv.size(); ++i) {
    if (EqualsFolded(argv[i], name)) return true;
  }
  return false;
}

std::u16string FindOptionInArguments(const std::vector<std::u16string>& argv,
                                     std::u16string_view name) {
  const std::u16string prefix = std::u16string(name) + u"=";
  for (size_t i = 1; i < argv.size(); ++i) {
    if (EqualsFolded(argv[i], name)) return i + 1 < argv.size() ? argv[i + 1] : std::u16string();
    if (argv[i].size() > prefix.size() && StartsWithFolded(argv[i], prefix)) {
      return argv[i].substr(prefix.size());
    }
  }
  return {};
}

std::vector<std::string> ArgumentsAsUtf8(const std::vector<std::u16string>& argv) {
  std::vector<std::string> out;
  // An argument that is not valid UTF-16 stays in its place as an empty string.
  for (size_t i = 1; i < argv.size(); ++i) out.push_back(WideToUtf8(argv[i]));
  return out;
}

bool HasCommandLineFlag(std::u16string_view name) {
  const auto argv = platform::CommandLineToArgvW(platform::GetCommandLineW());
  return argv && HasFlagInArguments(*argv, name);
}

std::u16string GetCommandLineOption(std::u16string_view name) {
  const auto argv = platform::CommandLineToArgvW(platform::GetCommandLineW());
  return argv ? FindOptionInArguments(*argv, name) : std::u16string();
}

std::vector<std::string> GetCommandLineArguments() {
  const auto argv = platform::CommandLineToArgvW(platform::GetCommandLineW());
  return argv ? ArgumentsAsUtf8(*argv) : std::vector<std::string>();
}
