#include "sim_shell.h"

#include <mutex>
#include <vector>

#include "base/text.h"
#include "platform/kernel.h"
#include "platform/shell.h"
#include "sim_core.h"
#include "sim_kernel.h"

namespace sim {
namespace {

struct Shell {
  std::mutex lock;
  std::optional<std::u16string> commonAppData;
  bool splitFails = false;
  std::intptr_t executeResult = 42;
};

Shell& S() {
  static Shell shell;
  return shell;
}

void Reset() {
  const std::lock_guard guard(S().lock);
  S().commonAppData = u"C:\\ProgramData";
  S().splitFails = false;
  S().executeResult = 42;
}

const bool registered = [] {
  Reset();
  return OnReset(&Reset);
}();

bool IsBlank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

}  // namespace

void SetCommonAppDataFolder(std::optional<std::u16string> folder) {
  const std::lock_guard guard(S().lock);
  S().commonAppData = std::move(folder);
}

void SetCommandLineArguments(const std::vector<std::u16string>& arguments) {
  std::u16string line;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::u16string& argument = arguments[index];
    if (index > 0) line += u' ';
    const bool plain =
        !argument.empty() && argument.find_first_of(u" \t\"") == std::u16string::npos;
    if (plain) {
      line += argument;
      continue;
    }
    line += u'"';
    if (index == 0) {
      line += argument;  // the program's name knows no escapes
    } else {
      std::size_t slashes = 0;
      for (const char16_t unit : argument) {
        if (unit == u'\\') {
          ++slashes;
          continue;
        }
        // Backslashes before a quote double, and the quote gets one of its own.
        line.append(unit == u'"' ? slashes * 2 + 1 : slashes, u'\\');
        slashes = 0;
        line += unit;
      }
      line.append(slashes * 2, u'\\');  // before the closing quote
    }
    line += u'"';
  }
  SetCommandLine(std::move(line));
}

void SetCommandLineSplitFails(bool fails) {
  const std::lock_guard guard(S().lock);
  S().splitFails = fails;
}

void SetShellExecuteResult(std::intptr_t result) {
  const std::lock_guard guard(S().lock);
  S().executeResult = result;
}

}  // namespace sim

namespace platform {

std::optional<std::u16string> SHGetFolderPathW(int csidl) {
  const std::lock_guard guard(sim::S().lock);
  if (csidl != kCsidlCommonAppData) return std::nullopt;
  return sim::S().commonAppData;
}

std::optional<std::vector<std::u16string>> CommandLineToArgvW(std::u16string_view line) {
  {
    const std::lock_guard guard(sim::S().lock);
    if (sim::S().splitFails) {
      SetLastError(kErrorNotEnoughMemory);
      return std::nullopt;
    }
  }
  std::vector<std::u16string> arguments;
  std::size_t i = 0;
  // The program's name knows no escapes: up to the closing quote, or to the first blank.
  std::u16string program;
  if (i < line.size() && line[i] == u'"') {
    ++i;
    while (i < line.size() && line[i] != u'"') program += line[i++];
    if (i < line.size()) ++i;
  } else {
    while (i < line.size() && !sim::IsBlank(line[i])) program += line[i++];
  }
  arguments.push_back(std::move(program));

  for (;;) {
    while (i < line.size() && sim::IsBlank(line[i])) ++i;
    if (i >= line.size()) break;
    std::u16string argument;
    bool quoted = false;
    while (i < line.size() && (quoted || !sim::IsBlank(line[i]))) {
      if (line[i] == u'\\') {
        std::size_t slashes = 0;
        while (i < line.size() && line[i] == u'\\') {
          ++slashes;
          ++i;
        }
        if (i < line.size() && line[i] == u'"') {
          // 2n backslashes before a quote are n and the quote counts; 2n + 1 make it literal.
          argument.append(slashes / 2, u'\\');
          if (slashes % 2 == 1) {
            argument += u'"';
            ++i;
          }
        } else {
          argument.append(slashes, u'\\');
        }
      } else if (line[i] == u'"') {
        ++i;
        if (quoted && i < line.size() && line[i] == u'"') {
          argument += u'"';  // "" inside quotes is one quote
          ++i;
        } else {
          quoted = !quoted;
        }
      } else {
        argument += line[i++];
      }
    }
    arguments.push_back(std::move(argument));
  }
  return arguments;
}

std::intptr_t ShellExecuteW(WindowHandle owner, std::u16string_view verb, std::u16string_view file,
                            std::u16string_view parameters, std::u16string_view directory,
                            int show) {
  const auto word = [](std::u16string_view text) {
    return text.empty() ? std::string("-") : WideToUtf8(text);
  };
  sim::Record("ShellExecuteW " + std::string(owner ? "owner" : "null") + " " + word(verb) + " " +
              word(file) + " " + word(parameters) + " " + word(directory) + " " +
              std::to_string(show));
  const std::lock_guard guard(sim::S().lock);
  return sim::S().executeResult;
}

}  // namespace platform
