// Errors, kernel handles, named mutexes, threads, time and this process, as the logic relies on
// them: the instance mutex reads ERROR_ALREADY_EXISTS after a create, workers close their thread
// handles at once, the window facts open the owning process for its image path.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/owners.h"

namespace {

using contract::Folded;
using contract::Signal;
using contract::UniqueName;
using platform::KernelHandle;
using platform::UniqueKernelHandle;

constexpr std::uint32_t kImagePathCapacity = 1040;

bool IsDrivePath(std::u16string_view path) {
  return path.size() > 3 && path[1] == u':' && path[2] == u'\\';
}

bool EndsWith(std::u16string_view text, std::u16string_view tail) {
  return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

TEST(LastError, GivesBackWhatWasSet) {
  platform::SetLastError(1234);
  EXPECT_EQ(platform::GetLastError(), 1234ul);
  platform::SetLastError(platform::kErrorSuccess);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorSuccess);
}

TEST(LastError, ClosingTheNullHandleFailsWithInvalidHandle) {
  platform::SetLastError(platform::kErrorSuccess);
  EXPECT_FALSE(platform::CloseHandle(KernelHandle{}));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorInvalidHandle);
}

TEST(LastError, AnOwnerClosingItsHandleLeavesTheFailuresCode) {
  UniqueKernelHandle mutex(platform::CreateMutexW(UniqueName(u"Local\\KtContractOwner")));
  ASSERT_TRUE(mutex);
  const UniqueKernelHandle missing(platform::CreateFileW(
      u"C:\\KtContractNoSuchFolder\\none.txt", platform::kGenericRead, platform::kFileShareRead,
      platform::kOpenExisting, platform::kFileAttributeNormal));
  ASSERT_FALSE(missing);
  const unsigned long failure = platform::GetLastError();
  mutex.reset();
  EXPECT_EQ(platform::GetLastError(), failure);
}

// The instance mutex is named in both namespaces: Global\ first, Local\ as the fallback.
class NamedMutex : public ::testing::TestWithParam<const char16_t*> {};

TEST_P(NamedMutex, ANewNameLeavesNoErrorBehind) {
  platform::SetLastError(1234);
  const UniqueKernelHandle mutex(platform::CreateMutexW(UniqueName(GetParam())));
  ASSERT_TRUE(mutex);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorSuccess);
}

TEST_P(NamedMutex, CreatedTwiceItSaysAlreadyExistsAndBothHandlesWork) {
  const std::u16string name = UniqueName(GetParam());
  UniqueKernelHandle first(platform::CreateMutexW(name));
  ASSERT_TRUE(first);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorSuccess);
  UniqueKernelHandle second(platform::CreateMutexW(name));
  ASSERT_TRUE(second);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAlreadyExists);
  EXPECT_NE(first.get(), second.get());

  // Closing one handle keeps the mutex for the other: the name still answers as taken.
  EXPECT_TRUE(platform::CloseHandle(first.release()));
  UniqueKernelHandle third(platform::CreateMutexW(name));
  ASSERT_TRUE(third);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAlreadyExists);

  // With the last handle closed nothing of it is kept: the name is new again.
  EXPECT_TRUE(platform::CloseHandle(second.release()));
  EXPECT_TRUE(platform::CloseHandle(third.release()));
  platform::SetLastError(1234);
  const UniqueKernelHandle fresh(platform::CreateMutexW(name));
  ASSERT_TRUE(fresh);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorSuccess);
}

INSTANTIATE_TEST_SUITE_P(BothNamespaces, NamedMutex,
                         ::testing::Values(u"Global\\KtContractMutex", u"Local\\KtContractMutex"));

// What a started thread reports back; shared, so that a thread that is late touches nothing of a
// finished case.
struct ThreadReport {
  Signal go;
  Signal ran;
  Signal freed;
  std::uint32_t threadId = 0;
  std::uint32_t processId = 0;
};

// Raises `freed` when the closure that holds it is destroyed.
struct FreedMarker {
  explicit FreedMarker(std::shared_ptr<ThreadReport> report) : report(std::move(report)) {}
  FreedMarker(const FreedMarker&) = delete;
  FreedMarker& operator=(const FreedMarker&) = delete;
  ~FreedMarker() { report->freed.Raise(); }
  std::shared_ptr<ThreadReport> report;
};

TEST(CreateThread, RunsItsFunctionElsewhereAndItsHandleClosesWhileItRuns) {
  const auto report = std::make_shared<ThreadReport>();
  auto marker = std::make_shared<FreedMarker>(report);
  const KernelHandle thread = platform::CreateThread([report, marker] {
    if (!report->go.Wait()) return;
    report->threadId = platform::GetCurrentThreadId();
    report->processId = platform::GetCurrentProcessId();
    report->ran.Raise();
  });
  marker.reset();
  ASSERT_NE(thread, KernelHandle{});
  // The thread is still waiting for `go`: closing its handle must not stop it.
  EXPECT_TRUE(platform::CloseHandle(thread));
  report->go.Raise();
  ASSERT_TRUE(report->ran.Wait());
  EXPECT_TRUE(report->freed.Wait()) << "the thread frees its function when it ends";
  EXPECT_NE(report->threadId, 0u);
  EXPECT_NE(report->threadId, platform::GetCurrentThreadId());
  EXPECT_EQ(report->processId, platform::GetCurrentProcessId());
}

TEST(Ids, AreStableAndNotZero) {
  EXPECT_NE(platform::GetCurrentProcessId(), 0u);
  EXPECT_NE(platform::GetCurrentThreadId(), 0u);
  EXPECT_EQ(platform::GetCurrentProcessId(), platform::GetCurrentProcessId());
  EXPECT_EQ(platform::GetCurrentThreadId(), platform::GetCurrentThreadId());
}

// The system time and the tick count move in steps of up to one system tick. Under Wine the
// tick count is a copy the server refreshes every 16 ms, so each of two readings may lag by
// that much: Sleep(50) measured 35 to 65 ms on it, and 50 to 57 ms on the system time.
constexpr std::uint32_t kTickMs = 16;
constexpr std::uint64_t kFileTimeTicksPerMs = 10000;

TEST(Sleep, LetsTheClocksMoveOnByTheTimeAskedFor) {
  const std::uint64_t systemBefore = platform::GetSystemTimeAsFileTime();
  const std::uint32_t tickBefore = platform::GetTickCount();
  platform::Sleep(50);
  const std::uint32_t tickAfter = platform::GetTickCount();
  const std::uint64_t systemAfter = platform::GetSystemTimeAsFileTime();
  EXPECT_GE((systemAfter - systemBefore) / kFileTimeTicksPerMs, 50u - kTickMs);
  EXPECT_GE(tickAfter - tickBefore, 50u - 2 * kTickMs);
}

TEST(ProcessIdToSessionId, AnswersForThisProcess) {
  std::uint32_t session = 0xFFFFFFFF;
  ASSERT_TRUE(platform::ProcessIdToSessionId(platform::GetCurrentProcessId(), &session));
  EXPECT_NE(session, 0xFFFFFFFFu);
  std::printf("session of this process: %u\n", session);
}

TEST(ProcessIdToSessionId, FailsForAProcessThatDoesNotExist) {
  std::uint32_t session = 0xFFFFFFFF;
  EXPECT_FALSE(platform::ProcessIdToSessionId(0xFFFFFFF0u, &session));
  EXPECT_EQ(session, 0xFFFFFFFFu);
}

std::u16string ImagePathOf(KernelHandle process) {
  char16_t buffer[kImagePathCapacity] = {};
  std::uint32_t size = kImagePathCapacity;
  if (!platform::QueryFullProcessImageNameW(process, 0, buffer, &size)) return {};
  if (size >= kImagePathCapacity || buffer[size] != u'\0') return u"<not terminated>";
  return std::u16string(buffer, size);
}

TEST(OpenProcess, OfThisProcessGivesItsImagePath) {
  const UniqueKernelHandle self(platform::OpenProcess(platform::kProcessQueryLimitedInformation,
                                                      false, platform::GetCurrentProcessId()));
  ASSERT_TRUE(self);
  const std::u16string path = ImagePathOf(self.get());
  EXPECT_TRUE(IsDrivePath(path)) << testing::PrintToString(path);
  EXPECT_TRUE(EndsWith(Folded(path), u".exe")) << testing::PrintToString(path);
  // The pseudo handle of this process names the same image.
  EXPECT_EQ(ImagePathOf(platform::GetCurrentProcess()), path);
}

TEST(OpenProcess, OfProcessZeroFailsWithInvalidParameter) {
  platform::SetLastError(platform::kErrorSuccess);
  const UniqueKernelHandle none(
      platform::OpenProcess(platform::kProcessQueryLimitedInformation, false, 0));
  EXPECT_FALSE(none);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorInvalidParameter);
}

TEST(QueryFullProcessImageNameW, TooShortABufferFailsWithInsufficientBuffer) {
  const UniqueKernelHandle self(platform::OpenProcess(platform::kProcessQueryLimitedInformation,
                                                      false, platform::GetCurrentProcessId()));
  ASSERT_TRUE(self);
  char16_t buffer[4] = {};
  std::uint32_t size = 4;
  EXPECT_FALSE(platform::QueryFullProcessImageNameW(self.get(), 0, buffer, &size));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorInsufficientBuffer);
}

TEST(GetWindowsDirectoryW, GivesItsLengthAndATerminatedPath) {
  std::u16string buffer(260, u'x');
  const std::uint32_t length = platform::GetWindowsDirectoryW(buffer.data(), 260);
  ASSERT_GT(length, 3u);
  ASSERT_LT(length, 260u);
  EXPECT_EQ(buffer[length], u'\0');
  const std::u16string path = buffer.substr(0, length);
  EXPECT_EQ(Folded(path), u"c:\\windows") << testing::PrintToString(path);
}

TEST(GetWindowsDirectoryW, TooShortABufferAsksForTheLengthWithTheTerminator) {
  std::u16string buffer(260, u'x');
  const std::uint32_t length = platform::GetWindowsDirectoryW(buffer.data(), 260);
  ASSERT_GT(length, 3u);
  char16_t small[3] = {};
  EXPECT_EQ(platform::GetWindowsDirectoryW(small, 3), length + 1);
}

// ---- The hardware report's memory status ----

TEST(GlobalMemoryStatusEx, GivesANonZeroTotalOfPhysicalMemory) {
  std::uint64_t total = 0;
  ASSERT_TRUE(platform::GlobalMemoryStatusEx(&total));
  EXPECT_GT(total, 0u);
}

}  // namespace
