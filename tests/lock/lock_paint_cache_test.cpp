#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "lock/lock_layout.h"
#include "lock/lock_paint_plan.h"
#include "lock/lock_screen.h"
#include "sim_core.h"
#include "sim_gdi.h"
#include "sim_user.h"

namespace {

// ---- The layers ----

struct Screen {
  LockSize client;
  unsigned dpi;
};
constexpr Screen kScreens[] = {
    {{1920, 1080}, 96}, {{3840, 2160}, 96}, {{1920, 1080}, 144},
    {{800, 600}, 96},   {{1366, 768}, 120}, {{1, 1}, 96},
};

struct Typing {
  std::size_t typed;
  bool message;
};
constexpr Typing kTypings[] = {{0, false}, {0, true}, {1, false}, {4, true}, {32, false}};

LockPaintInput InputFor(const LockLayout& layout, const Screen& screen, const Typing& typing) {
  LockPaintInput input;
  input.client = screen.client;
  input.scale = ComputeLockScaleFrom(screen.dpi, screen.client);
  input.keys = &layout.keys;
  input.inputRect = layout.inputRect;
  input.typedCount = typing.typed;
  input.hasMessage = typing.message;
  return input;
}

TEST(LockPaintLayers, TheThreeLayersOneAfterTheOtherAreTheWholePlan) {
  for (const Screen& screen : kScreens) {
    const double scale = ComputeLockScaleFrom(screen.dpi, screen.client);
    const LockLayout layout = LayoutLockKeysFrom(screen.client, scale);
    for (const Typing& typing : kTypings) {
      const LockPaintInput input = InputFor(layout, screen, typing);
      const paint::Plan whole = ToPaintPlan(PlanLockPaint(input));
      const paint::Plan layers[] = {PlanLockBackgroundLayer(input), PlanLockInputLayer(input),
                                    PlanLockKeysLayer(input)};
      std::vector<paint::Op> composed;
      for (const paint::Plan& layer : layers) {
        EXPECT_EQ(layer.size, whole.size);
        EXPECT_EQ(layer.fonts, whole.fonts);
        composed.insert(composed.end(), layer.ops.begin(), layer.ops.end());
      }
      EXPECT_EQ(composed, whole.ops) << screen.client.width << "x" << screen.client.height << " at "
                                     << screen.dpi << ", " << typing.typed << " typed";
    }
  }
}

TEST(LockPaintLayers, AnEmptyClientHasEmptyLayers) {
  const LockLayout layout = LayoutLockKeysFrom({0, 0}, 1.0);
  const LockPaintInput input = InputFor(layout, {{0, 0}, 96}, {3, true});
  EXPECT_TRUE(paint::IsEmpty(PlanLockBackgroundLayer(input)));
  EXPECT_TRUE(paint::IsEmpty(PlanLockInputLayer(input)));
  EXPECT_TRUE(paint::IsEmpty(PlanLockKeysLayer(input)));
}

TEST(LockPaintLayers, TypingChangesTheInputLayerAlone) {
  const Screen screen{{3840, 2160}, 96};
  const LockLayout layout = LayoutLockKeysFrom(screen.client, 2.0);
  const LockPaintInput first = InputFor(layout, screen, kTypings[0]);
  for (const Typing& typing : kTypings) {
    const LockPaintInput input = InputFor(layout, screen, typing);
    EXPECT_EQ(PlanLockBackgroundLayer(input).ops, PlanLockBackgroundLayer(first).ops);
    EXPECT_EQ(PlanLockKeysLayer(input).ops, PlanLockKeysLayer(first).ops);
  }
  EXPECT_NE(PlanLockInputLayer(InputFor(layout, screen, {1, false})).ops,
            PlanLockInputLayer(first).ops);
}

TEST(LockPaintLayers, TheInputLayerStaysInsideTheBoxAndItsOutline) {
  const Screen screen{{1920, 1080}, 96};
  const LockLayout layout = LayoutLockKeysFrom(screen.client, 1.0);
  const Rect box = layout.inputRect;
  const Rect outline{box.left - 1, box.top - 1, box.right + 1, box.bottom + 1};
  EXPECT_EQ(paint::Bounds(PlanLockInputLayer(InputFor(layout, screen, {32, true}))), outline);
}

// ---- The window: what a key press invalidates and paints ----

LockWindowHandle kHwnd = nullptr;

class LockWindowPaint : public ::testing::Test {
 protected:
  void SetUp() override {
    // The cache holds objects of the last test's simulation: freed before it is reset.
    ResetLockScreenState();
    sim::ResetSimulation();
    sim::DesktopWindow window;
    window.pid = sim::kOwnProcessId;
    window.threadId = sim::kOwnThreadId;
    window.style = platform::kWsPopup;
    window.windowRect = Rect{0, 0, 1920, 1080};
    kHwnd = sim::AddDesktopWindow(window);
    LayoutLockKeys(kHwnd);
  }
  void TearDown() override { ResetLockScreenState(); }

  static LockScreenState& State() { return GetLockScreenState(); }

  static std::string Numbers(const Rect& rect) {
    return std::to_string(rect.left) + " " + std::to_string(rect.top) + " " +
           std::to_string(rect.right) + " " + std::to_string(rect.bottom);
  }
  // The input box with its one-pixel outline.
  static Rect BoxArea() {
    const Rect box = State().lockInputRect;
    return {box.left - 1, box.top - 1, box.right + 1, box.bottom + 1};
  }

  static std::vector<std::string> EntriesSince(std::size_t mark, const std::string& prefix) {
    const std::vector<std::string> journal = sim::Journal();
    std::vector<std::string> found;
    for (std::size_t i = mark; i < journal.size(); ++i) {
      if (journal[i].rfind(prefix, 0) == 0) found.push_back(journal[i]);
    }
    return found;
  }
  static std::size_t Mark() { return sim::Journal().size(); }

  static int LiveBitmaps() {
    const std::vector<std::string> live = sim::LiveGdiObjects();
    return static_cast<int>(std::count_if(live.begin(), live.end(), [](const std::string& name) {
      return name.rfind("bitmap", 0) == 0;
    }));
  }

  static std::size_t TileCount() {
    const double scale = ComputeLockScale(kHwnd);
    const int b = LockRound(scale * 8);
    const Rect client{0, 0, 1920, 1080};
    return static_cast<std::size_t>((client.Width() + b - 1) / b) *
           static_cast<std::size_t>((client.Height() + b - 1) / b);
  }

  // The first paint, after which the background is cached.
  static void PaintAll() {
    platform::InvalidateRect(kHwnd, nullptr, false);
    PaintLockWindow(kHwnd);
  }
};

TEST_F(LockWindowPaint, ADigitInvalidatesOnlyTheMaskInsideTheBox) {
  const std::size_t mark = Mark();
  HandleLockChar(kHwnd, u'5');
  EXPECT_EQ(EntriesSince(mark, "InvalidateRect"),
            std::vector<std::string>{"InvalidateRect " + sim::Label(kHwnd) + " " +
                                     Numbers(State().lockInputRect)});
}

TEST_F(LockWindowPaint, AClearedMessageInvalidatesTheBoxWithItsOutline) {
  State().lockStoredHash = u"0000";
  SubmitLockPassword(kHwnd);
  const std::size_t mark = Mark();
  HandleLockChar(kHwnd, u'5');
  EXPECT_EQ(
      EntriesSince(mark, "InvalidateRect"),
      std::vector<std::string>{"InvalidateRect " + sim::Label(kHwnd) + " " + Numbers(BoxArea())});
}

TEST_F(LockWindowPaint, AWrongPasswordInvalidatesOnlyTheInputBox) {
  State().lockStoredHash = u"0000";
  HandleLockChar(kHwnd, u'5');
  const std::size_t mark = Mark();
  SubmitLockPassword(kHwnd);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(
      EntriesSince(mark, "InvalidateRect"),
      std::vector<std::string>{"InvalidateRect " + sim::Label(kHwnd) + " " + Numbers(BoxArea())});
}

TEST_F(LockWindowPaint, TheFirstPaintDrawsTheBackgroundOnceAndCopiesTheWholeWindow) {
  const std::size_t mark = Mark();
  PaintAll();
  EXPECT_EQ(EntriesSince(mark, "FillRect").size(), TileCount());
  EXPECT_EQ(EntriesSince(mark, "CreateCompatibleBitmap").front().find(" 1920 1080 -> "),
            std::string("CreateCompatibleBitmap dc1").size());
  const std::vector<std::string> copies = EntriesSince(mark, "BitBlt");
  ASSERT_FALSE(copies.empty());
  EXPECT_EQ(copies.back().rfind("BitBlt dc1 0 0 1920 1080 ", 0), 0U) << copies.back();
  EXPECT_EQ(LiveBitmaps(), 1);
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
}

TEST_F(LockWindowPaint, AKeyPressRepaintsTheBoxFromTheCacheWithoutATile) {
  PaintAll();
  HandleLockChar(kHwnd, u'5');
  const std::size_t mark = Mark();
  PaintLockWindow(kHwnd);
  EXPECT_EQ(EntriesSince(mark, "FillRect").size(), 0U);
  const Rect area = State().lockInputRect;
  const std::string size = std::to_string(area.Width()) + " " + std::to_string(area.Height());
  const std::vector<std::string> made = EntriesSince(mark, "CreateCompatibleBitmap");
  ASSERT_EQ(made.size(), 1U);
  EXPECT_NE(made[0].find(" " + size + " -> "), std::string::npos) << made[0];
  const std::vector<std::string> copies = EntriesSince(mark, "BitBlt");
  ASSERT_EQ(copies.size(), 2U);
  // From the cached background (the first bitmap made) into the area's bitmap, then from it to
  // the window at the area.
  EXPECT_NE(copies[0].find(" 0 0 " + size + " "), std::string::npos) << copies[0];
  EXPECT_NE(copies[0].find(" " + std::to_string(area.left) + " " + std::to_string(area.top) +
                           " 0xcc0020 bitmap=bitmap1"),
            std::string::npos)
      << copies[0];
  EXPECT_NE(copies[1].find(" " + std::to_string(area.left) + " " + std::to_string(area.top) + " " +
                           size + " "),
            std::string::npos)
      << copies[1];
  EXPECT_EQ(EntriesSince(mark, "DrawTextW").size(), 1U) << "the mask, and no key label";
  EXPECT_EQ(LiveBitmaps(), 1);
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
}

TEST_F(LockWindowPaint, ASizeChangeDrawsTheBackgroundAgain) {
  PaintAll();
  sim::ChangeDesktopWindow(kHwnd, [](sim::DesktopWindow& window) {
    window.windowRect = Rect{0, 0, 1280, 720};
  });
  LayoutLockKeys(kHwnd);
  const std::size_t mark = Mark();
  PaintLockWindow(kHwnd);
  EXPECT_FALSE(EntriesSince(mark, "FillRect").empty());
  const std::vector<std::string> made = EntriesSince(mark, "CreateCompatibleBitmap");
  ASSERT_FALSE(made.empty());
  EXPECT_NE(made.front().find(" 1280 720 -> "), std::string::npos) << made.front();
  EXPECT_EQ(EntriesSince(mark, "BitBlt").back().rfind("BitBlt dc", 0), 0U);
  EXPECT_NE(EntriesSince(mark, "BitBlt").back().find(" 0 0 1280 720 "), std::string::npos);
  EXPECT_EQ(LiveBitmaps(), 1) << "the old background is freed";
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
}

TEST_F(LockWindowPaint, ADpiChangeDrawsTheBackgroundAgain) {
  PaintAll();
  PaintAll();
  const std::size_t mark = Mark();
  sim::ChangeDesktopWindow(kHwnd, [](sim::DesktopWindow& window) { window.dpi = 192; });
  HandleLockChar(kHwnd, u'1');
  PaintLockWindow(kHwnd);
  EXPECT_EQ(EntriesSince(mark, "FillRect").size(), TileCount());
  EXPECT_NE(EntriesSince(mark, "BitBlt").back().find(" 0 0 1920 1080 "), std::string::npos);
  EXPECT_EQ(LiveBitmaps(), 1);
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
}

TEST_F(LockWindowPaint, TheSameSizeAndScaleKeepTheBackground) {
  PaintAll();
  const std::size_t mark = Mark();
  PaintAll();
  EXPECT_EQ(EntriesSince(mark, "FillRect").size(), 0U);
}

TEST_F(LockWindowPaint, EndingTheWindowFreesTheBackground) {
  PaintAll();
  ASSERT_EQ(LiveBitmaps(), 1);
  EndLockWindow();
  EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
  EXPECT_TRUE(State().keys.empty());
}

TEST_F(LockWindowPaint, WithoutABitmapForTheBackgroundTheWholePlanIsPainted) {
  sim::FailGdiCall("CreateCompatibleBitmap");
  const std::size_t mark = Mark();
  PaintAll();
  EXPECT_EQ(EntriesSince(mark, "FillRect").size(), TileCount());
  EXPECT_NE(EntriesSince(mark, "BitBlt").back().find(" 0 0 1920 1080 "), std::string::npos);
  EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
  const std::size_t again = Mark();
  PaintAll();
  EXPECT_EQ(LiveBitmaps(), 1) << "the next paint keeps the background";
  EXPECT_EQ(EntriesSince(again, "FillRect").size(), TileCount());
}

TEST_F(LockWindowPaint, WithoutABitmapForTheAreaItIsPaintedStraightIntoTheWindowClipped) {
  PaintAll();
  HandleLockChar(kHwnd, u'5');
  sim::FailGdiCall("CreateCompatibleBitmap");
  const std::size_t mark = Mark();
  PaintLockWindow(kHwnd);
  const Rect area = State().lockInputRect;
  const std::vector<std::string> copies = EntriesSince(mark, "BitBlt");
  ASSERT_EQ(copies.size(), 1U);
  EXPECT_NE(
      copies[0].find(" " + std::to_string(area.left) + " " + std::to_string(area.top) + " " +
                     std::to_string(area.Width()) + " " + std::to_string(area.Height()) + " "),
      std::string::npos)
      << copies[0];
  const std::vector<std::string> texts = EntriesSince(mark, "DrawTextW");
  ASSERT_FALSE(texts.empty());
  EXPECT_NE(texts[0].find("clip=" + std::to_string(area.left) + "," + std::to_string(area.top)),
            std::string::npos)
      << texts[0];
  EXPECT_EQ(LiveBitmaps(), 1);
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
}

TEST_F(LockWindowPaint, AFailedBeginPaintDrawsNothingAndMakesNothing) {
  sim::FailGdiCall("BeginPaint");
  const std::size_t mark = Mark();
  PaintLockWindow(kHwnd);
  EXPECT_EQ(EntriesSince(mark, "CreateCompatible").size(), 0U);
  EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
}

}  // namespace
