#include "paint/gdi_executor.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "paint/gdi_owners.h"
#include "paint/paint_plan.h"
#include "platform/gdi.h"
#include "sim_core.h"
#include "sim_gdi.h"

namespace {

using Lines = std::vector<std::string>;

const auto kWindow = reinterpret_cast<platform::WindowHandle>(0x5100);

constexpr paint::Color kBlue{0x0F, 0x26, 0x4D};
constexpr paint::Color kWhite{0xFF, 0xFF, 0xFF};
constexpr paint::Pen kBorder{1, {0x89, 0xB9, 0xFF}};
constexpr paint::Pen kThick{2, {0x21, 0x76, 0xF6}};

class Executor : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }

  // Whatever path a test takes, nothing may be left behind or misused.
  static void ExpectAllGivenBack() {
    EXPECT_EQ(sim::LiveGdiObjects(), Lines{});
    EXPECT_EQ(sim::GdiMisuses(), Lines{});
    EXPECT_EQ(sim::SavedDcStates(), 0);
  }

  static Lines Entries(const std::string& prefix) {
    Lines found;
    for (const std::string& entry : sim::Journal()) {
      if (entry.rfind(prefix, 0) == 0) found.push_back(entry);
    }
    return found;
  }

  // A plan of every kind of operation, two texts sharing one font and a font never drawn with.
  static paint::Plan EveryKind() {
    paint::Plan plan;
    plan.size = {200, 100};
    plan.fonts = {{u"Microsoft YaHei", 42, 700}, {u"Unused", 10, 400}};
    plan.ops = {
        paint::FillRect{{0, 0, 8, 8}, kBlue},
        paint::Strokes{kThick, {{{0, 100}, {100, 0}}, {{10, 10}, {20, 10}, {20, 20}}}},
        paint::Text{u"KELVO ZMS", {56, 42, 576, 114}, 0, kWhite, 0x24},
        paint::RoundRect{{10, 20, 50, 40}, 11, kWhite, kBorder},
        paint::Rectangle{{1, 2, 3, 4}, kBlue, kBorder},
        paint::Ellipse{{5, 6, 7, 8}, kWhite, kThick},
        paint::Text{u"1", {0, 0, 10, 10}, 0, kBlue, 0x25},
    };
    return plan;
  }
};

TEST_F(Executor, DrawsEachOperationWithItsOwnObjectsInPlanOrder) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  const paint::PaintResult result = paint::DrawPlan(dc, EveryKind());
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(result.failures, 0u);
  EXPECT_EQ(sim::Journal(), (Lines{
                                "CreateCompatibleDC null -> dc1",
                                "SaveDC dc1 -> 1",
                                "SetBkMode dc1 1",
                                "CreateSolidBrush #0F264D -> brush1",
                                "FillRect dc1 0 0 8 8 brush=#0F264D",
                                "DeleteObject brush1",
                                "CreatePen 0 2 #2176F6 -> pen1",
                                "SelectObject dc1 pen1 -> stock-pen",
                                "MoveToEx dc1 0 100",
                                "LineTo dc1 100 0 pen=2#2176F6",
                                "MoveToEx dc1 10 10",
                                "LineTo dc1 20 10 pen=2#2176F6",
                                "LineTo dc1 20 20 pen=2#2176F6",
                                "SelectObject dc1 stock-pen -> pen1",
                                "DeleteObject pen1",
                                "CreateFontW 42 0 0 0 700 0 0 0 1 0 0 5 0 Microsoft YaHei -> font1",
                                "SelectObject dc1 font1 -> stock-font",
                                "SetTextColor dc1 #FFFFFF",
                                "DrawTextW dc1 KELVO ZMS 56 42 576 114 0x24 "
                                "font=Microsoft YaHei/42/700 ink=#FFFFFF transparent",
                                "SelectObject dc1 stock-font -> font1",
                                "CreateSolidBrush #FFFFFF -> brush2",
                                "CreatePen 0 1 #89B9FF -> pen2",
                                "SelectObject dc1 brush2 -> stock-brush",
                                "SelectObject dc1 pen2 -> stock-pen",
                                "RoundRect dc1 10 20 50 40 11 11 brush=#FFFFFF pen=1#89B9FF",
                                "SelectObject dc1 stock-pen -> pen2",
                                "SelectObject dc1 stock-brush -> brush2",
                                "DeleteObject pen2",
                                "DeleteObject brush2",
                                "CreateSolidBrush #0F264D -> brush3",
                                "CreatePen 0 1 #89B9FF -> pen3",
                                "SelectObject dc1 brush3 -> stock-brush",
                                "SelectObject dc1 pen3 -> stock-pen",
                                "Rectangle dc1 1 2 3 4 brush=#0F264D pen=1#89B9FF",
                                "SelectObject dc1 stock-pen -> pen3",
                                "SelectObject dc1 stock-brush -> brush3",
                                "DeleteObject pen3",
                                "DeleteObject brush3",
                                "CreateSolidBrush #FFFFFF -> brush4",
                                "CreatePen 0 2 #2176F6 -> pen4",
                                "SelectObject dc1 brush4 -> stock-brush",
                                "SelectObject dc1 pen4 -> stock-pen",
                                "Ellipse dc1 5 6 7 8 brush=#FFFFFF pen=2#2176F6",
                                "SelectObject dc1 stock-pen -> pen4",
                                "SelectObject dc1 stock-brush -> brush4",
                                "DeleteObject pen4",
                                "DeleteObject brush4",
                                "SelectObject dc1 font1 -> stock-font",
                                "SetTextColor dc1 #0F264D",
                                "DrawTextW dc1 1 0 0 10 10 0x25 "
                                "font=Microsoft YaHei/42/700 ink=#0F264D transparent",
                                "SelectObject dc1 stock-font -> font1",
                                "RestoreDC dc1 1",
                                "DeleteObject font1",
                            }));
  platform::DeleteDC(dc);
  ExpectAllGivenBack();
}

TEST_F(Executor, DrawingLeavesTheDcAsItFoundIt) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  platform::SetBkMode(dc, platform::kOpaque);
  platform::SetTextColor(dc, 0x123456);
  paint::DrawPlan(dc, EveryKind());
  // The answers are the values before: DrawPlan's transparent mode and inks were undone.
  EXPECT_EQ(platform::SetBkMode(dc, platform::kOpaque), platform::kOpaque);
  EXPECT_EQ(platform::SetTextColor(dc, 0), 0x123456u);
  platform::DeleteDC(dc);
  ExpectAllGivenBack();
}

TEST_F(Executor, PaintsIntoAMemoryBitmapAndCopiesItInOneBlit) {
  paint::Plan plan;
  plan.size = {100, 50};
  plan.ops = {paint::FillRect{{0, 0, 10, 10}, kBlue}};
  const platform::DcHandle target = platform::GetDC(kWindow);
  const paint::PaintResult result = paint::PaintPlan(target, plan);
  platform::ReleaseDC(kWindow, target);
  EXPECT_TRUE(result.buffered);
  EXPECT_EQ(result.failures, 0u);
  EXPECT_EQ(sim::Journal(), (Lines{
                                "GetDC stale -> dc1",
                                "CreateCompatibleDC dc1 -> dc2",
                                "CreateCompatibleBitmap dc1 100 50 -> bitmap1",
                                "SelectObject dc2 bitmap1 -> stock-bitmap",
                                "SaveDC dc2 -> 1",
                                "SetBkMode dc2 1",
                                "CreateSolidBrush #0F264D -> brush1",
                                "FillRect dc2 0 0 10 10 brush=#0F264D",
                                "DeleteObject brush1",
                                "RestoreDC dc2 1",
                                "BitBlt dc1 0 0 100 50 dc2 0 0 0xcc0020 bitmap=bitmap1",
                                "SelectObject dc2 stock-bitmap -> bitmap1",
                                "DeleteObject bitmap1",
                                "DeleteDC dc2",
                            }));
  EXPECT_EQ(sim::OpenDcCount(), 0);
  ExpectAllGivenBack();
}

TEST_F(Executor, NothingReachesTheTargetBeforeTheBlit) {
  const platform::DcHandle target = platform::GetDC(kWindow);
  paint::PaintPlan(target, EveryKind());
  platform::ReleaseDC(kWindow, target);
  const Lines onTarget = Entries("BitBlt");
  ASSERT_EQ(onTarget.size(), 1u);
  // The target is only named as what the buffer is made compatible with, and by the blit.
  for (const std::string& entry : sim::Journal()) {
    if (entry.rfind("GetDC", 0) == 0 || entry.rfind("BitBlt", 0) == 0 ||
        entry.rfind("CreateCompatible", 0) == 0) {
      continue;
    }
    EXPECT_EQ(entry.find(" dc1"), std::string::npos) << entry;
  }
  EXPECT_EQ(Entries("CreateCompatible"), (Lines{"CreateCompatibleDC dc1 -> dc2",
                                                "CreateCompatibleBitmap dc1 200 100 -> bitmap1"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, PaintWindowBeginsAndEndsThePaintAroundTheBuffer) {
  const paint::PaintResult result = paint::PaintWindow(kWindow, EveryKind());
  EXPECT_TRUE(result.buffered);
  const Lines journal = sim::Journal();
  ASSERT_GE(journal.size(), 4u);
  EXPECT_EQ(journal.front(), "BeginPaint -> dc1");
  EXPECT_EQ(journal[1], "CreateCompatibleDC dc1 -> dc2");
  EXPECT_EQ(journal[journal.size() - 2], "DeleteDC dc2");
  EXPECT_EQ(journal.back(), "EndPaint dc1");
  EXPECT_EQ(sim::OpenDcCount(), 0);
  ExpectAllGivenBack();
}

TEST_F(Executor, AnEmptyPlanOnlyValidatesTheWindow) {
  paint::Plan noOps;
  noOps.size = {1920, 1080};
  const paint::PaintResult result = paint::PaintWindow(kWindow, noOps);
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(result.failures, 0u);
  paint::Plan noArea = EveryKind();
  noArea.size = {0, 1080};
  paint::PaintWindow(kWindow, noArea);
  EXPECT_EQ(sim::Journal(),
            (Lines{"BeginPaint -> dc1", "EndPaint dc1", "BeginPaint -> dc2", "EndPaint dc2"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, AnEmptyPlanMakesNothingOnADc) {
  const platform::DcHandle target = platform::GetDC(kWindow);
  const paint::PaintResult result = paint::PaintPlan(target, paint::Plan{});
  platform::ReleaseDC(kWindow, target);
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(sim::Journal(), Lines{"GetDC stale -> dc1"});
  ExpectAllGivenBack();
}

TEST_F(Executor, WithoutAPaintDcNothingIsDrawnAndThePaintStillEnds) {
  sim::FailGdiCall("BeginPaint");
  const paint::PaintResult result = paint::PaintWindow(kWindow, EveryKind());
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(result.failures, EveryKind().ops.size());
  EXPECT_EQ(sim::Journal(), (Lines{"BeginPaint -> null", "EndPaint null"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, WithoutAMemoryDcItDrawsStraightIntoTheTargetAndRestoresIt) {
  sim::FailGdiCall("CreateCompatibleDC");
  const platform::DcHandle target = platform::GetDC(kWindow);
  const paint::PaintResult result = paint::PaintPlan(target, EveryKind());
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(result.failures, 0u);
  EXPECT_EQ(Entries("CreateCompatibleBitmap"), Lines{});
  EXPECT_EQ(Entries("BitBlt"), Lines{});
  EXPECT_EQ(Entries("RoundRect"),
            Lines{"RoundRect dc1 10 20 50 40 11 11 brush=#FFFFFF pen=1#89B9FF"});
  EXPECT_EQ(Entries("SaveDC"), Lines{"SaveDC dc1 -> 1"});
  EXPECT_EQ(Entries("RestoreDC"), Lines{"RestoreDC dc1 1"});
  platform::ReleaseDC(kWindow, target);
  ExpectAllGivenBack();
}

TEST_F(Executor, WithoutABitmapTheMemoryDcIsDeletedAndTheTargetDrawnDirectly) {
  sim::FailGdiCall("CreateCompatibleBitmap");
  const platform::DcHandle target = platform::GetDC(kWindow);
  const paint::PaintResult result = paint::PaintPlan(target, EveryKind());
  platform::ReleaseDC(kWindow, target);
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(result.failures, 0u);
  EXPECT_EQ(Entries("DeleteDC"), Lines{"DeleteDC dc2"});
  EXPECT_EQ(Entries("FillRect"), Lines{"FillRect dc1 0 0 8 8 brush=#0F264D"});
  EXPECT_EQ(Entries("BitBlt"), Lines{});
  ExpectAllGivenBack();
}

TEST_F(Executor, ABitmapThatCannotBeSelectedIsDeletedAndTheTargetDrawnDirectly) {
  sim::FailGdiCall("SelectObject");
  const platform::DcHandle target = platform::GetDC(kWindow);
  const paint::PaintResult result = paint::PaintPlan(target, EveryKind());
  platform::ReleaseDC(kWindow, target);
  EXPECT_FALSE(result.buffered);
  EXPECT_EQ(Entries("FillRect"), Lines{"FillRect dc1 0 0 8 8 brush=#0F264D"});
  EXPECT_EQ(Entries("DeleteObject bitmap"), Lines{"DeleteObject bitmap1"});
  ExpectAllGivenBack();
}

TEST_F(Executor, AFailedBlitIsCountedAndEverythingIsStillFreed) {
  sim::FailGdiCall("BitBlt");
  const paint::PaintResult result = paint::PaintWindow(kWindow, EveryKind());
  EXPECT_TRUE(result.buffered);
  EXPECT_EQ(result.failures, 1u);
  ExpectAllGivenBack();
}

// Every creation, selection, save, clip and drawing call of a rich plan made to fail in turn,
// the first, the second and so on until the plan makes no more such calls: each time every
// object is freed, every DC given back and every saved state restored.
TEST_F(Executor, EveryObjectIsFreedWhicheverCallFailsMidway) {
  paint::Plan plan = EveryKind();
  paint::AddScrolledText(plan, {0, 0, 50, 20}, u"marquee", 7, 0, kBlue);
  const std::string functions[] = {"CreateCompatibleDC",
                                   "CreateCompatibleBitmap",
                                   "CreateSolidBrush",
                                   "CreatePen",
                                   "CreateFontW",
                                   "SelectObject",
                                   "SaveDC",
                                   "IntersectClipRect",
                                   "DrawTextW",
                                   "MoveToEx",
                                   "LineTo",
                                   "FillRect",
                                   "RoundRect",
                                   "BitBlt"};
  for (const std::string& function : functions) {
    int failed = 0;
    for (int nth = 1; nth < 200; ++nth) {
      sim::ResetSimulation();
      sim::FailGdiCall(function, nth);
      const paint::PaintResult result = paint::PaintWindow(kWindow, plan);
      if (sim::PendingGdiFailures() > 0) break;  // the plan makes fewer calls than nth
      ++failed;
      SCOPED_TRACE(function + " failing at call " + std::to_string(nth));
      EXPECT_EQ(sim::LiveGdiObjects(), Lines{});
      EXPECT_EQ(sim::GdiMisuses(), Lines{});
      EXPECT_EQ(sim::SavedDcStates(), 0);
      EXPECT_EQ(sim::OpenDcCount(), 0);
      // Losing the buffer still draws everything as planned, straight into the window; any
      // other failure is counted.
      if (result.buffered) {
        EXPECT_GE(result.failures, 1u);
      }
    }
    EXPECT_GE(failed, 1) << function << " was never called";
  }
}

TEST_F(Executor, AFailedRestoreOfAClipStillEndsWithTheDcAsItWas) {
  paint::Plan plan;
  plan.size = {100, 100};
  plan.ops = {paint::PushClip{{0, 0, 10, 10}}, paint::PopClip{},
              paint::FillRect{{0, 0, 100, 100}, kBlue}};
  sim::FailGdiCall("RestoreDC");
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 1u);
  EXPECT_EQ(sim::SavedDcStates(), 0);
  // The outer restore went back past the clip's save.
  EXPECT_EQ(Entries("RestoreDC"), (Lines{"RestoreDC dc1 2", "RestoreDC dc1 1"}));
  platform::DeleteDC(dc);
  ExpectAllGivenBack();
}

TEST_F(Executor, WhatLiesInsideAClipThatCannotBeSetIsLeftOut) {
  paint::Plan plan;
  plan.size = {100, 100};
  plan.ops = {paint::PushClip{{0, 0, 10, 10}},
              paint::FillRect{{0, 0, 100, 100}, kBlue},
              paint::PushClip{{0, 0, 5, 5}},
              paint::FillRect{{0, 0, 100, 100}, kBlue},
              paint::PopClip{},
              paint::PopClip{},
              paint::FillRect{{0, 0, 1, 1}, kWhite}};
  sim::FailGdiCall("IntersectClipRect");
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 3u);  // the clip and the two fills inside it
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("FillRect"), Lines{"FillRect dc1 0 0 1 1 brush=#FFFFFF"});
  EXPECT_EQ(Entries("SaveDC"), (Lines{"SaveDC dc1 -> 1", "SaveDC dc1 -> 2"}));
  EXPECT_EQ(Entries("RestoreDC"), (Lines{"RestoreDC dc1 2", "RestoreDC dc1 1"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, AShapeWhosePenCannotBeMadeIsLeftOutAndTheRestDrawn) {
  sim::FailGdiCall("CreatePen", 2);  // the round rectangle's
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  const paint::PaintResult result = paint::DrawPlan(dc, EveryKind());
  platform::DeleteDC(dc);
  EXPECT_EQ(result.failures, 1u);
  EXPECT_EQ(Entries("RoundRect"), Lines{});
  EXPECT_EQ(Entries("Rectangle").size(), 1u);
  EXPECT_EQ(Entries("Ellipse").size(), 1u);
  ExpectAllGivenBack();
}

TEST_F(Executor, ATextWhoseFontCannotBeMadeIsDrawnInTheDcsFontAndCounted) {
  sim::FailGdiCall("CreateFontW");
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  const paint::PaintResult result = paint::DrawPlan(dc, EveryKind());
  platform::DeleteDC(dc);
  // The one font fails once and is not asked for again by the second text.
  EXPECT_EQ(Entries("CreateFontW").size(), 1u);
  EXPECT_EQ(result.failures, 2u);
  EXPECT_EQ(Entries("DrawTextW"),
            (Lines{"DrawTextW dc1 KELVO ZMS 56 42 576 114 0x24 font=stock-font ink=#FFFFFF "
                   "transparent",
                   "DrawTextW dc1 1 0 0 10 10 0x25 font=stock-font ink=#0F264D transparent"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, AFontIndexOutsideTheTableDrawsInTheDcsFont) {
  paint::Plan plan;
  plan.size = {10, 10};
  plan.ops = {paint::Text{u"x", {0, 0, 10, 10}, 3, kBlue, 0}};
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 1u);
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("CreateFontW"), Lines{});
  EXPECT_EQ(Entries("DrawTextW"),
            Lines{"DrawTextW dc1 x 0 0 10 10 0x0 font=stock-font ink=#0F264D transparent"});
  ExpectAllGivenBack();
}

TEST_F(Executor, StrokesWithoutPointsMakeNoPen) {
  paint::Plan plan;
  plan.size = {10, 10};
  plan.ops = {paint::Strokes{kThick, {}}, paint::Strokes{kThick, {{}, {{1, 1}}}}};
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 0u);
  platform::DeleteDC(dc);
  // The second has one stroke of a single point: a move, no line.
  EXPECT_EQ(Entries("CreatePen").size(), 1u);
  EXPECT_EQ(Entries("MoveToEx"), Lines{"MoveToEx dc1 1 1"});
  EXPECT_EQ(Entries("LineTo"), Lines{});
  ExpectAllGivenBack();
}

TEST_F(Executor, ClipsNestAndEachEndsWithItsOwnSave) {
  paint::Plan plan;
  plan.size = {100, 100};
  plan.ops = {
      paint::PushClip{{10, 10, 90, 90}},         paint::PushClip{{50, 0, 100, 60}},
      paint::FillRect{{0, 0, 100, 100}, kBlue},  paint::PopClip{},
      paint::FillRect{{0, 0, 100, 100}, kWhite}, paint::PopClip{},
      paint::FillRect{{0, 0, 1, 1}, kBlue},
  };
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 0u);
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("SaveDC"), (Lines{"SaveDC dc1 -> 1", "SaveDC dc1 -> 2", "SaveDC dc1 -> 3"}));
  EXPECT_EQ(Entries("RestoreDC"), (Lines{"RestoreDC dc1 3", "RestoreDC dc1 2", "RestoreDC dc1 1"}));
  EXPECT_EQ(Entries("FillRect"), (Lines{"FillRect dc1 0 0 100 100 brush=#0F264D clip=50,10,90,60",
                                        "FillRect dc1 0 0 100 100 brush=#FFFFFF clip=10,10,90,90",
                                        "FillRect dc1 0 0 1 1 brush=#0F264D"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, AClipLeftOpenEndsWithThePainting) {
  paint::Plan plan;
  plan.size = {100, 100};
  plan.ops = {paint::PushClip{{0, 0, 10, 10}}, paint::FillRect{{0, 0, 100, 100}, kBlue}};
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  paint::DrawPlan(dc, plan);
  EXPECT_EQ(sim::SavedDcStates(), 0);
  // A later drawing on the same DC is not clipped any more.
  platform::Rectangle(dc, 0, 0, 50, 50);
  EXPECT_EQ(Entries("Rectangle"), Lines{"Rectangle dc1 0 0 50 50 brush=stock-brush pen=stock-pen"});
  platform::DeleteDC(dc);
  ExpectAllGivenBack();
}

TEST_F(Executor, AnUnmatchedPopClipIsCountedAndLeavesTheOuterSaveAlone) {
  paint::Plan plan;
  plan.size = {100, 100};
  plan.ops = {paint::PopClip{}, paint::FillRect{{0, 0, 100, 100}, kBlue}};
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 1u);
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("RestoreDC"), Lines{"RestoreDC dc1 1"});
  EXPECT_EQ(Entries("FillRect"), Lines{"FillRect dc1 0 0 100 100 brush=#0F264D"});
  ExpectAllGivenBack();
}

TEST_F(Executor, AScrolledTextIsDrawnUnclippedByDrawTextInsideItsBox) {
  paint::Plan plan;
  plan.size = {400, 100};
  plan.fonts = {{u"Microsoft YaHei", 18, 700}};
  paint::AddScrolledText(plan, {100, 20, 400, 60}, u"通知 notice", 35, 0, kWhite);
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  EXPECT_EQ(paint::DrawPlan(dc, plan).failures, 0u);
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("IntersectClipRect"), Lines{"IntersectClipRect dc1 100 20 400 60"});
  EXPECT_EQ(Entries("DrawTextW"),
            Lines{"DrawTextW dc1 通知 notice 65 20 400 60 0x924 font=Microsoft YaHei/18/700 "
                  "ink=#FFFFFF transparent clip=100,20,400,60"});
  ExpectAllGivenBack();
}

TEST_F(Executor, ABoxWithABorderIsOneRectangleInItsBrushAndPen) {
  paint::Plan plan;
  plan.size = {50, 50};
  plan.ops = {paint::Rectangle{{0, 0, 50, 30}, kWhite, {2, kBlue}}};
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  paint::DrawPlan(dc, plan);
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("Rectangle"), Lines{"Rectangle dc1 0 0 50 30 brush=#FFFFFF pen=2#0F264D"});
  ExpectAllGivenBack();
}

// ---- The owners on their own ----

TEST_F(Executor, SelectedObjectPutsBackWhatItReplaced) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  {
    const paint::UniqueBrush brush(platform::CreateSolidBrush(0));
    const paint::SelectedObject selected(dc, brush.get());
    EXPECT_TRUE(selected);
  }
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("SelectObject"), (Lines{"SelectObject dc1 brush1 -> stock-brush",
                                            "SelectObject dc1 stock-brush -> brush1"}));
  ExpectAllGivenBack();
}

TEST_F(Executor, SelectingNothingCallsNothing) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  { const paint::SelectedObject selected(dc, nullptr); }
  platform::DeleteDC(dc);
  EXPECT_EQ(Entries("SelectObject"), Lines{});
}

TEST_F(Executor, WindowDcIsGivenBack) {
  {
    const paint::WindowDc dc(kWindow);
    EXPECT_TRUE(dc);
    EXPECT_EQ(sim::OpenDcCount(), 1);
  }
  EXPECT_EQ(sim::OpenDcCount(), 0);
}

// ---- What the simulation itself catches, so that the checks above can fail ----

TEST_F(Executor, TheSimulationReportsAnObjectDeletedWhileSelected) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  const platform::BrushHandle brush = platform::CreateSolidBrush(0);
  platform::SelectObject(dc, brush);
  platform::DeleteObject(brush);
  platform::DeleteDC(dc);
  EXPECT_EQ(sim::GdiMisuses(), (Lines{"DeleteObject brush1 while selected into dc1",
                                      "DeleteDC dc1 with brush1 selected"}));
}

TEST_F(Executor, TheSimulationReportsLeaksAndUnbalancedSaves) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  platform::CreatePen(platform::kPsSolid, 1, 0);
  platform::SaveDC(dc);
  EXPECT_EQ(sim::LiveGdiObjects(), (Lines{"dc1", "pen1"}));
  EXPECT_EQ(sim::SavedDcStates(), 1);
  platform::DeleteDC(dc);
  EXPECT_EQ(sim::GdiMisuses(), Lines{"DeleteDC dc1 with 1 saved state(s)"});
  EXPECT_EQ(sim::LiveGdiObjects(), Lines{"pen1"});
}

// ---- A cached layer and what is painted over it ----

paint::Plan Background(Size size) {
  paint::Plan plan;
  plan.size = size;
  plan.ops.emplace_back(paint::FillRect{{0, 0, size.width, size.height}, kBlue});
  return plan;
}

paint::Plan Box() {
  paint::Plan plan;
  plan.size = {100, 50};
  plan.ops.emplace_back(paint::RoundRect{{10, 10, 40, 20}, 4, kWhite, kBorder});
  plan.ops.emplace_back(paint::FillRect{{80, 40, 90, 45}, kWhite});
  return plan;
}

TEST_F(Executor, ACachedLayerIsDrawnOnceForItsKey) {
  {
    paint::CachedLayer layer;
    const platform::DcHandle window = platform::GetDC(kWindow);
    int made = 0;
    const auto make = [&] {
      ++made;
      return Background({100, 50});
    };
    EXPECT_TRUE(layer.Update(window, {{100, 50}, 1.0, 1}, make));
    EXPECT_FALSE(layer.Update(window, {{100, 50}, 1.0, 1}, make));
    EXPECT_EQ(made, 1);
    EXPECT_TRUE(layer.Update(window, {{100, 50}, 1.5, 1}, make));
    EXPECT_TRUE(layer.Update(window, {{100, 50}, 1.5, 2}, make));
    EXPECT_TRUE(layer.Update(window, {{120, 50}, 1.5, 2}, make));
    EXPECT_EQ(made, 4);
    EXPECT_EQ(Entries("CreateCompatibleBitmap").back(),
              "CreateCompatibleBitmap dc1 120 50 -> bitmap4");
    platform::ReleaseDC(kWindow, window);
  }
  ExpectAllGivenBack();
}

TEST_F(Executor, ACachedLayerWithoutABitmapHoldsNothing) {
  paint::CachedLayer layer;
  const platform::DcHandle window = platform::GetDC(kWindow);
  sim::FailGdiCall("CreateCompatibleBitmap");
  EXPECT_FALSE(layer.Update(window, {{100, 50}, 1.0, 1}, [] { return Background({100, 50}); }));
  EXPECT_FALSE(layer);
  EXPECT_TRUE(layer.Update(window, {{100, 50}, 1.0, 1}, [] { return Background({100, 50}); }));
  EXPECT_TRUE(layer);
  layer.Release();
  platform::ReleaseDC(kWindow, window);
  ExpectAllGivenBack();
}

TEST_F(Executor, PaintOverLayerCopiesTheAreaFromTheLayerAndDrawsOnlyWhatReachesIt) {
  paint::CachedLayer layer;
  const platform::DcHandle window = platform::GetDC(kWindow);
  layer.Update(window, {{100, 50}, 1.0, 1}, [] { return Background({100, 50}); });
  const std::size_t before = sim::Journal().size();
  const paint::PaintResult result = paint::PaintOverLayer(window, layer, {5, 5, 45, 25}, Box());
  EXPECT_TRUE(result.buffered);
  EXPECT_EQ(result.failures, 0U);
  const Lines journal = sim::Journal();
  Lines drawn;
  for (std::size_t i = before; i < journal.size(); ++i) {
    const std::string& entry = journal[i];
    if (entry.rfind("BitBlt", 0) == 0 || entry.rfind("RoundRect", 0) == 0 ||
        entry.rfind("FillRect", 0) == 0) {
      drawn.push_back(entry);
    }
  }
  EXPECT_EQ(drawn, (Lines{"BitBlt dc3 0 0 40 20 dc2 5 5 0xcc0020 bitmap=bitmap1",
                          "RoundRect dc3 5 5 35 15 4 4 brush=#FFFFFF pen=1#89B9FF",
                          "BitBlt dc1 5 5 40 20 dc3 0 0 0xcc0020 bitmap=bitmap2"}));
  layer.Release();
  platform::ReleaseDC(kWindow, window);
  ExpectAllGivenBack();
}

TEST_F(Executor, PaintOverLayerCutsTheAreaToTheLayer) {
  paint::CachedLayer layer;
  const platform::DcHandle window = platform::GetDC(kWindow);
  layer.Update(window, {{100, 50}, 1.0, 1}, [] { return Background({100, 50}); });
  paint::PaintOverLayer(window, layer, {90, 40, 200, 200}, Box());
  EXPECT_EQ(Entries("BitBlt").back(), "BitBlt dc1 90 40 10 10 dc3 0 0 0xcc0020 bitmap=bitmap2");
  const std::size_t before = Entries("BitBlt").size();
  EXPECT_EQ(paint::PaintOverLayer(window, layer, {100, 0, 120, 20}, Box()).failures, 0U);
  EXPECT_EQ(Entries("BitBlt").size(), before) << "nothing of the area lies on the layer";
  layer.Release();
  platform::ReleaseDC(kWindow, window);
  ExpectAllGivenBack();
}

TEST_F(Executor, PaintOverAnEmptyLayerDrawsNothing) {
  const paint::CachedLayer layer;
  const platform::DcHandle window = platform::GetDC(kWindow);
  EXPECT_EQ(paint::PaintOverLayer(window, layer, {0, 0, 10, 10}, Box()).failures, 0U);
  EXPECT_EQ(Entries("BitBlt"), Lines{});
  platform::ReleaseDC(kWindow, window);
  ExpectAllGivenBack();
}

}  // namespace
