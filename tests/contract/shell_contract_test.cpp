// The shell's known folder for the product's data and the splitting of command lines, which
// the launch driver reads its modes and options from.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/kernel.h"
#include "platform/shell.h"

namespace {

using Arguments = std::vector<std::u16string>;

TEST(SHGetFolderPathW, CommonAppDataIsProgramData) {
  const std::optional<std::u16string> folder =
      platform::SHGetFolderPathW(platform::kCsidlCommonAppData);
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(*folder, u"C:\\ProgramData");
}

// Each line after the program name, as CommandLineToArgvW splits it.
struct Split {
  const char16_t* line;
  Arguments arguments;
};

class CommandLineToArgvW : public ::testing::TestWithParam<Split> {};

TEST_P(CommandLineToArgvW, SplitsAsWindowsDoes) {
  const std::optional<Arguments> arguments = platform::CommandLineToArgvW(GetParam().line);
  ASSERT_TRUE(arguments.has_value());
  EXPECT_EQ(*arguments, GetParam().arguments);
}

INSTANTIATE_TEST_SUITE_P(
    TrickyLines, CommandLineToArgvW,
    ::testing::Values(Split{u"app.exe", {u"app.exe"}},
                      Split{u"app.exe --native-lock-screen", {u"app.exe", u"--native-lock-screen"}},
                      Split{u"app.exe  a\t b ", {u"app.exe", u"a", u"b"}},
                      Split{u"\"C:\\Program Files\\Kelvo\\app.exe\" --flag",
                            {u"C:\\Program Files\\Kelvo\\app.exe", u"--flag"}},
                      Split{u"app.exe \"two words\" x", {u"app.exe", u"two words", u"x"}},
                      Split{u"app.exe a\"b c\"d", {u"app.exe", u"ab cd"}},
                      Split{u"app.exe \"\"", {u"app.exe", u""}},
                      Split{u"app.exe \"\" x", {u"app.exe", u"", u"x"}},
                      Split{u"app.exe C:\\dir\\file", {u"app.exe", u"C:\\dir\\file"}},
                      Split{u"app.exe a\\\\b", {u"app.exe", u"a\\\\b"}},
                      Split{u"app.exe a\\\"b", {u"app.exe", u"a\"b"}},
                      Split{u"app.exe a\\\\\"b c\"", {u"app.exe", u"a\\b c"}},
                      Split{u"app.exe a\\\\\\\"b", {u"app.exe", u"a\\\"b"}},
                      Split{u"app.exe \"C:\\dir\\\\\" next", {u"app.exe", u"C:\\dir\\", u"next"}},
                      Split{u"app.exe \"a\"\"b\"", {u"app.exe", u"a\"b"}},
                      Split{u"app.exe \"unclosed quote", {u"app.exe", u"unclosed quote"}},
                      Split{u"\"C:\\dir\\\"x y", {u"C:\\dir\\", u"x", u"y"}},
                      Split{u"app.exe --kt-arg \"w\u00f6rt \u00f1\" \u5e7f\u544a",
                            {u"app.exe", u"--kt-arg", u"w\u00f6rt \u00f1", u"\u5e7f\u544a"}}));

TEST(CommandLineToArgvWOfThisProcess, StartsWithTheProgram) {
  const std::u16string line = platform::GetCommandLineW();
  ASSERT_FALSE(line.empty());
  const std::optional<Arguments> arguments = platform::CommandLineToArgvW(line);
  ASSERT_TRUE(arguments.has_value());
  ASSERT_FALSE(arguments->empty());
  EXPECT_FALSE(arguments->front().empty());
}

}  // namespace
