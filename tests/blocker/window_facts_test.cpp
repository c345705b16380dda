#include "blocker/window_facts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "blocker/window_block_rule.h"
#include "sim_user.h"
#include "sim_core.h"
#include "sim_kernel.h"

using blocker::CollectWindowFacts;
using blocker::CurrentTimeMs;
using blocker::IsBlockableProcess;
using blocker::IsIgnoredWindowClass;
using blocker::IsOwnProcessWindow;
using blocker::PassesWindowShapeGate;
using blocker::WindowFacts;
using platform::WindowHandle;

namespace {

constexpr std::uint32_t kAppPid = 1200;
constexpr std::uint32_t kOwnPid = 4000;
constexpr std::uint32_t kServicePid = 4100;
constexpr std::uint32_t kNotepadPid = 1300;

bool Contains(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

bool AnyStartsWith(const std::vector<std::string>& lines, const std::string& prefix) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return line.rfind(prefix, 0) == 0; });
}

// What a log line says of a simulated window: its handle as %p prints it.
std::string HandleText(WindowHandle window) {
  char text[17];
  std::snprintf(text, sizeof(text), "%016llX",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(window)));
  return text;
}

std::string SkipLine(WindowHandle window, const std::string& reason) {
  return "[WindowBlocker] pick-skip hwnd=" + HandleText(window) + " " + reason + "\n";
}

// A plain top-level window, 800 by 600 by its frame and 814 by 607 with its resize borders.
sim::DesktopWindow AppWindow(std::uint32_t pid = kAppPid) {
  sim::DesktopWindow window;
  window.pid = pid;
  window.className = u"AppMainWindow";
  window.title = u"Pop-up Ad";
  window.frameBounds = Rect{100, 100, 900, 700};
  window.windowRect = Rect{93, 100, 907, 707};
  return window;
}

sim::DesktopWindow SizedWindow(int width, int height) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds = Rect{10, 20, 10 + width, 20 + height};
  window.windowRect = Rect{0, 20, 20 + width, 30 + height};
  return window;
}

class WindowFactsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    sim::AddProcess(kAppPid, {u"D:\\Apps\\Vendor\\PopupMaker.EXE"});
    sim::AddProcess(kOwnPid, {u"C:\\Program Files\\KelvoTarnel\\KelvoTarnel.exe"});
    sim::AddProcess(kServicePid, {u"C:\\Program Files\\KelvoTarnel\\KelvoTarnelService.exe"});
    sim::AddProcess(kNotepadPid, {u"C:\\Windows\\System32\\notepad.exe"});
  }
  void TearDown() override { EXPECT_EQ(sim::OpenProcessHandles(), 0); }

  static bool Gate(WindowHandle window, bool allowHidden = false, bool logSkip = false) {
    return PassesWindowShapeGate(window, allowHidden, logSkip);
  }
};

WindowFacts FactsOf(std::u16string processName, std::u16string exePath) {
  WindowFacts facts;
  facts.pid = kAppPid;
  facts.title = u"t";
  facts.processName = std::move(processName);
  facts.exePath = std::move(exePath);
  return facts;
}

}  // namespace

// ---- Fixed lists ----

TEST(FixedLists, HaveTheirDocumentedSizesAndOrder) {
  ASSERT_EQ(std::size(blocker::kIgnoredWindowClasses), 10u);
  EXPECT_EQ(blocker::kIgnoredWindowClasses[0], u"KelvoPopupBlockerPickerWindow");
  EXPECT_EQ(blocker::kIgnoredWindowClasses[9], u"MSCTFIME UI");
  ASSERT_EQ(std::size(blocker::kSystemProcessNames), 16u);
  EXPECT_EQ(blocker::kSystemProcessNames[0], u"explorer");
  EXPECT_EQ(blocker::kSystemProcessNames[15], u"searchapp");
  ASSERT_EQ(std::size(blocker::kOwnProcessNames), 4u);
  EXPECT_EQ(blocker::kOwnProcessNames[3], u"kelvotarnelinfomation");
}

TEST(IsIgnoredWindowClass, EveryListedClassIsIgnored) {
  for (const std::u16string_view name :
       {u"KelvoPopupBlockerPickerWindow", u"Progman", u"WorkerW", u"Shell_TrayWnd",
        u"Shell_SecondaryTrayWnd", u"Button", u"tooltips_class32", u"SysShadow", u"IME",
        u"MSCTFIME UI"}) {
    EXPECT_TRUE(IsIgnoredWindowClass(name)) << std::string(name.begin(), name.end());
  }
}

TEST(IsIgnoredWindowClass, ProgmanInLowerCaseIsNotIgnored) {
  EXPECT_FALSE(IsIgnoredWindowClass(u"progman"));
  EXPECT_FALSE(IsIgnoredWindowClass(u"BUTTON"));
}

TEST(IsIgnoredWindowClass, OnlyWholeNamesCount) {
  EXPECT_FALSE(IsIgnoredWindowClass(u"IME2"));
  EXPECT_FALSE(IsIgnoredWindowClass(u"MSCTFIME"));
  EXPECT_FALSE(IsIgnoredWindowClass(u" Button"));
  EXPECT_FALSE(IsIgnoredWindowClass(u""));
}

// ---- CurrentTimeMs ----

TEST_F(WindowFactsTest, CurrentTimeMsIsTheSystemTimeSinceTheUnixEpoch) {
  sim::SetSystemTimeMs(1700000000123);
  EXPECT_EQ(CurrentTimeMs(), 1700000000123);
}

TEST_F(WindowFactsTest, CurrentTimeMsDividesHundredNanosecondTicksBy10000) {
  sim::SetSystemTimeFileTime(116444736000000000ULL + 12345678ULL);
  EXPECT_EQ(CurrentTimeMs(), 1234);
}

TEST_F(WindowFactsTest, CurrentTimeMsFollowsAChangeOfTheSystemTimeBackwards) {
  sim::SetSystemTimeMs(1800000000000);
  const auto before = CurrentTimeMs();
  sim::SetSystemTimeMs(1600000000000);
  EXPECT_EQ(before - CurrentTimeMs(), 200000000000);
}

// ---- PassesWindowShapeGate ----

TEST_F(WindowFactsTest, GateFailsANullHandle) {
  EXPECT_FALSE(Gate(nullptr));
  EXPECT_TRUE(sim::DesktopCalls().empty());
}

TEST_F(WindowFactsTest, GateFailsAHandleThatNamesNoWindow) {
  EXPECT_FALSE(Gate(sim::StaleHandle(), true, true));
  const WindowHandle gone = sim::AddDesktopWindow(AppWindow());
  sim::DestroyDesktopWindow(gone);
  EXPECT_FALSE(Gate(gone, true, true));
  EXPECT_TRUE(sim::DebugOutput().empty());
}

TEST_F(WindowFactsTest, GatePassesAPlainVisibleTopLevelWindow) {
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(AppWindow())));
}

TEST_F(WindowFactsTest, GateFailsAHiddenWindowUnlessHiddenIsAllowed) {
  sim::DesktopWindow hidden = AppWindow();
  hidden.visible = false;
  const WindowHandle window = sim::AddDesktopWindow(hidden);
  EXPECT_FALSE(Gate(window, false, false));
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_TRUE(Gate(window, true, false));
  EXPECT_TRUE(sim::DebugOutput().empty());
}

TEST_F(WindowFactsTest, GateFailsAChildWindowEvenWhenHiddenIsAllowed) {
  const WindowHandle root = sim::AddDesktopWindow(AppWindow());
  sim::DesktopWindow child = AppWindow();
  child.parent = root;
  child.style = platform::kWsChild;
  const WindowHandle window = sim::AddDesktopWindow(child);
  EXPECT_FALSE(Gate(window, true, true));
  EXPECT_TRUE(sim::DebugOutput().empty());
}

TEST_F(WindowFactsTest, GateTestsChildStyleBeforeAskingForCloaking) {
  sim::DesktopWindow child = AppWindow();
  child.style = platform::kWsChild;
  child.cloaked = 1u;
  const WindowHandle window = sim::AddDesktopWindow(child);
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_FALSE(AnyStartsWith(sim::DesktopCalls(), "DwmGetWindowAttribute"));
  EXPECT_TRUE(sim::DebugOutput().empty());
}

TEST_F(WindowFactsTest, GatePassesAWindowOfExactly120By60) {
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(SizedWindow(120, 60))));
}

TEST_F(WindowFactsTest, GateFailsAWindowOf119By600) {
  EXPECT_FALSE(Gate(sim::AddDesktopWindow(SizedWindow(119, 600))));
}

TEST_F(WindowFactsTest, GateFailsAWindowOf600By59) {
  EXPECT_FALSE(Gate(sim::AddDesktopWindow(SizedWindow(600, 59))));
}

TEST_F(WindowFactsTest, GateFailsAFrame100WideAlthoughTheWindowRectIs300Wide) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds = Rect{0, 0, 100, 200};
  window.windowRect = Rect{0, 0, 300, 200};
  EXPECT_FALSE(Gate(sim::AddDesktopWindow(window)));
  EXPECT_FALSE(AnyStartsWith(sim::DesktopCalls(), "GetWindowRect"));
}

TEST_F(WindowFactsTest, GateFallsBackToTheWindowRectWhenTheFrameQueryFails) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds.reset();
  window.windowRect = Rect{50, 50, 350, 250};
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(window)));
  EXPECT_TRUE(Contains(sim::DesktopCalls(), "GetWindowRect w1"));
}

TEST_F(WindowFactsTest, GateFallsBackToTheWindowRectWhenTheFrameIsEmpty) {
  sim::DesktopWindow wide = AppWindow();
  wide.frameBounds = Rect{100, 100, 100, 700};
  wide.windowRect = Rect{0, 0, 300, 200};
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(wide)));
  sim::DesktopWindow inverted = AppWindow();
  inverted.frameBounds = Rect{100, 700, 900, 100};
  inverted.windowRect = Rect{0, 0, 300, 200};
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(inverted)));
}

TEST_F(WindowFactsTest, GateFailsWhenNeitherFrameNorWindowRectCanBeRead) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds.reset();
  window.windowRect.reset();
  EXPECT_FALSE(Gate(sim::AddDesktopWindow(window)));
}

TEST_F(WindowFactsTest, GateFailsAnEmptyWindowRectWhenTheFrameQueryFails) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds.reset();
  window.windowRect = Rect{300, 300, 300, 500};
  EXPECT_FALSE(Gate(sim::AddDesktopWindow(window)));
}

TEST_F(WindowFactsTest, GateFailsACloakedWindowInEveryMode) {
  sim::DesktopWindow cloaked = AppWindow();
  cloaked.cloaked = 2u;
  const WindowHandle window = sim::AddDesktopWindow(cloaked);
  for (const bool allowHidden : {false, true}) {
    for (const bool logSkip : {false, true}) {
      EXPECT_FALSE(Gate(window, allowHidden, logSkip)) << allowHidden << logSkip;
    }
  }
}

TEST_F(WindowFactsTest, CloakedWindowWritesAReasonLineOnlyUnderLogSkip) {
  sim::DesktopWindow cloaked = AppWindow();
  cloaked.cloaked = 1u;
  const WindowHandle window = sim::AddDesktopWindow(cloaked);
  EXPECT_FALSE(Gate(window, false, false));
  EXPECT_TRUE(sim::DebugOutput().empty());
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(), std::vector<std::string>{SkipLine(window, "dwm cloaked")});
}

TEST_F(WindowFactsTest, FailedCloakQueryCountsAsNotCloaked) {
  sim::DesktopWindow window = AppWindow();
  window.cloaked.reset();
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(window), false, true));
  EXPECT_TRUE(sim::DebugOutput().empty());
}

TEST_F(WindowFactsTest, GateAsksForCloakingWithAFourByteWord) {
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(AppWindow())));
  EXPECT_TRUE(Contains(sim::DesktopCalls(), "DwmGetWindowAttribute w1 14"));
  EXPECT_TRUE(Contains(sim::DesktopCalls(), "DwmGetWindowAttribute w1 9"));
}

TEST_F(WindowFactsTest, IgnoredClassFailsWithAReasonOnlyUnderLogSkip) {
  sim::DesktopWindow tray = AppWindow();
  tray.className = u"Shell_TrayWnd";
  const WindowHandle window = sim::AddDesktopWindow(tray);
  EXPECT_FALSE(Gate(window, false, false));
  EXPECT_TRUE(sim::DebugOutput().empty());
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(), std::vector<std::string>{SkipLine(window, "ignored class")});
}

TEST_F(WindowFactsTest, ClassProgmanInLowerCasePassesTheGate) {
  sim::DesktopWindow window = AppWindow();
  window.className = u"progman";
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(window), false, true));
}

TEST_F(WindowFactsTest, CloakingIsDecidedBeforeTheClass) {
  sim::DesktopWindow both = AppWindow();
  both.className = u"WorkerW";
  both.cloaked = 1u;
  const WindowHandle window = sim::AddDesktopWindow(both);
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(), std::vector<std::string>{SkipLine(window, "dwm cloaked")});
}

TEST_F(WindowFactsTest, GateReadsTheClassNameWithALimitOf255) {
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(AppWindow())));
  EXPECT_TRUE(Contains(sim::DesktopCalls(), "GetClassNameW w1 255"));
}

TEST_F(WindowFactsTest, NoActivateWindowFailsOnlyUnderLogSkip) {
  sim::DesktopWindow toast = AppWindow();
  toast.exStyle = platform::kWsExNoActivate;
  const WindowHandle window = sim::AddDesktopWindow(toast);
  EXPECT_TRUE(Gate(window, false, false));
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(),
            std::vector<std::string>{SkipLine(window, "noactivate/transparent")});
}

TEST_F(WindowFactsTest, ClickThroughWindowFailsOnlyUnderLogSkip) {
  sim::DesktopWindow overlay = AppWindow();
  overlay.exStyle = platform::kWsExTransparent;
  const WindowHandle window = sim::AddDesktopWindow(overlay);
  EXPECT_TRUE(Gate(window, false, false));
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(),
            std::vector<std::string>{SkipLine(window, "noactivate/transparent")});
}

TEST_F(WindowFactsTest, LayeredWindowWithAlpha8FailsUnderLogSkip) {
  sim::DesktopWindow faded = AppWindow();
  faded.exStyle = platform::kWsExLayered;
  faded.layered = sim::LayeredAttributes{0, 8, platform::kLwaAlpha};
  const WindowHandle window = sim::AddDesktopWindow(faded);
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(),
            std::vector<std::string>{SkipLine(window, "noactivate/transparent")});
}

TEST_F(WindowFactsTest, LayeredWindowWithAlpha9PassesUnderLogSkip) {
  sim::DesktopWindow faded = AppWindow();
  faded.exStyle = platform::kWsExLayered;
  faded.layered = sim::LayeredAttributes{0, 9, platform::kLwaAlpha};
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(faded), false, true));
  EXPECT_TRUE(sim::DebugOutput().empty());
}

TEST_F(WindowFactsTest, LayeredWindowPassesAtAnyAlphaWithoutLogSkip) {
  for (const int alpha : {0, 1, 8, 9, 255}) {
    sim::DesktopWindow faded = AppWindow();
    faded.exStyle = platform::kWsExLayered;
    faded.layered =
        sim::LayeredAttributes{0, static_cast<std::uint8_t>(alpha), platform::kLwaAlpha};
    EXPECT_TRUE(Gate(sim::AddDesktopWindow(faded), false, false)) << alpha;
  }
  EXPECT_FALSE(AnyStartsWith(sim::DesktopCalls(), "GetLayeredWindowAttributes"));
}

TEST_F(WindowFactsTest, LayeredWindowWithOnlyAColourKeyPassesUnderLogSkip) {
  sim::DesktopWindow keyed = AppWindow();
  keyed.exStyle = platform::kWsExLayered;
  keyed.layered = sim::LayeredAttributes{0xFF00FF, 0, platform::kLwaColorKey};
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(keyed), false, true));
}

TEST_F(WindowFactsTest, LayeredWindowWhoseAttributesCannotBeReadPassesUnderLogSkip) {
  sim::DesktopWindow drawn = AppWindow();
  drawn.exStyle = platform::kWsExLayered;
  drawn.layered.reset();
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(drawn), false, true));
  EXPECT_TRUE(Contains(sim::DesktopCalls(), "GetLayeredWindowAttributes w1"));
}

TEST_F(WindowFactsTest, AlphaOfAWindowWithoutTheLayeredStyleIsNotAsked) {
  sim::DesktopWindow plain = AppWindow();
  plain.layered = sim::LayeredAttributes{0, 0, platform::kLwaAlpha};
  EXPECT_TRUE(Gate(sim::AddDesktopWindow(plain), false, true));
  EXPECT_FALSE(AnyStartsWith(sim::DesktopCalls(), "GetLayeredWindowAttributes"));
}

TEST_F(WindowFactsTest, TinyNoActivateWindowIsRefusedForItsStyleBeforeItsSize) {
  sim::DesktopWindow tiny = SizedWindow(10, 10);
  tiny.exStyle = platform::kWsExNoActivate;
  const WindowHandle window = sim::AddDesktopWindow(tiny);
  EXPECT_FALSE(Gate(window, false, true));
  EXPECT_EQ(sim::DebugOutput(),
            std::vector<std::string>{SkipLine(window, "noactivate/transparent")});
}

TEST_F(WindowFactsTest, ToolOwnedAndPopupWindowsPass) {
  const WindowHandle owner = sim::AddDesktopWindow(AppWindow());
  sim::DesktopWindow tool = AppWindow();
  tool.exStyle = platform::kWsExToolWindow;
  sim::DesktopWindow owned = AppWindow();
  owned.owner = owner;
  sim::DesktopWindow popup = AppWindow();
  popup.style = platform::kWsPopup;
  for (const auto& window : {tool, owned, popup}) {
    EXPECT_TRUE(Gate(sim::AddDesktopWindow(window), false, true));
  }
}

TEST_F(WindowFactsTest, WindowDestroyedDuringTheGateFailsAtTheNextTest) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow());
  sim::SetDesktopCallHook([&](std::string_view call, WindowHandle) {
    if (call == "IsWindow") sim::DestroyDesktopWindow(window);
  });
  EXPECT_FALSE(Gate(window));
}

// ---- LogSkipReason ----

TEST_F(WindowFactsTest, LogSkipReasonWritesTheTagHandleAndReason) {
  blocker::LogSkipReason(u"pick-skip", reinterpret_cast<WindowHandle>(0x1A2B3C), u"ignored class");
  EXPECT_EQ(
      sim::DebugOutput(),
      std::vector<std::string>{"[WindowBlocker] pick-skip hwnd=00000000001A2B3C ignored class\n"});
}

TEST_F(WindowFactsTest, LogSkipReasonCutsTheLineAt511Units) {
  const std::u16string tag(600, u'标');
  blocker::LogSkipReason(tag, nullptr, u"x");
  const auto lines = sim::DebugOutput();
  ASSERT_EQ(lines.size(), 1u);
  const std::u16string line = Utf8ToWide(lines[0]);
  EXPECT_EQ(line.size(), 511u);
  EXPECT_EQ(line.substr(0, 16), u"[WindowBlocker] ");
  EXPECT_EQ(line.back(), u'标');
}

// ---- CollectWindowFacts ----

TEST_F(WindowFactsTest, CollectFillsEveryField) {
  sim::SetSystemTimeMs(1770000000500);
  const WindowHandle window = sim::AddDesktopWindow(AppWindow());
  WindowFacts facts;
  facts.hitCount = 9;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, window, &facts, false, false));
  EXPECT_EQ(facts.hwnd, window);
  EXPECT_EQ(facts.pid, kAppPid);
  EXPECT_EQ(facts.width, 800);
  EXPECT_EQ(facts.height, 600);
  EXPECT_EQ(facts.title, u"Pop-up Ad");
  EXPECT_EQ(facts.className, u"AppMainWindow");
  EXPECT_EQ(facts.exePath, u"D:\\Apps\\Vendor\\PopupMaker.EXE");
  EXPECT_EQ(facts.processName, u"PopupMaker");
  EXPECT_EQ(facts.productName, u"");
  EXPECT_EQ(facts.firstSeenMs, 1770000000500);
  EXPECT_EQ(facts.lastSeenMs, 1770000000500);
  EXPECT_EQ(facts.hitCount, 0);
}

TEST_F(WindowFactsTest, CollectGivesFalseForANullWindowOrOutput) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow());
  WindowFacts facts;
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, nullptr, &facts, false, false));
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, window, nullptr, false, false));
  EXPECT_TRUE(sim::DesktopCalls().empty());
}

TEST_F(WindowFactsTest, CollectLeavesTheOutputAloneWhenTheGateFails) {
  const WindowHandle window = sim::AddDesktopWindow(SizedWindow(119, 600));
  WindowFacts facts;
  facts.title = u"before";
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, window, &facts, false, false));
  EXPECT_EQ(facts.title, u"before");
  EXPECT_FALSE(AnyStartsWith(sim::DesktopCalls(), "GetWindowThreadProcessId"));
}

TEST_F(WindowFactsTest, CollectRefusesAWindowOfThisProcess) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow(kOwnPid));
  WindowFacts facts;
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, window, &facts, false, false));
  EXPECT_FALSE(AnyStartsWith(sim::Journal(), "OpenProcess"));
}

TEST_F(WindowFactsTest, BeforeSetOwnProcessIdOwnWindowsPassTheProcessIdTest) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow(kOwnPid));
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(0, window, &facts, false, false));
  EXPECT_EQ(facts.pid, kOwnPid);
  EXPECT_EQ(facts.processName, u"KelvoTarnel");
}

TEST_F(WindowFactsTest, CollectRefusesAWindowWhoseProcessIdIsZero) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow(0));
  WindowFacts facts;
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, window, &facts, false, false));
  EXPECT_FALSE(CollectWindowFacts(0, window, &facts, false, false));
}

TEST_F(WindowFactsTest, CollectTakesTheWindowRectWhenTheFrameQueryFails) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds.reset();
  window.windowRect = Rect{40, 30, 340, 230};
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.width, 300);
  EXPECT_EQ(facts.height, 200);
}

TEST_F(WindowFactsTest, CollectTakesTheFrameWhenItAnswers) {
  sim::DesktopWindow window = AppWindow();
  window.frameBounds = Rect{-8, 0, 1912, 1032};
  window.windowRect = Rect{-16, -8, 1920, 1040};
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.width, 1920);
  EXPECT_EQ(facts.height, 1032);
}

TEST_F(WindowFactsTest, WindowWithAnEmptyTitleAndAClassYieldsFacts) {
  sim::DesktopWindow window = AppWindow();
  window.title.clear();
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.title, u"");
  EXPECT_EQ(facts.className, u"AppMainWindow");
  EXPECT_FALSE(AnyStartsWith(sim::DesktopCalls(), "GetWindowTextW"));
}

TEST_F(WindowFactsTest, WindowWithNeitherTitleNorClassYieldsNone) {
  sim::DesktopWindow window = AppWindow();
  window.title.clear();
  window.className.clear();
  WindowFacts facts;
  facts.title = u"before";
  facts.pid = 7;
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.title, u"before");
  EXPECT_EQ(facts.pid, 7u);
}

TEST_F(WindowFactsTest, TitleIsReadWithABufferOfItsLengthPlusOne) {
  WindowFacts facts;
  ASSERT_TRUE(
      CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(AppWindow()), &facts, false, false));
  EXPECT_TRUE(Contains(sim::DesktopCalls(), "GetWindowTextW w1 10"));
}

TEST_F(WindowFactsTest, TitleKeepsTheReportedLengthWhenTheTextIsShorter) {
  sim::DesktopWindow window = AppWindow();
  window.title = u"Ad";
  window.reportedTextLength = 4;
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.title, std::u16string(u"Ad\0\0", 4));
}

TEST_F(WindowFactsTest, TitleKeepsTheReportedLengthWhenTheTextIsLonger) {
  sim::DesktopWindow window = AppWindow();
  window.title = u"Pop-up Ad";
  window.reportedTextLength = 3;
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.title, u"Pop");
}

TEST_F(WindowFactsTest, ClassNameLongerThan254UnitsIsCut) {
  sim::DesktopWindow window = AppWindow();
  window.className = std::u16string(256, u'c');
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(window), &facts, false, false));
  EXPECT_EQ(facts.className, std::u16string(254, u'c'));
}

TEST_F(WindowFactsTest, PathIsAskedWithLimitedRightsAndAZeroedBufferOf1040) {
  WindowFacts facts;
  ASSERT_TRUE(
      CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(AppWindow()), &facts, false, false));
  const auto calls = sim::Journal();
  EXPECT_TRUE(Contains(calls, "OpenProcess 4096 0 1200"));
  EXPECT_TRUE(Contains(calls, "QueryFullProcessImageNameW 0 1040"));
  EXPECT_TRUE(Contains(calls, "CloseHandle process"));
}

TEST_F(WindowFactsTest, ProcessThatCannotBeOpenedGivesAnEmptyPathAndName) {
  sim::AddProcess(kAppPid, {u"D:\\Apps\\Elevated.exe", true, false});
  WindowFacts facts;
  ASSERT_TRUE(
      CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(AppWindow()), &facts, false, false));
  EXPECT_EQ(facts.exePath, u"");
  EXPECT_EQ(facts.processName, u"");
  EXPECT_FALSE(Contains(sim::Journal(), "CloseHandle process"));
}

TEST_F(WindowFactsTest, FailedPathQueryStillClosesTheProcessHandle) {
  sim::AddProcess(kAppPid, {u"D:\\Apps\\Odd.exe", false, true});
  WindowFacts facts;
  ASSERT_TRUE(
      CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(AppWindow()), &facts, false, false));
  EXPECT_EQ(facts.exePath, u"");
  EXPECT_EQ(facts.processName, u"");
  EXPECT_TRUE(Contains(sim::Journal(), "CloseHandle process"));
  EXPECT_EQ(sim::OpenProcessHandles(), 0);
}

TEST_F(WindowFactsTest, PathLongerThanTheBufferIsLeftEmpty) {
  sim::AddProcess(kAppPid, {u"D:\\" + std::u16string(1040, u'a') + u".exe"});
  WindowFacts facts;
  ASSERT_TRUE(
      CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(AppWindow()), &facts, false, false));
  EXPECT_EQ(facts.exePath, u"");
}

TEST_F(WindowFactsTest, ProcessNameKeepsTheCaseOfThePath) {
  sim::AddProcess(kAppPid, {u"Z:\\home\\user\\MyTool.Exe"});
  WindowFacts facts;
  ASSERT_TRUE(
      CollectWindowFacts(kOwnPid, sim::AddDesktopWindow(AppWindow()), &facts, false, false));
  EXPECT_EQ(facts.exePath, u"Z:\\home\\user\\MyTool.Exe");
  EXPECT_EQ(facts.processName, u"MyTool");
}

TEST_F(WindowFactsTest, CollectWithHiddenAllowedReadsAHiddenWindow) {
  sim::DesktopWindow window = AppWindow();
  window.visible = false;
  const WindowHandle handle = sim::AddDesktopWindow(window);
  WindowFacts facts;
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, handle, &facts, false, false));
  EXPECT_TRUE(CollectWindowFacts(kOwnPid, handle, &facts, true, false));
}

TEST_F(WindowFactsTest, CollectPassesLogSkipOnToTheGate) {
  sim::DesktopWindow window = AppWindow();
  window.exStyle = platform::kWsExNoActivate;
  const WindowHandle handle = sim::AddDesktopWindow(window);
  WindowFacts facts;
  EXPECT_TRUE(CollectWindowFacts(kOwnPid, handle, &facts, false, false));
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, handle, &facts, false, true));
  EXPECT_EQ(sim::DebugOutput().size(), 1u);
}

TEST_F(WindowFactsTest, WindowDestroyedAfterTheProcessIdGivesNoFacts) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow());
  sim::SetDesktopCallHook([&](std::string_view call, WindowHandle) {
    if (call == "GetWindowThreadProcessId") sim::DestroyDesktopWindow(window);
  });
  WindowFacts facts;
  facts.title = u"before";
  EXPECT_FALSE(CollectWindowFacts(kOwnPid, window, &facts, false, false));
  EXPECT_EQ(facts.title, u"before");
}

TEST_F(WindowFactsTest, WindowDestroyedAfterItsTitleGivesFactsWithAnEmptyClass) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow());
  sim::SetDesktopCallHook([&](std::string_view call, WindowHandle) {
    if (call == "GetWindowTextW") sim::DestroyDesktopWindow(window);
  });
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(kOwnPid, window, &facts, false, false));
  EXPECT_EQ(facts.title, u"Pop-up Ad");
  EXPECT_EQ(facts.className, u"");
  EXPECT_EQ(facts.exePath, u"D:\\Apps\\Vendor\\PopupMaker.EXE");
}

// ---- IsBlockableProcess ----

TEST_F(WindowFactsTest, WindowWithoutAProcessNameIsNotBlockable) {
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"", u"")));
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"", u"D:\\Apps\\")));
}

TEST_F(WindowFactsTest, EverySystemProcessNameIsExemptInAnyLetterCase) {
  for (const std::u16string_view name : blocker::kSystemProcessNames) {
    std::u16string upper(name);
    for (auto& unit : upper) unit = (unit >= u'a' && unit <= u'z') ? unit - 32 : unit;
    EXPECT_FALSE(IsBlockableProcess(FactsOf(upper, u"D:\\Elsewhere\\" + upper + u".exe")))
        << std::string(name.begin(), name.end());
  }
}

TEST_F(WindowFactsTest, ExplorerExeIsExemptThroughItsNameWhereverItLies) {
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"Explorer", u"D:\\Copies\\Explorer.EXE")));
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"Explorer", u"C:\\Windows\\Explorer.EXE")));
}

TEST_F(WindowFactsTest, CopyOfExplorerUnderAnotherNameOutsideTheWindowsDirectoryIsBlockable) {
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"MyShell", u"D:\\Copies\\MyShell.exe")));
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"explorer2", u"D:\\Copies\\explorer2.exe")));
}

TEST_F(WindowFactsTest, ProgramUnderASubfolderOfTheWindowsDirectoryIsExemptInAnyCase) {
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"notepad", u"C:\\Windows\\System32\\notepad.exe")));
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"Tool", u"c:\\WINDOWS\\SysWOW64\\Sub\\Tool.exe")));
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"x", u"C:\\windows\\x.exe")));
}

TEST_F(WindowFactsTest, FolderThatOnlyStartsLikeTheWindowsDirectoryIsNotExempt) {
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"App", u"C:\\WindowsApps\\App.exe")));
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"App", u"C:/Windows/App.exe")));
}

TEST_F(WindowFactsTest, WindowsDirectoryEndingInABackslashGetsNoSecond) {
  sim::SetWindowsDirectory(u"E:\\WinNT\\");
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"App", u"E:\\WinNT\\App.exe")));
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"App", u"C:\\Windows\\App.exe")));
}

TEST_F(WindowFactsTest, FailedWindowsDirectoryQueryLetsTheProcessThrough) {
  sim::SetWindowsDirectory(std::nullopt);
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"notepad", u"C:\\Windows\\System32\\notepad.exe")));
  EXPECT_FALSE(IsBlockableProcess(FactsOf(u"taskmgr", u"C:\\Windows\\System32\\Taskmgr.exe")));
}

TEST_F(WindowFactsTest, WindowsDirectoryIsAskedWithABufferOf260) {
  IsBlockableProcess(FactsOf(u"App", u"D:\\App.exe"));
  EXPECT_TRUE(Contains(sim::Journal(), "GetWindowsDirectoryW 260"));
}

TEST_F(WindowFactsTest, OrdinaryProgramIsBlockable) {
  EXPECT_TRUE(IsBlockableProcess(FactsOf(u"PopupMaker", u"D:\\Apps\\Vendor\\PopupMaker.EXE")));
}

// ---- IsOwnProcessWindow ----

TEST(IsOwnProcessWindow, EveryOwnNameCountsInAnyLetterCase) {
  for (const std::u16string_view name :
       {u"KelvoTarnel", u"KELVOTARNELSERVICE", u"kelvotarnelTour", u"KelvoTarnelInfomation"}) {
    EXPECT_TRUE(IsOwnProcessWindow(FactsOf(std::u16string(name), u"D:\\x.exe")))
        << std::string(name.begin(), name.end());
  }
}

TEST(IsOwnProcessWindow, CorrectlySpeltInformationIsNotOwn) {
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"kelvotarnelinformation", u"D:\\x.exe")));
}

TEST(IsOwnProcessWindow, AnythingInAFolderNamedKelvoTarnelIsOwn) {
  EXPECT_TRUE(
      IsOwnProcessWindow(FactsOf(u"helper", u"C:\\Program Files\\KelvoTarnel\\helper.exe")));
  EXPECT_TRUE(IsOwnProcessWindow(FactsOf(u"h", u"C:/Program Files/kelvotarnel/bin/h.exe")));
  EXPECT_TRUE(IsOwnProcessWindow(FactsOf(u"", u"\\kelvotarnel\\")));
}

TEST(IsOwnProcessWindow, FolderNamedKelvoTarnel2IsNotOwn) {
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"helper", u"C:\\Apps\\kelvotarnel2\\helper.exe")));
}

TEST(IsOwnProcessWindow, FolderNameMustStandBetweenTwoBackslashes) {
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"h", u"kelvotarnel\\h.exe")));
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"h", u"C:\\Apps\\kelvotarnel")));
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"h", u"C:\\my kelvotarnel\\h.exe")));
}

TEST(IsOwnProcessWindow, OtherProgramIsNotOwn) {
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"", u"")));
  EXPECT_FALSE(IsOwnProcessWindow(FactsOf(u"notepad", u"C:\\Windows\\notepad.exe")));
}

// ---- Who uses what ----

namespace {

// How each caller composes the tests of this module, one row per path.
struct CallerPath {
  const char* name;
  bool lookAtRoot;
  bool allowHidden;
  bool logSkip;
  bool checksOwnProcess;
};

constexpr CallerPath kRuleMatching{"rule matching", true, false, false, false};
constexpr CallerPath kSuperBlock{"super block", true, false, false, true};
constexpr CallerPath kBlockWindowNow{"blockWindowNow", false, false, false, false};
constexpr CallerPath kPicker{"picker", true, false, true, false};
constexpr CallerPath kPaths[] = {kRuleMatching, kSuperBlock, kBlockWindowNow, kPicker};

bool MayAct(const CallerPath& path, WindowHandle window) {
  const WindowHandle target = path.lookAtRoot ? sim::RootAncestor(window) : window;
  WindowFacts facts;
  if (!CollectWindowFacts(kOwnPid, target, &facts, path.allowHidden, path.logSkip)) return false;
  if (!IsBlockableProcess(facts)) return false;
  return !(path.checksOwnProcess && IsOwnProcessWindow(facts));
}

}  // namespace

TEST_F(WindowFactsTest, EveryPathMayActOnAnOrdinaryPopup) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow());
  for (const CallerPath& path : kPaths) EXPECT_TRUE(MayAct(path, window)) << path.name;
}

TEST_F(WindowFactsTest, RuleCanReachTheProductsServiceButSuperBlockCannot) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow(kServicePid));
  EXPECT_TRUE(MayAct(kRuleMatching, window));
  EXPECT_TRUE(MayAct(kBlockWindowNow, window));
  EXPECT_TRUE(MayAct(kPicker, window));
  EXPECT_FALSE(MayAct(kSuperBlock, window));
}

TEST_F(WindowFactsTest, OnlyTheProgramsOwnProcessIsSafeFromEveryPath) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow(kOwnPid));
  for (const CallerPath& path : kPaths) EXPECT_FALSE(MayAct(path, window)) << path.name;
}

TEST_F(WindowFactsTest, EveryPathRefusesAProgramOfTheWindowsDirectory) {
  const WindowHandle window = sim::AddDesktopWindow(AppWindow(kNotepadPid));
  for (const CallerPath& path : kPaths) EXPECT_FALSE(MayAct(path, window)) << path.name;
}

TEST_F(WindowFactsTest, OnlyThePickerRefusesANoActivateWindow) {
  sim::DesktopWindow toast = AppWindow();
  toast.exStyle = platform::kWsExNoActivate | platform::kWsExLayered;
  toast.layered = sim::LayeredAttributes{0, 0, platform::kLwaAlpha};
  const WindowHandle window = sim::AddDesktopWindow(toast);
  EXPECT_TRUE(MayAct(kRuleMatching, window));
  EXPECT_TRUE(MayAct(kSuperBlock, window));
  EXPECT_TRUE(MayAct(kBlockWindowNow, window));
  EXPECT_FALSE(MayAct(kPicker, window));
}

TEST_F(WindowFactsTest, PathsThatStepToTheRootReachTheWindowAboveAChild) {
  const WindowHandle root = sim::AddDesktopWindow(AppWindow());
  sim::DesktopWindow child = AppWindow();
  child.parent = root;
  child.style = platform::kWsChild;
  const WindowHandle button = sim::AddDesktopWindow(child);
  EXPECT_TRUE(MayAct(kRuleMatching, button));
  EXPECT_TRUE(MayAct(kSuperBlock, button));
  EXPECT_TRUE(MayAct(kPicker, button));
  EXPECT_FALSE(MayAct(kBlockWindowNow, button));
}

TEST_F(WindowFactsTest, NoPathLooksAtAHiddenWindow) {
  sim::DesktopWindow hidden = AppWindow();
  hidden.visible = false;
  const WindowHandle window = sim::AddDesktopWindow(hidden);
  for (const CallerPath& path : kPaths) EXPECT_FALSE(MayAct(path, window)) << path.name;
}

TEST_F(WindowFactsTest, OnlyThePickerWritesReasonLines) {
  sim::DesktopWindow cloaked = AppWindow();
  cloaked.cloaked = 1u;
  const WindowHandle window = sim::AddDesktopWindow(cloaked);
  for (const CallerPath& path : {kRuleMatching, kSuperBlock, kBlockWindowNow}) {
    EXPECT_FALSE(MayAct(path, window)) << path.name;
  }
  EXPECT_TRUE(sim::DebugOutput().empty());
  EXPECT_FALSE(MayAct(kPicker, window));
  EXPECT_EQ(sim::DebugOutput().size(), 1u);
}
