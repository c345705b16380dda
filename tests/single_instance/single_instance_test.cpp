#include "single_instance/single_instance.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/app_log.h"
#include "app/product.h"
#include "launch/launch_driver.h"
#include "base/text.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_user.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Lines = std::vector<std::string>;
using platform::WindowHandle;

constexpr std::chrono::milliseconds kBound{5000};
constexpr std::string_view kStampedAppend = "append: [2026-3-7 9:5:2] ";

const std::string kPipe = "\\\\.\\pipe\\KelvoTarnelActivation";
const std::string kOpenPipe = "CreateFileW " + kPipe + " 0x40000000 0 3";
// Inbound and overlapped; a message pipe that rejects remote clients.
const std::string kCreatePipeItself = "CreateNamedPipeW " + kPipe + " 1073741825 14 255 64 64 0";
const std::string kSessionOnly = "D:P(A;;GA;;;S-1-5-5-0-71234)";

constexpr std::uint32_t kNotepadProcessId = 300;
constexpr std::uint32_t kNotepadThreadId = 3001;

sim::DesktopWindow MainWindowOf(std::uint32_t processId = sim::kOtherProcessId,
                                std::uint32_t threadId = sim::kOtherThreadId) {
  sim::DesktopWindow shape;
  shape.className = u"FLUTTER_RUNNER_WIN32_WINDOW";
  shape.title = u"ZMS";
  shape.pid = processId;
  shape.threadId = threadId;
  return shape;
}

sim::DesktopWindow WindowOf(std::u16string className, std::u16string title,
                            std::uint32_t processId = sim::kOtherProcessId) {
  sim::DesktopWindow shape;
  shape.className = std::move(className);
  shape.title = std::move(title);
  shape.pid = processId;
  shape.threadId = processId * 10 + 1;
  return shape;
}

ExistingWindowSearch OwnSearch() {
  ExistingWindowSearch search;
  search.ownProcessId = sim::kOwnProcessId;
  search.ownSessionId = sim::kOwnSessionId;
  return search;
}

class SingleInstanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    journalStart = 0;
    EnsureLogDirectory();
    mainWindowHandle = nullptr;
    activationPipeStopFlag.store(false);
  }

  void TearDown() override {
    // Whatever a test left running ends here, so no thread outlives its test.
    activationPipeStopFlag.store(true);
    sim::ReleaseBlockedConnect();
    EXPECT_TRUE(sim::WaitForThreads(kBound)) << "a pipe server thread did not end";
    sim::SetCallHook(nullptr);
    sim::SetDesktopCallHook(nullptr);
    sim::SetSleepHook(nullptr);
    EXPECT_EQ(sim::OpenPipeHandles(), 0) << "a pipe handle was left open";
    EXPECT_EQ(sim::OpenThreadHandles(), 0) << "a thread handle was left open";
    EXPECT_EQ(sim::InvalidHandleUses(), 0) << "a handle was used after close or never opened";
    EXPECT_EQ(sim::ConnectTimeouts(), 0) << "a ConnectNamedPipe waited for nobody";
  }

  // The journal from the step a test looks at on.
  static Lines JournalSinceStart() {
    const Lines journal = sim::Journal();
    const auto start = std::min(journalStart, journal.size());
    return Lines(journal.begin() + static_cast<std::ptrdiff_t>(start), journal.end());
  }

  // The log's messages, without their time stamps.
  static Lines LogLines() {
    Lines lines;
    for (const std::string& entry : JournalSinceStart()) {
      if (entry.starts_with(kStampedAppend)) lines.push_back(entry.substr(kStampedAppend.size()));
    }
    return lines;
  }

  // The recorded platform calls, without sleeps and log lines.
  static Lines Calls() {
    Lines calls;
    for (const std::string& entry : JournalSinceStart()) {
      if (!entry.starts_with("append: ") && !entry.starts_with("Sleep ")) calls.push_back(entry);
    }
    return calls;
  }

  static int CountOf(const std::string& call) {
    const Lines calls = Calls();
    return static_cast<int>(std::count(calls.begin(), calls.end(), call));
  }

  static int CountStartingWith(const std::string& prefix) {
    const Lines calls = Calls();
    return static_cast<int>(std::count_if(
        calls.begin(), calls.end(), [&prefix](const auto& c) { return c.starts_with(prefix); }));
  }

  // Position of the first journal entry equal to `entry` (log lines without their stamp).
  static std::ptrdiff_t PositionOf(const std::string& entry) {
    const Lines journal = JournalSinceStart();
    for (std::size_t i = 0; i < journal.size(); ++i) {
      const std::string& e = journal[i];
      if (e == entry || (e.starts_with(kStampedAppend) && e.substr(kStampedAppend.size()) == entry))
        return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
  }

  static std::vector<unsigned> SleepsOf(std::size_t count, unsigned ms) {
    return std::vector<unsigned>(count, ms);
  }

  // Title reads of any window, as the desktop lists them.
  static int TitleReads() {
    const Lines calls = sim::DesktopCalls();
    return static_cast<int>(std::count_if(calls.begin(), calls.end(), [](const std::string& c) {
      return c.starts_with("GetWindowTextW ");
    }));
  }

  // Where the journal that a test reads begins.
  static inline std::size_t journalStart = 0;
};

class EnumExistingWindowProcTest : public SingleInstanceTest {};
class FindExistingWindowTest : public SingleInstanceTest {};
class FindExistingWindowWithRetryTest : public SingleInstanceTest {};
class SendActivationRequestTest : public SingleInstanceTest {};
class IsShowRequestTest : public SingleInstanceTest {};
class ActivationPipeServerTest : public SingleInstanceTest {
 protected:
  // Runs the server loop on this thread until `pipes` pipes have been closed. A loop that goes
  // on past them is stopped at its next ConnectNamedPipe, so a wrong loop fails, never hangs.
  static void ServeUntilPipesClosed(int pipes) {
    int closed = 0;
    int connects = 0;
    sim::SetCallHook([&closed, &connects, pipes](const std::string& entry) {
      if (entry == "CloseHandle pipe" && ++closed == pipes) activationPipeStopFlag.store(true);
      if (entry == "ConnectNamedPipe" && ++connects > pipes) {
        activationPipeStopFlag.store(true);
        sim::ReleaseBlockedConnect();
      }
    });
    ActivationPipeServerThread();
    sim::SetCallHook(nullptr);
  }

  // The calls after the one look at the token that the loop starts with.
  static Lines Calls() {
    Lines calls = SingleInstanceTest::Calls();
    const Lines lookup = {"OpenProcessToken 8", "GetTokenGroups", "CloseHandle token"};
    if (calls.size() < lookup.size() || !std::equal(lookup.begin(), lookup.end(), calls.begin())) {
      ADD_FAILURE() << "the loop did not start by reading its logon session from the token";
      return calls;
    }
    return Lines(calls.begin() + static_cast<std::ptrdiff_t>(lookup.size()), calls.end());
  }

  static Lines CreatePipe() {
    return {"CreateNamedPipeW security " + kSessionOnly, kCreatePipeItself};
  }

  static Lines ServedOnePipe(const std::string& afterRead = "") {
    Lines calls = CreatePipe();
    calls.insert(calls.end(), {"ConnectNamedPipe", "ReadFile 64 within 1000"});
    if (!afterRead.empty()) calls.push_back(afterRead);
    calls.insert(calls.end(), {"FlushFileBuffers", "DisconnectNamedPipe", "CloseHandle pipe"});
    return calls;
  }
};
class StartActivationPipeServerTest : public SingleInstanceTest {};

class ForceForegroundWindowTest : public SingleInstanceTest {
 protected:
  void SetUp() override {
    SingleInstanceTest::SetUp();
    notepad_ =
        sim::AddDesktopWindow(WindowOf(u"Notepad", u"Untitled - Notepad", kNotepadProcessId));
    target_ = sim::AddDesktopWindow(MainWindowOf());
    sim::SetForeground(notepad_);
  }

  // The calls of the foreground sequence, in order.
  static Lines ForegroundCalls() {
    Lines calls;
    for (const std::string& call : Calls()) {
      if (!call.starts_with("FindWindowW") && !call.starts_with("EnumWindows"))
        calls.push_back(call);
    }
    return calls;
  }

  WindowHandle notepad_ = nullptr;
  WindowHandle target_ = nullptr;  // "w2"
};

class ActivateRunningInstanceTest : public SingleInstanceTest {
 protected:
  void SetUp() override {
    SingleInstanceTest::SetUp();
    sim::SetMutexBehaviour({.alreadyExists = true});
    mutex_.reset(platform::CreateMutexW(u"Global\\KelvoTarnelSingleInstance"));
    ASSERT_TRUE(mutex_);
    // The journal starts at the activation; the mutex stays open, as the driver hands it over.
    journalStart = sim::Journal().size();
  }

  platform::UniqueKernelHandle mutex_;
};

// ---- EnumExistingWindowProc, step by step ----

TEST_F(EnumExistingWindowProcTest, NotAWindowGoesOn) {
  const WindowHandle window = sim::AddDesktopWindow(MainWindowOf());
  sim::DestroyDesktopWindow(window);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, OwnedWindowGoesOn) {
  const WindowHandle owner = sim::AddDesktopWindow(WindowOf(u"Owner", u"Owner"));
  sim::DesktopWindow owned = MainWindowOf();
  owned.owner = owner;
  const WindowHandle window = sim::AddDesktopWindow(owned);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, ProcessIdZeroGoesOn) {
  const WindowHandle window = sim::AddDesktopWindow(MainWindowOf(0, 0));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, OwnProcessWindowIsSkipped) {
  const WindowHandle window =
      sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, WithoutSearchRecordGoesOn) {
  const WindowHandle window = sim::AddDesktopWindow(MainWindowOf());
  EXPECT_TRUE(EnumExistingWindowProc(window, nullptr));
}

TEST_F(EnumExistingWindowProcTest, WindowOfAnotherSessionIsSkipped) {
  const WindowHandle window = sim::AddDesktopWindow(MainWindowOf());
  sim::SetSessionOf(sim::kOtherProcessId, 2);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, FailedSessionLookupDoesNotExcludeTheWindow) {
  const WindowHandle window = sim::AddDesktopWindow(MainWindowOf());
  sim::SetSessionOf(sim::kOtherProcessId, std::nullopt);
  ExistingWindowSearch search = OwnSearch();
  EXPECT_FALSE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, window);
}

TEST_F(EnumExistingWindowProcTest, EmptyClassNameGoesOnWithoutReadingTheTitle) {
  const WindowHandle window = sim::AddDesktopWindow(WindowOf(u"", u"ZMS"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
  EXPECT_EQ(TitleReads(), 0);
}

TEST_F(EnumExistingWindowProcTest, MainWindowClassMatchesIgnoringCase) {
  const WindowHandle window = sim::AddDesktopWindow(WindowOf(u"flutter_runner_Win32_window", u""));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_FALSE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, window);
}

TEST_F(EnumExistingWindowProcTest, LockWindowIsNeverPickedWhateverItsTitle) {
  const WindowHandle window =
      sim::AddDesktopWindow(WindowOf(u"KelvoTarnelNativeLockWindow", u"ZMS"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
  EXPECT_EQ(TitleReads(), 0) << "the lock window's title is never read";
}

TEST_F(EnumExistingWindowProcTest, LockWindowClassIsRecognisedIgnoringCase) {
  const WindowHandle window =
      sim::AddDesktopWindow(WindowOf(u"KELVOTARNELNATIVELOCKWINDOW", u"KelvoTarnel"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, AcceptedTitlesMatchExactlyIgnoringCase) {
  for (const std::u16string title :
       {u"ZMS", u"zms", u"KelvoTarnel", u"KELVOTARNEL", u"KELVO", u"kelvo"}) {
    SCOPED_TRACE(WideToUtf8(title));
    const WindowHandle window = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", title));
    ExistingWindowSearch search = OwnSearch();
    EXPECT_FALSE(EnumExistingWindowProc(window, &search));
    EXPECT_EQ(search.found, window);
  }
}

TEST_F(EnumExistingWindowProcTest, TitlesThatOnlyBeginLikeAnAcceptedOneDoNotMatch) {
  for (const std::u16string title : {u"ZMS Editor", u"KELVO2", u"zms "}) {
    SCOPED_TRACE(WideToUtf8(title));
    const WindowHandle window = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", title));
    ExistingWindowSearch search = OwnSearch();
    EXPECT_TRUE(EnumExistingWindowProc(window, &search));
    EXPECT_EQ(search.found, nullptr);
  }
}

TEST_F(EnumExistingWindowProcTest, TitleHoldingKelvoTarnelAmongOtherWordsMatches) {
  const WindowHandle window =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"Open KelvoTarnel settings"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_FALSE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, window);
}

TEST_F(EnumExistingWindowProcTest, TitleHoldingTheLowerCaseWordAmongOthersDoesNotMatch) {
  const WindowHandle window =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"Open kelvotarnel settings"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, LowerCaseWordAloneMatchesByTheExactCaseFreeTest) {
  const WindowHandle window =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"kelvotarnel"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_FALSE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, window);
}

TEST_F(EnumExistingWindowProcTest, OtherProgramsWindowGoesOn) {
  const WindowHandle window = sim::AddDesktopWindow(WindowOf(u"Notepad", u"Untitled - Notepad"));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(window, &search));
  EXPECT_EQ(search.found, nullptr);
}

TEST_F(EnumExistingWindowProcTest, ReadsClassWith128AndTitleWith256Characters) {
  const WindowHandle window = sim::AddDesktopWindow(WindowOf(u"Notepad", u"Untitled - Notepad"));
  ExistingWindowSearch search = OwnSearch();
  EnumExistingWindowProc(window, &search);
  ASSERT_EQ(sim::Label(window), "w1");
  EXPECT_EQ(sim::QueryCount("GetClassNameW w1 128"), 1);
  EXPECT_EQ(sim::QueryCount("GetWindowTextW w1 256"), 1);
}

TEST_F(EnumExistingWindowProcTest, TitlePartBeyondTheFirst255CharactersIsNotSeen) {
  const std::u16string cut = std::u16string(245, u'x') + u"KelvoTarnel";   // 256 long
  const std::u16string fits = std::u16string(244, u'x') + u"KelvoTarnel";  // 255 long
  const WindowHandle cutWindow = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", cut));
  const WindowHandle fitsWindow = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", fits));
  ExistingWindowSearch search = OwnSearch();
  EXPECT_TRUE(EnumExistingWindowProc(cutWindow, &search));
  EXPECT_FALSE(EnumExistingWindowProc(fitsWindow, &search));
  EXPECT_EQ(search.found, fitsWindow);
}

// ---- FindExistingWindow ----

TEST_F(FindExistingWindowTest, SearchesClassThenTitlesThenEnumeratesWhenNothingIsThere) {
  EXPECT_EQ(FindExistingWindow(), nullptr);
  EXPECT_THAT(Calls(),
              ElementsAre("FindWindowW class FLUTTER_RUNNER_WIN32_WINDOW", "FindWindowW title ZMS",
                          "FindWindowW title KelvoTarnel", "EnumWindows"));
}

TEST_F(FindExistingWindowTest, ClassHitEndsThePassFirst) {
  sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"ZMS"));
  const WindowHandle main =
      sim::AddDesktopWindow(WindowOf(u"FLUTTER_RUNNER_WIN32_WINDOW", u"Other"));
  sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"ZMS"));
  EXPECT_EQ(FindExistingWindow(), main);
  EXPECT_THAT(Calls(), ElementsAre("FindWindowW class FLUTTER_RUNNER_WIN32_WINDOW"));
}

TEST_F(FindExistingWindowTest, ClassHitThatIsNoLongerAWindowFallsThroughToTheTitle) {
  const WindowHandle main =
      sim::AddDesktopWindow(WindowOf(u"FLUTTER_RUNNER_WIN32_WINDOW", u"Other"));
  const WindowHandle zms = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"ZMS"));
  sim::SetCallHook([main](const std::string& entry) {
    if (entry == "FindWindowW class FLUTTER_RUNNER_WIN32_WINDOW") sim::DestroyDesktopWindow(main);
  });
  EXPECT_EQ(FindExistingWindow(), zms);
}

TEST_F(FindExistingWindowTest, ZmsTitleHitIsTakenWithoutAskingIsWindow) {
  const WindowHandle zms = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"ZMS"));
  sim::SetCallHook([zms](const std::string& entry) {
    if (entry == "FindWindowW title ZMS") sim::DestroyDesktopWindow(zms);
  });
  EXPECT_EQ(FindExistingWindow(), zms);
  EXPECT_EQ(CountOf("EnumWindows"), 0);
}

TEST_F(FindExistingWindowTest, KelvoTarnelTitleHitThatIsNoLongerAWindowFallsThrough) {
  const WindowHandle named = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel"));
  sim::SetCallHook([named](const std::string& entry) {
    if (entry == "FindWindowW title KelvoTarnel") sim::DestroyDesktopWindow(named);
  });
  EXPECT_EQ(FindExistingWindow(), nullptr);
  EXPECT_EQ(CountOf("EnumWindows"), 1);
}

TEST_F(FindExistingWindowTest, KelvoTarnelTitleIsFoundBeforeTheEnumeration) {
  const WindowHandle named = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"kelvotarnel"));
  EXPECT_EQ(FindExistingWindow(), named);
  EXPECT_EQ(CountOf("EnumWindows"), 0);
}

TEST_F(FindExistingWindowTest, ClassAndTitleSearchesFindTheOwnProcessToo) {
  const WindowHandle own =
      sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  EXPECT_EQ(FindExistingWindow(), own);
}

TEST_F(FindExistingWindowTest, EnumerationSkipsTheOwnProcess) {
  sim::AddDesktopWindow(
      WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", sim::kOwnProcessId));
  EXPECT_EQ(FindExistingWindow(), nullptr);
}

TEST_F(FindExistingWindowTest, EnumerationFindsATitleHoldingKelvoTarnel) {
  const WindowHandle console =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console"));
  EXPECT_EQ(FindExistingWindow(), console);
}

TEST_F(FindExistingWindowTest, LockWindowIsNeverFound) {
  sim::AddDesktopWindow(WindowOf(u"KelvoTarnelNativeLockWindow", u"KelvoTarnel Lock"));
  EXPECT_EQ(FindExistingWindow(), nullptr);
}

TEST_F(FindExistingWindowTest, WindowOfAnotherSessionIsSkipped) {
  const WindowHandle sameSession =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", 300));
  sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", 400));
  sim::SetSessionOf(400, 2);
  EXPECT_EQ(FindExistingWindow(), sameSession);
}

TEST_F(FindExistingWindowTest, UnknownOwnSessionSkipsEveryWindowWhoseSessionIsKnown) {
  sim::SetSessionOf(sim::kOwnProcessId, std::nullopt);
  const WindowHandle unknown =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", 300));
  sim::SetSessionOf(300, std::nullopt);
  sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", 400));
  EXPECT_EQ(FindExistingWindow(), unknown);
}

TEST_F(FindExistingWindowTest, EnumerationTakesTheTopmostHit) {
  sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", 300));
  const WindowHandle top =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Help"));
  EXPECT_EQ(FindExistingWindow(), top);
  EXPECT_EQ(sim::QueryCount("GetWindowTextW " + sim::Label(top) + " 256"), 1);
  EXPECT_EQ(TitleReads(), 1) << "the walk stops at the first hit";
}

TEST_F(FindExistingWindowTest, WindowGoneDuringTheWalkIsPassedOver) {
  const WindowHandle gone =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel A"));
  const WindowHandle later =
      sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel B"));
  sim::SetCallHook([later](const std::string& entry) {
    if (entry == "EnumWindows") sim::DestroyDesktopWindow(later);
  });
  EXPECT_EQ(FindExistingWindow(), gone);
}

// ---- FindExistingWindowWithRetry ----

TEST_F(FindExistingWindowWithRetryTest, TwelvePassesEachFollowedBy120Ms) {
  EXPECT_EQ(FindExistingWindowWithRetry(), nullptr);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(12, 120));
  EXPECT_EQ(CountOf("EnumWindows"), 12);
  EXPECT_EQ(sim::SleptMilliseconds(), 1440u);
}

TEST_F(FindExistingWindowWithRetryTest, HitOnTheFirstPassDoesNotSleep) {
  const WindowHandle main = sim::AddDesktopWindow(MainWindowOf());
  EXPECT_EQ(FindExistingWindowWithRetry(), main);
  EXPECT_TRUE(sim::Sleeps().empty());
}

TEST_F(FindExistingWindowWithRetryTest, WindowThatComesUpLaterEndsTheRetries) {
  WindowHandle main = nullptr;
  sim::SetSleepHook([&main](unsigned) {
    if (sim::Sleeps().size() == 3) main = sim::AddDesktopWindow(MainWindowOf());
  });
  const WindowHandle found = FindExistingWindowWithRetry();
  EXPECT_NE(found, nullptr);
  EXPECT_EQ(found, main);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(3, 120));
}

// ---- SendActivationRequest ----

TEST_F(SendActivationRequestTest, WritesShowToTheRunningInstancesPipe) {
  EXPECT_TRUE(SendActivationRequest());
  EXPECT_THAT(Calls(), ElementsAre(kOpenPipe, "WriteFile SHOW", "CloseHandle pipe"));
  EXPECT_THAT(sim::DeliveredRequests(), ElementsAre("SHOW"));
  EXPECT_TRUE(sim::Sleeps().empty());
}

TEST_F(SendActivationRequestTest, RetriesWhileThePipeIsMissingBusyOrNotConnected) {
  sim::ScriptPipeOpens({2, 231, 233});
  EXPECT_TRUE(SendActivationRequest());
  EXPECT_EQ(CountOf(kOpenPipe), 4);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(3, 120));
  EXPECT_THAT(sim::DeliveredRequests(), ElementsAre("SHOW"));
}

TEST_F(SendActivationRequestTest, GivesUpAfterTwentyTries120MsApart) {
  sim::SetPipeServerListening(false);
  EXPECT_FALSE(SendActivationRequest());
  EXPECT_EQ(CountOf(kOpenPipe), 20);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(20, 120));
  EXPECT_TRUE(sim::DeliveredRequests().empty());
}

TEST_F(SendActivationRequestTest, OtherOpenErrorFailsAtOnce) {
  sim::ScriptPipeOpens({5});
  EXPECT_FALSE(SendActivationRequest());
  EXPECT_EQ(CountOf(kOpenPipe), 1);
  EXPECT_TRUE(sim::Sleeps().empty());
}

TEST_F(SendActivationRequestTest, ServerComingUpDuringTheRetriesIsReached) {
  sim::SetPipeServerListening(false);
  sim::SetSleepHook([](unsigned) {
    if (sim::Sleeps().size() == 5) sim::SetPipeServerListening(true);
  });
  EXPECT_TRUE(SendActivationRequest());
  EXPECT_EQ(sim::Sleeps(), SleepsOf(5, 120));
}

TEST_F(SendActivationRequestTest, FailedWriteIsFalseAndStillClosesThePipe) {
  sim::SetPipeWritesFail(true);
  EXPECT_FALSE(SendActivationRequest());
  EXPECT_THAT(Calls(), ElementsAre(kOpenPipe, "WriteFile SHOW", "CloseHandle pipe"));
  EXPECT_TRUE(sim::Sleeps().empty()) << "a failed write is not retried";
}

// ---- ForceForegroundWindow ----

TEST_F(ForceForegroundWindowTest, NotAWindowIsFalseAndTouchesNothing) {
  sim::DestroyDesktopWindow(target_);
  EXPECT_FALSE(ForceForegroundWindow(target_));
  EXPECT_TRUE(ForegroundCalls().empty());
  EXPECT_EQ(sim::ForegroundWindow(), notepad_);
}

TEST_F(ForceForegroundWindowTest, ShowsRaisesAndTakesTheForegroundWithInputAttached) {
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_THAT(
      ForegroundCalls(),
      ElementsAre("ShowWindow w2 5", "SetWindowPos w2 TOP 0,0 0x0 67", "ShowWindowAsync w2 5",
                  "AttachThreadInput 3001 2001 1", "SetForegroundWindow w2", "BringWindowToTop w2",
                  "AttachThreadInput 3001 2001 0"));
  EXPECT_EQ(sim::ForegroundWindow(), target_);
  EXPECT_TRUE(sim::AttachedInputs().empty());
}

TEST_F(ForceForegroundWindowTest, HiddenWindowIsShown) {
  sim::DesktopWindow hidden = MainWindowOf();
  hidden.visible = false;
  const WindowHandle window = sim::AddDesktopWindow(hidden);
  EXPECT_TRUE(ForceForegroundWindow(window));
  ASSERT_TRUE(sim::Window(window));
  EXPECT_TRUE(sim::Window(window)->visible);
}

TEST_F(ForceForegroundWindowTest, IconicWindowIsRestoredThenShownAsItNowIs) {
  sim::DesktopWindow iconic = MainWindowOf();
  iconic.iconic = true;
  const WindowHandle window = sim::AddDesktopWindow(iconic);  // w3
  EXPECT_TRUE(ForceForegroundWindow(window));
  const Lines calls = ForegroundCalls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_THAT(
      Lines(calls.begin(), calls.begin() + 3),
      ElementsAre("ShowWindow w3 9", "SetWindowPos w3 TOP 0,0 0x0 67", "ShowWindowAsync w3 5"));
  ASSERT_TRUE(sim::Window(window));
  EXPECT_FALSE(sim::Window(window)->iconic);
}

TEST_F(ForceForegroundWindowTest, WindowStillIconicAfterShowWindowIsRestoredAgainAsync) {
  sim::DesktopWindow iconic = MainWindowOf();
  iconic.iconic = true;
  const WindowHandle window = sim::AddDesktopWindow(iconic);  // w3
  // Its thread has not caught up: still minimised after the first call. The desktop's hook runs
  // once that call is done.
  sim::SetDesktopCallHook([window](std::string_view call, WindowHandle target) {
    if (call == "ShowWindow" && target == window) {
      sim::SetDesktopCallHook(nullptr);
      platform::ShowWindow(window, 6);
    }
  });
  ForceForegroundWindow(window);
  EXPECT_EQ(CountOf("ShowWindowAsync w3 9"), 1);
}

TEST_F(ForceForegroundWindowTest, EscalatesToSwitchToThisWindow) {
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kSwitchToThisWindow);
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_THAT(
      ForegroundCalls(),
      ElementsAre("ShowWindow w2 5", "SetWindowPos w2 TOP 0,0 0x0 67", "ShowWindowAsync w2 5",
                  "AttachThreadInput 3001 2001 1", "SetForegroundWindow w2", "BringWindowToTop w2",
                  "SwitchToThisWindow w2 1", "AttachThreadInput 3001 2001 0"));
}

TEST_F(ForceForegroundWindowTest, EscalatesToAnAltTapAndAnotherSetForegroundWindow) {
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kAltKey);
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_THAT(
      ForegroundCalls(),
      ElementsAre("ShowWindow w2 5", "SetWindowPos w2 TOP 0,0 0x0 67", "ShowWindowAsync w2 5",
                  "AttachThreadInput 3001 2001 1", "SetForegroundWindow w2", "BringWindowToTop w2",
                  "SwitchToThisWindow w2 1", "SendInput VK18 down, VK18 up",
                  "SetForegroundWindow w2", "AttachThreadInput 3001 2001 0"));
}

TEST_F(ForceForegroundWindowTest, EscalatesToTheTopmostRaise) {
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kTopmost);
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_THAT(
      ForegroundCalls(),
      ElementsAre("ShowWindow w2 5", "SetWindowPos w2 TOP 0,0 0x0 67", "ShowWindowAsync w2 5",
                  "AttachThreadInput 3001 2001 1", "SetForegroundWindow w2", "BringWindowToTop w2",
                  "SwitchToThisWindow w2 1", "SendInput VK18 down, VK18 up",
                  "SetForegroundWindow w2", "SetWindowPos w2 TOPMOST 0,0 0x0 67",
                  "BringWindowToTop w2", "SetWindowPos w2 NOTOPMOST 0,0 0x0 67",
                  "AttachThreadInput 3001 2001 0"));
  ASSERT_TRUE(sim::Window(target_));
  EXPECT_FALSE(sim::Window(target_)->topmost) << "the window does not stay topmost";
}

TEST_F(ForceForegroundWindowTest, AttachedInputLetsTheFirstSetForegroundWindowThrough) {
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kAttachedInput);
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_EQ(CountOf("SwitchToThisWindow w2 1"), 0);
}

TEST_F(ForceForegroundWindowTest, RefusedForegroundRunsEveryStepDetachesAndIsFalse) {
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kNothing);
  EXPECT_FALSE(ForceForegroundWindow(target_));
  EXPECT_THAT(
      ForegroundCalls(),
      ElementsAre("ShowWindow w2 5", "SetWindowPos w2 TOP 0,0 0x0 67", "ShowWindowAsync w2 5",
                  "AttachThreadInput 3001 2001 1", "SetForegroundWindow w2", "BringWindowToTop w2",
                  "SwitchToThisWindow w2 1", "SendInput VK18 down, VK18 up",
                  "SetForegroundWindow w2", "SetWindowPos w2 TOPMOST 0,0 0x0 67",
                  "BringWindowToTop w2", "SetWindowPos w2 NOTOPMOST 0,0 0x0 67",
                  "AttachThreadInput 3001 2001 0"));
  EXPECT_TRUE(sim::AttachedInputs().empty());
  EXPECT_EQ(sim::ForegroundWindow(), notepad_);
}

TEST_F(ForceForegroundWindowTest, NoInputIsAttachedWithoutAForegroundWindow) {
  sim::SetForeground(nullptr);
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_EQ(CountStartingWith("AttachThreadInput"), 0);
}

TEST_F(ForceForegroundWindowTest, NoInputIsAttachedWhenTheForegroundIsOnTheTargetsThread) {
  const WindowHandle sibling = sim::AddDesktopWindow(MainWindowOf());
  sim::SetForeground(sibling);
  EXPECT_TRUE(ForceForegroundWindow(target_));
  EXPECT_EQ(CountStartingWith("AttachThreadInput"), 0);
}

TEST_F(ForceForegroundWindowTest, NoDetachWhenTheAttachFailed) {
  sim::SetAttachThreadInputSucceeds(false);
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kNothing);
  EXPECT_FALSE(ForceForegroundWindow(target_));
  EXPECT_EQ(CountOf("AttachThreadInput 3001 2001 1"), 1);
  EXPECT_EQ(CountOf("AttachThreadInput 3001 2001 0"), 0);
}

TEST_F(ForceForegroundWindowTest, WindowDestroyedOnTheWayIsFalse) {
  const WindowHandle target = target_;
  sim::SetDesktopCallHook([target](std::string_view call, WindowHandle window) {
    if (call == "BringWindowToTop" && window == target) sim::DestroyDesktopWindow(target);
  });
  EXPECT_FALSE(ForceForegroundWindow(target_));
  EXPECT_TRUE(sim::AttachedInputs().empty());
}

// ---- ActivateRunningInstance ----

TEST_F(ActivateRunningInstanceTest, PipeRequestAndWindowActivateAtOnce) {
  const WindowHandle main = sim::AddDesktopWindow(MainWindowOf());
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_FALSE(mutex_);
  EXPECT_EQ(sim::OpenMutexCount(), 0);
  EXPECT_EQ(sim::ForegroundWindow(), main);
  EXPECT_THAT(sim::DeliveredRequests(), ElementsAre("SHOW"));
  EXPECT_EQ(CountOf("AllowSetForegroundWindow 200"), 1);
  EXPECT_THAT(LogLines(), ElementsAre("Application exiting (activated existing instance)"));
  EXPECT_TRUE(sim::Sleeps().empty());
}

TEST_F(ActivateRunningInstanceTest, ForegroundIsAllowedThenTheMutexClosedThenTheLineWritten) {
  sim::AddDesktopWindow(MainWindowOf());
  ActivateRunningInstance(mutex_);
  const auto allow = PositionOf("AllowSetForegroundWindow 200");
  const auto close = PositionOf("CloseHandle mutex");
  const auto line = PositionOf("Application exiting (activated existing instance)");
  ASSERT_GE(allow, 0);
  EXPECT_LT(allow, close);
  EXPECT_LT(close, line);
}

TEST_F(ActivateRunningInstanceTest, WithoutAPipeServerTheFoundWindowIsStillForced) {
  const WindowHandle main = sim::AddDesktopWindow(MainWindowOf());
  sim::SetPipeServerListening(false);
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_EQ(sim::ForegroundWindow(), main);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(20, 120)) << "only the pipe's retries";
  EXPECT_THAT(LogLines(), ElementsAre("Application exiting (activated existing instance)"));
}

TEST_F(ActivateRunningInstanceTest, NoAllowSetForegroundWindowWhenTheFirstSearchFoundNothing) {
  WindowHandle main = nullptr;
  sim::SetCallHook([&main](const std::string& entry) {
    if (entry == "WriteFile SHOW" && !main) main = sim::AddDesktopWindow(MainWindowOf());
  });
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_EQ(sim::ForegroundWindow(), main);
  EXPECT_EQ(CountStartingWith("AllowSetForegroundWindow"), 0);
}

TEST_F(ActivateRunningInstanceTest, FirstWindowWithoutAProcessIdGetsNoAllowSetForegroundWindow) {
  const WindowHandle orphan = sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"ZMS", 0));
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_EQ(sim::ForegroundWindow(), orphan);
  EXPECT_EQ(CountStartingWith("AllowSetForegroundWindow"), 0);
}

TEST_F(ActivateRunningInstanceTest, RefusedForegroundMakesEightAttemptsThenShowsDirectly) {
  sim::AddDesktopWindow(MainWindowOf());
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kNothing);
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_FALSE(mutex_);
  EXPECT_EQ(sim::DeliveredRequests().size(), 8u);
  EXPECT_EQ(CountStartingWith("ShowWindowAsync"), 9) << "eight attempts and the direct show";
  EXPECT_EQ(sim::Sleeps(), SleepsOf(8, 120));
  EXPECT_THAT(LogLines(), ElementsAre("Applied direct show/focus to existing window",
                                      "Application exiting (another instance found)"));
  EXPECT_EQ(CountStartingWith("AllowSetForegroundWindow"), 0);
}

TEST_F(ActivateRunningInstanceTest, DirectShowClosesTheMutexBetweenItsTwoLines) {
  sim::AddDesktopWindow(MainWindowOf());
  sim::SetForegroundYieldsTo(sim::ForegroundYieldsTo::kNothing);
  ActivateRunningInstance(mutex_);
  const auto applied = PositionOf("Applied direct show/focus to existing window");
  const auto close = PositionOf("CloseHandle mutex");
  const auto exiting = PositionOf("Application exiting (another instance found)");
  ASSERT_GE(applied, 0);
  EXPECT_LT(applied, close);
  EXPECT_LT(close, exiting);
}

TEST_F(ActivateRunningInstanceTest, WindowComingUpOnALaterAttemptIsActivated) {
  WindowHandle main = nullptr;
  sim::SetSleepHook([&main](unsigned) {
    if (sim::Sleeps().size() == 20) main = sim::AddDesktopWindow(MainWindowOf());
  });
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_EQ(sim::ForegroundWindow(), main);
  // First attempt: 12 passes and the pause; the second finds it after its eighth pass.
  EXPECT_EQ(sim::Sleeps(), SleepsOf(20, 120));
  EXPECT_EQ(sim::DeliveredRequests().size(), 2u);
  EXPECT_THAT(LogLines(), ElementsAre("Application exiting (activated existing instance)"));
}

TEST_F(ActivateRunningInstanceTest,
       InstanceWithoutAFindableWindowLeavesThisOneRunningWithoutMutex) {
  EXPECT_EQ(ActivateRunningInstance(mutex_), std::nullopt);
  EXPECT_FALSE(mutex_);
  EXPECT_EQ(sim::OpenMutexCount(), 0);
  EXPECT_EQ(sim::DeliveredRequests().size(), 8u) << "the request went out on every attempt";
  EXPECT_EQ(sim::Sleeps(), SleepsOf(8 * 13 + 12, 120));
  EXPECT_THAT(LogLines(), ElementsAre("Could not find existing window handle",
                                      "No target window found; continuing to run foreground "
                                      "instance"));
  EXPECT_LT(PositionOf("No target window found; continuing to run foreground instance"),
            PositionOf("CloseHandle mutex"));
}

TEST_F(ActivateRunningInstanceTest, SecondLaunchEndsWithinItsSleepBound) {
  sim::SetPipeServerListening(false);
  EXPECT_EQ(ActivateRunningInstance(mutex_), std::nullopt);
  // Each attempt: 20 pipe tries, 12 search passes and one pause; then one last search.
  EXPECT_EQ(sim::Sleeps(), SleepsOf(8 * (20 + 12 + 1) + 12, 120));
  EXPECT_EQ(sim::SleptMilliseconds(), 8u * 3960u + 1440u);
  EXPECT_EQ(CountOf(kOpenPipe), 8 * 20);
  EXPECT_EQ(CountOf("EnumWindows"), 1 + 8 * 12 + 12);
}

TEST_F(ActivateRunningInstanceTest, InstanceInAnotherSessionIsNoTargetAndThisOneRunsOn) {
  // The pipe is machine-wide and reaches the other session's instance; its window is not ours.
  sim::AddDesktopWindow(WindowOf(u"Chrome_WidgetWin_1", u"KelvoTarnel Console", 400));
  sim::SetSessionOf(400, 2);
  EXPECT_EQ(ActivateRunningInstance(mutex_), std::nullopt);
  EXPECT_FALSE(mutex_);
  EXPECT_EQ(sim::ForegroundWindow(), nullptr);
}

TEST_F(ActivateRunningInstanceTest, OtherPipeErrorGoesStraightToTheSearch) {
  const WindowHandle main = sim::AddDesktopWindow(MainWindowOf());
  sim::ScriptPipeOpens({5});
  EXPECT_EQ(ActivateRunningInstance(mutex_), 0);
  EXPECT_EQ(sim::ForegroundWindow(), main);
  EXPECT_TRUE(sim::Sleeps().empty());
}

// ---- The mutex step ahead of the activation (instance_mutex.cpp) ----

TEST_F(SingleInstanceTest, GlobalMutexDeniedLocalMutexStillHandsOverInTheSession) {
  const WindowHandle main = sim::AddDesktopWindow(MainWindowOf());
  sim::SetMutexBehaviour({.globalFails = true, .globalError = 5, .alreadyExists = true});
  platform::UniqueKernelHandle mutex;
  EXPECT_EQ(AcquireInstanceMutex(mutex), 0);
  EXPECT_FALSE(mutex);
  EXPECT_EQ(sim::OpenMutexCount(), 0);
  EXPECT_EQ(sim::ForegroundWindow(), main);
  EXPECT_THAT(LogLines(), ElementsAre("Warning: Failed to create global mutex. Error: 5",
                                      "Trying local mutex fallback...",
                                      "Another instance is already running, trying to show it...",
                                      "Application exiting (activated existing instance)"));
  EXPECT_THAT(sim::DebugOutput(),
              ElementsAre("[KelvoTarnel] Another instance is already running, trying to show "
                          "it...\n"));
}

TEST_F(SingleInstanceTest, FirstInstanceKeepsItsMutexAndActivatesNothing) {
  sim::AddDesktopWindow(MainWindowOf());
  platform::UniqueKernelHandle mutex;
  EXPECT_EQ(AcquireInstanceMutex(mutex), std::nullopt);
  EXPECT_TRUE(mutex);
  EXPECT_EQ(CountStartingWith("FindWindowW"), 0);
  EXPECT_EQ(CountStartingWith("CreateFileW"), 0);
}

// ---- IsShowRequest ----

TEST_F(IsShowRequestTest, ShowAnywhereInThePayloadCounts) {
  EXPECT_TRUE(IsShowRequest("SHOW"));
  EXPECT_TRUE(IsShowRequest("xxSHOWyy"));
  EXPECT_TRUE(IsShowRequest(std::string("\0\0SHOW", 6))) << "bytes, not a C string";
}

TEST_F(IsShowRequestTest, ShorterPayloadsAndOtherWordsDoNot) {
  EXPECT_FALSE(IsShowRequest(""));
  EXPECT_FALSE(IsShowRequest("SHO"));
  EXPECT_FALSE(IsShowRequest("show"));
  EXPECT_FALSE(IsShowRequest("SH OW"));
}

// ---- ActivationPipeServerThread, on the test's thread ----

TEST_F(ActivationPipeServerTest, ServesEachClientOnAPipeOfItsOwnParameters) {
  const WindowHandle main =
      sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  mainWindowHandle = main;
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  EXPECT_EQ(Calls(), ServedOnePipe("PostMessageW w1 1034 0 0"));
  EXPECT_THAT(LogLines(), ElementsAre("Activation pipe server thread exiting"));
}

TEST_F(ActivationPipeServerTest, ShowRequestPostsShowWindowToTheMainWindow) {
  const WindowHandle main =
      sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  mainWindowHandle = main;
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  const auto posted = sim::PostedMessages();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].window, main);
  EXPECT_EQ(posted[0].message, product::kMsgShowWindow);
  EXPECT_EQ(posted[0].message, 1034u);
  EXPECT_EQ(posted[0].wParam, 0u);
  EXPECT_EQ(posted[0].lParam, 0);
  EXPECT_EQ(CountStartingWith("FindWindowW"), 0) << "the main window is known: no search";
}

TEST_F(ActivationPipeServerTest, PayloadOf64BytesWithShowInTheMiddleShows) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  const std::string payload = std::string(30, 'x') + "SHOW" + std::string(30, 'y');
  ASSERT_EQ(payload.size(), 64u);
  sim::QueueClient({.payload = payload});
  ServeUntilPipesClosed(1);
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

TEST_F(ActivationPipeServerTest, PayloadOf3BytesIsIgnored) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({.payload = "SHO"});
  ServeUntilPipesClosed(1);
  EXPECT_TRUE(sim::PostedMessages().empty());
  EXPECT_EQ(Calls(), ServedOnePipe());
}

TEST_F(ActivationPipeServerTest, PayloadLongerThanTheBufferFailsTheReadAndIsIgnored) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  // Even with the request at its start: a failed read is not looked into.
  sim::QueueClient({.payload = "SHOW" + std::string(61, 'x')});
  ServeUntilPipesClosed(1);
  EXPECT_TRUE(sim::PostedMessages().empty());
  EXPECT_EQ(Calls(), ServedOnePipe());
}

TEST_F(ActivationPipeServerTest, PayloadWithoutTheRequestIsIgnored) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({.payload = "show"});
  sim::QueueClient({.payload = "HELLO"});
  ServeUntilPipesClosed(2);
  EXPECT_TRUE(sim::PostedMessages().empty());
}

TEST_F(ActivationPipeServerTest, ClientThatLeftWithoutWritingIsIgnored) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({.payload = std::nullopt});
  ServeUntilPipesClosed(1);
  EXPECT_TRUE(sim::PostedMessages().empty());
  EXPECT_EQ(Calls(), ServedOnePipe());
}

TEST_F(ActivationPipeServerTest, WithoutAMainWindowPostsToTheWindowItFinds) {
  const WindowHandle own =
      sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  const auto posted = sim::PostedMessages();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].window, own);
  EXPECT_EQ(posted[0].message, product::kMsgShowWindow);
}

TEST_F(ActivationPipeServerTest, WithoutAnyWindowPostsNothing) {
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  EXPECT_TRUE(sim::PostedMessages().empty());
  EXPECT_EQ(CountStartingWith("PostMessageW"), 0);
}

TEST_F(ActivationPipeServerTest, ClientThatCameBeforeTheWaitIsServed) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({.connect = sim::IncomingClient::Connect::kBeforeTheWait});
  ServeUntilPipesClosed(1);
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

TEST_F(ActivationPipeServerTest, FailedConnectClosesThePipeAndMakesANewOne) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({.connect = sim::IncomingClient::Connect::kFails, .connectError = 232});
  sim::QueueClient({});
  ServeUntilPipesClosed(2);
  Lines expected = CreatePipe();
  expected.insert(expected.end(), {"ConnectNamedPipe", "CloseHandle pipe"});
  const Lines served = ServedOnePipe("PostMessageW w1 1034 0 0");
  expected.insert(expected.end(), served.begin(), served.end());
  EXPECT_EQ(Calls(), expected);
}

TEST_F(ActivationPipeServerTest, EachClientIsServedToItsEndBeforeTheNextPipe) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({});
  sim::QueueClient({.payload = "..SHOW.."});
  ServeUntilPipesClosed(2);
  Lines expected = ServedOnePipe("PostMessageW w1 1034 0 0");
  const Lines second = expected;
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(Calls(), expected);
  EXPECT_EQ(sim::PostedMessages().size(), 2u) << "every request shows the window again";
}

TEST_F(ActivationPipeServerTest, FailedCreateWaits300MsAndTriesAgain) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::FailPipeCreates(2);
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(2, 300));
  EXPECT_EQ(CountOf(kCreatePipeItself), 3);
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

TEST_F(ActivationPipeServerTest, StopFlagAlreadySetEndsTheLoopBeforeAnyPipe) {
  activationPipeStopFlag.store(true);
  ActivationPipeServerThread();
  EXPECT_TRUE(Calls().empty());
  EXPECT_THAT(LogLines(), ElementsAre("Activation pipe server thread exiting"));
}

TEST_F(ActivationPipeServerTest, StopFlagEndsALoopWhoseCreatesKeepFailing) {
  sim::FailPipeCreates(1000);
  sim::SetSleepHook([](unsigned) {
    if (sim::Sleeps().size() == 3) activationPipeStopFlag.store(true);
  });
  ActivationPipeServerThread();
  EXPECT_EQ(CountOf(kCreatePipeItself), 3);
  EXPECT_EQ(sim::Sleeps(), SleepsOf(3, 300));
  EXPECT_THAT(LogLines(), ElementsAre("Activation pipe server thread exiting"));
}

TEST_F(ActivationPipeServerTest, PipeAdmitsThisLogonSessionOnlyAndNoRemoteClient) {
  EXPECT_EQ(ActivationPipeSecurity(), u"D:P(A;;GA;;;S-1-5-5-0-71234)");
  sim::ResetSimulation();
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  EXPECT_EQ(Calls(), ServedOnePipe("PostMessageW w1 1034 0 0"));
  EXPECT_EQ(sim::OpenPipeHandles(), 0);
}

TEST_F(ActivationPipeServerTest, ATokenWithoutALogonSessionLeavesTheDefaultSecurity) {
  sim::SetTokenGroups({{u"S-1-1-0", 7}, {u"S-1-5-11", 7}});
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({});
  ServeUntilPipesClosed(1);
  EXPECT_EQ(CountStartingWith("CreateNamedPipeW security"), 0);
  EXPECT_EQ(CountOf(kCreatePipeItself), 1);
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

TEST_F(ActivationPipeServerTest, AnUnreadableTokenLeavesTheDefaultSecurity) {
  sim::SetOpenProcessTokenFails(true);
  EXPECT_EQ(ActivationPipeSecurity(), u"");
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({});
  activationPipeStopFlag.store(false);
  int closed = 0;
  sim::SetCallHook([&closed](const std::string& entry) {
    if (entry == "CloseHandle pipe" && ++closed == 1) activationPipeStopFlag.store(true);
  });
  ActivationPipeServerThread();
  sim::SetCallHook(nullptr);
  EXPECT_EQ(CountStartingWith("CreateNamedPipeW security"), 0);
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

TEST_F(ActivationPipeServerTest, AClientThatNeverWritesIsGivenUpAndTheNextIsServed) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  sim::QueueClient({.staysSilent = true});
  sim::QueueClient({});
  ServeUntilPipesClosed(2);
  Lines expected = ServedOnePipe();
  const Lines second = ServedOnePipe("PostMessageW w1 1034 0 0");
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(Calls(), expected);
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

// ---- StartActivationPipeServer: the detached thread ----

TEST_F(StartActivationPipeServerTest, StartsLogsAndDetachesAThreadThatServesThePipe) {
  const WindowHandle main =
      sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  mainWindowHandle = main;
  sim::QueueClient({});
  StartActivationPipeServer();
  EXPECT_EQ(sim::StartedThreads(), 1);
  EXPECT_EQ(sim::OpenThreadHandles(), 0) << "the handle is closed at once";
  const auto created = PositionOf("CreateThread");
  const auto started = PositionOf("Activation pipe server thread started");
  const auto closed = PositionOf("CloseHandle thread");
  EXPECT_LT(created, started);
  EXPECT_LT(started, closed);

  ASSERT_TRUE(sim::WaitForBlockedConnect(kBound)) << "the thread never came back to wait";
  const auto posted = sim::PostedMessages();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].window, main);
  EXPECT_EQ(posted[0].message, product::kMsgShowWindow);
}

TEST_F(StartActivationPipeServerTest, StoppedAndWokenThreadEndsWithItsLine) {
  StartActivationPipeServer();
  ASSERT_TRUE(sim::WaitForBlockedConnect(kBound));
  activationPipeStopFlag.exchange(true);
  sim::ReleaseBlockedConnect();
  ASSERT_TRUE(sim::WaitForThreads(kBound));
  EXPECT_EQ(LogLines().back(), "Activation pipe server thread exiting");
  EXPECT_EQ(sim::OpenPipeHandles(), 0) << "the woken wait's pipe is closed";
}

TEST_F(StartActivationPipeServerTest, ClearsAStopFlagLeftSetBeforeStarting) {
  mainWindowHandle = sim::AddDesktopWindow(MainWindowOf(sim::kOwnProcessId, sim::kOwnThreadId));
  activationPipeStopFlag.store(true);
  sim::QueueClient({});
  StartActivationPipeServer();
  EXPECT_FALSE(activationPipeStopFlag.load());
  ASSERT_TRUE(sim::WaitForBlockedConnect(kBound));
  EXPECT_EQ(sim::PostedMessages().size(), 1u);
}

TEST_F(StartActivationPipeServerTest, FailedThreadCreationIsLoggedAndNothingElseHappens) {
  sim::SetCreateThreadFails(true);
  StartActivationPipeServer();
  EXPECT_EQ(sim::StartedThreads(), 0);
  EXPECT_THAT(Calls(), ElementsAre("CreateThread"));
  EXPECT_THAT(LogLines(), ElementsAre("Failed to create activation pipe server thread"));
}

}  // namespace
