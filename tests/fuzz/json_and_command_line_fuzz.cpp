// Outside input that reaches the password store: the two JSON files, read by text search, and
// the command line. The input is taken both as UTF-8 (as a file is) and as raw 16-bit units (as
// a command line may be, unpaired surrogates included); U+0000 splits it into pieces.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "app/command_line.h"
#include "lock/password_store.h"
#include "base/text.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_shell.h"
#include "fuzz_check.h"

namespace {

constexpr std::u16string_view kOptionNames[] = {u"--verify-uninstall-password",
                                                u"--native-lock-screen", u"--tray-only"};

std::vector<std::u16string> SplitAtNul(std::u16string_view units) {
  std::vector<std::u16string> pieces;
  size_t start = 0;
  for (;;) {
    const size_t nul = units.find(u'\0', start);
    pieces.emplace_back(units.substr(start, nul - start));
    if (nul == std::u16string_view::npos) break;
    start = nul + 1;
  }
  return pieces;
}

std::u16string UpperCase(std::u16string_view text) {
  std::u16string out(text);
  for (char16_t& c : out) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
  }
  return out;
}

bool Contains(std::u16string_view text, std::u16string_view part) {
  return text.find(part) != std::u16string_view::npos;
}

void CheckJsonReaders(std::u16string_view text, std::u16string_view key) {
  const std::u16string needle = u"\"" + std::u16string(key) + u"\"";
  const size_t at = text.find(needle);

  const std::u16string value = ReadJsonString(text, key);
  KT_CHECK(Contains(text, value));
  KT_CHECK(!Contains(value, u"\""));
  if (!value.empty()) {
    KT_CHECK(at != std::u16string_view::npos);
    // The value sits between two quotes somewhere after the key's first occurrence.
    KT_CHECK(Contains(text.substr(at + needle.size()), u"\"" + value + u"\""));
  }

  const bool readTrue = ReadJsonBool(text, key, true);
  const bool readFalse = ReadJsonBool(text, key, false);
  // The default only ever decides when no value is there, so it can't turn true into false.
  KT_CHECK(readTrue || !readFalse);
  if (at == std::u16string_view::npos) KT_CHECK(readTrue && !readFalse);
  if (readFalse) KT_CHECK(Contains(text.substr(at + needle.size()), u"true"));
  // A quoted value means something other than blanks follows the colon: no default then.
  if (!value.empty()) KT_CHECK(readTrue == readFalse);
}

void CheckArguments(const std::vector<std::u16string>& argv, std::u16string_view name) {
  const bool flag = HasFlagInArguments(argv, name);
  const std::u16string option = FindOptionInArguments(argv, name);

  // Letter case of A-Z never matters in a name.
  KT_CHECK(flag == HasFlagInArguments(argv, FoldCase(name)));
  KT_CHECK(flag == HasFlagInArguments(argv, UpperCase(name)));
  KT_CHECK(option == FindOptionInArguments(argv, FoldCase(name)));
  KT_CHECK(option == FindOptionInArguments(argv, UpperCase(name)));

  if (argv.size() <= 1) {
    KT_CHECK(!flag);
    KT_CHECK(option.empty());
  }
  if (option.empty()) return;

  // The value is the argument after the name, or what follows "name=" in one argument.
  const std::u16string prefix = std::u16string(name) + u"=";
  bool nextArgument = false;
  bool afterPrefix = false;
  for (size_t i = 1; i < argv.size(); ++i) {
    if (i >= 2 && argv[i] == option && EqualsFolded(argv[i - 1], name)) nextArgument = true;
    if (argv[i].size() == prefix.size() + option.size() && StartsWithFolded(argv[i], prefix) &&
        argv[i].ends_with(option)) {
      afterPrefix = true;
    }
  }
  KT_CHECK(nextArgument || afterPrefix);
  if (!flag) KT_CHECK(afterPrefix);
}

void CheckUtf8Arguments(const std::vector<std::u16string>& argv) {
  const std::vector<std::string> utf8 = ArgumentsAsUtf8(argv);
  KT_CHECK(utf8.size() == (argv.empty() ? 0 : argv.size() - 1));
  for (size_t i = 0; i < utf8.size(); ++i) {
    if (utf8[i].empty()) {
      KT_CHECK(WideToUtf8(argv[i + 1]).empty());
    } else {
      KT_CHECK(Utf8ToWide(utf8[i]) == argv[i + 1]);
    }
  }
}

// The same argument rules reached through the process's command line, then the verification
// mode against no files at all: only the built-in digest can decide, and nothing matches it.
void CheckProcessCommandLine(std::vector<std::u16string> argv) {
  // A program's path never holds a quote, and its name in the command line knows no escapes:
  // with one, no command line could spell these arguments.
  std::erase(argv.front(), u'"');
  sim::ResetSimulation();
  sim::SetCommandLineArguments(argv);
  const std::u16string password = GetCommandLineOption(u"--verify-uninstall-password");
  KT_CHECK(password == FindOptionInArguments(argv, u"--verify-uninstall-password"));
  KT_CHECK(HasCommandLineFlag(u"--tray-only") == HasFlagInArguments(argv, u"--tray-only"));
  KT_CHECK(GetCommandLineArguments() == ArgumentsAsUtf8(argv));
  KT_CHECK(VerifyUninstallPassword() == (password.empty() ? 2 : 1));
}

// The input as the uninstall file's bytes: whatever it holds, the verdict is a match only when
// the stored digest equals the password's, up to letter case and a terminating NUL.
void CheckStoredFile(std::string_view bytes, const std::u16string& password) {
  sim::ResetSimulation();
  sim::SetFile(u"C:\\ProgramData\\KelvoTarnel\\uninstall_auth.json", std::string(bytes));
  sim::SetCommandLineArguments(
      std::vector<std::u16string>{u"KelvoTarnel.exe", u"--verify-uninstall-password", password});
  const std::u16string stored = ReadUninstallPasswordHash();
  KT_CHECK(!stored.empty());
  const int code = VerifyUninstallPassword();
  if (password.empty()) {
    KT_CHECK(code == 2);
    return;
  }
  const std::u16string computed = Sha256Hex(password);
  KT_CHECK(computed.size() == 64);
  const std::u16string_view storedText = std::u16string_view(stored).substr(0, stored.find(u'\0'));
  KT_CHECK(code == (EqualsFolded(storedText, computed) ? 0 : 1));
}

void CheckUnits(std::u16string_view units) {
  for (const std::u16string_view key :
       {std::u16string_view(u"locked"), std::u16string_view(u"passwordHash")}) {
    CheckJsonReaders(units, key);
  }
  const std::vector<std::u16string> pieces = SplitAtNul(units);
  if (pieces.size() >= 2) CheckJsonReaders(pieces[1], pieces[0]);

  for (const std::u16string_view name : kOptionNames) CheckArguments(pieces, name);
  CheckArguments(pieces, pieces[0]);
  CheckUtf8Arguments(pieces);
  CheckProcessCommandLine(pieces);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);

  const std::u16string fromUtf8 = Utf8ToWide(bytes);
  CheckUnits(fromUtf8);

  std::u16string rawUnits;
  rawUnits.reserve(size / 2);
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    rawUnits.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
  }
  CheckUnits(rawUnits);

  const std::vector<std::u16string> pieces = SplitAtNul(rawUnits);
  CheckStoredFile(bytes, pieces.size() >= 2 ? pieces[1] : pieces[0]);
  return 0;
}
