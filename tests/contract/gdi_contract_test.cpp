// What the paint executor relies on GDI to answer: selections that hand back what they replaced,
// one memory DC per bitmap, saved states by level, the clip's region kind, the current position,
// and drawing into a memory bitmap. Memory DCs only, so that no window or display is needed.
#include <gtest/gtest.h>

#include "platform/gdi.h"
#include "platform/handles.h"

namespace {

// A memory DC with a bitmap of its own, both freed at the end.
class MemoryCanvas {
 public:
  MemoryCanvas(int width, int height)
      : dc_(platform::CreateCompatibleDC(nullptr)),
        bitmap_(dc_ ? platform::CreateCompatibleBitmap(dc_, width, height) : nullptr),
        previous_(bitmap_ ? platform::SelectObject(dc_, bitmap_) : nullptr) {}
  ~MemoryCanvas() {
    if (previous_) platform::SelectObject(dc_, previous_);
    if (bitmap_) platform::DeleteObject(bitmap_);
    if (dc_) platform::DeleteDC(dc_);
  }
  MemoryCanvas(const MemoryCanvas&) = delete;
  MemoryCanvas& operator=(const MemoryCanvas&) = delete;

  platform::DcHandle dc() const { return dc_; }
  bool ready() const { return previous_ != nullptr; }

 private:
  platform::DcHandle dc_;
  platform::BitmapHandle bitmap_;
  platform::GdiObjectHandle previous_;
};

TEST(SelectObject, AnswersTheObjectItReplaced) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  ASSERT_NE(dc, nullptr);
  const platform::BrushHandle brush = platform::CreateSolidBrush(platform::Rgb(1, 2, 3));
  ASSERT_NE(brush, nullptr);
  const platform::GdiObjectHandle stock = platform::SelectObject(dc, brush);
  EXPECT_NE(stock, nullptr);
  EXPECT_EQ(platform::SelectObject(dc, stock), static_cast<platform::GdiObjectHandle>(brush));
  EXPECT_TRUE(platform::DeleteObject(brush));
  EXPECT_TRUE(platform::DeleteDC(dc));
}

TEST(SelectObject, ABitmapGoesIntoOneMemoryDcAtATime) {
  const MemoryCanvas first(8, 8);
  ASSERT_TRUE(first.ready());
  const platform::DcHandle second = platform::CreateCompatibleDC(nullptr);
  ASSERT_NE(second, nullptr);
  const platform::BitmapHandle bitmap = platform::CreateCompatibleBitmap(first.dc(), 4, 4);
  ASSERT_NE(bitmap, nullptr);
  const platform::GdiObjectHandle previous = platform::SelectObject(first.dc(), bitmap);
  ASSERT_NE(previous, nullptr);
  EXPECT_EQ(platform::SelectObject(second, bitmap), nullptr);
  platform::SelectObject(first.dc(), previous);
  EXPECT_TRUE(platform::DeleteObject(bitmap));
  EXPECT_TRUE(platform::DeleteDC(second));
}

TEST(DeleteObject, AStockObjectOutlivesIt) {
  const MemoryCanvas canvas(4, 4);
  ASSERT_TRUE(canvas.ready());
  const platform::PenHandle pen = platform::CreatePen(platform::kPsSolid, 1, 0);
  const platform::GdiObjectHandle stock = platform::SelectObject(canvas.dc(), pen);
  ASSERT_NE(stock, nullptr);
  EXPECT_TRUE(platform::DeleteObject(stock));
  // Still selectable: the pen can be swapped out for it.
  EXPECT_EQ(platform::SelectObject(canvas.dc(), stock),
            static_cast<platform::GdiObjectHandle>(pen));
  EXPECT_TRUE(platform::DeleteObject(pen));
}

TEST(DeleteDC, ADeletedDcCannotBeDeletedAgain) {
  const platform::DcHandle dc = platform::CreateCompatibleDC(nullptr);
  ASSERT_NE(dc, nullptr);
  EXPECT_TRUE(platform::DeleteDC(dc));
  EXPECT_FALSE(platform::DeleteDC(dc));
}

TEST(SaveDC, CountsLevelsAndRestoreDcGoesBackByCountOrLevel) {
  const MemoryCanvas canvas(4, 4);
  ASSERT_TRUE(canvas.ready());
  const platform::DcHandle dc = canvas.dc();
  EXPECT_EQ(platform::SaveDC(dc), 1);
  EXPECT_EQ(platform::SaveDC(dc), 2);
  EXPECT_TRUE(platform::RestoreDC(dc, -1));
  EXPECT_EQ(platform::SaveDC(dc), 2);
  EXPECT_EQ(platform::SaveDC(dc), 3);
  EXPECT_TRUE(platform::RestoreDC(dc, 2));
  EXPECT_EQ(platform::SaveDC(dc), 2);
  EXPECT_FALSE(platform::RestoreDC(dc, 5));
  EXPECT_FALSE(platform::RestoreDC(dc, -3));
  EXPECT_TRUE(platform::RestoreDC(dc, 1));
  EXPECT_FALSE(platform::RestoreDC(dc, -1));
}

TEST(RestoreDC, PutsBackTheModeTheTextColourAndTheSelections) {
  const MemoryCanvas canvas(4, 4);
  ASSERT_TRUE(canvas.ready());
  const platform::DcHandle dc = canvas.dc();
  // A new DC draws text on an opaque background in black.
  EXPECT_EQ(platform::SetBkMode(dc, platform::kTransparent), platform::kOpaque);
  EXPECT_EQ(platform::SetTextColor(dc, platform::Rgb(9, 8, 7)), 0u);
  const platform::BrushHandle brush = platform::CreateSolidBrush(platform::Rgb(1, 2, 3));
  ASSERT_EQ(platform::SaveDC(dc), 1);
  EXPECT_EQ(platform::SetBkMode(dc, platform::kOpaque), platform::kTransparent);
  EXPECT_EQ(platform::SetTextColor(dc, platform::Rgb(1, 1, 1)), platform::Rgb(9, 8, 7));
  const platform::GdiObjectHandle stock = platform::SelectObject(dc, brush);
  ASSERT_NE(stock, nullptr);
  EXPECT_TRUE(platform::RestoreDC(dc, -1));
  EXPECT_EQ(platform::SetBkMode(dc, platform::kTransparent), platform::kTransparent);
  EXPECT_EQ(platform::SetTextColor(dc, 0), platform::Rgb(9, 8, 7));
  EXPECT_EQ(platform::SelectObject(dc, stock), stock);
  EXPECT_TRUE(platform::DeleteObject(brush));
}

TEST(IntersectClipRect, AnswersWhatIsLeftOfTheClip) {
  const MemoryCanvas canvas(100, 100);
  ASSERT_TRUE(canvas.ready());
  const platform::DcHandle dc = canvas.dc();
  ASSERT_EQ(platform::SaveDC(dc), 1);
  EXPECT_EQ(platform::IntersectClipRect(dc, 10, 10, 50, 50), platform::kSimpleRegion);
  EXPECT_EQ(platform::IntersectClipRect(dc, 20, 0, 100, 30), platform::kSimpleRegion);
  EXPECT_EQ(platform::IntersectClipRect(dc, 60, 60, 70, 70), platform::kNullRegion);
  EXPECT_TRUE(platform::RestoreDC(dc, 1));
  // The restore took the clip away with the saved state.
  EXPECT_EQ(platform::IntersectClipRect(dc, 60, 60, 70, 70), platform::kSimpleRegion);
}

TEST(MoveToEx, AnswersThePositionThatLineToLeft) {
  const MemoryCanvas canvas(50, 50);
  ASSERT_TRUE(canvas.ready());
  const platform::DcHandle dc = canvas.dc();
  Point previous{-1, -1};
  EXPECT_TRUE(platform::MoveToEx(dc, 10, 20, &previous));
  EXPECT_EQ(previous, (Point{0, 0}));
  EXPECT_TRUE(platform::MoveToEx(dc, 5, 5, nullptr));
  EXPECT_TRUE(platform::LineTo(dc, 30, 40));
  EXPECT_TRUE(platform::MoveToEx(dc, 0, 0, &previous));
  EXPECT_EQ(previous, (Point{30, 40}));
}

TEST(Drawing, EveryCallTheExecutorMakesSucceedsOnAMemoryBitmap) {
  const MemoryCanvas canvas(200, 100);
  const MemoryCanvas target(200, 100);
  ASSERT_TRUE(canvas.ready() && target.ready());
  const platform::DcHandle dc = canvas.dc();
  const platform::BrushHandle brush = platform::CreateSolidBrush(platform::Rgb(15, 38, 77));
  const platform::PenHandle pen =
      platform::CreatePen(platform::kPsSolid, 2, platform::Rgb(1, 2, 3));
  const platform::FontHandle font = platform::CreateFontW(
      24, 0, 0, 0, platform::kFwBold, 0, 0, 0, platform::kDefaultCharset,
      platform::kOutDefaultPrecis, platform::kClipDefaultPrecis, platform::kClearTypeQuality,
      platform::kDefaultPitch | platform::kFfDontCare, u"Microsoft YaHei");
  ASSERT_TRUE(brush && pen && font);
  EXPECT_NE(platform::FillRect(dc, {0, 0, 200, 100}, brush), 0);
  const platform::GdiObjectHandle oldBrush = platform::SelectObject(dc, brush);
  const platform::GdiObjectHandle oldPen = platform::SelectObject(dc, pen);
  const platform::GdiObjectHandle oldFont = platform::SelectObject(dc, font);
  ASSERT_TRUE(oldBrush && oldPen && oldFont);
  EXPECT_TRUE(platform::Rectangle(dc, 1, 1, 20, 20));
  EXPECT_TRUE(platform::RoundRect(dc, 30, 1, 60, 20, 8, 8));
  EXPECT_TRUE(platform::Ellipse(dc, 70, 1, 90, 20));
  Rect rect{0, 30, 200, 100};
  EXPECT_GT(
      platform::DrawTextW(dc, u"KELVO 解锁", &rect,
                          platform::kDtCenter | platform::kDtVCenter | platform::kDtSingleLine),
      0);
  EXPECT_TRUE(platform::BitBlt(target.dc(), 0, 0, 200, 100, dc, 0, 0, platform::kSrcCopy));
  platform::SelectObject(dc, oldFont);
  platform::SelectObject(dc, oldPen);
  platform::SelectObject(dc, oldBrush);
  EXPECT_TRUE(platform::DeleteObject(font));
  EXPECT_TRUE(platform::DeleteObject(pen));
  EXPECT_TRUE(platform::DeleteObject(brush));
}

// ---- The overlay windows' regions, null brush and text extents ----

TEST(Regions, AreFilledWithABrushAndDeletedLikeAnyObject) {
  const MemoryCanvas canvas(60, 40);
  ASSERT_TRUE(canvas.ready());
  const platform::RegionHandle disc = platform::CreateEllipticRgn(10, 8, 34, 32);
  const platform::RegionHandle button = platform::CreateRoundRectRgn(36, 8, 60, 32, 8, 8);
  const platform::BrushHandle brush = platform::CreateSolidBrush(platform::Rgb(66, 133, 244));
  ASSERT_TRUE(disc && button && brush);
  EXPECT_TRUE(platform::FillRgn(canvas.dc(), disc, brush));
  EXPECT_TRUE(platform::FillRgn(canvas.dc(), button, brush));
  EXPECT_TRUE(platform::DeleteObject(button));
  EXPECT_TRUE(platform::DeleteObject(disc));
  EXPECT_TRUE(platform::DeleteObject(brush));
}

TEST(GetStockObject, TheNullBrushIsSelectableAndOutlivesDeleteObject) {
  const MemoryCanvas canvas(8, 8);
  ASSERT_TRUE(canvas.ready());
  const platform::GdiObjectHandle hollow = platform::GetStockObject(platform::kNullBrush);
  ASSERT_NE(hollow, nullptr);
  const platform::GdiObjectHandle previous = platform::SelectObject(canvas.dc(), hollow);
  ASSERT_NE(previous, nullptr);
  EXPECT_TRUE(platform::Rectangle(canvas.dc(), 0, 0, 8, 8));
  EXPECT_EQ(platform::SelectObject(canvas.dc(), previous), hollow);
  EXPECT_TRUE(platform::DeleteObject(hollow));
  EXPECT_EQ(platform::GetStockObject(platform::kNullBrush), hollow);
}

TEST(GetTextExtentPoint32W, GrowsWithTheTextAndMeasuresNothingAsZeroWide) {
  const MemoryCanvas canvas(8, 8);
  ASSERT_TRUE(canvas.ready());
  const platform::FontHandle font = platform::CreateFontW(
      20, 0, 0, 0, platform::kFwNormal, 0, 0, 0, platform::kDefaultCharset,
      platform::kOutDefaultPrecis, platform::kClipDefaultPrecis, platform::kClearTypeQuality,
      platform::kDefaultPitch | platform::kFfDontCare, u"Microsoft YaHei");
  ASSERT_NE(font, nullptr);
  const platform::GdiObjectHandle previous = platform::SelectObject(canvas.dc(), font);
  ASSERT_NE(previous, nullptr);
  Size one;
  Size three;
  Size none{-1, -1};
  EXPECT_TRUE(platform::GetTextExtentPoint32W(canvas.dc(), u"M", &one));
  EXPECT_TRUE(platform::GetTextExtentPoint32W(canvas.dc(), u"MMM", &three));
  EXPECT_TRUE(platform::GetTextExtentPoint32W(canvas.dc(), u"", &none));
  EXPECT_GT(one.width, 0);
  EXPECT_GT(three.width, 2 * one.width);
  EXPECT_GT(one.height, 0);
  EXPECT_EQ(none.width, 0);
  platform::SelectObject(canvas.dc(), previous);
  EXPECT_TRUE(platform::DeleteObject(font));
}

}  // namespace
