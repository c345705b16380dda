#include "lock/lock_paint_plan.h"

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "paint/gdi_executor.h"
#include "platform/handles.h"
#include "sim_core.h"
#include "sim_gdi.h"

namespace {

constexpr LockSize kFullHd{1920, 1080};
constexpr LockSize kUhd{3840, 2160};

constexpr LockColor Rgb(unsigned value) {
  return {static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
          static_cast<std::uint8_t>(value)};
}

struct Screen {
  LockSize client;
  double scale;
  LockLayout layout;
};

Screen MakeScreen(LockSize client, unsigned dpi) {
  const double scale = ComputeLockScaleFrom(dpi, client);
  return {client, scale, LayoutLockKeysFrom(client, scale)};
}

LockPaintPlan Plan(const Screen& screen, std::size_t typed = 0, bool message = false) {
  LockPaintInput input;
  input.client = screen.client;
  input.scale = screen.scale;
  input.keys = &screen.layout.keys;
  input.inputRect = screen.layout.inputRect;
  input.typedCount = typed;
  input.hasMessage = message;
  return PlanLockPaint(input);
}

const paint::Font& FontOf(const LockPaintPlan& plan, const paint::Text& text) {
  return plan.fonts.at(text.font);
}

const paint::FillRect& TileAt(const LockPaintPlan& plan, int x, int y) {
  const int columns = (plan.client.width + plan.tileSide - 1) / plan.tileSide;
  const std::size_t index =
      static_cast<std::size_t>(y / plan.tileSide) * columns + x / plan.tileSide;
  return plan.tiles.at(index);
}

// ---- Empty client ----

TEST(PlanLockPaint, ClientUnderOneInEitherDirectionPaintsNothing) {
  LockPaintInput input;
  input.client = {0, 1080};
  EXPECT_FALSE(PlanLockPaint(input).paints);
  EXPECT_TRUE(paint::IsEmpty(ToPaintPlan(PlanLockPaint(input))));
  input.client = {1920, 0};
  EXPECT_FALSE(PlanLockPaint(input).paints);
  EXPECT_TRUE(paint::IsEmpty(ToPaintPlan(PlanLockPaint(input))));
  input.client = {1, 1};
  EXPECT_TRUE(PlanLockPaint(input).paints);
  EXPECT_FALSE(paint::IsEmpty(ToPaintPlan(PlanLockPaint(input))));
}

// ---- Background ----

TEST(PlanLockPaint, TilesCoverTheClientRowByRowFromTheOrigin) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  EXPECT_EQ(plan.tileSide, 8);
  ASSERT_EQ(plan.tiles.size(), 240u * 135u);
  EXPECT_EQ(plan.tiles[0].rect, (LockRect{0, 0, 8, 8}));
  EXPECT_EQ(plan.tiles[1].rect, (LockRect{8, 0, 16, 8}));
  EXPECT_EQ(plan.tiles[240].rect, (LockRect{0, 8, 8, 16}));
  EXPECT_EQ(plan.tiles.back().rect, (LockRect{1912, 1072, 1920, 1080}));
}

TEST(PlanLockPaint, TilesPastTheEdgeAreWholeTiles) {
  const LockPaintPlan plan = Plan(MakeScreen({1001, 9}, 96));
  ASSERT_EQ(plan.tiles.size(), 126u * 2u);
  EXPECT_EQ(plan.tiles[125].rect, (LockRect{1000, 0, 1008, 8}));
}

TEST(PlanLockPaint, BackgroundIsLightBlueAtTheCentreAndDarkAtTheCorners) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  // Truncation keeps even the nearest tile one unit off the pure centre colour 5C AE FF.
  EXPECT_EQ(TileAt(plan, 960, 536).color, Rgb(0x5BADFE));
  EXPECT_EQ(TileAt(plan, 0, 0).color, Rgb(0x0F264D));
  EXPECT_EQ(TileAt(plan, 1919, 1079).color, Rgb(0x0F264D));
  EXPECT_EQ(TileAt(plan, 800, 400).color, Rgb(0x59A9F8));
}

TEST(PlanLockPaint, TileColoursFollowTheTileSideAt4K) {
  const LockPaintPlan plan = Plan(MakeScreen(kUhd, 96));
  EXPECT_EQ(plan.tileSide, 16);
  EXPECT_EQ(plan.tiles.size(), 240u * 135u);
  EXPECT_EQ(TileAt(plan, 1920, 1072).color, Rgb(0x5BADFE));
  EXPECT_EQ(TileAt(plan, 0, 0).color, Rgb(0x0F264D));
  EXPECT_EQ(TileAt(plan, 800, 400).color, Rgb(0x417EC0));
}

TEST(PlanLockPaint, TileColoursAt144Dpi) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 144));
  EXPECT_EQ(plan.tileSide, 12);
  EXPECT_EQ(plan.tiles.size(), 160u * 90u);
  EXPECT_EQ(TileAt(plan, 960, 540).color, Rgb(0x5BADFE));
  EXPECT_EQ(TileAt(plan, 0, 0).color, Rgb(0x0F274D));
  EXPECT_EQ(TileAt(plan, 800, 400).color, Rgb(0x59A8F8));  // the tile at (792, 396)
}

TEST(LockTileColor, DistanceBeyondTheFarthestCornerStaysAtTheCornerColour) {
  EXPECT_EQ(LockTileColor(kFullHd, 8, -4000, -4000), LockTileColor(kFullHd, 8, 5000, 5000));
}

TEST(PlanLockPaint, DiagonalLinesAt96Dpi) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  EXPECT_EQ(plan.lines.pen, (LockPen{1, Rgb(0x6EB9FF)}));
  ASSERT_EQ(plan.lines.strokes.size(), 63u);
  EXPECT_EQ(plan.lines.strokes.front(), (paint::Stroke{{-1080, 1080}, {0, 0}}));
  EXPECT_EQ(plan.lines.strokes[1], (paint::Stroke{{-1032, 1080}, {48, 0}}));
  EXPECT_EQ(plan.lines.strokes.back(), (paint::Stroke{{1896, 1080}, {2976, 0}}));
}

TEST(PlanLockPaint, DiagonalLinesAt4KAreTwoPixelsWideEvery96) {
  const LockPaintPlan plan = Plan(MakeScreen(kUhd, 96));
  EXPECT_EQ(plan.lines.pen.width, 2);
  ASSERT_EQ(plan.lines.strokes.size(), 63u);
  EXPECT_EQ(plan.lines.strokes[1], (paint::Stroke{{-2064, 2160}, {96, 0}}));
}

TEST(PlanLockPaint, DiagonalLinesAt144Dpi) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 144));
  EXPECT_EQ(plan.lines.pen.width, 2);
  ASSERT_EQ(plan.lines.strokes.size(), 42u);
  EXPECT_EQ(plan.lines.strokes.back(), (paint::Stroke{{1872, 1080}, {2952, 0}}));
}

// ---- Brand ----

TEST(PlanLockPaint, BrandLineAtEachScale) {
  const LockPaintPlan fullHd = Plan(MakeScreen(kFullHd, 96));
  EXPECT_EQ(fullHd.brand.text, u"KELVO ZMS");
  EXPECT_EQ(fullHd.brand.rect, (LockRect{56, 42, 576, 114}));
  EXPECT_EQ(fullHd.brand.font, LockFontIndex(LockFontRole::kBrand));
  EXPECT_EQ(FontOf(fullHd, fullHd.brand), (paint::Font{u"Microsoft YaHei", 42, 700}));
  EXPECT_EQ(fullHd.brand.ink, Rgb(0xF0F7FF));
  EXPECT_EQ(fullHd.brand.format, paint::kTextLeft | paint::kTextVCenter | paint::kTextSingleLine);
  const LockPaintPlan uhd = Plan(MakeScreen(kUhd, 96));
  EXPECT_EQ(uhd.brand.rect, (LockRect{112, 84, 1152, 228}));
  EXPECT_EQ(FontOf(uhd, uhd.brand).height, 84);
  const LockPaintPlan dpi144 = Plan(MakeScreen(kFullHd, 144));
  EXPECT_EQ(dpi144.brand.rect, (LockRect{84, 63, 864, 171}));
  EXPECT_EQ(FontOf(dpi144, dpi144.brand).height, 63);
}

TEST(LockFonts, SixFontsWithTheirSizesAndWeights) {
  const int sizes[] = {42, 32, 16, 24, 26, 18};
  const int weights[] = {700, 700, 400, 600, 600, 700};
  for (std::size_t i = 0; i < kLockFontCount; ++i) {
    EXPECT_EQ(static_cast<std::size_t>(kLockFontStyles[i].role), i);
    EXPECT_EQ(kLockFontStyles[i].size, sizes[i]);
    EXPECT_EQ(kLockFontStyles[i].weight, weights[i]);
  }
  EXPECT_EQ(kLockFontFace, u"Microsoft YaHei");
  EXPECT_EQ(LockFontHeight(LockFontRole::kSmall, 1.5), 24);
  EXPECT_EQ(LockFontHeight(LockFontRole::kEmphasis, 1.25), 23);  // 22.5 rounds up
}

TEST(LockFonts, ThePlanCarriesAllSixInRoleOrderAtItsScale) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 144));
  const std::vector<paint::Font> expected = {
      {u"Microsoft YaHei", 63, 700}, {u"Microsoft YaHei", 48, 700}, {u"Microsoft YaHei", 24, 400},
      {u"Microsoft YaHei", 36, 600}, {u"Microsoft YaHei", 39, 600}, {u"Microsoft YaHei", 27, 700}};
  EXPECT_EQ(plan.fonts, expected);
  EXPECT_EQ(LockFontTable(1.5), expected);
}

// ---- Input box and mask ----

TEST(PlanLockPaint, InputBoxWithoutMessageHasTheBlueBorder) {
  const Screen screen = MakeScreen(kFullHd, 96);
  const LockPaintPlan plan = Plan(screen);
  EXPECT_EQ(plan.input.rect, screen.layout.inputRect);
  EXPECT_EQ(plan.input.corner, 11);  // a quarter of 46
  EXPECT_EQ(plan.input.fill, Rgb(0xF6FBFF));
  EXPECT_EQ(plan.input.pen, (LockPen{1, Rgb(0x89B9FF)}));
}

TEST(PlanLockPaint, MessageTurnsTheInputBorderRedAndIsNotDrawn) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96), 0, true);
  EXPECT_EQ(plan.input.pen, (LockPen{1, Rgb(0xFF6969)}));
  EXPECT_FALSE(plan.mask.has_value());
}

TEST(PlanLockPaint, NoDigitsNoMaskText) {
  EXPECT_FALSE(Plan(MakeScreen(kFullHd, 96)).mask.has_value());
}

TEST(PlanLockPaint, OneStarForEachDigitCentredInTheInputBox) {
  const Screen screen = MakeScreen(kUhd, 96);
  const LockPaintPlan plan = Plan(screen, 5);
  ASSERT_TRUE(plan.mask.has_value());
  EXPECT_EQ(plan.mask->text, u"*****");
  EXPECT_EQ(plan.mask->rect, screen.layout.inputRect);
  EXPECT_EQ(plan.mask->font, LockFontIndex(LockFontRole::kMask));
  EXPECT_EQ(FontOf(plan, *plan.mask).height, 48);
  EXPECT_EQ(plan.mask->ink, Rgb(0x2176F6));
  EXPECT_EQ(plan.mask->format, paint::kTextCenter | paint::kTextVCenter | paint::kTextSingleLine);
  EXPECT_EQ(plan.input.corner, 23);  // a quarter of 92
}

// ---- Keys ----

TEST(PlanLockPaint, KeysInListOrder) {
  const Screen screen = MakeScreen(kFullHd, 96);
  const LockPaintPlan plan = Plan(screen);
  ASSERT_EQ(plan.keys.size(), 13u);
  for (std::size_t i = 0; i < 13; ++i)
    EXPECT_EQ(plan.keys[i].face.rect, screen.layout.keys[i].rect);
}

TEST(PlanLockPaint, DigitKeyHasShadowFaceAndLabel) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  const LockKeyPaint& one = plan.keys[0];
  EXPECT_EQ(one.shadow.rect, (LockRect{850, 446, 914, 510}));  // down by 64 / 24
  EXPECT_EQ(one.shadow.corner, 16);
  EXPECT_EQ(one.shadow.fill, Rgb(0x0C54BE));
  EXPECT_EQ(one.shadow.pen, (LockPen{1, Rgb(0x0C54BE)}));
  EXPECT_EQ(one.face.rect, (LockRect{850, 444, 914, 508}));
  EXPECT_EQ(one.face.corner, 16);
  EXPECT_EQ(one.face.fill, Rgb(0xF8FCFF));
  EXPECT_EQ(one.face.pen, (LockPen{1, Rgb(0xC2E0FF)}));
  ASSERT_TRUE(one.label.has_value());
  EXPECT_EQ(one.label->text, u"1");
  EXPECT_EQ(one.label->rect, one.face.rect);
  EXPECT_EQ(one.label->font, LockFontIndex(LockFontRole::kKeyLabel));
  EXPECT_EQ(FontOf(plan, *one.label).height, 26);
  EXPECT_EQ(one.label->ink, Rgb(0x142033));
  EXPECT_EQ(one.label->format, paint::kTextCenter | paint::kTextVCenter | paint::kTextSingleLine);
  EXPECT_TRUE(one.icon.strokes.empty());
  EXPECT_EQ(plan.keys[10].label->text, u"0");
}

TEST(PlanLockPaint, OnlyDigitKeysPaintTheirLabels) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  EXPECT_FALSE(plan.keys[9].label.has_value());
  EXPECT_FALSE(plan.keys[11].label.has_value());
  EXPECT_FALSE(plan.keys[12].label.has_value());
}

TEST(PlanLockPaint, ClearKeyIsACrossWithArmsOfASixthOfTheWidth) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  const LockKeyPaint& clear = plan.keys[9];
  EXPECT_EQ(clear.face.fill, Rgb(0xE8F4FF));
  EXPECT_EQ(clear.face.pen, (LockPen{1, Rgb(0xC2E0FF)}));
  EXPECT_EQ(clear.icon.pen, (LockPen{2, Rgb(0x2176F6)}));
  const std::vector<paint::Stroke> expected = {{{872, 700}, {892, 720}}, {{892, 700}, {872, 720}}};
  EXPECT_EQ(clear.icon.strokes, expected);
}

TEST(PlanLockPaint, BackspaceKeyIsAnOutlineWithACrossInUnscaledPixels) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  const LockKeyPaint& back = plan.keys[11];
  EXPECT_EQ(back.face.fill, Rgb(0xE8F4FF));
  EXPECT_EQ(back.icon.pen, (LockPen{2, Rgb(0x2176F6)}));
  const std::vector<paint::Stroke> expected = {
      {{1030, 700}, {1054, 700}, {1054, 720}, {1030, 720}, {1022, 710}, {1030, 700}},
      {{1037, 705}, {1047, 715}},
      {{1047, 705}, {1037, 715}}};
  EXPECT_EQ(back.icon.strokes, expected);
}

TEST(PlanLockPaint, BackspaceOffsetsStayInPixelsAt4K) {
  // Key 11 at 4K: (2012, 1356) side 128, centre (2076, 1420).
  const LockPaintPlan plan = Plan(MakeScreen(kUhd, 96));
  const LockKeyPaint& back = plan.keys[11];
  const int xl = 2076 - 32;
  const int xr = 2076 + 32;
  const int yt = 1420 - 21;
  const int yb = 1420 + 21;
  EXPECT_EQ(back.icon.strokes[0][0], (LockPoint{xl + 8, yt}));
  EXPECT_EQ(back.icon.strokes[1][0], (LockPoint{xl + 15, yt + 5}));
  EXPECT_EQ(back.icon.strokes[2][1], (LockPoint{xl + 15, yb - 5}));
  EXPECT_EQ(back.icon.strokes[2][0], (LockPoint{xr - 7, yt + 5}));
  EXPECT_EQ(back.icon.pen.width, 2);
}

TEST(PlanLockPaint, SubmitKeyIsAnArrowOnTheDarkBlueKey) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  const LockKeyPaint& submit = plan.keys[12];
  EXPECT_EQ(submit.shadow.rect, (LockRect{1024, 375, 1070, 421}));  // down by 46 / 24
  EXPECT_EQ(submit.face.corner, 11);
  EXPECT_EQ(submit.face.fill, Rgb(0x0953D6));
  EXPECT_EQ(submit.face.pen, (LockPen{1, Rgb(0x66ABFF)}));
  EXPECT_EQ(submit.icon.pen, (LockPen{2, Rgb(0xFFFFFF)}));
  const std::vector<paint::Stroke> expected = {
      {{1038, 397}, {1056, 397}}, {{1050, 391}, {1056, 397}}, {{1050, 403}, {1056, 397}}};
  EXPECT_EQ(submit.icon.strokes, expected);
}

TEST(PlanLockPaint, KeysAt144DpiKeepWholePixelShadowsAndCorners) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 144));
  EXPECT_EQ(plan.keys[0].shadow.rect, (LockRect{816, 427, 900, 511}));  // 84 / 24 = 3
  EXPECT_EQ(plan.keys[0].face.corner, 21);
  EXPECT_EQ(FontOf(plan, *plan.keys[0].label).height, 39);
  EXPECT_EQ(plan.keys[12].face.corner, 17);  // 69 / 4
  EXPECT_EQ(plan.input.corner, 17);
}

// ---- The plan as the executor draws it ----

TEST(ToPaintPlan, OperationsInDrawingOrder) {
  const Screen screen = MakeScreen(kFullHd, 96);
  const LockPaintPlan plan = Plan(screen, 3);
  const paint::Plan ops = ToPaintPlan(plan);
  EXPECT_EQ(ops.size, kFullHd);
  EXPECT_EQ(ops.fonts, plan.fonts);

  std::vector<paint::Op> expected;
  for (const paint::FillRect& tile : plan.tiles) expected.emplace_back(tile);
  expected.emplace_back(plan.lines);
  expected.emplace_back(plan.brand);
  expected.emplace_back(plan.input);
  expected.emplace_back(*plan.mask);
  for (const LockKeyPaint& key : plan.keys) {
    expected.emplace_back(key.shadow);
    expected.emplace_back(key.face);
    if (key.label) expected.emplace_back(*key.label);
    if (!key.icon.strokes.empty()) expected.emplace_back(key.icon);
  }
  ASSERT_EQ(ops.ops.size(), expected.size());
  EXPECT_TRUE(ops.ops == expected);
  // 240 x 135 tiles, the diagonals, brand, box, mask, then 13 keys: 10 digits with labels, the
  // three others with icons.
  EXPECT_EQ(ops.ops.size(), 32400u + 4u + 13u * 3u);
}

TEST(ToPaintPlan, KeysFollowTheBoxAsShadowFaceThenLabelOrIcon) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96));
  const paint::Plan ops = ToPaintPlan(plan);
  const std::size_t firstKey = plan.tiles.size() + 3;  // no mask without digits
  ASSERT_TRUE(std::holds_alternative<paint::RoundRect>(ops.ops[firstKey - 1]));
  EXPECT_EQ(std::get<paint::RoundRect>(ops.ops[firstKey - 1]), plan.input);
  EXPECT_EQ(std::get<paint::RoundRect>(ops.ops[firstKey]), plan.keys[0].shadow);
  EXPECT_EQ(std::get<paint::RoundRect>(ops.ops[firstKey + 1]), plan.keys[0].face);
  EXPECT_EQ(std::get<paint::Text>(ops.ops[firstKey + 2]).text, u"1");
  // The submit key comes last: shadow, face, arrow.
  EXPECT_EQ(std::get<paint::RoundRect>(ops.ops[ops.ops.size() - 2]), plan.keys[12].face);
  EXPECT_EQ(std::get<paint::Strokes>(ops.ops.back()), plan.keys[12].icon);
}

TEST(ToPaintPlan, NoMaskOperationBeforeTheFirstDigit) {
  const paint::Plan none = ToPaintPlan(Plan(MakeScreen(kFullHd, 96)));
  const paint::Plan one = ToPaintPlan(Plan(MakeScreen(kFullHd, 96), 1));
  EXPECT_EQ(one.ops.size(), none.ops.size() + 1);
  const auto texts = [](const paint::Plan& plan) {
    std::vector<std::u16string> found;
    for (const paint::Op& op : plan.ops) {
      if (const auto* text = std::get_if<paint::Text>(&op)) found.push_back(text->text);
    }
    return found;
  };
  EXPECT_EQ(texts(none), (std::vector<std::u16string>{u"KELVO ZMS", u"1", u"2", u"3", u"4", u"5",
                                                      u"6", u"7", u"8", u"9", u"0"}));
  EXPECT_EQ(texts(one)[1], u"*");
}

// ---- Drawn by the one executor ----

class LockPaintedByTheExecutor : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }

  static std::vector<std::string> Entries(const std::string& prefix) {
    std::vector<std::string> found;
    for (const std::string& entry : sim::Journal()) {
      if (entry.rfind(prefix, 0) == 0) found.push_back(entry);
    }
    return found;
  }
};

TEST_F(LockPaintedByTheExecutor, OnlyTheThreeFontsDrawnWithAreMadeAsTheLockAlwaysMadeThem) {
  const auto window = reinterpret_cast<platform::WindowHandle>(0x4c0c);
  const paint::PaintResult result =
      paint::PaintWindow(window, ToPaintPlan(Plan(MakeScreen(kFullHd, 144), 2)));
  EXPECT_TRUE(result.buffered);
  EXPECT_EQ(result.failures, 0u);
  // Height, width 0, no slant, weight, no italic, underline or strike-out, DEFAULT_CHARSET,
  // default precisions, CLEARTYPE_QUALITY, DEFAULT_PITCH | FF_DONTCARE.
  EXPECT_EQ(Entries("CreateFontW"),
            (std::vector<std::string>{
                "CreateFontW 63 0 0 0 700 0 0 0 1 0 0 5 0 Microsoft YaHei -> font1",
                "CreateFontW 36 0 0 0 600 0 0 0 1 0 0 5 0 Microsoft YaHei -> font2",
                "CreateFontW 39 0 0 0 600 0 0 0 1 0 0 5 0 Microsoft YaHei -> font3"}));
  EXPECT_EQ(Entries("BitBlt"),
            std::vector<std::string>{"BitBlt dc1 0 0 1920 1080 dc2 0 0 0xcc0020 bitmap=bitmap1"});
  EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
  EXPECT_EQ(sim::OpenDcCount(), 0);
}

TEST_F(LockPaintedByTheExecutor, OneBrushPerTileAndOneBrushAndPenPerShape) {
  const LockPaintPlan plan = Plan(MakeScreen(kFullHd, 96), 1, true);
  paint::PaintWindow(reinterpret_cast<platform::WindowHandle>(0x4c0c), ToPaintPlan(plan));
  const std::size_t shapes = 1 + 2 * plan.keys.size();  // the box, each key's shadow and face
  EXPECT_EQ(Entries("CreateSolidBrush").size(), plan.tiles.size() + shapes);
  // The diagonals' pen, one per shape, one per icon (clear, backspace, submit).
  EXPECT_EQ(Entries("CreatePen").size(), 1 + shapes + 3);
  EXPECT_EQ(Entries("FillRect").size(), plan.tiles.size());
  EXPECT_EQ(Entries("RoundRect").size(), shapes);
  EXPECT_EQ(
      Entries("RoundRect dc2 850 444 914 508 16 16"),
      std::vector<std::string>{"RoundRect dc2 850 444 914 508 16 16 brush=#F8FCFF pen=1#C2E0FF"});
  const LockRect& box = plan.input.rect;
  const std::string boxCoordinates = std::to_string(box.left) + " " + std::to_string(box.top) +
                                     " " + std::to_string(box.right) + " " +
                                     std::to_string(box.bottom);
  // The box in the red border of a message, then the one star in the mask's font and ink.
  EXPECT_EQ(Entries("RoundRect dc2 " + boxCoordinates),
            std::vector<std::string>{"RoundRect dc2 " + boxCoordinates +
                                     " 11 11 brush=#F6FBFF pen=1#FF6969"});
  EXPECT_EQ(Entries("DrawTextW dc2 *"),
            std::vector<std::string>{"DrawTextW dc2 * " + boxCoordinates +
                                     " 0x25 font=Microsoft YaHei/24/600 ink=#2176F6 transparent"});
  EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
  EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
}

}  // namespace
