#include "lock/lock_layout.h"

#include <gtest/gtest.h>

namespace {

constexpr LockSize kFullHd{1920, 1080};
constexpr LockSize kUhd{3840, 2160};

// ---- LockRound ----

TEST(LockRound, HalvesRoundAwayFromZeroForPositiveValues) {
  EXPECT_EQ(LockRound(2.5), 3);
  EXPECT_EQ(LockRound(2.49), 2);
  EXPECT_EQ(LockRound(1.5 * 46), 69);
}

TEST(LockRound, NegativeValuesTruncateAfterAddingAHalf) {
  EXPECT_EQ(LockRound(-2.5), -2);
  EXPECT_EQ(LockRound(-2.6), -2);
  EXPECT_EQ(LockRound(-3.6), -3);
}

// ---- Scale ----

TEST(ChooseLockDpi, WindowDpiWinsWhenKnown) { EXPECT_EQ(ChooseLockDpi(144, 96), 144u); }

TEST(ChooseLockDpi, DeviceDpiWhenTheWindowGivesNone) { EXPECT_EQ(ChooseLockDpi(0, 120), 120u); }

TEST(ChooseLockDpi, NinetySixWhenBothGiveNone) { EXPECT_EQ(ChooseLockDpi(0, 0), 96u); }

TEST(ComputeLockScale, FullHdAt96DpiIsOne) {
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(96, kFullHd), 1.0);
}

TEST(ComputeLockScale, FourKScreenAt96DpiGetsScaleTwo) {
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(96, kUhd), 2.0);
}

TEST(ComputeLockScale, FullHdAt144DpiIsOneAndAHalf) {
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(144, kFullHd), 1.5);
}

TEST(ComputeLockScale, TheLargerOfHeightAndWidthRatiosCounts) {
  // A tall portrait monitor: its height against 1080 decides.
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(96, {1080, 1920}), 1920.0 / 1080.0);
}

TEST(ComputeLockScale, SmallScreensNeverGoBelowOne) {
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(96, {1366, 768}), 1.0);
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(72, {800, 600}), 1.0);
}

TEST(ComputeLockScale, ResultNeverExceedsTwoPointSix) {
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(384, kFullHd), 2.6);
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(96, {7680, 4320}), 2.6);
}

TEST(ComputeLockScale, DpiScaleIsCappedAtThreeBeforeTheFinalBound) {
  // 4.0 capped at 3.0, then at 2.6: the result cannot tell, so check just under the cap.
  EXPECT_DOUBLE_EQ(ComputeLockScaleFrom(240, kFullHd), 2.5);
}

// ---- Panel ----

TEST(ComputeLockPanelRect, FullHdAt96Dpi) {
  EXPECT_EQ(ComputeLockPanelRectFrom(kFullHd, 1.0), (LockRect{690, 195, 1230, 885}));
}

TEST(ComputeLockPanelRect, ClientUnder900ScaledUnitsGetsTheNarrowPanelOf460) {
  EXPECT_EQ(ComputeLockPanelRectFrom({899, 1080}, 1.0).Width(), 460);
  EXPECT_EQ(ComputeLockPanelRectFrom({900, 1080}, 1.0).Width(), 540);
  EXPECT_EQ(ComputeLockPanelRectFrom({1799, 2160}, 2.0).Width(), 920);
  EXPECT_EQ(ComputeLockPanelRectFrom({1800, 2160}, 2.0).Width(), 1080);
}

TEST(ComputeLockPanelRect, ClientOf760OrMoreGetsTheHeightOf690) {
  EXPECT_EQ(ComputeLockPanelRectFrom({1920, 760}, 1.0).Height(), 690);
  EXPECT_EQ(ComputeLockPanelRectFrom({1920, 759}, 1.0).Height(), 759 - 72);
}

TEST(ComputeLockPanelRect, HeightNeverBelow620UnlessTheClientIsShorter) {
  EXPECT_EQ(ComputeLockPanelRectFrom({1920, 680}, 1.0).Height(), 620);
  EXPECT_EQ(ComputeLockPanelRectFrom({1920, 600}, 1.0).Height(), 600 - 48);
}

TEST(ComputeLockPanelRect, TopKeepsAMarginOf24ScaledUnits) {
  const LockRect panel = ComputeLockPanelRectFrom({1920, 600}, 1.0);
  EXPECT_EQ(panel.top, 24);
  EXPECT_EQ(panel.bottom, 24 + 552);
}

TEST(ComputeLockPanelRect, DivisionsAreInteger) {
  const LockRect panel = ComputeLockPanelRectFrom({1921, 1081}, 1.0);
  EXPECT_EQ(panel.left, (1921 - 540) / 2);
  EXPECT_EQ(panel.top, (1081 - 690) / 2);
}

// ---- Keys ----

TEST(LayoutLockKeys, ThirteenKeysInTableOrder) {
  const LockLayout layout = LayoutLockKeysFrom(kFullHd, 1.0);
  ASSERT_EQ(layout.keys.size(), 13u);
  const char16_t* labels[] = {u"1", u"2", u"3",    u"4", u"5",    u"6",   u"7",
                              u"8", u"9", u"清空", u"0", u"退格", u"解锁"};
  for (std::size_t i = 0; i < 13; ++i) EXPECT_EQ(layout.keys[i].label, labels[i]) << i;
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(layout.keys[i].kind, LockKeyKind::kDigit);
    EXPECT_EQ(layout.keys[i].character, u'1' + i);
  }
  EXPECT_EQ(layout.keys[9].kind, LockKeyKind::kClear);
  EXPECT_EQ(layout.keys[9].character, 0);
  EXPECT_EQ(layout.keys[10].kind, LockKeyKind::kDigit);
  EXPECT_EQ(layout.keys[10].character, u'0');
  EXPECT_EQ(layout.keys[11].kind, LockKeyKind::kBackspace);
  EXPECT_EQ(layout.keys[12].kind, LockKeyKind::kSubmit);
  EXPECT_EQ(static_cast<int>(LockKeyKind::kDigit), 1);
  EXPECT_EQ(static_cast<int>(LockKeyKind::kBackspace), 2);
  EXPECT_EQ(static_cast<int>(LockKeyKind::kClear), 3);
  EXPECT_EQ(static_cast<int>(LockKeyKind::kSubmit), 4);
}

TEST(LayoutLockKeys, FullHdAt96Dpi) {
  const LockLayout layout = LayoutLockKeysFrom(kFullHd, 1.0);
  EXPECT_FALSE(layout.compact);
  EXPECT_EQ(layout.keySide, 64);
  EXPECT_EQ(layout.gap, 14);
  EXPECT_EQ(layout.inputRect, (LockRect{850, 374, 1012, 420}));
  EXPECT_EQ(layout.keys[0].rect, (LockRect{850, 444, 914, 508}));
  EXPECT_EQ(layout.keys[1].rect, (LockRect{928, 444, 992, 508}));
  EXPECT_EQ(layout.keys[2].rect, (LockRect{1006, 444, 1070, 508}));
  EXPECT_EQ(layout.keys[4].rect, (LockRect{928, 522, 992, 586}));
  EXPECT_EQ(layout.keys[9].rect, (LockRect{850, 678, 914, 742}));
  EXPECT_EQ(layout.keys[10].rect, (LockRect{928, 678, 992, 742}));
  EXPECT_EQ(layout.keys[11].rect, (LockRect{1006, 678, 1070, 742}));
  EXPECT_EQ(layout.keys[12].rect, (LockRect{1024, 374, 1070, 420}));
}

TEST(LayoutLockKeys, FourKAt96Dpi) {
  const double scale = ComputeLockScaleFrom(96, kUhd);
  const LockLayout layout = LayoutLockKeysFrom(kUhd, scale);
  EXPECT_EQ(layout.panel, (LockRect{1380, 390, 2460, 1770}));
  EXPECT_FALSE(layout.compact);
  EXPECT_EQ(layout.keySide, 128);
  EXPECT_EQ(layout.gap, 28);
  EXPECT_EQ(layout.inputRect, (LockRect{1700, 748, 2024, 840}));
  EXPECT_EQ(layout.keys[0].rect, (LockRect{1700, 888, 1828, 1016}));
  EXPECT_EQ(layout.keys[11].rect, (LockRect{2012, 1356, 2140, 1484}));
  EXPECT_EQ(layout.keys[12].rect, (LockRect{2048, 748, 2140, 840}));
}

TEST(LayoutLockKeys, FullHdAt144DpiIsCompact) {
  const double scale = ComputeLockScaleFrom(144, kFullHd);
  const LockLayout layout = LayoutLockKeysFrom(kFullHd, scale);
  EXPECT_EQ(layout.panel, (LockRect{555, 54, 1365, 1026}));
  EXPECT_TRUE(layout.compact);
  EXPECT_EQ(layout.keySide, 84);
  EXPECT_EQ(layout.gap, 18);
  EXPECT_EQ(layout.inputRect, (LockRect{816, 319, 1017, 388}));
  EXPECT_EQ(layout.keys[0].rect, (LockRect{816, 424, 900, 508}));
  EXPECT_EQ(layout.keys[11].rect, (LockRect{1020, 730, 1104, 814}));
  EXPECT_EQ(layout.keys[12].rect, (LockRect{1035, 319, 1104, 388}));
}

TEST(LayoutLockKeys, PanelShorterThan660ScaledUnitsGetsKeysOf56AndGapsOf12) {
  // Client 731 high: panel 659.
  const LockLayout layout = LayoutLockKeysFrom({1920, 731}, 1.0);
  EXPECT_EQ(layout.panel.Height(), 659);
  EXPECT_TRUE(layout.compact);
  EXPECT_EQ(layout.keySide, 56);
  EXPECT_EQ(layout.gap, 12);
  EXPECT_EQ(layout.keys[0].rect.Width(), 56);
  EXPECT_EQ(layout.keys[1].rect.left - layout.keys[0].rect.right, 12);
}

TEST(LayoutLockKeys, PanelOf660ScaledUnitsGetsKeysOf64AndGapsOf14) {
  const LockLayout layout = LayoutLockKeysFrom({1920, 732}, 1.0);
  EXPECT_EQ(layout.panel.Height(), 660);
  EXPECT_FALSE(layout.compact);
  EXPECT_EQ(layout.keys[0].rect.Width(), 64);
  EXPECT_EQ(layout.keys[1].rect.left - layout.keys[0].rect.right, 14);
}

TEST(LayoutLockKeys, SubmitKeyIsASquareAtTheEndOfTheInputRow) {
  const LockLayout layout = LayoutLockKeysFrom(kFullHd, 1.0);
  const LockRect& submit = layout.keys[12].rect;
  EXPECT_EQ(submit.top, layout.inputRect.top);
  EXPECT_EQ(submit.Height(), 46);
  EXPECT_EQ(submit.Width(), 46);
  EXPECT_EQ(submit.right, layout.keys[2].rect.right);
  // The 58 units cut from the input box leave a gap of 12 before the key.
  EXPECT_EQ(submit.left - layout.inputRect.right, 12);
}

TEST(LayoutLockKeys, InputNeverStartsAbove96ScaledUnitsIntoThePanel) {
  // A short panel: centring would put the box above the minimum.
  const LockLayout layout = LayoutLockKeysFrom({1920, 500}, 1.0);
  EXPECT_EQ(layout.inputRect.top, layout.panel.top + 96);
}

// ---- Hit test ----

TEST(FindLockKeyAt, LeftAndTopEdgesAreInsideRightAndBottomAreNot) {
  const LockLayout layout = LayoutLockKeysFrom(kFullHd, 1.0);
  EXPECT_EQ(FindLockKeyAt(layout.keys, 850, 444), 0);
  EXPECT_EQ(FindLockKeyAt(layout.keys, 913, 507), 0);
  EXPECT_EQ(FindLockKeyAt(layout.keys, 914, 480), -1);
  EXPECT_EQ(FindLockKeyAt(layout.keys, 880, 508), -1);
}

TEST(FindLockKeyAt, EveryKeyIsFoundAtItsCentre) {
  const LockLayout layout = LayoutLockKeysFrom(kUhd, 2.0);
  for (std::size_t i = 0; i < layout.keys.size(); ++i) {
    const LockRect& r = layout.keys[i].rect;
    EXPECT_EQ(FindLockKeyAt(layout.keys, (r.left + r.right) / 2, (r.top + r.bottom) / 2),
              static_cast<int>(i));
  }
}

TEST(FindLockKeyAt, GapsInputBoxAndBackgroundHitNothing) {
  const LockLayout layout = LayoutLockKeysFrom(kFullHd, 1.0);
  EXPECT_EQ(FindLockKeyAt(layout.keys, 920, 470), -1);  // between keys 1 and 2
  EXPECT_EQ(FindLockKeyAt(layout.keys, 900, 400), -1);  // the input box
  EXPECT_EQ(FindLockKeyAt(layout.keys, 10, 10), -1);
  EXPECT_EQ(FindLockKeyAt({}, 900, 470), -1);
}

}  // namespace
