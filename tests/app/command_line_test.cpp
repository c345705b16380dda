#include "app/command_line.h"

#include <gtest/gtest.h>

#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_shell.h"

namespace {

using Args = std::vector<std::u16string>;

TEST(HasFlagInArguments, MatchesWholeArgumentInAnyLetterCase) {
  EXPECT_TRUE(HasFlagInArguments({u"app.exe", u"--NATIVE-LOCK-SCREEN"}, u"--native-lock-screen"));
}

TEST(HasFlagInArguments, ProgramNameIsNeverAFlag) {
  EXPECT_FALSE(HasFlagInArguments({u"--tray-only"}, u"--tray-only"));
}

TEST(HasFlagInArguments, OptionWithEqualsSignIsNotTheFlag) {
  EXPECT_FALSE(HasFlagInArguments({u"app.exe", u"--verify-uninstall-password=abc"},
                                  u"--verify-uninstall-password"));
}

TEST(FindOptionInArguments, ValueIsTheNextArgument) {
  EXPECT_EQ(FindOptionInArguments({u"app.exe", u"--verify-uninstall-password", u"abc"},
                                  u"--verify-uninstall-password"),
            u"abc");
}

TEST(FindOptionInArguments, NameAsLastArgumentGivesEmpty) {
  EXPECT_EQ(FindOptionInArguments({u"app.exe", u"--opt"}, u"--opt"), u"");
}

TEST(FindOptionInArguments, ValueAfterEqualsSign) {
  EXPECT_EQ(FindOptionInArguments({u"app.exe", u"--OPT=Value=2"}, u"--opt"), u"Value=2");
}

TEST(FindOptionInArguments, PrefixAloneIsNotAMatchAndTheWalkGoesOn) {
  EXPECT_EQ(FindOptionInArguments({u"app.exe", u"--opt=", u"--opt", u"later"}, u"--opt"), u"later");
}

TEST(FindOptionInArguments, FirstMatchWins) {
  EXPECT_EQ(FindOptionInArguments({u"app.exe", u"--opt=first", u"--opt", u"second"}, u"--opt"),
            u"first");
}

TEST(FindOptionInArguments, NoMatchGivesEmpty) {
  EXPECT_EQ(FindOptionInArguments({u"app.exe", u"--other", u"x"}, u"--opt"), u"");
}

TEST(ArgumentsAsUtf8, EveryArgumentAfterTheProgramInOrder) {
  EXPECT_EQ(ArgumentsAsUtf8({u"app.exe", u"--tray-only", u"\u00e9t\u00e9"}),
            (std::vector<std::string>{"--tray-only", "\xc3\xa9t\xc3\xa9"}));
}

TEST(ArgumentsAsUtf8, InvalidArgumentStaysAsEmptyString) {
  const std::u16string broken = {u'a', char16_t(0xD800)};
  EXPECT_EQ(ArgumentsAsUtf8({u"app.exe", broken, u"b"}), (std::vector<std::string>{"", "b"}));
}

class CommandLineTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

TEST_F(CommandLineTest, ParsingFailureGivesFalseEmptyAndNoArguments) {
  sim::SetCommandLineSplitFails(true);
  EXPECT_FALSE(HasCommandLineFlag(u"--tray-only"));
  EXPECT_EQ(GetCommandLineOption(u"--verify-uninstall-password"), u"");
  EXPECT_TRUE(GetCommandLineArguments().empty());
}

TEST_F(CommandLineTest, ReadsTheProcessCommandLine) {
  sim::SetCommandLine(u"app.exe --Tray-Only  --verify-uninstall-password \"pw\"");
  EXPECT_TRUE(HasCommandLineFlag(u"--tray-only"));
  EXPECT_EQ(GetCommandLineOption(u"--verify-uninstall-password"), u"pw");
  EXPECT_EQ(GetCommandLineArguments(),
            (std::vector<std::string>{"--Tray-Only", "--verify-uninstall-password", "pw"}));
}

}  // namespace
