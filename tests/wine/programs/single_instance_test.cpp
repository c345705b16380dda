// Single instance and activation with the real adapters, across processes. The same program
// plays both sides: started with a role it is the other process (the running instance, a lock
// process, or an instance without a window), and without one it runs the tests of the second
// launch. tests/wine/single_instance_test.sh starts a role, then the tests of that situation.
// The processes meet in C:\kt_instance_test: "ready" (the role's process id, once it is up),
// "stop" (the role ends), "shows" (the running instance's count of show messages).
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "app/app_log.h"
#include "app/product.h"
#include "launch/launch_driver.h"
#include "message_pump.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/user.h"
#include "platform/win32/text.h"
#include "single_instance/single_instance.h"

namespace {

using platform::UniqueKernelHandle;
using product::kActivationPipeName;
using test_windows::PumpMessages;
using test_windows::PumpUntil;
using test_windows::RegisterClassOnce;

constexpr wchar_t kExchangeDir[] = L"C:\\kt_instance_test";
constexpr wchar_t kReadyFile[] = L"C:\\kt_instance_test\\ready";
constexpr wchar_t kStopFile[] = L"C:\\kt_instance_test\\stop";
constexpr wchar_t kShowsFile[] = L"C:\\kt_instance_test\\shows";

// Asks the running instance to write its count of show messages, tagged with wParam.
constexpr UINT kMsgReportShows = WM_APP + 1;

constexpr DWORD kWaitBoundMs = 15000;
constexpr ULONGLONG kRoleLifetimeMs = 150000;

bool FileExists(const wchar_t* path) {
  return ::GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

// Written beside, then moved into place: a reader never sees half a file.
bool WriteFileAtomically(const wchar_t* path, const std::string& text) {
  const std::wstring temporary = std::wstring(path) + L".tmp";
  {
    std::ofstream out(std::filesystem::path(temporary), std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) return false;
  }
  return ::MoveFileExW(temporary.c_str(), path, MOVEFILE_REPLACE_EXISTING) != 0;
}

std::optional<std::string> ReadWholeFile(const wchar_t* path) {
  std::ifstream in(std::filesystem::path(path), std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A top-level window of this process, destroyed with the object.
class TestWindow {
 public:
  TestWindow(const wchar_t* className, const wchar_t* title, bool visible = false,
             HWND owner = nullptr) {
    RegisterClassOnce(className, ::DefWindowProcW);
    handle_ =
        ::CreateWindowExW(0, className, title, WS_OVERLAPPEDWINDOW | (visible ? WS_VISIBLE : 0),
                          200, 200, 300, 200, owner, nullptr, ::GetModuleHandleW(nullptr), nullptr);
  }
  TestWindow(const TestWindow&) = delete;
  TestWindow& operator=(const TestWindow&) = delete;
  ~TestWindow() {
    if (handle_) ::DestroyWindow(handle_);
  }
  HWND get() const { return handle_; }

 private:
  HWND handle_ = nullptr;
};

// ---- The other process ----

enum class Role { kRunningInstance, kLockWindow, kWindowless };

int showMessages = 0;

LRESULT CALLBACK MainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case product::kMsgShowWindow:
      // What the window layer does with it, as far as this test needs: show, or restore.
      ++showMessages;
      ::ShowWindow(window, ::IsIconic(window) ? SW_RESTORE : SW_SHOW);
      return 0;
    case kMsgReportShows:
      WriteFileAtomically(kShowsFile,
                          std::to_string(wParam) + " " + std::to_string(showMessages) + "\n");
      return 0;
    case WM_DESTROY:
      ::PostQuitMessage(0);
      return 0;
    default:
      return ::DefWindowProcW(window, message, wParam, lParam);
  }
}

int RunRole(Role role) {
  UniqueKernelHandle mutex;
  if (role != Role::kLockWindow) {
    mutex.reset(platform::CreateMutexW(u"Global\\KelvoTarnelSingleInstance"));
    if (!mutex || ::GetLastError() == ERROR_ALREADY_EXISTS) {
      std::fprintf(stderr, "the instance mutex is not ours (error %lu)\n", ::GetLastError());
      return 2;
    }
  }

  HWND main = nullptr;
  if (role == Role::kRunningInstance) {
    RegisterClassOnce(L"FLUTTER_RUNNER_WIN32_WINDOW", MainWindowProc);
    main = ::CreateWindowExW(0, L"FLUTTER_RUNNER_WIN32_WINDOW", L"ZMS", WS_OVERLAPPEDWINDOW, 10, 10,
                             640, 400, nullptr, nullptr, ::GetModuleHandleW(nullptr), nullptr);
    if (!main) {
      std::fprintf(stderr, "no main window (error %lu)\n", ::GetLastError());
      return 2;
    }
  }
  std::optional<TestWindow> lock;
  if (role != Role::kWindowless) {
    // Its title holds the name, so only its class keeps it out of the search.
    lock.emplace(L"KelvoTarnelNativeLockWindow", L"KelvoTarnel Lock");
    if (!lock->get()) {
      std::fprintf(stderr, "no lock window (error %lu)\n", ::GetLastError());
      return 2;
    }
  }
  if (role != Role::kLockWindow) {
    mainWindowHandle = main;
    StartActivationPipeServer();
  }
  if (!WriteFileAtomically(kReadyFile, std::to_string(::GetCurrentProcessId()) + "\n")) {
    std::fprintf(stderr, "could not write the ready file\n");
    return 2;
  }

  // Ends on the stop file, on the main window's close, or at the end of its lifetime.
  const ULONGLONG deadline = ::GetTickCount64() + kRoleLifetimeMs;
  ::SetTimer(nullptr, 0, 50, nullptr);
  MSG message;
  while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (message.message == WM_TIMER && message.hwnd == nullptr) {
      if (FileExists(kStopFile)) break;
      if (::GetTickCount64() > deadline) {
        std::fprintf(stderr, "never told to stop\n");
        return 4;
      }
      continue;
    }
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  if (main && ::IsWindow(main)) ::DestroyWindow(main);
  if (role == Role::kRunningInstance && showMessages == 0) {
    std::fprintf(stderr, "no show message arrived\n");
    return 3;
  }
  std::printf("role ended after %d show message(s)\n", showMessages);
  return 0;
}

// ---- The second launch ----

std::uint32_t OwnSession() {
  std::uint32_t session = 0;
  return platform::ProcessIdToSessionId(::GetCurrentProcessId(), &session) ? session
                                                                           : kUnknownSession;
}

ExistingWindowSearch OwnSearch() {
  ExistingWindowSearch search;
  search.ownProcessId = ::GetCurrentProcessId();
  search.ownSessionId = OwnSession();
  return search;
}

DWORD RolePid() {
  const std::optional<std::string> text = ReadWholeFile(kReadyFile);
  return text ? static_cast<DWORD>(std::stoul(*text)) : 0;
}

DWORD ProcessOf(HWND window) {
  DWORD processId = 0;
  ::GetWindowThreadProcessId(window, &processId);
  return processId;
}

HWND RunningInstanceWindow() { return ::FindWindowW(L"FLUTTER_RUNNER_WIN32_WINDOW", nullptr); }

// The text a buffer of `capacity` units receives from the seam's copy.
template <typename Copy>
std::u16string CopiedText(HWND window, int capacity, Copy copy) {
  std::u16string buffer(static_cast<std::size_t>(capacity), u'\0');
  const int copied = copy(window, buffer.data(), capacity);
  buffer.resize(static_cast<std::size_t>(copied > 0 ? copied : 0));
  return buffer;
}

std::u16string ClassNameOf(HWND window, int capacity) {
  return CopiedText(window, capacity, &platform::GetClassNameW);
}

std::u16string TitleOf(HWND window, int capacity) {
  return CopiedText(window, capacity, &platform::GetWindowTextW);
}

UniqueKernelHandle OpenActivationPipe() {
  return UniqueKernelHandle(platform::CreateFileW(kActivationPipeName, platform::kGenericWrite, 0,
                                                  platform::kOpenExisting, 0));
}

// One client of the activation pipe with any payload; the server takes one client at a time.
bool SendPayload(const std::string& payload) {
  UniqueKernelHandle pipe;
  const bool opened = PumpUntil(kWaitBoundMs, [&pipe] {
    pipe = OpenActivationPipe();
    return static_cast<bool>(pipe);
  });
  std::uint32_t written = 0;
  const bool sent =
      opened && platform::WriteFile(pipe.get(), payload.data(),
                                    static_cast<std::uint32_t>(payload.size()), &written);
  // Held until the server has read: a client that wrote and left before the server's
  // ConnectNamedPipe is not served (it answers no data), and a count of shows would miss it.
  if (sent) platform::FlushFileBuffers(pipe.get());
  return sent;
}

// The running instance's count of show messages, once every request sent so far has been
// served: the server makes the pipe for the next client only after posting for the last one,
// and the report request is posted after that next client got through.
std::optional<int> ShowsSoFar(HWND main) {
  static int token = 0;
  ++token;
  if (!SendPayload("COUNT")) return std::nullopt;
  ::DeleteFileW(kShowsFile);
  if (!::PostMessageW(main, kMsgReportShows, token, 0)) return std::nullopt;
  std::optional<int> shows;
  PumpUntil(kWaitBoundMs, [&shows] {
    const std::optional<std::string> text = ReadWholeFile(kShowsFile);
    int reported = 0;
    int count = 0;
    if (text && std::sscanf(text->c_str(), "%d %d", &reported, &count) == 2 && reported == token)
      shows = count;
    return shows.has_value();
  });
  return shows;
}

TEST(Adapters, WindowQueriesAnswerAsUser32Does) {
  TestWindow owner(L"KtProbeOwner", L"Owner");
  TestWindow owned(L"KtProbeOwned", L"A title", false, owner.get());
  ASSERT_TRUE(owner.get() && owned.get());
  EXPECT_TRUE(platform::IsWindow(owned.get()));
  EXPECT_EQ(platform::GetWindow(owned.get(), GW_OWNER), owner.get());
  EXPECT_EQ(platform::GetWindow(owner.get(), GW_OWNER), nullptr);
  EXPECT_EQ(ClassNameOf(owned.get(), 128), u"KtProbeOwned");
  EXPECT_EQ(ClassNameOf(owned.get(), 5), u"KtPr") << "capacity - 1 characters";
  EXPECT_EQ(TitleOf(owned.get(), 256), u"A title");
  EXPECT_EQ(TitleOf(owned.get(), 3), u"A ");
  std::uint32_t processId = 0;
  EXPECT_EQ(platform::GetWindowThreadProcessId(owned.get(), &processId), ::GetCurrentThreadId());
  EXPECT_EQ(processId, ::GetCurrentProcessId());
  EXPECT_EQ(platform::GetCurrentProcessId(), ::GetCurrentProcessId());
  std::uint32_t session = kUnknownSession;
  EXPECT_TRUE(platform::ProcessIdToSessionId(::GetCurrentProcessId(), &session));

  int seen = 0;
  bool ownerSeen = false;
  platform::EnumWindows([&](platform::WindowHandle window) {
    ++seen;
    ownerSeen = ownerSeen || window == owner.get();
    return true;
  });
  EXPECT_TRUE(ownerSeen);
  int visited = 0;
  platform::EnumWindows([&visited](platform::WindowHandle) { return ++visited < 2; });
  EXPECT_EQ(visited, seen > 1 ? 2 : seen) << "false stops the walk";

  const HWND gone = owned.get();
  ::DestroyWindow(gone);
  EXPECT_FALSE(platform::IsWindow(gone));
}

TEST(Adapters, ShowAndIconicStateFollowTheCalls) {
  TestWindow window(L"KtProbeShown", L"Shown", true);
  ASSERT_TRUE(window.get());
  platform::ShowWindow(window.get(), SW_MINIMIZE);
  EXPECT_TRUE(platform::IsIconic(window.get()));
  platform::ShowWindow(window.get(), SW_RESTORE);
  EXPECT_FALSE(platform::IsIconic(window.get()));
  EXPECT_TRUE(platform::SetWindowPos(window.get(), platform::HwndTopmost(), 0, 0, 0, 0, 67));
  EXPECT_NE(::GetWindowLongW(window.get(), GWL_EXSTYLE) & WS_EX_TOPMOST, 0);
  EXPECT_TRUE(platform::SetWindowPos(window.get(), platform::HwndNoTopmost(), 0, 0, 0, 0, 67));
  EXPECT_EQ(::GetWindowLongW(window.get(), GWL_EXSTYLE) & WS_EX_TOPMOST, 0);
}

TEST(Alone, PipeOpenWithoutAServerFailsWithFileNotFound) {
  const UniqueKernelHandle pipe = OpenActivationPipe();
  EXPECT_FALSE(pipe);
  EXPECT_EQ(platform::GetLastError(), static_cast<unsigned long>(ERROR_FILE_NOT_FOUND));
}

TEST(Alone, SendActivationRequestWithoutAServerIsFalseAfterItsRetries) {
  const ULONGLONG start = ::GetTickCount64();
  EXPECT_FALSE(SendActivationRequest());
  std::printf("no server: false after %llu ms of retries\n", ::GetTickCount64() - start);
}

TEST(Alone, ClassSearchFindsAWindowOfThisProcess) {
  TestWindow own(L"FLUTTER_RUNNER_WIN32_WINDOW", L"Own");
  ASSERT_TRUE(own.get());
  EXPECT_EQ(FindExistingWindow(), own.get());
}

TEST(Alone, EnumerationPassesOverWindowsOfThisProcess) {
  TestWindow own(L"KtProbeConsole", L"KelvoTarnel Console");
  ASSERT_TRUE(own.get());
  EXPECT_EQ(FindExistingWindow(), nullptr);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(own.get(), &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST(LockWindowOnly, LockWindowOfAnotherProcessIsNeverFound) {
  const HWND lock = ::FindWindowW(L"KelvoTarnelNativeLockWindow", nullptr);
  ASSERT_NE(lock, nullptr) << "the lock process's window is missing";
  ASSERT_EQ(ProcessOf(lock), RolePid());
  EXPECT_EQ(FindExistingWindow(), nullptr);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(lock, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST(RunningInstance, FindExistingWindowFindsTheOtherProcesssMainWindow) {
  const HWND found = static_cast<HWND>(FindExistingWindow());
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(ClassNameOf(found, 128), u"FLUTTER_RUNNER_WIN32_WINDOW");
  EXPECT_EQ(ProcessOf(found), RolePid());
  EXPECT_NE(ProcessOf(found), ::GetCurrentProcessId());
}

TEST(RunningInstance, EnumerationPicksTheMainWindowAndPassesOverTheLockWindow) {
  const HWND main = RunningInstanceWindow();
  const HWND lock = ::FindWindowW(L"KelvoTarnelNativeLockWindow", nullptr);
  ASSERT_TRUE(main && lock);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(lock, &search));
  EXPECT_EQ(search.found, nullptr);
  EXPECT_FALSE(EnumExistingWindowProc(main, &search));
  EXPECT_EQ(search.found, main);
}

TEST(RunningInstance, SendActivationRequestShowsTheHiddenWindow) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  ASSERT_FALSE(::IsWindowVisible(main)) << "the running instance starts hidden";
  EXPECT_TRUE(SendActivationRequest());
  EXPECT_TRUE(PumpUntil(kWaitBoundMs, [main] { return ::IsWindowVisible(main) != FALSE; }))
      << "the show message never reached the window";
}

TEST(RunningInstance, PayloadsAreJudgedAsTheServerReadsThem) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  const std::optional<int> before = ShowsSoFar(main);
  ASSERT_TRUE(before.has_value());
  ASSERT_TRUE(SendPayload("SHO"));
  ASSERT_TRUE(SendPayload("SHOW" + std::string(61, 'x'))) << "65 bytes: the read fails";
  ASSERT_TRUE(SendPayload(std::string(30, 'x') + "SHOW" + std::string(30, 'y')));
  const std::optional<int> after = ShowsSoFar(main);
  ASSERT_TRUE(after.has_value());
  EXPECT_EQ(*after - *before, 1) << "only the 64-byte payload with SHOW in it shows";
}

// Shows counted by the running instance for a batch of clients: each payload of `payloads` is
// sent by one client, one after the other.
std::optional<int> ShowsFor(HWND main, const std::vector<std::string>& payloads) {
  const std::optional<int> before = ShowsSoFar(main);
  if (!before) return std::nullopt;
  for (const std::string& payload : payloads) SendPayload(payload);
  const std::optional<int> after = ShowsSoFar(main);
  if (!after) return std::nullopt;
  return *after - *before;
}

TEST(RunningInstance, AThousandClientsInARowAreEachServed) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(ShowsFor(main, std::vector<std::string>(1000, "SHOW")), std::optional<int>(1000));
}

TEST(RunningInstance, PayloadsOfEverySizeAndGarbageLeaveTheServerServing) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  std::vector<std::string> payloads;
  for (const std::size_t size : {0, 1, 63, 64, 65, 4096}) {
    payloads.push_back(size < 4 ? std::string(size, 'S') : "SHOW" + std::string(size - 4, 'x'));
  }
  std::string garbage(64, '\0');
  for (std::size_t i = 0; i < garbage.size(); ++i)
    garbage[i] = static_cast<char>((i * 37 + 11) & 0xFF);
  ASSERT_EQ(garbage.find("SHOW"), std::string::npos);
  payloads.push_back(garbage);
  std::string zerosAround(64, '\0');
  zerosAround.replace(20, 4, "SHOW");
  payloads.push_back(zerosAround);
  // 63 and 64 bytes, and the request between zeros: a longer message fails the read.
  EXPECT_EQ(ShowsFor(main, payloads), std::optional<int>(3));
  EXPECT_EQ(ShowsFor(main, {"SHOW"}), std::optional<int>(1));
}

TEST(RunningInstance, AClientThatNeverWritesDoesNotKeepOthersOut) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  const std::optional<int> before = ShowsSoFar(main);
  ASSERT_TRUE(before.has_value());
  UniqueKernelHandle silent;
  ASSERT_TRUE(PumpUntil(kWaitBoundMs, [&silent] {
    silent = OpenActivationPipe();
    return static_cast<bool>(silent);
  }));
  // Held open the whole time: the server gives up on it, so the request gets through.
  EXPECT_TRUE(SendActivationRequest());
  const std::optional<int> after = ShowsSoFar(main);
  ASSERT_TRUE(after.has_value());
  EXPECT_EQ(*after - *before, 1);
}

TEST(RunningInstance, AClientThatLeavesInTheMiddleOfItsWriteLeavesTheServerServing) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  const std::optional<int> before = ShowsSoFar(main);
  ASSERT_TRUE(before.has_value());
  for (int round = 0; round < 20; ++round) {
    HANDLE pipe = INVALID_HANDLE_VALUE;
    ASSERT_TRUE(PumpUntil(kWaitBoundMs, [&pipe] {
      pipe = ::CreateFileW(AsWide(kActivationPipeName).c_str(), GENERIC_WRITE, 0, nullptr,
                           OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
      return pipe != INVALID_HANDLE_VALUE;
    }));
    const std::string big = "SHOW" + std::string(8188, 'x');
    OVERLAPPED overlapped = {};
    overlapped.hEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::WriteFile(pipe, big.data(), static_cast<DWORD>(big.size()), nullptr, &overlapped);
    // Gone while the write may still be under way.
    ::CancelIoEx(pipe, &overlapped);
    DWORD ignored = 0;
    ::GetOverlappedResult(pipe, &overlapped, &ignored, TRUE);
    ::CloseHandle(pipe);
    ::CloseHandle(overlapped.hEvent);
  }
  EXPECT_TRUE(SendActivationRequest());
  const std::optional<int> after = ShowsSoFar(main);
  ASSERT_TRUE(after.has_value());
  EXPECT_EQ(*after - *before, 1);
  EXPECT_TRUE(::IsWindowVisible(main));
}

TEST(RunningInstance, ForceForegroundWindowBringsTheMinimisedWindowToTheFront) {
  const HWND main = RunningInstanceWindow();
  ASSERT_NE(main, nullptr);
  TestWindow own(L"KtProbeForeground", L"Foreground holder", true);
  ASSERT_TRUE(own.get());
  ::SetForegroundWindow(own.get());
  ASSERT_TRUE(PumpUntil(kWaitBoundMs, [&own] { return ::GetForegroundWindow() == own.get(); }));
  ::ShowWindow(main, SW_MINIMIZE);
  ASSERT_TRUE(PumpUntil(kWaitBoundMs, [main] { return ::IsIconic(main) != FALSE; }));

  EXPECT_TRUE(ForceForegroundWindow(main));
  EXPECT_EQ(::GetForegroundWindow(), main);
  EXPECT_TRUE(PumpUntil(kWaitBoundMs, [main] { return !::IsIconic(main); }))
      << "the window was not restored";
}

TEST(RunningInstance, SecondLaunchHandsOverAndEndsWithoutTheMutex) {
  TestWindow own(L"KtProbeForeground", L"Foreground holder", true);
  ::SetForegroundWindow(own.get());
  UniqueKernelHandle mutex;
  EXPECT_EQ(AcquireInstanceMutex(mutex), 0);
  EXPECT_FALSE(mutex);
  EXPECT_EQ(::GetForegroundWindow(), RunningInstanceWindow());
}

TEST(WindowlessInstance, SecondLaunchRunsOnWithoutTheMutex) {
  UniqueKernelHandle mutex;
  EXPECT_EQ(AcquireInstanceMutex(mutex), std::nullopt);
  EXPECT_FALSE(mutex) << "the other instance's mutex is not kept";
  const UniqueKernelHandle again(platform::CreateMutexW(u"Global\\KelvoTarnelSingleInstance"));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS))
      << "the windowless instance still holds it";
}

}  // namespace

int main(int argc, char** argv) {
  EnsureLogDirectory();
  ::CreateDirectoryW(kExchangeDir, nullptr);
  if (argc == 2) {
    const std::string role = argv[1];
    if (role == "running-instance") return RunRole(Role::kRunningInstance);
    if (role == "lock-window") return RunRole(Role::kLockWindow);
    if (role == "windowless") return RunRole(Role::kWindowless);
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
