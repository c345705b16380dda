#include "paint/paint_plan.h"

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

}  // namespace
