// The overlay's plain logic: texts, scales, scrolling, hit tests and the two paint plans.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "overlay/marquee.h"
#include "overlay/overlay_scale.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "overlay/popup.h"
#include "paint/paint_plan.h"

namespace {

std::vector<std::string> Lines(const paint::Plan& plan) { return paint::Describe(plan); }

TEST(OverlayStrings, DefaultsAreTheBuiltInChineseTexts) {
  const OverlayStrings strings;
  EXPECT_EQ(strings.marqueePrefix, u"消息通知: ");
  EXPECT_EQ(strings.defaultPopupTitle, u"系统通知");
  EXPECT_EQ(strings.defaultDownloadCompleteTitle, u"下载完成");
  EXPECT_EQ(strings.openFile, u"打开文件");
  EXPECT_EQ(strings.later, u"稍后");
}

TEST(SetOverlayStrings, EmptyLaterKeepsTheOldTextWhileOthersChange) {
  GetOverlayStrings() = OverlayStrings{};
  OverlayStrings replacements{u"Notice: ", u"", u"", u"Open", u""};
  SetOverlayStrings(replacements);
  EXPECT_EQ(GetOverlayStrings().marqueePrefix, u"Notice: ");
  EXPECT_EQ(GetOverlayStrings().defaultPopupTitle, u"系统通知");
  EXPECT_EQ(GetOverlayStrings().openFile, u"Open");
  EXPECT_EQ(GetOverlayStrings().later, u"稍后");
  GetOverlayStrings() = OverlayStrings{};
}

TEST(BuildMarqueeText, EmptyTitleGivesPrefixAndContent) {
  EXPECT_EQ(BuildMarqueeText(u"P: ", u"", u"body"), u"P: body");
}

TEST(BuildMarqueeText, TitleAndContentAreJoinedByADash) {
  EXPECT_EQ(BuildMarqueeText(u"P: ", u"Title", u"body"), u"P: Title - body");
}

TEST(BuildMarqueeText, TitleWithoutContentGivesPrefixAndTitle) {
  EXPECT_EQ(BuildMarqueeText(u"P: ", u"Title", u""), u"P: Title");
}

TEST(BuildMarqueeText, BothEmptyGivesThePrefixAlone) {
  EXPECT_EQ(BuildMarqueeText(u"P: ", u"", u""), u"P: ");
}

TEST(Px, AddsOneHalfAndTruncates) {
  EXPECT_EQ(Px(3, 1.0), 3);
  EXPECT_EQ(Px(3, 1.5), 5);
  EXPECT_EQ(Px(40, 2.6), 104);
  EXPECT_EQ(Px(24, 1.25), 30);
  EXPECT_EQ(Px(1, 1.4), 1);
}

TEST(WindowScale, MarqueeClientHeight100At96DpiIs2Point5) {
  EXPECT_DOUBLE_EQ(WindowScaleFrom(96, {1920, 100}, false), 2.5);
}

TEST(WindowScale, MarqueeClientHeight120ClampsAt2Point6) {
  EXPECT_DOUBLE_EQ(WindowScaleFrom(96, {1920, 120}, false), 2.6);
}

TEST(WindowScale, DpiFactorAbove2Point6IsClampedAtTheEnd) {
  EXPECT_DOUBLE_EQ(WindowScaleFrom(288, {1920, 40}, false), 2.6);
  EXPECT_DOUBLE_EQ(WindowScaleFrom(192, {1920, 40}, false), 2.0);
}

TEST(WindowScale, NeverBelowOne) {
  EXPECT_DOUBLE_EQ(WindowScaleFrom(72, {100, 10}, false), 1.0);
  EXPECT_DOUBLE_EQ(WindowScaleFrom(0, {0, 0}, true), 1.0);
}

TEST(WindowScale, PopupTakesClientWidthOver560) {
  EXPECT_DOUBLE_EQ(WindowScaleFrom(96, {840, 100}, true), 1.5);
  EXPECT_DOUBLE_EQ(WindowScaleFrom(96, {560, 4000}, true), 1.0);
}

TEST(ScreenScale, FullHdAt96DpiIsOne) { EXPECT_DOUBLE_EQ(ScreenScaleFrom(96, 1920, 1080), 1.0); }

TEST(ScreenScale, TakesTheLargerOfDpiAndScreenSize) {
  EXPECT_DOUBLE_EQ(ScreenScaleFrom(144, 1920, 1080), 1.5);
  EXPECT_DOUBLE_EQ(ScreenScaleFrom(96, 3840, 2160), 2.0);
  EXPECT_DOUBLE_EQ(ScreenScaleFrom(96, 1280, 1620), 1.5);
  EXPECT_DOUBLE_EQ(ScreenScaleFrom(384, 1920, 1080), 2.6);
}

TEST(ScreenScale, ZeroDpiCountsAs96) { EXPECT_DOUBLE_EQ(ScreenScaleFrom(0, 1920, 1080), 1.0); }

TEST(PromptButtonsScale, HighDpiAtWidth560GrowsTheWindowScaleButNotTheButtons) {
  EXPECT_DOUBLE_EQ(WindowScaleFrom(192, {560, 420}, true), 2.0);
  EXPECT_DOUBLE_EQ(PromptButtonsScale(560), 1.0);
  EXPECT_DOUBLE_EQ(PromptButtonsScale(1120), 2.0);
  EXPECT_DOUBLE_EQ(PromptButtonsScale(5000), 2.6);
}

TEST(PromptButtonScale, IsTheButtonHeightOver44) {
  EXPECT_DOUBLE_EQ(PromptButtonScale(44), 1.0);
  EXPECT_DOUBLE_EQ(PromptButtonScale(66), 1.5);
  EXPECT_DOUBLE_EQ(PromptButtonScale(10), 1.0);
}

// Ticks until the marquee finishes, from a state as ShowMarquee leaves it.
int TicksToFinish(std::int32_t playCount, int textWidth, int* restarts) {
  MarqueeState state;
  state.playCount = playCount;
  state.position = 1920;
  *restarts = 0;
  for (int tick = 1; tick < 100000; ++tick) {
    const MarqueeTick result = AdvanceMarquee(state, 3, textWidth, 1920);
    if (result == MarqueeTick::kFinished) return tick;
    if (result == MarqueeTick::kRestarted) {
      ++*restarts;
      EXPECT_EQ(state.position, 1920);
    }
  }
  return -1;
}

TEST(AdvanceMarquee, PlayCountZeroIsOneFullPass) {
  int restarts = 0;
  // From 1920 down to below -300, 3 pixels a tick.
  EXPECT_EQ(TicksToFinish(0, 300, &restarts), 741);
  EXPECT_EQ(restarts, 0);
}

TEST(AdvanceMarquee, PlayCountMinusThreeIsOneFullPass) {
  int restarts = 0;
  EXPECT_EQ(TicksToFinish(-3, 300, &restarts), 741);
  EXPECT_EQ(restarts, 0);
}

TEST(AdvanceMarquee, PlayCountThreeRestartsTwiceAtTheScreenWidth) {
  int restarts = 0;
  EXPECT_EQ(TicksToFinish(3, 300, &restarts), 3 * 741);
  EXPECT_EQ(restarts, 2);
}

TEST(AdvanceMarquee, TextWiderThanTheScreenScrollsUntilItsRightEndPassedTheLeftEdge) {
  MarqueeState state;
  state.playCount = 1;
  state.position = -4997;
  EXPECT_EQ(AdvanceMarquee(state, 3, 5000, 1920), MarqueeTick::kScrolled);
  EXPECT_EQ(state.position, -5000);
  EXPECT_EQ(AdvanceMarquee(state, 3, 5000, 1920), MarqueeTick::kFinished);
  EXPECT_EQ(state.passesDone, 1);
}

TEST(MarqueeCloseButton, ClickOnTheRightAndBottomEdgesCountsAsInside) {
  const Rect button = MarqueeCloseButton(1920, 1.0);
  EXPECT_EQ(button, (Rect{1878, 8, 1902, 32}));
  EXPECT_TRUE(MarqueeCloseButtonHit(1920, 1.0, {1902, 32}));
  EXPECT_TRUE(MarqueeCloseButtonHit(1920, 1.0, {1878, 8}));
  EXPECT_FALSE(MarqueeCloseButtonHit(1920, 1.0, {1903, 20}));
  EXPECT_FALSE(MarqueeCloseButtonHit(1920, 1.0, {1890, 33}));
  EXPECT_FALSE(MarqueeCloseButtonHit(1920, 1.0, {1877, 20}));
}

TEST(ClickPointOf, ReadsBothWordsAsUnsigned) {
  EXPECT_EQ(ClickPointOf(0x00200010), (Point{16, 32}));
  EXPECT_EQ(ClickPointOf(static_cast<std::intptr_t>(0xFFFFFFFF)), (Point{65535, 65535}));
  EXPECT_EQ(ClickPointOf(-1), (Point{65535, 65535}));
}

TEST(PlanMarqueePaint, FullHdBarAtScaleOne) {
  const paint::Plan plan = PlanMarqueePaint({{1920, 40}, 1.0, u"消息通知: hi", 1500});
  const std::vector<std::string> expected = {
      "size 1920 40",
      "font 0 20 400 Microsoft YaHei",
      "font 1 16 600 Segoe UI",
      "fill 0 0 1920 40 #1E1E1E",
      "region ellipse 10 8 34 32 #4285F4",
      "text font=0 ink=#FFFFFF format=0x25 10 8 34 32 !",
      "clip 44 0 1880 40",
      "text font=0 ink=#FFFFFF format=0x124 1500 0 3500 40 消息通知: hi",
      "unclip",
      "region roundrect 1878 8 1902 32 corner=8 #F5F5F5",
      "outline roundrect 1878 8 1902 32 corner=8 pen=1#B4B4B4",
      "text font=1 ink=#3C3C3C format=0x25 1878 8 1902 32 X",
  };
  EXPECT_EQ(Lines(plan), expected);
}

TEST(PlanMarqueePaint, ScaleTwoPointSixGrowsEveryLength) {
  const paint::Plan plan = PlanMarqueePaint({{1920, 104}, 2.6, u"t", -10});
  const std::vector<std::string> lines = Lines(plan);
  EXPECT_EQ(lines[1], "font 0 52 400 Microsoft YaHei");
  EXPECT_EQ(lines[2], "font 1 42 600 Segoe UI");
  EXPECT_EQ(lines[4], "region ellipse 26 21 88 83 #4285F4");
  EXPECT_EQ(lines[6], "clip 114 0 1816 104");
  EXPECT_EQ(lines[7], "text font=0 ink=#FFFFFF format=0x124 -10 0 5190 104 t");
  EXPECT_EQ(lines[9], "region roundrect 1811 21 1873 83 corner=21 #F5F5F5");
  EXPECT_EQ(lines[10], "outline roundrect 1811 21 1873 83 corner=21 pen=3#B4B4B4");
}

bool HasScrolledText(const paint::Plan& plan) {
  for (const paint::Op& op : plan.ops) {
    if (std::holds_alternative<paint::PushClip>(op)) return true;
  }
  return false;
}

TEST(PlanMarqueePaint, ClientWidth84OrLessSkipsTheTextButKeepsDiscAndButton) {
  const paint::Plan narrow = PlanMarqueePaint({{84, 40}, 1.0, u"text", 0});
  EXPECT_FALSE(HasScrolledText(narrow));
  EXPECT_EQ(narrow.ops.size(), 6U);
  EXPECT_TRUE(std::holds_alternative<paint::FillRegion>(narrow.ops[1]));
  EXPECT_TRUE(std::holds_alternative<paint::Outline>(narrow.ops[4]));
  EXPECT_TRUE(HasScrolledText(PlanMarqueePaint({{85, 40}, 1.0, u"text", 0})));
}

TEST(PopupDuration, ZeroOrNegativeClosesAfterOneSecond) {
  EXPECT_EQ(PopupDuration(0), 1);
  EXPECT_EQ(PopupDuration(-1), 1);
  EXPECT_EQ(PopupDuration(7), 7);
}

TEST(PromptDuration, ZeroOrNegativeMeansNoTimer) {
  EXPECT_EQ(PromptDuration(0), 0);
  EXPECT_EQ(PromptDuration(-1), 0);
  EXPECT_EQ(PromptDuration(9), 9);
}

TEST(PopupTimerMilliseconds, HugeDurationsStayWithinSetTimersLongestPeriod) {
  EXPECT_EQ(PopupTimerMilliseconds(5), 5000U);
  EXPECT_EQ(PopupTimerMilliseconds(INT32_MAX), 0x7FFFFFFFU);
}

TEST(PopupCloseButton, EdgesAreInclusive) {
  EXPECT_EQ(PopupCloseButton(560, 1.0), (Rect{518, 12, 542, 36}));
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, false, {542, 36}), PopupHit::kClose);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, false, {543, 36}), PopupHit::kNothing);
}

TEST(PromptButtonRects, SplitTheBottomAtTheMiddle) {
  const PromptButtons buttons = PromptButtonRects({560, 420});
  EXPECT_EQ(buttons.open, (Rect{24, 360, 272, 404}));
  EXPECT_EQ(buttons.later, (Rect{288, 360, 536, 404}));
}

TEST(HitTestPopup, PlainPopupIgnoresWhereTheButtonsWouldBe) {
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, false, {100, 380}), PopupHit::kNothing);
}

TEST(HitTestPopup, PromptButtonsWithInclusiveEdges) {
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {24, 360}), PopupHit::kOpen);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {272, 404}), PopupHit::kOpen);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {273, 380}), PopupHit::kNothing);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {288, 360}), PopupHit::kLater);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {536, 404}), PopupHit::kLater);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {300, 405}), PopupHit::kNothing);
  EXPECT_EQ(HitTestPopup({560, 420}, 1.0, true, {530, 20}), PopupHit::kClose);
}

TEST(PlanPopupPaint, PlainPopupAtScaleOne) {
  const paint::Plan plan =
      PlanPopupPaint({{560, 420}, 1.0, u"Title", u"Body", false, u"Open", u"Later"});
  const std::vector<std::string> expected = {
      "size 560 420",
      "font 0 24 700 Microsoft YaHei",
      "font 1 16 600 Segoe UI",
      "font 2 20 400 Microsoft YaHei",
      "fill 0 0 560 420 #1E1E1E",
      "fill 0 0 560 420 #FFF9C4",
      "outline rectangle 0 0 560 420 pen=1#D6C878",
      "text font=0 ink=#141414 format=0x8024 24 18 512 70 Title",
      "region roundrect 518 12 542 36 corner=8 #FFFDE6",
      "outline roundrect 518 12 542 36 corner=8 pen=1#CBBD6E",
      "text font=1 ink=#5F552D format=0x25 518 12 542 36 X",
      "strokes pen=1#E0D282 24,74 536,74",
      "text font=2 ink=#2D2D2D format=0x2010 24 92 536 400 Body",
  };
  EXPECT_EQ(Lines(plan), expected);
}

TEST(PlanPopupPaint, FilePromptAddsTwoButtonsAndAShorterBody) {
  const paint::Plan plan =
      PlanPopupPaint({{560, 420}, 1.0, u"Done", u"Body", true, u"Open", u"Later"});
  const std::vector<std::string> lines = Lines(plan);
  ASSERT_EQ(lines.size(), 20U);
  EXPECT_EQ(lines[4], "font 3 18 400 Microsoft YaHei");
  EXPECT_EQ(lines[13], "text font=2 ink=#2D2D2D format=0x2010 24 92 536 344 Body");
  EXPECT_EQ(lines[14], "region roundrect 24 360 272 404 corner=10 #FFE082");
  EXPECT_EQ(lines[15], "outline roundrect 24 360 272 404 corner=10 pen=1#D6C878");
  EXPECT_EQ(lines[16], "text font=3 ink=#232323 format=0x25 24 360 272 404 Open");
  EXPECT_EQ(lines[17], "region roundrect 288 360 536 404 corner=10 #FFFDE6");
  EXPECT_EQ(lines[18], "outline roundrect 288 360 536 404 corner=10 pen=1#CBBD6E");
  EXPECT_EQ(lines[19], "text font=3 ink=#232323 format=0x25 288 360 536 404 Later");
}

TEST(PlanPopupPaint, HighDpiAtWidth560GrowsCloseButtonAndTextButNotTheLowerButtons) {
  const paint::Plan plan =
      PlanPopupPaint({{560, 420}, 2.0, u"Done", u"Body", true, u"Open", u"Later"});
  const std::vector<std::string> lines = Lines(plan);
  EXPECT_EQ(lines[1], "font 0 48 700 Microsoft YaHei");
  EXPECT_EQ(lines[9], "region roundrect 476 24 524 72 corner=16 #FFFDE6");
  EXPECT_EQ(lines[4], "font 3 18 400 Microsoft YaHei");
  EXPECT_EQ(lines.back(), "text font=3 ink=#232323 format=0x25 288 360 536 404 Later");
}

TEST(PlanPopupPaint, LongTitleEndsInAnEllipsisOnOneLineAndLongBodyWrapsInItsBox) {
  const std::u16string longTitle(300, u'T');
  const std::u16string longBody(5000, u'b');
  const paint::Plan plan =
      PlanPopupPaint({{560, 420}, 1.0, longTitle, longBody, false, u"Open", u"Later"});
  const auto& title = std::get<paint::Text>(plan.ops[3]);
  EXPECT_EQ(title.format & (paint::kTextSingleLine | paint::kTextEndEllipsis),
            paint::kTextSingleLine | paint::kTextEndEllipsis);
  EXPECT_EQ(title.rect, (Rect{24, 18, 512, 70}));
  const auto& body = std::get<paint::Text>(plan.ops[8]);
  EXPECT_EQ(body.text, longBody);
  EXPECT_EQ(body.format, platform::kDtWordBreak | platform::kDtEditControl);
  EXPECT_EQ(body.rect, (Rect{24, 92, 536, 400}));
}

}  // namespace
