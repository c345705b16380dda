// The marquee and the popup as windows on the simulated desktop: creation, timers, clicks,
// closing paths and painting through the one window procedure.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "overlay/marquee.h"
#include "overlay/overlay_scale.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "overlay/popup.h"
#include "platform/user.h"
#include "sim_core.h"
#include "sim_gdi.h"
#include "sim_shell.h"
#include "sim_user.h"

namespace {

using platform::WindowHandle;

class OverlayWindows : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    ShutdownOverlay();
    GetOverlayStrings() = OverlayStrings{};
    sim::ResetSimulation();
  }
  void TearDown() override {
    ShutdownOverlay();
    EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
    EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
    EXPECT_EQ(sim::OpenDcCount(), 0);
  }

  static std::intptr_t Tick(WindowHandle window, std::uintptr_t id) {
    return sim::SendMessage(window, platform::kWmTimer, id, 0);
  }
  static std::intptr_t Click(WindowHandle window, int x, int y) {
    return sim::SendMessage(window, platform::kWmLButtonDown, 0,
                            static_cast<std::intptr_t>((y << 16) | x));
  }
  static int CloseRequests(WindowHandle window) {
    const auto posted = sim::PostedMessages();
    return static_cast<int>(std::count_if(posted.begin(), posted.end(), [&](const auto& m) {
      return m.window == window && m.message == platform::kWmClose;
    }));
  }
  static int Count(const std::string& entry) {
    const auto journal = sim::Journal();
    return static_cast<int>(std::count(journal.begin(), journal.end(), entry));
  }
};

TEST_F(OverlayWindows, RegisterOverlayWindowClassRegistersOnceAndAlwaysSucceeds) {
  EXPECT_TRUE(RegisterOverlayWindowClass());
  EXPECT_TRUE(RegisterOverlayWindowClass());
  const auto windowClass = sim::RegisteredClass(u"KelvoTarnel_MarqueeNotification");
  ASSERT_TRUE(windowClass.has_value());
  EXPECT_EQ(windowClass->style, platform::kCsHRedraw | platform::kCsVRedraw);
  EXPECT_EQ(windowClass->procedure, &OverlayWindowProc);
  EXPECT_EQ(windowClass->cursor, sim::ArrowCursorHandle());
  EXPECT_EQ(windowClass->icon, nullptr);
  EXPECT_TRUE(IsOverlayWindowClassRegistered());
}

TEST_F(OverlayWindows, ShutdownOverlayBeforeAnythingStartedDoesNoHarm) {
  ShutdownOverlay();
  ShutdownOverlay();
  EXPECT_EQ(sim::LiveWindowCount(), 0);
  EXPECT_FALSE(IsOverlayWindowClassRegistered());
  EXPECT_TRUE(sim::JournalEntries("DestroyWindow").empty());
  EXPECT_TRUE(sim::JournalEntries("KillTimer").empty());
}

TEST_F(OverlayWindows, ShowMarqueeOpensAnOpaqueTopmostBarWithoutTakingTheFocus) {
  const WindowHandle other = sim::CreatePlainWindow(u"Editor", 800, 600);
  sim::SetForeground(other);
  ShowMarquee(u"Title", u"Body", 2);
  const MarqueeState& state = GetMarqueeState();
  ASSERT_NE(state.window, nullptr);
  const auto window = sim::Window(state.window);
  ASSERT_TRUE(window.has_value());
  EXPECT_EQ(window->className, u"KelvoTarnel_MarqueeNotification");
  EXPECT_EQ(window->title, u"");
  EXPECT_EQ(window->style & platform::kWsPopup, platform::kWsPopup);
  EXPECT_EQ(window->exStyle,
            platform::kWsExLayered | platform::kWsExToolWindow | platform::kWsExTopmost);
  EXPECT_EQ(window->windowRect, (Rect{0, 0, 1920, 40}));
  ASSERT_TRUE(window->layered.has_value());
  EXPECT_EQ(window->layered->alpha, 255);
  EXPECT_EQ(window->layered->flags, platform::kLwaAlpha);
  EXPECT_TRUE(window->visible);
  EXPECT_EQ(sim::ForegroundWindow(), other);
  EXPECT_EQ(Count("ShowWindow w2 4"), 1);
  EXPECT_EQ(Count("UpdateWindow w2"), 1);
  EXPECT_EQ(Count("SetTimer w2 1001 30"), 1);
  EXPECT_EQ(state.text, u"消息通知: Title - Body");
  EXPECT_EQ(state.playCount, 2);
  EXPECT_EQ(state.passesDone, 0);
  EXPECT_EQ(state.position, 1920);
}

// UpdateWindow paints at once: by then the procedure must know the window, or it would leave the
// first paint to DefWindowProcW and show nothing until the next invalidation.
TEST_F(OverlayWindows, BothWindowsAreKnownBeforeTheyAreShownAndPainted) {
  std::vector<std::string> unknown;
  sim::SetDesktopCallHook([&](std::string_view call, WindowHandle window) {
    if (call.rfind("ShowWindow", 0) != 0 && call.rfind("UpdateWindow", 0) != 0) return;
    if (window != GetMarqueeState().window && window != GetPopupState().window) {
      unknown.emplace_back(call);
    }
  });
  ShowMarquee(u"", u"x", 1);
  ShowPopup(u"", u"x", 1);
  ShowFileOpenPrompt(u"", u"x", u"", 0);
  sim::SetDesktopCallHook(nullptr);
  EXPECT_EQ(unknown, std::vector<std::string>{});
  EXPECT_EQ(sim::JournalEntries("UpdateWindow").size(), 3U);
}

TEST_F(OverlayWindows, MarqueeHeightFollowsTheScreenScale) {
  sim::SetScreenDpi(144);
  ShowMarquee(u"", u"", 1);
  EXPECT_EQ(sim::Window(GetMarqueeState().window)->windowRect, (Rect{0, 0, 1920, 60}));
}

TEST_F(OverlayWindows, FailedMarqueeCreationKeepsTheTextAndStartsNoTimer) {
  sim::SetCreateWindowFails(true);
  ShowMarquee(u"T", u"", 3);
  EXPECT_EQ(GetMarqueeState().window, nullptr);
  EXPECT_EQ(GetMarqueeState().text, u"消息通知: T");
  EXPECT_TRUE(sim::JournalEntries("SetTimer").empty());
}

TEST_F(OverlayWindows, TimerTickMovesThreePixelsAndInvalidatesWithoutErase) {
  ShowMarquee(u"", u"abc", 1);
  const WindowHandle window = GetMarqueeState().window;
  EXPECT_EQ(Tick(window, kMarqueeTimerId), 0);
  EXPECT_EQ(GetMarqueeState().position, 1917);
  EXPECT_EQ(Count("InvalidateRect w1"), 1);
  // Measured anew in the marquee font, in a DC of the window.
  const auto measured = sim::JournalEntries("GetTextExtentPoint32W");
  ASSERT_EQ(measured.size(), 1U);
  EXPECT_NE(measured[0].find("font=Microsoft YaHei/20/400"), std::string::npos);
}

TEST_F(OverlayWindows, TimerTickAtATallBarStepsByTheWindowScale) {
  ShowMarquee(u"", u"abc", 1);
  const WindowHandle window = GetMarqueeState().window;
  platform::MoveWindow(window, 0, 0, 1920, 100, false);
  Tick(window, kMarqueeTimerId);
  EXPECT_EQ(GetMarqueeState().position, 1920 - 8);  // Px(3) at 2.5
}

// Ticks the marquee until it asks to close; the number of ticks.
int TicksUntilClose(WindowHandle window) {
  for (int tick = 1; tick < 10000; ++tick) {
    sim::SendMessage(window, platform::kWmTimer, kMarqueeTimerId, 0);
    const auto posted = sim::PostedMessages();
    if (!posted.empty() && posted.back().message == platform::kWmClose) return tick;
  }
  return -1;
}

TEST_F(OverlayWindows, PlayCountZeroScrollsOnePassThenCloses) {
  ShowMarquee(u"", u"", 0);
  const WindowHandle window = GetMarqueeState().window;
  // "消息通知: " is 6 units, 10 pixels each in the simulated font of height 20: the text is
  // gone once the position is below -60.
  EXPECT_EQ(TicksUntilClose(window), 661);
  EXPECT_EQ(GetMarqueeState().passesDone, 1);
  sim::SendMessage(window, platform::kWmClose);
  EXPECT_FALSE(platform::IsWindow(window));
  EXPECT_EQ(Count("KillTimer w1 1001"), 1);
  EXPECT_EQ(GetMarqueeState().window, nullptr);
  EXPECT_EQ(GetMarqueeState().timer, 0U);
  EXPECT_EQ(GetMarqueeState().text, u"");
  EXPECT_EQ(GetMarqueeState().playCount, 0);
  EXPECT_EQ(GetMarqueeState().position, 0);
}

TEST_F(OverlayWindows, PlayCountMinusThreeScrollsOnePassThenCloses) {
  ShowMarquee(u"", u"", -3);
  EXPECT_EQ(TicksUntilClose(GetMarqueeState().window), 661);
}

TEST_F(OverlayWindows, PlayCountTwoStartsAgainAtTheRightEdge) {
  ShowMarquee(u"", u"", 2);
  EXPECT_EQ(TicksUntilClose(GetMarqueeState().window), 2 * 661);
}

TEST_F(OverlayWindows, SecondShowMarqueeDestroysTheFirstAndRestartsTheCount) {
  ShowMarquee(u"", u"one", 3);
  const WindowHandle first = GetMarqueeState().window;
  for (int i = 0; i < 700; ++i) Tick(first, kMarqueeTimerId);
  ASSERT_EQ(GetMarqueeState().passesDone, 1);
  ShowMarquee(u"", u"two", 3);
  EXPECT_FALSE(platform::IsWindow(first));
  EXPECT_EQ(Count("KillTimer w1 1001"), 1);
  EXPECT_NE(GetMarqueeState().window, first);
  EXPECT_EQ(GetMarqueeState().passesDone, 0);
  EXPECT_EQ(GetMarqueeState().position, 1920);
  EXPECT_EQ(GetMarqueeState().text, u"消息通知: two");
}

TEST_F(OverlayWindows, MarqueeIgnoresThePopupTimer) {
  ShowMarquee(u"", u"x", 1);
  Tick(GetMarqueeState().window, kPopupTimerId);
  EXPECT_EQ(GetMarqueeState().position, 1920);
  EXPECT_TRUE(sim::PostedMessages().empty());
}

TEST_F(OverlayWindows, MarqueeCloseButtonClickOnItsBottomRightEdgeCloses) {
  ShowMarquee(u"", u"x", 1);
  const WindowHandle window = GetMarqueeState().window;
  Click(window, 100, 20);
  Click(window, 1903, 20);
  EXPECT_EQ(CloseRequests(window), 0);
  EXPECT_EQ(Click(window, 1902, 32), 0);
  EXPECT_EQ(CloseRequests(window), 1);
}

TEST_F(OverlayWindows, CloseMarqueeTwiceIsHarmless) {
  ShowMarquee(u"", u"x", 1);
  CloseMarquee();
  CloseMarquee();
  EXPECT_EQ(sim::JournalEntries("DestroyWindow").size(), 1U);
  EXPECT_EQ(sim::LiveWindowCount(), 0);
}

TEST_F(OverlayWindows, MarqueePaintIsDoubleBufferedAndFollowsThePlan) {
  ShowMarquee(u"", u"x", 1);
  const WindowHandle window = GetMarqueeState().window;
  EXPECT_EQ(sim::SendMessage(window, platform::kWmPaint), 0);
  EXPECT_EQ(sim::JournalEntries("BitBlt").size(), 1U);
  EXPECT_EQ(sim::JournalEntries("FillRgn dc3 ellipse 10 8 34 32 brush=#4285F4").size(), 1U);
  const auto texts = sim::JournalEntries("DrawTextW dc3 消息通知: x 1920 0 3920 40");
  ASSERT_EQ(texts.size(), 1U);
  EXPECT_NE(texts[0].find("clip=44,0,1880,40"), std::string::npos);
  EXPECT_NE(texts[0].find("transparent"), std::string::npos);
  EXPECT_EQ(sim::JournalEntries("RoundRect dc3 1878 8 1902 32 8 8 brush=null pen=1#B4B4B4").size(),
            1U);
  const auto handled = sim::DefaultHandled(window);
  EXPECT_EQ(std::find(handled.begin(), handled.end(), platform::kWmPaint), handled.end());
}

TEST_F(OverlayWindows, WindowDpiFallsBackToTheDeviceContextThenTo96) {
  const WindowHandle window = sim::CreatePlainWindow(u"Plain", 100, 100);
  sim::ChangeDesktopWindow(window, [](sim::DesktopWindow& w) { w.dpi = 0U; });
  sim::SetScreenDpi(120);
  EXPECT_EQ(WindowDpi(window), 120U);
  sim::SetScreenDpi(0);
  EXPECT_EQ(WindowDpi(window), 96U);
  sim::ChangeDesktopWindow(window, [](sim::DesktopWindow& w) { w.dpi = 144U; });
  EXPECT_EQ(WindowDpi(window), 144U);
  EXPECT_EQ(WindowDpi(nullptr), 96U);
}

TEST_F(OverlayWindows, ShowPopupOpensACentredNoteWithItsTimer) {
  ShowPopup(u"", u"Body", 7);
  const PopupState& state = GetPopupState();
  ASSERT_NE(state.window, nullptr);
  const auto window = sim::Window(state.window);
  EXPECT_EQ(window->windowRect, (Rect{680, 330, 1240, 750}));
  EXPECT_EQ(window->exStyle,
            platform::kWsExLayered | platform::kWsExToolWindow | platform::kWsExTopmost);
  EXPECT_EQ(window->layered->alpha, 255);
  EXPECT_EQ(state.title, u"系统通知");
  EXPECT_FALSE(state.isFilePrompt);
  EXPECT_EQ(Count("SetTimer w1 2001 7000"), 1);
  EXPECT_EQ(Count("ShowWindow w1 4"), 1);
}

TEST_F(OverlayWindows, ShowPopupWithDurationZeroOrMinusOneClosesAfterOneSecond) {
  ShowPopup(u"t", u"", 0);
  EXPECT_EQ(Count("SetTimer w1 2001 1000"), 1);
  ShowPopup(u"t", u"", -1);
  EXPECT_EQ(Count("SetTimer w2 2001 1000"), 1);
}

TEST_F(OverlayWindows, PopupTimerPostsCloseAndTheCloseClearsEverything) {
  ShowPopup(u"t", u"c", 2);
  const WindowHandle window = GetPopupState().window;
  Tick(window, kMarqueeTimerId);
  EXPECT_EQ(CloseRequests(window), 0);
  Tick(window, kPopupTimerId);
  EXPECT_EQ(CloseRequests(window), 1);
  sim::SendMessage(window, platform::kWmClose);
  EXPECT_FALSE(platform::IsWindow(window));
  EXPECT_EQ(Count("KillTimer w1 2001"), 1);
  const PopupState& state = GetPopupState();
  EXPECT_EQ(state.window, nullptr);
  EXPECT_EQ(state.title, u"");
  EXPECT_EQ(state.content, u"");
  EXPECT_EQ(state.duration, 0);
}

TEST_F(OverlayWindows, FileOpenPromptWithDurationZeroOrMinusOneHasNoTimer) {
  ShowFileOpenPrompt(u"", u"c", u"C:\\f.txt", 0);
  ShowFileOpenPrompt(u"", u"c", u"C:\\f.txt", -1);
  EXPECT_TRUE(sim::JournalEntries("SetTimer").empty());
  EXPECT_EQ(GetPopupState().title, u"下载完成");
  EXPECT_TRUE(GetPopupState().isFilePrompt);
  EXPECT_EQ(GetPopupState().filePath, u"C:\\f.txt");
}

TEST_F(OverlayWindows, PromptShownOverAPopupStopsTheOldTimerBeforeTheNewOneStarts) {
  ShowPopup(u"p", u"", 5);
  const WindowHandle first = GetPopupState().window;
  ShowFileOpenPrompt(u"q", u"", u"x", 3);
  EXPECT_FALSE(platform::IsWindow(first));
  const auto timers = sim::JournalEntries("");
  std::vector<std::string> order;
  for (const std::string& entry : timers) {
    if (entry.rfind("SetTimer", 0) == 0 || entry.rfind("KillTimer", 0) == 0) {
      order.push_back(entry);
    }
  }
  EXPECT_EQ(order, (std::vector<std::string>{"SetTimer w1 2001 5000", "KillTimer w1 2001",
                                             "SetTimer w2 2001 3000"}));
}

TEST_F(OverlayWindows, OpenButtonOpensTheFileThroughTheShellAndCloses) {
  ShowFileOpenPrompt(u"", u"", u"C:\\Downloads\\report.kelvotest", 0);
  const WindowHandle window = GetPopupState().window;
  Click(window, 24, 360);
  EXPECT_EQ(
      sim::JournalEntries("ShellExecuteW"),
      (std::vector<std::string>{"ShellExecuteW null open C:\\Downloads\\report.kelvotest - - 1"}));
  EXPECT_EQ(CloseRequests(window), 1);
}

TEST_F(OverlayWindows, FailedShellOpenStillCloses) {
  sim::SetShellExecuteResult(2);
  ShowFileOpenPrompt(u"", u"", u"C:\\missing.kelvotest", 0);
  const WindowHandle window = GetPopupState().window;
  Click(window, 100, 380);
  EXPECT_EQ(sim::JournalEntries("ShellExecuteW").size(), 1U);
  EXPECT_EQ(CloseRequests(window), 1);
}

TEST_F(OverlayWindows, OpenButtonWithAnEmptyPathClosesAndStartsNothing) {
  ShowFileOpenPrompt(u"", u"", u"", 0);
  const WindowHandle window = GetPopupState().window;
  Click(window, 100, 380);
  EXPECT_TRUE(sim::JournalEntries("ShellExecuteW").empty());
  EXPECT_EQ(CloseRequests(window), 1);
}

TEST_F(OverlayWindows, LaterButtonClosesWithoutOpening) {
  ShowFileOpenPrompt(u"", u"", u"C:\\f.kelvotest", 0);
  const WindowHandle window = GetPopupState().window;
  Click(window, 536, 404);
  EXPECT_TRUE(sim::JournalEntries("ShellExecuteW").empty());
  EXPECT_EQ(CloseRequests(window), 1);
}

TEST_F(OverlayWindows, PlainPopupIgnoresClicksWhereThePromptButtonsWouldBe) {
  ShowPopup(u"", u"", 5);
  const WindowHandle window = GetPopupState().window;
  Click(window, 100, 380);
  EXPECT_EQ(CloseRequests(window), 0);
  Click(window, 542, 36);
  EXPECT_EQ(CloseRequests(window), 1);
}

TEST_F(OverlayWindows, PopupDestroyedAnotherWayStopsItsTimer) {
  ShowPopup(u"", u"", 5);
  const WindowHandle window = GetPopupState().window;
  platform::DestroyWindow(window);
  EXPECT_EQ(Count("KillTimer w1 2001"), 1);
  EXPECT_EQ(GetPopupState().timer, 0U);
  ClosePopup();
  ClosePopup();
}

TEST_F(OverlayWindows, PopupPlanAt144DpiGrowsTheCloseButtonButNotThePromptButtons) {
  sim::SetScreenDpi(144);
  sim::MonitorConfig monitor;
  monitor.dpi = 144;
  sim::SetMonitor(monitor);
  ShowFileOpenPrompt(u"", u"", u"x", 0);
  const WindowHandle window = GetPopupState().window;
  EXPECT_EQ(sim::Window(window)->windowRect, (Rect{540, 225, 1380, 855}));
  const std::vector<std::string> lines = paint::Describe(PlanPopupWindowPaint(window));
  EXPECT_EQ(lines[0], "size 840 630");
  EXPECT_EQ(lines[9], "region roundrect 777 18 813 54 corner=12 #FFFDE6");
  // b is 840 / 560 = 1.5 from the width alone.
  EXPECT_EQ(lines[14], "region roundrect 36 540 408 606 corner=15 #FFE082");
}

TEST_F(OverlayWindows, PopupPaintFollowsThePlanWithoutLeaks) {
  ShowFileOpenPrompt(u"", u"Body", u"x", 0);
  const WindowHandle window = GetPopupState().window;
  sim::SendMessage(window, platform::kWmPaint);
  EXPECT_EQ(sim::JournalEntries("BitBlt").size(), 1U);
  EXPECT_EQ(sim::JournalEntries("Rectangle dc3 0 0 560 420 brush=null pen=1#D6C878").size(), 1U);
  EXPECT_EQ(sim::JournalEntries("DrawTextW dc3 打开文件 24 360 272 404 0x25").size(), 1U);
  EXPECT_EQ(sim::JournalEntries("DrawTextW dc3 稍后 288 360 536 404 0x25").size(), 1U);
}

TEST_F(OverlayWindows, ShutdownOverlayClosesBothWindowsAndUnregistersTheClass) {
  ShowMarquee(u"", u"m", 5);
  ShowPopup(u"", u"p", 5);
  ShutdownOverlay();
  EXPECT_EQ(sim::LiveWindowCount(), 0);
  EXPECT_FALSE(IsOverlayWindowClassRegistered());
  EXPECT_FALSE(sim::ClassRegistered(u"KelvoTarnel_MarqueeNotification"));
  EXPECT_EQ(Count("KillTimer w1 1001"), 1);
  EXPECT_EQ(Count("KillTimer w2 2001"), 1);
}

TEST_F(OverlayWindows, MessagesForOtherWindowsOfTheClassGoToTheDefault) {
  RegisterOverlayWindowClass();
  const WindowHandle stray = CreateOverlayWindow(0, 0, 10, 10);
  ASSERT_NE(stray, nullptr);
  sim::SendMessage(stray, platform::kWmTimer, kPopupTimerId, 0);
  EXPECT_TRUE(sim::PostedMessages().empty());
  const auto handled = sim::DefaultHandled(stray);
  EXPECT_NE(std::find(handled.begin(), handled.end(), platform::kWmTimer), handled.end());
  platform::DestroyWindow(stray);
}

}  // namespace
