#include "blocker/window_blocker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "blocker/window_block_rule.h"
#include "sim_user.h"
#include "sim_core.h"
#include "sim_kernel.h"

using blocker::BlockerSnapshot;
using blocker::CurrentTimeMs;
using blocker::WindowBlocker;
using blocker::WindowBlockRule;
using platform::WindowHandle;

namespace {

constexpr std::uint32_t kAdPid = 1200;
constexpr std::uint32_t kNotesPid = 1300;
constexpr std::uint32_t kNoPathPid = 1400;
constexpr std::uint32_t kOwnPid = 4000;
const std::u16string kAdPath = u"C:\\Apps\\AdTool\\adpop.exe";
const std::u16string kNotesPath = u"D:\\Tools\\notes.exe";
const std::string kSuper(blocker::SuperBlockRuleId);

WindowBlocker& Engine() { return WindowBlocker::Instance(); }

sim::DesktopWindow PopupWindow(std::uint32_t pid = kAdPid, std::u16string title = u"Pop-up Ad") {
  sim::DesktopWindow window;
  window.pid = pid;
  window.className = u"AdPopupWindow";
  window.title = std::move(title);
  window.frameBounds = Rect{100, 100, 500, 400};
  window.windowRect = Rect{93, 100, 507, 407};
  return window;
}

WindowBlockRule Rule(std::string id, std::u16string processName, std::string action) {
  WindowBlockRule rule;
  rule.id = std::move(id);
  rule.processName = std::move(processName);
  rule.action = std::move(action);
  return rule;
}

bool Visible(WindowHandle window) {
  const auto found = sim::Window(window);
  return found && found->visible;
}

int CountCalls(const std::string& call) {
  const auto calls = sim::DesktopCalls();
  return static_cast<int>(std::count(calls.begin(), calls.end(), call));
}

int CountCallsStarting(const std::string& prefix) {
  const auto calls = sim::DesktopCalls();
  return static_cast<int>(std::count_if(
      calls.begin(), calls.end(), [&](const std::string& c) { return c.rfind(prefix, 0) == 0; }));
}

std::vector<unsigned> SleepsOf(std::initializer_list<unsigned> sleeps) { return sleeps; }

class WindowBlockerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Engine().ResetForTests();
    sim::ResetSimulation();
    // Every documented delay runs on the simulated clock: a sleep moves the system time on.
    sim::AddProcess(kAdPid, {kAdPath});
    sim::AddProcess(kNotesPid, {kNotesPath});
    sim::AddProcess(kNoPathPid, {u"", false, true});
    sim::AddProcess(kOwnPid, {u"C:\\Program Files\\KelvoTarnel\\KelvoTarnel.exe"});
  }

  void TearDown() override {
    Engine().StopMonitoring();
    sim::WaitForThreads();
    Engine().ResetForTests();
    sim::WaitForThreads();
  }

  // Starts the hook thread and waits until both of its hooks are set.
  void StartHook() {
    ASSERT_TRUE(Engine().StartMonitoring());
    sim::WaitForWinEventHooks(2);
  }

  // Raises the event on the hook thread and waits for everything it set off to finish.
  void Fire(std::uint32_t event, WindowHandle window, std::int32_t objectId = 0,
            std::int32_t childId = 0) {
    ASSERT_TRUE(sim::DeliverWinEvent(event, window, objectId, childId));
    sim::WaitForWinEventsHandled();
    sim::WaitForThreads();
  }

  static void Settle() { sim::WaitForThreads(); }
};

// ---- From an event to an action ----

TEST_F(WindowBlockerTest, EventWithRuleModeOffAndNoSuperBlockCollectsNoFacts) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  StartHook();
  Fire(sim::kEventObjectCreate, w);
  EXPECT_EQ(sim::StartedThreads(), 1);
  EXPECT_EQ(CountCallsStarting("GetAncestor"), 0);
  EXPECT_EQ(CountCallsStarting("GetWindowThreadProcessId"), 0);
  EXPECT_EQ(CountCallsStarting("GetClassNameW"), 0);
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, HookIsSetForCreateAndShowOutOfContextSkippingOwnProcess) {
  StartHook();
  EXPECT_EQ(CountCalls("SetWinEventHook 32768 32768 0 0 2"), 1);
  EXPECT_EQ(CountCalls("SetWinEventHook 32770 32770 0 0 2"), 1);
  EXPECT_EQ(CountCalls("PeekMessageW 1024 1024 0"), 1);
  Engine().StopMonitoring();
  EXPECT_EQ(CountCalls("PostThreadMessageW 18 0 0"), 1);
  EXPECT_EQ(CountCalls("UnhookWinEvent"), 2);
  EXPECT_EQ(sim::ActiveWinEventHooks(), 0);
  EXPECT_FALSE(Engine().IsRunning());
}

TEST_F(WindowBlockerTest, CreatedAndShownWindowStartsTwoWorkers) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  StartHook();
  Fire(sim::kEventObjectCreate, w);
  Fire(sim::kEventObjectShow, w);
  EXPECT_EQ(sim::StartedThreads(), 2);
}

TEST_F(WindowBlockerTest, CallbackIgnoresOtherEventsObjectsAndChildren) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  StartHook();
  // Neither hook's range holds HIDE, so the desktop refuses to deliver it at all.
  EXPECT_FALSE(sim::DeliverWinEvent(sim::kEventObjectHide, w));
  Fire(sim::kEventObjectCreate, w, /*objectId=*/-4);
  Fire(sim::kEventObjectShow, w, 0, /*childId=*/3);
  Fire(sim::kEventObjectShow, nullptr);
  EXPECT_EQ(sim::StartedThreads(), 0);
}

TEST_F(WindowBlockerTest, RuleModeHidesWindowFromEventAtFirstLookWithoutSleeping) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  const std::int64_t start = CurrentTimeMs();
  Fire(sim::kEventObjectCreate, w);
  EXPECT_FALSE(Visible(w));
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 1u);
  EXPECT_EQ(snapshot.blockedLogs[0].ruleId, "r1");
  EXPECT_EQ(snapshot.blockedLogs[0].action, "hide");
  EXPECT_EQ(snapshot.blockedLogs[0].blockedAtMs, start);
  EXPECT_EQ(snapshot.blockedLogs[0].facts.processName, u"adpop");
  // The rescan thread and the re-hide thread it set off.
  EXPECT_EQ(sim::StartedThreads(), 2);
  EXPECT_EQ(sim::Sleeps(), SleepsOf({10, 30, 80, 160, 320, 700, 1200}));
}

TEST_F(WindowBlockerTest, RescanLooksAfter0And12And40And120MsThenGivesUp) {
  sim::DesktopWindow hidden = PopupWindow();
  hidden.visible = false;  // fails every look
  const WindowHandle w = sim::AddDesktopWindow(hidden);
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  Fire(sim::kEventObjectCreate, w);
  EXPECT_EQ(sim::Sleeps(), SleepsOf({12, 40, 120}));
  EXPECT_EQ(CountCalls("GetAncestor w1 2"), 4);
  EXPECT_TRUE(Engine().GetSnapshotData().blockedLogs.empty());
}

TEST_F(WindowBlockerTest, RescanActsAtTheLookThatFindsTheWindowReadyOnTheSimulatedClock) {
  sim::DesktopWindow hidden = PopupWindow();
  hidden.visible = false;
  const WindowHandle w = sim::AddDesktopWindow(hidden);
  Engine().ReplaceRules({Rule("r1", u"adpop", "close")});
  Engine().SetEnabled(true);
  StartHook();
  const std::int64_t start = CurrentTimeMs();
  // The program shows its pop-up some 30 ms after creating it: the third look, at 52 ms, sees it.
  sim::SetSleepHook([w](unsigned ms) {
    if (ms == 40) sim::SetDesktopWindowVisible(w, true);
  });
  Fire(sim::kEventObjectCreate, w);
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 1u);
  EXPECT_EQ(snapshot.blockedLogs[0].blockedAtMs, start + 52);
  // Two rescan sleeps, then the four of the close repeats.
  EXPECT_EQ(sim::Sleeps(), SleepsOf({12, 40, 40, 120, 260, 520}));
}

TEST_F(WindowBlockerTest, WorkerEndsAtItsNextStepAfterStopMonitoring) {
  sim::DesktopWindow hidden = PopupWindow();
  hidden.visible = false;
  const WindowHandle w = sim::AddDesktopWindow(hidden);
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  std::atomic<bool> stopped{false};
  sim::SetSleepHook([&stopped](unsigned /*ms*/) {
    if (!stopped.exchange(true)) Engine().StopMonitoring();
  });
  Fire(sim::kEventObjectCreate, w);
  EXPECT_EQ(sim::Sleeps(), SleepsOf({12}));
  EXPECT_EQ(CountCalls("GetAncestor w1 2"), 1);
}

// ---- Super block ----

TEST_F(WindowBlockerTest, SuperBlockWithRuleModeOffHidesUnderSuperBlockRuleId) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, 0, {});
  StartHook();
  Fire(sim::kEventObjectShow, w);
  EXPECT_FALSE(Visible(w));
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 1u);
  EXPECT_EQ(snapshot.blockedLogs[0].ruleId, "__super_block__");
  EXPECT_EQ(snapshot.blockedLogs[0].action, "hide");
  EXPECT_EQ(snapshot.superBlockedCount, 1);
  EXPECT_EQ(snapshot.hiddenWindowCount, 1u);
}

TEST_F(WindowBlockerTest, WhitelistedPathUnderSuperBlockIsStillTestedAgainstRules) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().SetSuperBlock(true, 0, {u"c:/apps/adtool/ADPOP.EXE"});
  Engine().ReplaceRules({Rule("r-close", u"adpop", "close")});
  Engine().SetEnabled(true);
  const std::int64_t now = CurrentTimeMs();
  EXPECT_TRUE(Engine().EvaluateWindow(ad, now, false, false, false));
  EXPECT_TRUE(Engine().EvaluateWindow(notes, now, false, false, false));
  Settle();
  EXPECT_TRUE(Visible(ad));  // closed by the rule, not hidden
  EXPECT_FALSE(Visible(notes));
  EXPECT_EQ(CountCalls("PostMessageW w1 16 0 0"), 5);  // the close and its four repeats
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 2u);
  EXPECT_EQ(snapshot.blockedLogs[0].ruleId, kSuper);
  EXPECT_EQ(snapshot.blockedLogs[1].ruleId, "r-close");
  EXPECT_EQ(snapshot.blockedLogs[1].action, "close");
  EXPECT_EQ(snapshot.superBlockedCount, 1);
}

TEST_F(WindowBlockerTest, WhitelistedPathExemptsEveryProgramOfThatFileName) {
  sim::AddProcess(1500, {u"E:\\Elsewhere\\AdPop.exe"});
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow(1500));
  Engine().SetSuperBlock(true, 0, {kAdPath});
  EXPECT_FALSE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, EmptyPathPassesSuperBlockAndCannotBeBlockedByRule) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow(kNoPathPid, u"Unreadable"));
  WindowBlockRule byTitle;
  byTitle.id = "title";
  byTitle.titleKeyword = u"Unreadable";
  byTitle.action = "hide";
  Engine().ReplaceRules({byTitle});
  Engine().SetEnabled(true);
  Engine().SetSuperBlock(true, 0, {});
  EXPECT_FALSE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(Engine().GetSnapshotData().superBlockedCount, 0);
}

TEST_F(WindowBlockerTest, OwnProcessWindowIsPassedOverBySuperBlock) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow(kOwnPid, u"KelvoTarnel"));
  Engine().SetSuperBlock(true, 0, {});
  EXPECT_FALSE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, SetOwnProcessIdKeepsThisProcessWindowsFromBeingCollected) {
  sim::AddProcess(kNotesPid, {u"D:\\Tools\\notes.exe"});
  sim::SetCurrentProcessId(kNotesPid);
  Engine().SetOwnProcessId();
  EXPECT_EQ(Engine().OwnProcessId(), kNotesPid);
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().SetSuperBlock(true, 0, {});
  EXPECT_FALSE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, SetSuperBlockWithEndZeroRunsWithNoEnd) {
  Engine().SetSuperBlock(true, 0, {});
  sim::AdvanceSystemTimeMs(365LL * 24 * 3600 * 1000);
  EXPECT_TRUE(Engine().IsSuperBlockActive(CurrentTimeMs()));
  EXPECT_TRUE(Engine().GetSnapshotData().superEnabled);
}

TEST_F(WindowBlockerTest, SetSuperBlockWithEndEqualToNowTurnsModeOff) {
  Engine().SetSuperBlock(true, 0, {kNotesPath});
  ASSERT_TRUE(Engine().GetSnapshotData().superEnabled);
  Engine().SetSuperBlock(true, CurrentTimeMs(), {kNotesPath});
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_FALSE(snapshot.superEnabled);
  EXPECT_EQ(snapshot.superEndTimeMs, 0);
  EXPECT_TRUE(snapshot.superWhitelistPaths.empty());
}

TEST_F(WindowBlockerTest, SetSuperBlockNormalisesWhitelistAndSkipsEmptyPaths) {
  Engine().SetSuperBlock(true, CurrentTimeMs() + 60000, {u"", u"D:/Tools/Notes.EXE"});
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_TRUE(snapshot.superEnabled);
  ASSERT_EQ(snapshot.superWhitelistPaths.size(), 1u);
  EXPECT_EQ(snapshot.superWhitelistPaths[0], blocker::NormalizePath(u"D:/Tools/Notes.EXE"));
}

TEST_F(WindowBlockerTest, SuperBlockEndsLazilyAtTheNextQuestionAndShowsItsWindows) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  const std::int64_t end = CurrentTimeMs() + 1000;
  Engine().SetSuperBlock(true, end, {});
  ASSERT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  ASSERT_FALSE(Visible(w));
  sim::AdvanceSystemTimeMs(5000);
  // Nothing asked yet: no timer stands behind the end time.
  EXPECT_FALSE(Visible(w));
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_FALSE(snapshot.superEnabled);
  EXPECT_EQ(snapshot.superBlockedCount, 1);  // the last run stays reported
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 8"), 1);
  EXPECT_EQ(CountCalls("SetWindowPos w1 TOP 0,0 0x0 87"), 1);
}

TEST_F(WindowBlockerTest, SuperBlockEndTimeItselfCountsAsExpired) {
  const std::int64_t end = CurrentTimeMs() + 100;
  Engine().SetSuperBlock(true, end, {});
  EXPECT_TRUE(Engine().IsSuperBlockActive(end - 1));
  EXPECT_FALSE(Engine().IsSuperBlockActive(end));
  EXPECT_FALSE(Engine().IsSuperBlockActive(end - 1));  // ended for good
}

TEST_F(WindowBlockerTest, SuperBlockRehideEndsTheModeWhenItExpires) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  StartHook();
  // 10 + 30 + 80 ms of re-hides fit before the end; the fourth pass finds the mode over.
  Engine().SetSuperBlock(true, CurrentTimeMs() + 150, {});
  Fire(sim::kEventObjectShow, w);
  EXPECT_FALSE(Engine().GetSnapshotData().superEnabled);
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 0"), 4);
}

TEST_F(WindowBlockerTest, NewSuperBlockWhitelistDoesNotShowWindowsItHidEarlier) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, 0, {});
  ASSERT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  Engine().SetSuperBlock(true, 0, {kAdPath});
  EXPECT_FALSE(Visible(w));
  EXPECT_EQ(Engine().GetSnapshotData().superBlockedCount, 0);
}

// ---- Log slots ----

TEST_F(WindowBlockerTest, TwoActionsWithin3000MsGiveOneLogEntryAndSuperCountCountsBoth) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, 0, {});
  const std::int64_t t0 = CurrentTimeMs();
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0, false, false, false));
  Settle();
  sim::SetDesktopWindowVisible(w, true);
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0 + 2999, false, false, false));
  Settle();
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_EQ(snapshot.blockedLogs.size(), 1u);
  EXPECT_EQ(snapshot.superBlockedCount, 2);
}

TEST_F(WindowBlockerTest, TwoActionsExactly3000MsApartGiveTwoLogEntries) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "close")});
  Engine().SetEnabled(true);
  const std::int64_t t0 = CurrentTimeMs();
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0, false, false, false));
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0 + 3000, false, false, false));
  Settle();
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 2u);
  EXPECT_EQ(snapshot.blockedLogs[0].blockedAtMs, t0 + 3000);
  EXPECT_EQ(snapshot.blockedLogs[1].blockedAtMs, t0);
}

TEST_F(WindowBlockerTest, FailedActionStillSpendsTheLogSlot) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);
  sim::SetWindowRefusesActions(w, true);
  const std::int64_t t0 = CurrentTimeMs();
  EXPECT_FALSE(Engine().EvaluateWindow(w, t0, false, false, false));
  Settle();
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCalls("SetWindowPos w1 TOP 0,0 0x0 151"), 1);  // the fallback was tried
  sim::SetWindowRefusesActions(w, false);
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0 + 1000, false, false, false));
  Settle();
  EXPECT_FALSE(Visible(w));
  EXPECT_TRUE(Engine().GetSnapshotData().blockedLogs.empty());
}

TEST_F(WindowBlockerTest, LogSlotIsPerWindowNotPerRule) {
  const WindowHandle a = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle b = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "close")});
  Engine().SetEnabled(true);
  const std::int64_t t0 = CurrentTimeMs();
  EXPECT_TRUE(Engine().EvaluateWindow(a, t0, false, false, false));
  EXPECT_TRUE(Engine().EvaluateWindow(b, t0, false, false, false));
  Settle();
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs.size(), 2u);
}

TEST_F(WindowBlockerTest, ReplaceRulesWithSameListClearsLogSlots) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  const std::vector<WindowBlockRule> rules = {Rule("r1", u"adpop", "close")};
  Engine().ReplaceRules(rules);
  Engine().SetEnabled(true);
  const std::int64_t t0 = CurrentTimeMs();
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0, false, false, false));
  Engine().ReplaceRules(rules);
  EXPECT_TRUE(Engine().EvaluateWindow(w, t0 + 10, false, false, false));
  Settle();
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs.size(), 2u);
}

TEST_F(WindowBlockerTest, LogEntry201PushesOutTheOldestAndFirstEntryIsNewest) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  blocker::WindowFacts facts;
  facts.hwnd = w;
  for (int i = 0; i < 201; ++i) Engine().AppendBlockLog(facts, "r" + std::to_string(i), "close", i);
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 200u);
  EXPECT_EQ(snapshot.blockedLogs.front().ruleId, "r200");
  EXPECT_EQ(snapshot.blockedLogs.front().blockedAtMs, 200);
  EXPECT_EQ(snapshot.blockedLogs.back().ruleId, "r1");
}

TEST_F(WindowBlockerTest, ClearLogsKeepsLogSlotsAndSuperCount) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, 0, {});
  const std::int64_t t0 = CurrentTimeMs();
  ASSERT_TRUE(Engine().EvaluateWindow(w, t0, false, false, false));
  Settle();
  Engine().ClearLogs();
  sim::SetDesktopWindowVisible(w, true);
  ASSERT_TRUE(Engine().EvaluateWindow(w, t0 + 100, false, false, false));
  Settle();
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_TRUE(snapshot.blockedLogs.empty());  // the slot was still spent
  EXPECT_EQ(snapshot.superBlockedCount, 2);
}

// ---- Candidates ----

TEST_F(WindowBlockerTest, Candidate81PushesOutTheOldest) {
  Engine().ReplaceRules({Rule("none", u"nothing-matches", "close")});
  Engine().SetEnabled(true);
  std::vector<WindowHandle> windows;
  for (int i = 0; i < 81; ++i) {
    windows.push_back(
        sim::AddDesktopWindow(PopupWindow(kAdPid, u"Ad " + std::u16string(1, u'A' + i % 26))));
    EXPECT_FALSE(Engine().EvaluateWindow(windows.back(), 1000 + i, true, false, false));
  }
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.candidateWindows.size(), 80u);
  EXPECT_EQ(snapshot.candidateWindows.front().hwnd, windows.back());
  EXPECT_EQ(snapshot.candidateWindows.back().hwnd, windows[1]);
  EXPECT_EQ(snapshot.candidateWindows.front().hitCount, 1);
  EXPECT_EQ(snapshot.candidateWindows.front().firstSeenMs, 1080);
}

TEST_F(WindowBlockerTest, UpdateOfKnownCandidateMovesItToFrontAndEvictsNothing) {
  Engine().ReplaceRules({Rule("none", u"nothing-matches", "close")});
  Engine().SetEnabled(true);
  std::vector<WindowHandle> windows;
  for (int i = 0; i < 80; ++i) {
    windows.push_back(sim::AddDesktopWindow(PopupWindow()));
    Engine().EvaluateWindow(windows.back(), 1000 + i, true, false, false);
  }
  sim::ChangeDesktopWindow(windows[0], [](sim::DesktopWindow& w) { w.title = u"Renamed"; });
  Engine().EvaluateWindow(windows[0], 5000, true, false, false);
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.candidateWindows.size(), 80u);
  const blocker::WindowFacts& first = snapshot.candidateWindows.front();
  EXPECT_EQ(first.hwnd, windows[0]);
  EXPECT_EQ(first.title, u"Renamed");
  EXPECT_EQ(first.hitCount, 2);
  EXPECT_EQ(first.firstSeenMs, 1000);
  EXPECT_EQ(first.lastSeenMs, 5000);
  EXPECT_EQ(snapshot.candidateWindows.back().hwnd, windows[1]);
}

TEST_F(WindowBlockerTest, EventPathRecordsNoCandidates) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  Fire(sim::kEventObjectCreate, w);
  EXPECT_TRUE(Engine().GetSnapshotData().candidateWindows.empty());
}

// ---- Rules and actions ----

TEST_F(WindowBlockerTest, OtherActionWordClosesTheWindowAndTheLogRecordsThatWord) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r-min", u"adpop", "minimize")});
  Engine().SetEnabled(true);
  EXPECT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  EXPECT_EQ(CountCalls("PostMessageW w1 16 0 0"), 5);
  EXPECT_EQ(CountCalls("PostMessageW w1 274 61536 0"), 5);
  EXPECT_EQ(CountCallsStarting("ShowWindowAsync"), 0);
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  ASSERT_EQ(snapshot.blockedLogs.size(), 1u);
  EXPECT_EQ(snapshot.blockedLogs[0].action, "minimize");
}

TEST_F(WindowBlockerTest, RuleWithEmptyIdThatMatchesStopsTheScanAndLeavesTheWindowAlone) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("", u"adpop", "hide"), Rule("r2", u"adpop", "hide")});
  Engine().SetEnabled(true);
  EXPECT_FALSE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(sim::StartedThreads(), 0);
  EXPECT_TRUE(Engine().GetSnapshotData().blockedLogs.empty());
}

TEST_F(WindowBlockerTest, HideOnlySkipsCloseRules) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r-close", u"adpop", "close"), Rule("r-hide", u"adpop", "hide")});
  Engine().SetEnabled(true);
  EXPECT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, true));
  Settle();
  EXPECT_FALSE(Visible(w));
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs[0].ruleId, "r-hide");
}

TEST_F(WindowBlockerTest, EvaluateStepsToTheRootAncestor) {
  const WindowHandle top = sim::AddDesktopWindow(PopupWindow());
  sim::DesktopWindow child = PopupWindow();
  child.parent = top;
  child.style = platform::kWsChild;
  const WindowHandle inner = sim::AddDesktopWindow(child);
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);
  EXPECT_TRUE(Engine().EvaluateWindow(inner, CurrentTimeMs(), false, false, false));
  Settle();
  EXPECT_FALSE(Visible(top));
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs[0].facts.hwnd, top);
}

TEST_F(WindowBlockerTest, CloseOfWindowThatIgnoresItPostsFourRepeatsThenNothing) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  EXPECT_TRUE(Engine().ApplyWindowAction(w, "close", "r1"));
  Settle();
  EXPECT_EQ(sim::Sleeps(), SleepsOf({40, 120, 260, 520}));
  EXPECT_EQ(CountCalls("PostMessageW w1 16 0 0"), 5);
  EXPECT_EQ(CountCalls("PostMessageW w1 274 61536 0"), 5);
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, CloseRepeatsEndWhenTheWindowIsGone) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  sim::SetDesktopCallHook([w](std::string_view call, WindowHandle window) {
    if (call == "PostMessageW" && window == w) sim::DestroyDesktopWindow(w);
  });
  EXPECT_TRUE(Engine().ApplyWindowAction(w, "close", "r1"));
  Settle();
  EXPECT_EQ(sim::Sleeps(), SleepsOf({40}));
  EXPECT_EQ(CountCallsStarting("PostMessageW"), 2);
}

TEST_F(WindowBlockerTest, CloseGivesFalseWhenBothPostsFailOrTheWindowWasNeverThere) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  sim::SetWindowRefusesActions(w, true);
  EXPECT_FALSE(Engine().ApplyWindowAction(w, "close", "r1"));
  EXPECT_FALSE(Engine().ApplyWindowAction(sim::StaleHandle(), "close", "r1"));
  Settle();
}

TEST_F(WindowBlockerTest, RehideRepeatsOnTheSimulatedClockAndPutsBackAShownWindow) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);  // rule mode off would end the re-hides
  StartHook();
  // The program shows its pop-up again after the first 10 ms.
  sim::SetSleepHook([w](unsigned ms) {
    if (ms == 30) sim::SetDesktopWindowVisible(w, true);
  });
  const std::int64_t start = CurrentTimeMs();
  EXPECT_TRUE(Engine().ApplyWindowAction(w, "hide", "r1"));
  Settle();
  EXPECT_EQ(sim::Sleeps(), SleepsOf({10, 30, 80, 160, 320, 700, 1200}));
  EXPECT_EQ(CurrentTimeMs() - start, 2500);
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 0"), 8);
  EXPECT_FALSE(Visible(w));
}

TEST_F(WindowBlockerTest, RehideEndsWhenItsRuleIsNoLongerAnActiveHideRule) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "hide")});
  Engine().SetEnabled(true);  // rule mode off would end the re-hides
  StartHook();
  sim::SetSleepHook([](unsigned ms) {
    if (ms == 80) Engine().ReplaceRules({Rule("r1", u"adpop", "close")});
  });
  EXPECT_TRUE(Engine().ApplyWindowAction(w, "hide", "r1"));
  Settle();
  EXPECT_EQ(sim::Sleeps(), SleepsOf({10, 30, 80}));
  // The rule turned into a close rule: its window came back.
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, HideRuleWithEmptyActionIsNotAnActiveHideRule) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("r1", u"adpop", "")});
  StartHook();
  EXPECT_TRUE(Engine().ApplyWindowAction(w, "hide", "r1"));
  Settle();
  EXPECT_EQ(sim::Sleeps(), SleepsOf({10}));
}

TEST_F(WindowBlockerTest, HideOfWindowThatIsGoneCountsAsDone) {
  EXPECT_FALSE(Engine().ApplyWindowAction(sim::StaleHandle(), "hide", "r1"));
  Settle();
  EXPECT_EQ(sim::StartedThreads(), 0);
}

// ---- Hide groups and restores ----

TEST_F(WindowBlockerTest, ReplaceRulesKeepsStayingHideRuleWindowsAndShowsRemovedOnes) {
  const WindowHandle a = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle n = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide"), Rule("notes", u"notes", "hide")});
  Engine().SetEnabled(true);
  ASSERT_TRUE(Engine().ApplyRulesToExistingWindows());
  Settle();
  ASSERT_FALSE(Visible(a));
  ASSERT_FALSE(Visible(n));
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  EXPECT_FALSE(Visible(a));
  EXPECT_TRUE(Visible(n));
  EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 1u);
}

TEST_F(WindowBlockerTest, ReplaceRulesShowsWindowsOfRuleTurnedOffOrChangedToClose) {
  const WindowHandle a = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle n = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide"), Rule("notes", u"notes", "hide")});
  Engine().SetEnabled(true);
  ASSERT_TRUE(Engine().ApplyRulesToExistingWindows());
  Settle();
  WindowBlockRule off = Rule("ads", u"adpop", "hide");
  off.enabled = false;
  Engine().ReplaceRules({off, Rule("notes", u"notes", "close")});
  EXPECT_TRUE(Visible(a));
  EXPECT_TRUE(Visible(n));
}

TEST_F(WindowBlockerTest, ManualHideComesBackAtTheFirstReplaceRules) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  ASSERT_TRUE(Engine().BlockWindowNow(w, "hide", ""));
  Settle();
  ASSERT_FALSE(Visible(w));
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs[0].ruleId, "manual");
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, ReplaceRulesKeepsSuperBlockWindowsWhileTheModeIsActive) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, CurrentTimeMs() + 60000, {});
  ASSERT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  Engine().ReplaceRules({});
  EXPECT_FALSE(Visible(w));
  sim::AdvanceSystemTimeMs(60000);
  Engine().ReplaceRules({});
  EXPECT_TRUE(Visible(w));
  EXPECT_FALSE(Engine().GetSnapshotData().superEnabled);
}

TEST_F(WindowBlockerTest, SetEnabledFalseShowsWindowsHiddenByRulesAndSuperBlock) {
  const WindowHandle a = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle n = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  Engine().SetEnabled(true);
  ASSERT_TRUE(Engine().EvaluateWindow(a, CurrentTimeMs(), false, false, false));
  Engine().SetSuperBlock(true, 0, {});
  ASSERT_TRUE(Engine().EvaluateWindow(n, CurrentTimeMs(), false, false, false));
  Settle();
  ASSERT_FALSE(Visible(a));
  ASSERT_FALSE(Visible(n));
  Engine().SetEnabled(false);
  EXPECT_TRUE(Visible(a));
  EXPECT_TRUE(Visible(n));
  EXPECT_TRUE(Engine().GetSnapshotData().superEnabled);
  // Super block is still on and hides again what next raises an event.
  StartHook();
  Fire(sim::kEventObjectShow, n);
  EXPECT_FALSE(Visible(n));
  EXPECT_TRUE(Visible(a));  // no event, no new look
}

TEST_F(WindowBlockerTest, SetEnabledTrueAloneTouchesNoExistingWindow) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  Engine().SetEnabled(true);
  Settle();
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCallsStarting("EnumWindows"), 0);
}

// ---- Existing windows and manual blocks ----

TEST_F(WindowBlockerTest, ApplyRulesToExistingWindowsActsOnEveryMatchWithoutStopping) {
  const WindowHandle a = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle n = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  const WindowHandle b = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  Engine().SetEnabled(true);
  EXPECT_TRUE(Engine().ApplyRulesToExistingWindows());
  Settle();
  EXPECT_FALSE(Visible(a));
  EXPECT_TRUE(Visible(n));
  EXPECT_FALSE(Visible(b));
  // No hook thread: its workers were told to stop, so the hides were not repeated.
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 0"), 1);
}

TEST_F(WindowBlockerTest, ApplyRulesToExistingWindowsWithBothModesOffDoesNothing) {
  sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  EXPECT_FALSE(Engine().ApplyRulesToExistingWindows());
  EXPECT_EQ(CountCallsStarting("EnumWindows"), 0);
}

TEST_F(WindowBlockerTest, ApplyRulesToExistingWindowsEndsAnExpiredSuperBlock) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, CurrentTimeMs() + 10, {});
  ASSERT_TRUE(Engine().ApplyRulesToExistingWindows());
  Settle();
  ASSERT_FALSE(Visible(w));
  sim::AdvanceSystemTimeMs(10);
  EXPECT_FALSE(Engine().ApplyRulesToExistingWindows());
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCallsStarting("EnumWindows"), 1);
}

TEST_F(WindowBlockerTest, BlockWindowNowOnChildWindowActsOnTheChildItself) {
  const WindowHandle top = sim::AddDesktopWindow(PopupWindow());
  sim::DesktopWindow child = PopupWindow();
  child.parent = top;
  const WindowHandle inner = sim::AddDesktopWindow(child);
  EXPECT_TRUE(Engine().BlockWindowNow(inner, "close", "picked"));
  Settle();
  EXPECT_EQ(CountCalls("PostMessageW w2 16 0 0"), 5);
  EXPECT_EQ(CountCallsStarting("PostMessageW w1"), 0);
  EXPECT_EQ(CountCallsStarting("GetAncestor"), 0);
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs[0].facts.hwnd, inner);
}

TEST_F(WindowBlockerTest, BlockWindowNowWithHideWhileMonitoringIsStoppedHidesOnceWithoutRepeats) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  EXPECT_TRUE(Engine().BlockWindowNow(w, "hide", "picked"));
  Settle();
  EXPECT_FALSE(Visible(w));
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 0"), 1);
  EXPECT_EQ(sim::Sleeps(), SleepsOf({10}));
}

TEST_F(WindowBlockerTest, BlockWindowNowLogsEverySuccessAndHeedsNoMode) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  EXPECT_TRUE(Engine().BlockWindowNow(w, "close", "picked"));
  EXPECT_TRUE(Engine().BlockWindowNow(w, "close", "picked"));
  Settle();
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs.size(), 2u);
}

TEST_F(WindowBlockerTest, BlockWindowNowRefusesSystemProcessesAndGoneWindows) {
  sim::AddProcess(1600, {u"C:\\Windows\\explorer.exe"});
  const WindowHandle shell = sim::AddDesktopWindow(PopupWindow(1600, u"Explorer"));
  EXPECT_FALSE(Engine().BlockWindowNow(shell, "close", ""));
  EXPECT_FALSE(Engine().BlockWindowNow(sim::StaleHandle(), "close", ""));
  Settle();
  EXPECT_EQ(sim::StartedThreads(), 0);
}

// ---- Lifecycle ----

TEST_F(WindowBlockerTest, StopMonitoringShowsHiddenWindowsAndKeepsRulesShutdownClearsAll) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  Fire(sim::kEventObjectShow, w);
  ASSERT_FALSE(Visible(w));
  Engine().StopMonitoring();
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 0u);
  EXPECT_EQ(Engine().GetSnapshotData().rules.size(), 1u);
  Engine().ShutdownBlocker();
  EXPECT_TRUE(Visible(w));
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_TRUE(snapshot.rules.empty());
  EXPECT_TRUE(snapshot.blockedLogs.empty());
  EXPECT_TRUE(snapshot.enabled);  // the one thing that survives
}

// ---- The gap before the first re-hide pass ----

class HideGapTest : public WindowBlockerTest {
 protected:
  // A window whose hide is asked for but not yet carried out, as ShowWindowAsync leaves it
  // while its owner is busy, with the re-hide worker not yet run.
  WindowHandle HideInTheGap(const std::string& ruleId = "ads") {
    const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
    sim::SetWindowDefersAsyncShow(w, true);
    Engine().ReplaceRules({Rule(ruleId, u"adpop", "hide")});
    Engine().SetEnabled(true);
    StartHook();
    sim::SetHoldThreads(true);
    EXPECT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
    EXPECT_TRUE(Visible(w));
    EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 0u);  // not seen hidden yet
    EXPECT_EQ(sim::PendingThreadCount(), 1);
    return w;
  }

  // The owner catches up, then the re-hide worker runs its course.
  static void CatchUp(WindowHandle w) {
    sim::ApplyDeferredShows(w);
    sim::SetHoldThreads(false);
    sim::RunPendingThreads();
    Settle();
  }
};

TEST_F(HideGapTest, WindowHiddenBeforeItsRehidePassIsGivenBackByStopMonitoring) {
  const WindowHandle w = HideInTheGap();
  Engine().StopMonitoring();
  CatchUp(w);
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 8"), 1);
}

TEST_F(HideGapTest, WindowHiddenBeforeItsRehidePassIsGivenBackByShutdown) {
  const WindowHandle w = HideInTheGap();
  Engine().ShutdownBlocker();
  CatchUp(w);
  EXPECT_TRUE(Visible(w));
}

TEST_F(HideGapTest, WindowHiddenBeforeItsRehidePassIsGivenBackWhenRuleModeGoesOff) {
  const WindowHandle w = HideInTheGap();
  Engine().SetEnabled(false);
  CatchUp(w);
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(CountCalls("ShowWindowAsync w1 0"), 1);  // the worker does not hide it again
}

TEST_F(HideGapTest, WindowHiddenBeforeItsRehidePassIsGivenBackWhenItsRuleGoes) {
  const WindowHandle w = HideInTheGap();
  Engine().ReplaceRules({});
  CatchUp(w);
  EXPECT_TRUE(Visible(w));
  EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 0u);
}

TEST_F(HideGapTest, WindowHiddenBeforeItsRehidePassStaysHiddenWhileItsRuleStands) {
  const WindowHandle w = HideInTheGap();
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  CatchUp(w);
  EXPECT_FALSE(Visible(w));
  // The re-hide worker's first pass finds it hidden and counts it.
  EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 1u);
}

TEST_F(WindowBlockerTest, ShutdownClearsSuperBlockAndItsCount) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().SetSuperBlock(true, 0, {kNotesPath});
  ASSERT_TRUE(Engine().EvaluateWindow(w, CurrentTimeMs(), false, false, false));
  Settle();
  Engine().ShutdownBlocker();
  const BlockerSnapshot snapshot = Engine().GetSnapshotData();
  EXPECT_FALSE(snapshot.superEnabled);
  EXPECT_EQ(snapshot.superBlockedCount, 0);
  EXPECT_TRUE(snapshot.superWhitelistPaths.empty());
  EXPECT_TRUE(Visible(w));
}

TEST_F(WindowBlockerTest, RefusedWinEventHooksLeaveTheLoopRunningAndMonitoringOn) {
  sim::SetWinEventHooksFail(true);
  EXPECT_TRUE(Engine().StartMonitoring());
  sim::WaitForThreadInGetMessage();
  EXPECT_EQ(CountCallsStarting("SetWinEventHook"), 2);
  EXPECT_EQ(sim::ActiveWinEventHooks(), 0);
  EXPECT_TRUE(Engine().IsRunning());
  EXPECT_TRUE(Engine().GetSnapshotData().running);
  Engine().StopMonitoring();
  EXPECT_FALSE(Engine().IsRunning());
  EXPECT_EQ(CountCallsStarting("UnhookWinEvent"), 0);  // nothing to take off
}

TEST_F(WindowBlockerTest, TwoRulesWithOneIdShareOneHideGroup) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().ReplaceRules({Rule("twin", u"adpop", "hide"), Rule("twin", u"notes", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  Fire(sim::kEventObjectShow, ad);
  Fire(sim::kEventObjectShow, notes);
  ASSERT_FALSE(Visible(ad));
  ASSERT_FALSE(Visible(notes));
  EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 2u);
  // One of the two goes, the id stays: the group stays, both windows with it.
  Engine().ReplaceRules({Rule("twin", u"notes", "hide")});
  EXPECT_FALSE(Visible(ad));
  EXPECT_FALSE(Visible(notes));
  // The id goes: the whole group comes back at once.
  Engine().ReplaceRules({});
  EXPECT_TRUE(Visible(ad));
  EXPECT_TRUE(Visible(notes));
}

TEST_F(WindowBlockerTest, UserRuleWithSuperBlocksIdSharesItsGroup) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule(kSuper, u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  Fire(sim::kEventObjectShow, ad);
  ASSERT_FALSE(Visible(ad));
  // Turning super block off restores its group, which holds the rule's window too.
  Engine().SetSuperBlock(false, 0, {});
  EXPECT_TRUE(Visible(ad));
}

TEST_F(WindowBlockerTest, UserRuleWithTheManualIdSharesTheManualGroup) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  const std::string manual(blocker::ManualRuleId);
  Engine().ReplaceRules({Rule(manual, u"adpop", "hide")});
  Engine().SetEnabled(true);
  StartHook();
  Fire(sim::kEventObjectShow, ad);
  ASSERT_TRUE(Engine().BlockWindowNow(notes, "hide", ""));
  Settle();
  ASSERT_FALSE(Visible(ad));
  ASSERT_FALSE(Visible(notes));
  // Keeping the rule keeps the group, the picked window included.
  Engine().ReplaceRules({Rule(manual, u"adpop", "hide")});
  EXPECT_FALSE(Visible(notes));
  Engine().ReplaceRules({});
  EXPECT_TRUE(Visible(ad));
  EXPECT_TRUE(Visible(notes));
}

TEST_F(WindowBlockerTest, ShutdownClearsEveryContainerAndTheModesButKeepsEnabledAndOwnProcess) {
  sim::SetCurrentProcessId(kOwnPid);
  Engine().SetOwnProcessId();
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow());
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  Engine().ReplaceRules({Rule("ads", u"adpop", "hide")});
  Engine().SetEnabled(true);
  Engine().SetSuperBlock(true, 0, {kAdPath});
  StartHook();
  ASSERT_TRUE(Engine().EvaluateWindow(ad, CurrentTimeMs(), true, false, false));
  ASSERT_TRUE(Engine().EvaluateWindow(notes, CurrentTimeMs(), true, false, false));
  Settle();
  BlockerSnapshot before = Engine().GetSnapshotData();
  ASSERT_EQ(before.candidateWindows.size(), 2u);
  ASSERT_EQ(before.blockedLogs.size(), 2u);
  ASSERT_EQ(before.hiddenWindowCount, 2u);
  ASSERT_EQ(before.superBlockedCount, 1);

  Engine().ShutdownBlocker();
  const BlockerSnapshot after = Engine().GetSnapshotData();
  EXPECT_FALSE(after.running);
  EXPECT_TRUE(after.rules.empty());
  EXPECT_TRUE(after.blockedLogs.empty());
  EXPECT_TRUE(after.candidateWindows.empty());
  EXPECT_TRUE(after.superWhitelistPaths.empty());
  EXPECT_EQ(after.hiddenWindowCount, 0u);
  EXPECT_FALSE(after.superEnabled);
  EXPECT_EQ(after.superEndTimeMs, 0);
  EXPECT_EQ(after.superBlockedCount, 0);
  EXPECT_TRUE(Visible(ad));
  EXPECT_TRUE(Visible(notes));
  EXPECT_TRUE(after.enabled);
  EXPECT_EQ(Engine().OwnProcessId(), kOwnPid);
  // The log slots went too: the same window is logged again at once.
  Engine().SetSuperBlock(true, 0, {});
  ASSERT_TRUE(Engine().EvaluateWindow(notes, CurrentTimeMs(), false, false, false));
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs.size(), 1u);
}

TEST_F(WindowBlockerTest, StartMonitoringTwiceStartsOneThreadAndGivesTrueBothTimes) {
  EXPECT_TRUE(Engine().StartMonitoring());
  EXPECT_TRUE(Engine().StartMonitoring());
  sim::WaitForWinEventHooks(2);
  EXPECT_EQ(CountCallsStarting("SetWinEventHook"), 2);
  EXPECT_EQ(CountCallsStarting("PeekMessageW"), 1);
  EXPECT_TRUE(Engine().IsRunning());
}

TEST_F(WindowBlockerTest, StopMonitoringWhenNotRunningDoesNothing) {
  Engine().StopMonitoring();
  EXPECT_EQ(CountCallsStarting("PostThreadMessageW"), 0);
}

TEST_F(WindowBlockerTest, StopBeforeTheHookThreadHasAQueueStillEndsIt) {
  sim::HoldMessageQueueCreation(true);
  ASSERT_TRUE(Engine().StartMonitoring());
  sim::WaitForThreadHeldBeforeItsQueue();
  // The hook thread has stored its id but has no queue: the WM_QUIT of the stop is lost.
  auto stopped = std::async(std::launch::async, [] { Engine().StopMonitoring(); });
  while (CountCalls("PostThreadMessageW 18 0 0") == 0) std::this_thread::yield();
  sim::HoldMessageQueueCreation(false);
  // Nothing else will ever reach that queue; a wait here means the stop hangs.
  const bool ended = stopped.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  if (!ended) sim::QuitEveryMessageLoop();
  stopped.get();
  EXPECT_TRUE(ended) << "StopMonitoring waited for a message that never came";
  EXPECT_FALSE(Engine().IsRunning());
  EXPECT_EQ(sim::ActiveWinEventHooks(), 0);
}

TEST_F(WindowBlockerTest, MonitoringRestartsAfterStop) {
  const WindowHandle w = sim::AddDesktopWindow(PopupWindow());
  Engine().ReplaceRules({Rule("ads", u"adpop", "close")});
  Engine().SetEnabled(true);
  StartHook();
  Engine().StopMonitoring();
  StartHook();
  Fire(sim::kEventObjectCreate, w);
  EXPECT_EQ(Engine().GetSnapshotData().blockedLogs.size(), 1u);
  EXPECT_EQ(sim::ActiveWinEventHooks(), 2);
}

}  // namespace
