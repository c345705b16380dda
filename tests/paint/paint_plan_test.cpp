#include "paint/paint_plan.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr paint::Color kInk{0x21, 0x76, 0xF6};

TEST(IsEmpty, NoOperationsOrNoAreaIsEmpty) {
  paint::Plan plan;
  plan.size = {100, 50};
  EXPECT_TRUE(paint::IsEmpty(plan));
  plan.ops.emplace_back(paint::FillRect{{0, 0, 10, 10}, kInk});
  EXPECT_FALSE(paint::IsEmpty(plan));
  plan.size = {0, 50};
  EXPECT_TRUE(paint::IsEmpty(plan));
  plan.size = {100, -1};
  EXPECT_TRUE(paint::IsEmpty(plan));
}

TEST(ToColorRef, RedInTheLowByteAsCOLORREF) {
  EXPECT_EQ(paint::ToColorRef({0x12, 0x34, 0x56}), 0x563412u);
  EXPECT_EQ(paint::ToColorRef({0xFF, 0, 0}), 0xFFu);
}

TEST(AddScrolledText, ClipsTheTextToTheBoxAndMovesItLeftByTheOffset) {
  paint::Plan plan;
  const Rect box{100, 20, 400, 60};
  paint::AddScrolledText(plan, box, u"滚动的通知", 35, 2, kInk);
  ASSERT_EQ(plan.ops.size(), 3u);
  EXPECT_EQ(std::get<paint::PushClip>(plan.ops[0]).rect, box);
  const auto& text = std::get<paint::Text>(plan.ops[1]);
  EXPECT_EQ(text.text, u"滚动的通知");
  EXPECT_EQ(text.rect, (Rect{65, 20, 400, 60}));
  EXPECT_EQ(text.font, 2u);
  EXPECT_EQ(text.ink, kInk);
  // The clip cuts the text, not DrawTextW: its rectangle starts outside the box.
  EXPECT_NE(text.format & paint::kTextNoClip, 0u);
  EXPECT_NE(text.format & paint::kTextSingleLine, 0u);
  EXPECT_NE(text.format & paint::kTextVCenter, 0u);
  EXPECT_TRUE(std::holds_alternative<paint::PopClip>(plan.ops[2]));
}

TEST(AddScrolledText, ANegativeOffsetStartsTheTextInsideTheBox) {
  paint::Plan plan;
  paint::AddScrolledText(plan, {0, 0, 300, 30}, u"x", -120, 0, kInk);
  EXPECT_EQ(std::get<paint::Text>(plan.ops[1]).rect.left, 120);
}

TEST(Describe, OneLinePerOperationKind) {
  const paint::Pen pen{2, {0x0C, 0x54, 0xBE}};
  const paint::Color fill{0xF6, 0xFB, 0xFF};
  EXPECT_EQ(paint::Describe(paint::Op{paint::FillRect{{0, 0, 8, 8}, {0x0F, 0x26, 0x4D}}}),
            "fill 0 0 8 8 #0F264D");
  EXPECT_EQ(paint::Describe(paint::Op{paint::Rectangle{{1, 2, 3, 4}, fill, pen}}),
            "rectangle 1 2 3 4 fill=#F6FBFF pen=2#0C54BE");
  EXPECT_EQ(paint::Describe(paint::Op{paint::RoundRect{{1, 2, 3, 4}, 11, fill, pen}}),
            "roundrect 1 2 3 4 corner=11 fill=#F6FBFF pen=2#0C54BE");
  EXPECT_EQ(paint::Describe(paint::Op{paint::Ellipse{{-1, 2, 3, 4}, fill, pen}}),
            "ellipse -1 2 3 4 fill=#F6FBFF pen=2#0C54BE");
  EXPECT_EQ(paint::Describe(paint::Op{paint::Strokes{pen, {{{0, 1}, {2, 3}, {4, 5}}, {{6, 7}}}}}),
            "strokes pen=2#0C54BE 0,1 2,3 4,5 | 6,7");
  EXPECT_EQ(paint::Describe(paint::Op{paint::Text{u"解锁 1", {5, 6, 7, 8}, 4, kInk, 0x25}}),
            "text font=4 ink=#2176F6 format=0x25 5 6 7 8 解锁 1");
  EXPECT_EQ(paint::Describe(paint::Op{paint::PushClip{{10, 20, 30, 40}}}), "clip 10 20 30 40");
  EXPECT_EQ(paint::Describe(paint::Op{paint::PopClip{}}), "unclip");
}

TEST(Describe, APlanStartsWithItsSizeAndFonts) {
  paint::Plan plan;
  plan.size = {640, 480};
  plan.fonts = {{u"Microsoft YaHei", 42, 700}, {u"SimSun", -12, 400}};
  plan.ops.emplace_back(paint::FillRect{{0, 0, 640, 480}, {1, 2, 3}});
  EXPECT_EQ(paint::Describe(plan),
            (std::vector<std::string>{"size 640 480", "font 0 42 700 Microsoft YaHei",
                                      "font 1 -12 400 SimSun", "fill 0 0 640 480 #010203"}));
}

// ---- Bounds, changes and crops ----

paint::Plan PlanOf(std::vector<paint::Op> ops) {
  paint::Plan plan;
  plan.size = {200, 100};
  plan.fonts = {{u"Face", 20, 400}};
  plan.ops = std::move(ops);
  return plan;
}

TEST(Bounds, ShapesReachPastTheirRectangleByThePenWidth) {
  EXPECT_EQ(paint::Bounds(paint::Op{paint::FillRect{{1, 2, 3, 4}, kInk}}), (Rect{1, 2, 3, 4}));
  EXPECT_EQ(paint::Bounds(paint::Op{paint::RoundRect{{10, 10, 50, 30}, 4, kInk, {3, kInk}}}),
            (Rect{7, 7, 53, 33}));
  EXPECT_EQ(paint::Bounds(paint::Op{paint::Strokes{{2, kInk}, {{{5, 9}, {20, 4}}}}}),
            (Rect{3, 2, 22, 11}));
}

TEST(Bounds, ARegionStaysInItsShapeAndAnOutlineReachesPastItByThePenWidth) {
  EXPECT_EQ(paint::Bounds(paint::Op{paint::FillRegion{paint::RegionShape::kEllipse,
                                                       {10, 8, 34, 32}, 0, kInk}}),
            (Rect{10, 8, 34, 32}));
  EXPECT_EQ(paint::Bounds(paint::Op{paint::Outline{paint::OutlineShape::kRoundRect,
                                                   {10, 10, 50, 30}, 8, {2, kInk}}}),
            (Rect{8, 8, 52, 32}));
}

TEST(CropPlan, MovesRegionsAndOutlinesWithTheArea) {
  const paint::Plan plan = PlanOf(
      {paint::FillRegion{paint::RegionShape::kRoundRect, {40, 40, 60, 60}, 8, kInk},
       paint::Outline{paint::OutlineShape::kRectangle, {0, 0, 5, 5}, 0, {1, kInk}}});
  const std::vector<paint::Op> expected = {
      paint::FillRegion{paint::RegionShape::kRoundRect, {5, 5, 25, 25}, 8, kInk}};
  EXPECT_EQ(paint::CropPlan(plan, {35, 35, 55, 55}).ops, expected);
}

TEST(Bounds, AClippedTextStaysInItsRectangleAndAnUnclippedOneIsUnknown) {
  const paint::Text text{u"x", {5, 5, 50, 20}, 0, kInk, paint::kTextSingleLine};
  EXPECT_EQ(paint::Bounds(paint::Op{text}), (Rect{5, 5, 50, 20}));
  paint::Text unclipped = text;
  unclipped.format |= paint::kTextNoClip;
  EXPECT_EQ(paint::Bounds(paint::Op{unclipped}), std::nullopt);
  EXPECT_EQ(paint::Bounds(paint::Op{paint::PushClip{{0, 0, 5, 5}}}), std::nullopt);
}

TEST(ChangedBounds, EqualPlansChangeNothing) {
  const paint::Plan plan = PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}});
  EXPECT_EQ(paint::ChangedBounds(plan, plan), std::nullopt);
}

TEST(ChangedBounds, OnlyTheOperationsThatDifferCount) {
  const paint::Plan before =
      PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}, paint::FillRect{{50, 50, 60, 60}, kInk}});
  const paint::Plan after =
      PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}, paint::FillRect{{50, 50, 60, 60}, {1, 2, 3}}});
  EXPECT_EQ(paint::ChangedBounds(before, after), (Rect{50, 50, 60, 60}));
}

TEST(ChangedBounds, AnOperationOnlyOnePlanHasCountsAndMovedOnesCountAtBothPlaces) {
  const paint::Plan one = PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}});
  const paint::Plan two =
      PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}, paint::FillRect{{20, 30, 40, 50}, kInk}});
  EXPECT_EQ(paint::ChangedBounds(one, two), (Rect{20, 30, 40, 50}));
  EXPECT_EQ(paint::ChangedBounds(two, one), (Rect{20, 30, 40, 50}));
  const paint::Plan moved = PlanOf({paint::FillRect{{100, 0, 110, 10}, kInk}});
  EXPECT_EQ(paint::ChangedBounds(one, moved), (Rect{0, 0, 110, 10}));
}

TEST(ChangedBounds, OtherFontsOrAnotherAreaChangeEverything) {
  const paint::Plan plan = PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}});
  paint::Plan fonts = plan;
  fonts.fonts[0].height = 21;
  EXPECT_EQ(paint::ChangedBounds(plan, fonts), (Rect{0, 0, 200, 100}));
  paint::Plan bigger = plan;
  bigger.size = {300, 100};
  EXPECT_EQ(paint::ChangedBounds(plan, bigger), (Rect{0, 0, 300, 100}));
}

TEST(ChangedBounds, AChangedOperationOfUnknownBoundsChangesTheWholeArea) {
  const paint::Text text{u"a", {5, 5, 50, 20}, 0, kInk, paint::kTextNoClip};
  paint::Text other = text;
  other.text = u"b";
  EXPECT_EQ(paint::ChangedBounds(PlanOf({text}), PlanOf({other})), (Rect{0, 0, 200, 100}));
}

TEST(CropPlan, KeepsWhatReachesTheAreaMovedToItsCorner) {
  const paint::Plan plan =
      PlanOf({paint::FillRect{{0, 0, 10, 10}, kInk}, paint::FillRect{{40, 40, 60, 60}, kInk},
              paint::Strokes{{1, kInk}, {{{45, 30}, {70, 30}}}},
              paint::Text{u"t", {30, 35, 90, 45}, 0, kInk, 0}});
  const paint::Plan cropped = paint::CropPlan(plan, {35, 35, 55, 55});
  EXPECT_EQ(cropped.size, (Size{20, 20}));
  EXPECT_EQ(cropped.fonts, plan.fonts);
  const std::vector<paint::Op> expected = {paint::FillRect{{5, 5, 25, 25}, kInk},
                                           paint::Text{u"t", {-5, 0, 55, 10}, 0, kInk, 0}};
  EXPECT_EQ(cropped.ops, expected);
}

TEST(CropPlan, KeepsClipsWhoseReachIsUnknown) {
  const paint::Plan plan = PlanOf({paint::PushClip{{0, 0, 5, 5}}, paint::PopClip{}});
  const std::vector<paint::Op> expected = {paint::PushClip{{-10, -10, -5, -5}}, paint::PopClip{}};
  EXPECT_EQ(paint::CropPlan(plan, {10, 10, 20, 20}).ops, expected);
}

}  // namespace
