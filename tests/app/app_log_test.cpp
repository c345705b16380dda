#include "app/app_log.h"

#include <gtest/gtest.h>

#include <thread>

#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_shell.h"

namespace {

const std::u16string kLogPath = u"C:\\ProgramData\\KelvoTarnel\\logs\\app.log";
const std::u16string kFallbackLogPath = u"C:\\KelvoTarnel\\logs\\app.log";

class AppLogTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
  std::string Log() { return sim::GetFile(kLogPath).value_or("<missing>"); }
};

TEST_F(AppLogTest, PathIsUnderTheSharedApplicationDataFolder) {
  EXPECT_EQ(GetAppLogPath(), kLogPath);
}

TEST_F(AppLogTest, FolderLookupFailureFallsBackToDriveC) {
  sim::SetCommonAppDataFolder(std::nullopt);
  EXPECT_EQ(GetAppLogPath(), kFallbackLogPath);
}

TEST_F(AppLogTest, EnsureLogDirectoryMakesEveryDirectoryOfThePath) {
  EnsureLogDirectory();
  EXPECT_TRUE(sim::DirectoryExists(u"C:\\ProgramData\\KelvoTarnel"));
  EXPECT_TRUE(sim::DirectoryExists(u"C:\\ProgramData\\KelvoTarnel\\logs"));
  // "C:" and the existing ProgramData fail quietly; only the two new ones were made.
  EXPECT_EQ(sim::CreatedDirectories(),
            (std::vector<std::u16string>{u"C:\\ProgramData\\KelvoTarnel",
                                         u"C:\\ProgramData\\KelvoTarnel\\logs"}));
}

TEST_F(AppLogTest, FolderLookupFailureMakesTheFallbackDirectoryAndLogsThere) {
  sim::SetCommonAppDataFolder(std::nullopt);
  EnsureLogDirectory();
  EXPECT_TRUE(sim::DirectoryExists(u"C:\\KelvoTarnel\\logs"));
  WriteAppLog(u"Initializing COM...");
  EXPECT_EQ(sim::GetFile(kFallbackLogPath), "[2026-3-7 9:5:2] Initializing COM...\r\n");
}

TEST_F(AppLogTest, LineHasUnpaddedTimeStampAndCrLf) {
  EnsureLogDirectory();
  WriteAppLog(u"========== Application starting ==========");
  EXPECT_EQ(Log(), "[2026-3-7 9:5:2] ========== Application starting ==========\r\n");
}

TEST_F(AppLogTest, MinuteOfFivePrintsAsFiveNotZeroFive) {
  EnsureLogDirectory();
  sim::SetLocalTime({2026, 1, 2, 3, 5, 6});
  WriteAppLog(u"x");
  sim::SetLocalTime({2026, 12, 31, 23, 59, 58});
  WriteAppLog(u"y");
  EXPECT_EQ(Log(), "[2026-1-2 3:5:6] x\r\n[2026-12-31 23:59:58] y\r\n");
}

TEST_F(AppLogTest, FlutterWindowLinesCarryTheTagAndNoTimeStamp) {
  EnsureLogDirectory();
  LogFlutterWindow(u"OnCreate start");
  EXPECT_EQ(Log(), "[FlutterWindow] OnCreate start\r\n");
}

TEST_F(AppLogTest, LinesAreAppendedToWhatIsThere) {
  EnsureLogDirectory();
  sim::SetFile(kLogPath, "older line\r\n");
  WriteAppLog(u"new");
  EXPECT_EQ(Log(), "older line\r\n[2026-3-7 9:5:2] new\r\n");
}

TEST_F(AppLogTest, FileHasNoByteOrderMarkOrHeader) {
  EnsureLogDirectory();
  WriteAppLog(u"a");
  EXPECT_EQ(Log().substr(0, 1), "[");
}

TEST_F(AppLogTest, ReadOnlyFileLosesTheLineSilently) {
  EnsureLogDirectory();
  sim::SetFile(kLogPath, "kept\r\n");
  sim::SetReadOnly(kLogPath, true);
  WriteAppLog(u"lost");
  LogFlutterWindow(u"lost too");
  EXPECT_EQ(Log(), "kept\r\n");
}

TEST_F(AppLogTest, MissingDirectoryMeansNoLineIsWritten) {
  WriteAppLog(u"nowhere");
  EXPECT_FALSE(sim::GetFile(kLogPath).has_value());
}

TEST_F(AppLogTest, AnotherProcessAppendingAtTheSameMomentDoesNotBlockTheLine) {
  EnsureLogDirectory();
  sim::SetFile(kLogPath, "");
  sim::HoldOpenByOtherProcess(kLogPath, /*shares=*/true);
  WriteAppLog(u"both succeed");
  EXPECT_EQ(Log(), "[2026-3-7 9:5:2] both succeed\r\n");
}

TEST_F(AppLogTest, ThreadsAppendingTogetherLoseNoLine) {
  EnsureLogDirectory();
  auto writer = [](char16_t tag) {
    for (int i = 0; i < 200; ++i) WriteAppLog(std::u16string(1, tag));
  };
  std::thread first(writer, u'a');
  std::thread second(writer, u'b');
  first.join();
  second.join();
  const std::string log = Log();
  size_t a = 0, b = 0;
  for (size_t pos = 0; (pos = log.find("] ", pos)) != std::string::npos; pos += 2) {
    (log[pos + 2] == 'a' ? a : b)++;
  }
  EXPECT_EQ(a, 200u);
  EXPECT_EQ(b, 200u);
}

TEST_F(AppLogTest, FileHasNoSizeLimit) {
  EnsureLogDirectory();
  sim::SetFile(kLogPath, std::string(8 * 1024 * 1024, 'o'));
  WriteAppLog(u"still growing");
  EXPECT_EQ(Log().size(),
            8u * 1024 * 1024 + std::string("[2026-3-7 9:5:2] still growing\r\n").size());
}

TEST_F(AppLogTest, FixedMessagesAreNotBoundedByTheFormatBuffer) {
  EnsureLogDirectory();
  const std::u16string message(1000, u'm');
  WriteAppLog(message);
  EXPECT_EQ(Log(), "[2026-3-7 9:5:2] " + std::string(1000, 'm') + "\r\n");
}

TEST(EncodeLogLine, UnitsAboveTheNarrowSetBecomeQuestionMarks) {
  EXPECT_EQ(EncodeLogLine(u"a\u00e9\u4e2d"), "a\xe9?\r\n");
}

}  // namespace
