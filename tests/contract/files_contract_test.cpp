// Files and directories as the log, the password store and the lock's state files use them:
// created, appended, read and replaced, shared between handles, and the errors of a missing
// file, a missing parent and an existing directory. Each case works in a folder of its own
// under the machine's application data, since other tests share the file system.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/shell.h"

namespace {

using contract::kErrorPathNotFound;
using contract::kErrorSharingViolation;
using contract::UniqueName;
using platform::UniqueKernelHandle;

constexpr std::uint32_t kShareAll = platform::kFileShareRead | platform::kFileShareWrite;

class Files : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::optional<std::u16string> data =
        platform::SHGetFolderPathW(platform::kCsidlCommonAppData);
    ASSERT_TRUE(data.has_value());
    folder_ = *data + u"\\" + UniqueName(u"KtContractFiles");
    ASSERT_TRUE(platform::CreateDirectoryW(folder_));
  }

  std::u16string Path(std::u16string_view name) const {
    return folder_ + u"\\" + std::u16string(name);
  }

  static UniqueKernelHandle Open(const std::u16string& path, std::uint32_t access,
                                 std::uint32_t share, std::uint32_t disposition) {
    return UniqueKernelHandle(
        platform::CreateFileW(path, access, share, disposition, platform::kFileAttributeNormal));
  }

  static bool Write(const UniqueKernelHandle& file, std::string_view bytes) {
    std::uint32_t written = 0;
    return platform::WriteFile(file.get(), bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                               &written) &&
           written == bytes.size();
  }

  // Everything a handle reads from where it stands to the end, in reads of `chunk` bytes.
  static std::optional<std::string> ReadToEnd(const UniqueKernelHandle& file,
                                              std::uint32_t chunk = 64) {
    std::string content;
    std::string buffer(chunk, '\0');
    for (;;) {
      std::uint32_t read = 0;
      if (!platform::ReadFile(file.get(), buffer.data(), chunk, &read)) return std::nullopt;
      if (read == 0) return content;
      content.append(buffer, 0, read);
    }
  }

  std::optional<std::string> Content(std::u16string_view name) const {
    const UniqueKernelHandle file =
        Open(Path(name), platform::kGenericRead, kShareAll, platform::kOpenExisting);
    if (!file) return std::nullopt;
    return ReadToEnd(file);
  }

  std::u16string folder_;
};

TEST_F(Files, CreateDirectoryOfAnExistingOneFailsWithAlreadyExists) {
  EXPECT_FALSE(platform::CreateDirectoryW(folder_));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAlreadyExists);
}

TEST_F(Files, CreateDirectoryUnderAMissingParentFailsWithPathNotFound) {
  EXPECT_FALSE(platform::CreateDirectoryW(Path(u"missing\\child")));
  EXPECT_EQ(platform::GetLastError(), kErrorPathNotFound);
  EXPECT_TRUE(platform::CreateDirectoryW(Path(u"missing")));
  EXPECT_TRUE(platform::CreateDirectoryW(Path(u"missing\\child")));
}

TEST_F(Files, OpeningAMissingFileFailsWithFileNotFound) {
  EXPECT_FALSE(Open(Path(u"none.txt"), platform::kGenericRead, kShareAll, platform::kOpenExisting));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorFileNotFound);
}

TEST_F(Files, OpeningInAMissingFolderFailsWithPathNotFound) {
  EXPECT_FALSE(
      Open(Path(u"missing\\none.txt"), platform::kGenericRead, kShareAll, platform::kOpenExisting));
  EXPECT_EQ(platform::GetLastError(), kErrorPathNotFound);
  EXPECT_FALSE(
      Open(Path(u"missing\\new.txt"), platform::kGenericWrite, kShareAll, platform::kCreateAlways));
  EXPECT_EQ(platform::GetLastError(), kErrorPathNotFound);
}

TEST_F(Files, CreateAlwaysMakesANewFileAndReplacesAnExistingOnesContent) {
  {
    platform::SetLastError(1234);
    const UniqueKernelHandle file =
        Open(Path(u"state.json"), platform::kGenericWrite, kShareAll, platform::kCreateAlways);
    ASSERT_TRUE(file);
    EXPECT_EQ(platform::GetLastError(), platform::kErrorSuccess);
    EXPECT_TRUE(Write(file, "a much longer first content"));
  }
  {
    const UniqueKernelHandle file =
        Open(Path(u"state.json"), platform::kGenericWrite, kShareAll, platform::kCreateAlways);
    ASSERT_TRUE(file);
    EXPECT_EQ(platform::GetLastError(), platform::kErrorAlreadyExists);
    EXPECT_TRUE(Write(file, "short"));
  }
  EXPECT_EQ(Content(u"state.json"), "short");
}

TEST_F(Files, OpenAlwaysKeepsTheContentAndSaysWhetherTheFileWasThere) {
  {
    platform::SetLastError(1234);
    const UniqueKernelHandle file =
        Open(Path(u"app.log"), platform::kFileAppendData, kShareAll, platform::kOpenAlways);
    ASSERT_TRUE(file);
    EXPECT_EQ(platform::GetLastError(), platform::kErrorSuccess);
    EXPECT_TRUE(Write(file, "one\r\n"));
  }
  {
    const UniqueKernelHandle file =
        Open(Path(u"app.log"), platform::kFileAppendData, kShareAll, platform::kOpenAlways);
    ASSERT_TRUE(file);
    EXPECT_EQ(platform::GetLastError(), platform::kErrorAlreadyExists);
    EXPECT_TRUE(Write(file, "two\r\n"));
  }
  EXPECT_EQ(Content(u"app.log"), "one\r\ntwo\r\n");
}

TEST_F(Files, AppendHandlesSharingTheFileEachWriteAtTheEnd) {
  const UniqueKernelHandle first =
      Open(Path(u"app.log"), platform::kFileAppendData, kShareAll, platform::kOpenAlways);
  const UniqueKernelHandle second =
      Open(Path(u"app.log"), platform::kFileAppendData, kShareAll, platform::kOpenAlways);
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  EXPECT_TRUE(Write(first, "one|"));
  EXPECT_TRUE(Write(second, "two|"));
  EXPECT_TRUE(Write(first, "three|"));
  EXPECT_EQ(Content(u"app.log"), "one|two|three|");
}

TEST_F(Files, ReadsComeInPiecesAndEndWithAnEmptySuccessfulRead) {
  {
    const UniqueKernelHandle file =
        Open(Path(u"data.bin"), platform::kGenericWrite, kShareAll, platform::kCreateAlways);
    ASSERT_TRUE(Write(file, std::string_view("0123456789\0abc", 14)));
  }
  const UniqueKernelHandle file =
      Open(Path(u"data.bin"), platform::kGenericRead, kShareAll, platform::kOpenExisting);
  ASSERT_TRUE(file);
  char buffer[8] = {};
  std::uint32_t read = 99;
  ASSERT_TRUE(platform::ReadFile(file.get(), buffer, 8, &read));
  EXPECT_EQ(read, 8u);
  EXPECT_EQ(std::string_view(buffer, 8), "01234567");
  ASSERT_TRUE(platform::ReadFile(file.get(), buffer, 8, &read));
  EXPECT_EQ(read, 6u);
  EXPECT_EQ(std::string_view(buffer, 6), std::string_view("89\0abc", 6));
  read = 99;
  EXPECT_TRUE(platform::ReadFile(file.get(), buffer, 8, &read));
  EXPECT_EQ(read, 0u);
}

TEST_F(Files, AHandleWithoutReadAccessCannotRead) {
  const UniqueKernelHandle writer =
      Open(Path(u"w.txt"), platform::kGenericWrite, kShareAll, platform::kCreateAlways);
  const UniqueKernelHandle appender =
      Open(Path(u"w.txt"), platform::kFileAppendData, kShareAll, platform::kOpenExisting);
  ASSERT_TRUE(writer);
  ASSERT_TRUE(appender);
  ASSERT_TRUE(Write(writer, "text"));
  char buffer[8] = {};
  std::uint32_t read = 0;
  EXPECT_FALSE(platform::ReadFile(writer.get(), buffer, 8, &read));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAccessDenied);
  EXPECT_FALSE(platform::ReadFile(appender.get(), buffer, 8, &read));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAccessDenied);
}

TEST_F(Files, AFileHeldWithoutSharingRefusesEveryOtherOpenUntilItIsClosed) {
  UniqueKernelHandle holder =
      Open(Path(u"held.txt"), platform::kGenericWrite, 0, platform::kCreateAlways);
  ASSERT_TRUE(holder);
  EXPECT_FALSE(Open(Path(u"held.txt"), platform::kGenericRead, kShareAll, platform::kOpenExisting));
  EXPECT_EQ(platform::GetLastError(), kErrorSharingViolation);
  EXPECT_FALSE(
      Open(Path(u"held.txt"), platform::kFileAppendData, kShareAll, platform::kOpenAlways));
  EXPECT_EQ(platform::GetLastError(), kErrorSharingViolation);
  EXPECT_FALSE(
      Open(Path(u"held.txt"), platform::kGenericWrite, kShareAll, platform::kCreateAlways));
  EXPECT_EQ(platform::GetLastError(), kErrorSharingViolation);

  // Closing the handle keeps nothing of it: the file opens, even without sharing.
  EXPECT_TRUE(platform::CloseHandle(holder.release()));
  EXPECT_TRUE(Open(Path(u"held.txt"), platform::kGenericWrite, 0, platform::kOpenExisting));
}

TEST_F(Files, ShareModesMustAllowTheOtherHandlesAccessBothWays) {
  {
    const UniqueKernelHandle file =
        Open(Path(u"shared.txt"), platform::kGenericWrite, kShareAll, platform::kCreateAlways);
    ASSERT_TRUE(Write(file, "content"));
  }
  const UniqueKernelHandle reader = Open(Path(u"shared.txt"), platform::kGenericRead,
                                         platform::kFileShareRead, platform::kOpenExisting);
  ASSERT_TRUE(reader);
  // Another reader that shares everything: both allow each other.
  EXPECT_TRUE(
      Open(Path(u"shared.txt"), platform::kGenericRead, kShareAll, platform::kOpenExisting));
  // A writer: the reader does not share writing.
  EXPECT_FALSE(
      Open(Path(u"shared.txt"), platform::kGenericWrite, kShareAll, platform::kOpenExisting));
  EXPECT_EQ(platform::GetLastError(), kErrorSharingViolation);
  // A reader that shares nothing: it does not allow the reader already there.
  EXPECT_FALSE(Open(Path(u"shared.txt"), platform::kGenericRead, 0, platform::kOpenExisting));
  EXPECT_EQ(platform::GetLastError(), kErrorSharingViolation);
}

// A directory in a file's place stands for a file that can't be opened for writing.
TEST_F(Files, ADirectoryCannotBeOpenedAsAFile) {
  ASSERT_TRUE(platform::CreateDirectoryW(Path(u"dir.txt")));
  EXPECT_FALSE(Open(Path(u"dir.txt"), platform::kFileAppendData, kShareAll, platform::kOpenAlways));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAccessDenied);
  EXPECT_FALSE(Open(Path(u"dir.txt"), platform::kGenericWrite, kShareAll, platform::kCreateAlways));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAccessDenied);
}

}  // namespace
