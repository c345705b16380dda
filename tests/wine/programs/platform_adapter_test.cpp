// The Win32 adapters, the whole-file helpers over them and the project's own conversions and
// formatter, checked against the Windows runtime and file system they stand for.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cwchar>
#include <string>

#include "app/command_line.h"
#include "app/files.h"
#include "base/log_format.h"
#include "base/text.h"
#include "platform/crypto.h"
#include "platform/kernel.h"
#include "platform/shell.h"
#include "platform/win32/text.h"

namespace {

std::wstring RuntimeFormat(const wchar_t* format, ...) {
  wchar_t buffer[kLogLineCapacity];
  va_list args;
  va_start(args, format);
  _vsnwprintf_s(buffer, kLogLineCapacity, _TRUNCATE, format, args);
  va_end(args);
  return buffer;
}

#define EXPECT_SAME_AS_RUNTIME(format, ...) \
  EXPECT_EQ(AsWide(FormatLogLine(u"" format, __VA_ARGS__)), RuntimeFormat(L"" format, __VA_ARGS__))

TEST(FormatLogLine, MatchesTheRuntimeOnTheSystemsFormats) {
  EXPECT_SAME_AS_RUNTIME("Error: %lu", 1060ul);
  EXPECT_SAME_AS_RUNTIME("ERROR: CoInitializeEx failed. HRESULT: 0x%08X", 0x80010106u);
  EXPECT_SAME_AS_RUNTIME(
      "DPI scale: dpi=%u, ratio=%.2f, screen=%dx%d, scale=%.2f, window size=%u x %u", 144u, 1.5,
      1920, 1080, 0.75, 900u, 540u);
  EXPECT_SAME_AS_RUNTIME("ratio=%.2f scale=%.2f", 2.0 / 3.0, 1.0 / 0.711);
  EXPECT_SAME_AS_RUNTIME("hwnd=%p", reinterpret_cast<const void*>(0x1a2b3c));
}

TEST(FormatLogLine, MatchesTheRuntimeOnFlagsWidthsAndPrecisions) {
  EXPECT_SAME_AS_RUNTIME("[%5d][%-5d][%05d][%+d][% d][%.3d]", 42, 42, -42, 7, 7, 5);
  EXPECT_SAME_AS_RUNTIME("[%#x][%#o][%x][%X]", 255u, 8u, 0u, 0xabcdefu);
  EXPECT_SAME_AS_RUNTIME("[%.0d][%10.4u][%-+6d]", 0, 17u, 3);
  EXPECT_SAME_AS_RUNTIME("[%d][%lld][%I64u]", -2147483647 - 1, -9223372036854775807LL - 1,
                         18446744073709551615ULL);
  EXPECT_SAME_AS_RUNTIME("[%f][%.0f][%.3f][%10.2f][%-10.1f][%+.1f]", 3.14159, 2.5, -0.0005, 12.345,
                         1.25, 0.05);
  EXPECT_SAME_AS_RUNTIME("[%.1f][%.2f][%.0f][%.0f][%.1f]", 0.25, 1.005, 0.5, 1.5, 0.95);
  EXPECT_SAME_AS_RUNTIME("[%e][%.2E][%.0e][%e]", 12345.678, 0.000123456, 5e-300, 0.0);
  EXPECT_SAME_AS_RUNTIME("[%g][%g][%g][%.3g][%G][%#g]", 100000.0, 1000000.0, 0.0001, 2.5e-5, 1e20,
                         1.5);
  EXPECT_SAME_AS_RUNTIME("[%s][%.2s][%6s][%-6s]", L"wide", L"wide", L"ab", L"ab");
  EXPECT_SAME_AS_RUNTIME("[%c][%%]", L'x');
}

TEST(FormatLogLine, CutsLongResultsAsTheRuntimeDoes) {
  const std::wstring longText(400, L'z');
  EXPECT_EQ(
      AsWide(FormatLogLine(u"head %s tail", reinterpret_cast<const char16_t*>(longText.c_str()))),
      RuntimeFormat(L"head %s tail", longText.c_str()));
}

std::string PlatformUtf8(const std::wstring& wide) {
  if (wide.empty()) return {};
  const int size = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide.data(),
                                       static_cast<int>(wide.size()), nullptr, 0, nullptr, nullptr);
  if (size <= 0) return {};
  std::string out(size, '\0');
  WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide.data(), static_cast<int>(wide.size()),
                      out.data(), size, nullptr, nullptr);
  return out;
}

std::wstring PlatformWide(const std::string& utf8) {
  if (utf8.empty()) return {};
  const int size =
      MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  if (size <= 0) return {};
  std::wstring out(size, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), size);
  return out;
}

TEST(WideToUtf8, MatchesWideCharToMultiByteWithInvalidCharsRefused) {
  const std::wstring cases[] = {L"",
                                L"plain",
                                L"\u00e9t\u00e9 \u4e2d\u6587",
                                L"\U0001F600 smile",
                                std::wstring{L'a', wchar_t(0xD800), L'b'},
                                std::wstring{wchar_t(0xDC00)},
                                std::wstring{L'x', wchar_t(0xDBFF)}};
  for (const auto& text : cases) EXPECT_EQ(WideToUtf8(FromWide(text)), PlatformUtf8(text));
}

TEST(Utf8ToWide, ReplacesInvalidBytesAsMultiByteToWideCharDoes) {
  const std::string cases[] = {"plain",
                               "\xc3\xa9t\xc3\xa9",
                               "\xf0\x9f\x98\x80",
                               "a\xff"
                               "b",
                               "\xe4\xb8"
                               "A",
                               "ok\xf0\x9f\x98",
                               "\xc0\xaf",
                               "\xed\xa0\x80",
                               "\x80\x80",
                               "\xf4\x90\x80\x80",
                               "\xe0\x80\x80",
                               "\xf0\x80\x80\x80",
                               "\xf4\x8f\xbf\xbf",
                               "\xf5\x80",
                               "x\xe4"
                               "A",
                               "\xc2",
                               "\xc2"
                               "A",
                               "\xe4\xb8\xad\xe4",
                               "\xef\xbf\xbf",
                               "\xf0\x90\x80"
                               "AB"};
  for (const auto& bytes : cases) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    EXPECT_EQ(AsWide(Utf8ToWide(bytes)), PlatformWide(bytes));
  }
}

class FilesAdapter : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ =
        *platform::SHGetFolderPathW(platform::kCsidlCommonAppData) + u"\\KelvoTarnelAdapterTest";
    platform::CreateDirectoryW(folder_);
    path_ = folder_ + u"\\file.txt";
    SetFileAttributesW(AsWide(path_).c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileW(AsWide(path_).c_str());
  }
  void TearDown() override {
    SetFileAttributesW(AsWide(path_).c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileW(AsWide(path_).c_str());
    RemoveDirectoryW(AsWide(folder_).c_str());
  }
  std::u16string folder_;
  std::u16string path_;
};

TEST_F(FilesAdapter, CommonAppDataIsProgramData) {
  EXPECT_EQ(AsWide(*platform::SHGetFolderPathW(platform::kCsidlCommonAppData)), L"C:\\ProgramData");
}

TEST_F(FilesAdapter, CreateDirectoryFailsForAnExistingOneAndForADrive) {
  EXPECT_FALSE(platform::CreateDirectoryW(folder_));
  EXPECT_FALSE(platform::CreateDirectoryW(u"C:"));
  EXPECT_FALSE(platform::CreateDirectoryW(folder_ + u"\\missing\\child"));
}

TEST_F(FilesAdapter, AppendCreatesThenAppends) {
  EXPECT_TRUE(AppendFileShared(path_, "one\r\n"));
  EXPECT_TRUE(AppendFileShared(path_, "two\r\n"));
  EXPECT_EQ(ReadFileShared(path_), "one\r\ntwo\r\n");
}

TEST_F(FilesAdapter, AppendSucceedsWhileAnotherWriterHoldsTheFileShared) {
  HANDLE other =
      CreateFileW(AsWide(path_).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  WriteFile(other, "other\r\n", 7, &written, nullptr);
  EXPECT_TRUE(AppendFileShared(path_, "mine\r\n"));
  CloseHandle(other);
  EXPECT_EQ(ReadFileShared(path_), "other\r\nmine\r\n");
}

TEST_F(FilesAdapter, AppendFailsWhenTheFileIsHeldWithoutSharing) {
  HANDLE other = CreateFileW(AsWide(path_).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  EXPECT_FALSE(AppendFileShared(path_, "lost"));
  EXPECT_FALSE(ReadFileShared(path_).has_value());
  CloseHandle(other);
}

// Wine run as root ignores the read-only attribute, so a directory in the file's place stands
// for a file that can't be opened for writing.
TEST_F(FilesAdapter, UnopenablePathRefusesWritesSilently) {
  ASSERT_TRUE(platform::CreateDirectoryW(path_));
  EXPECT_FALSE(AppendFileShared(path_, "lost"));
  EXPECT_FALSE(ReplaceFileShared(path_, "lost"));
  EXPECT_FALSE(ReadFileShared(path_).has_value());
  RemoveDirectoryW(AsWide(path_).c_str());
}

TEST_F(FilesAdapter, ReplaceOverwritesTheWholeContent) {
  ASSERT_TRUE(ReplaceFileShared(path_, "a much longer first content"));
  ASSERT_TRUE(ReplaceFileShared(path_, "short"));
  EXPECT_EQ(ReadFileShared(path_), "short");
}

TEST_F(FilesAdapter, MissingFileReadsAsNothing) { EXPECT_FALSE(ReadFileShared(path_).has_value()); }

std::string Hex(const platform::Sha256Digest& digest) {
  std::string text;
  char byte[3];
  for (const auto b : digest) {
    std::snprintf(byte, sizeof(byte), "%02x", b);
    text += byte;
  }
  return text;
}

TEST(Sha256Adapter, KnownDigests) {
  EXPECT_EQ(Hex(*platform::ComputeSha256("")),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Hex(*platform::ComputeSha256("abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Hex(*platform::ComputeSha256(std::string(1000000, 'a'))),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(CommandLineAdapter, SplitsTheProcessCommandLineWithUnicodeIntact) {
  // The test runner starts this program with: --kt-arg "wört ñ" --Kt-Flag
  const auto argv = platform::CommandLineToArgvW(platform::GetCommandLineW());
  ASSERT_TRUE(argv.has_value());
  ASSERT_EQ(argv->size(), 4u);
  EXPECT_EQ((*argv)[2], u"w\u00f6rt \u00f1");
  EXPECT_EQ(GetCommandLineOption(u"--kt-arg"), u"w\u00f6rt \u00f1");
  EXPECT_TRUE(HasCommandLineFlag(u"--kt-flag"));
}

}  // namespace
