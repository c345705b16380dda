// Everything the lock window paints, as values: tiles, lines, shapes, texts and icon strokes in
// drawing order. The GDI side only walks a plan, so what is drawn is decided and tested here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lock/lock_layout.h"

struct LockColor {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  bool operator==(const LockColor&) const = default;
};

inline constexpr LockColor kLockLineColor{0x6E, 0xB9, 0xFF};
inline constexpr LockColor kLockBrandInk{0xF0, 0xF7, 0xFF};
inline constexpr LockColor kLockInputFill{0xF6, 0xFB, 0xFF};
inline constexpr LockColor kLockInputBorder{0x89, 0xB9, 0xFF};
inline constexpr LockColor kLockInputBorderWithMessage{0xFF, 0x69, 0x69};
inline constexpr LockColor kLockInputInk{0x21, 0x76, 0xF6};
inline constexpr LockColor kLockKeyShadow{0x0C, 0x54, 0xBE};

struct LockKeyColors {
  LockColor fill;
  LockColor border;
  LockColor ink;
};
inline constexpr LockKeyColors kLockDigitKeyColors{
    {0xF8, 0xFC, 0xFF}, {0xC2, 0xE0, 0xFF}, {0x14, 0x20, 0x33}};
inline constexpr LockKeyColors kLockEditKeyColors{
    {0xE8, 0xF4, 0xFF}, {0xC2, 0xE0, 0xFF}, {0x21, 0x76, 0xF6}};
inline constexpr LockKeyColors kLockSubmitKeyColors{
    {0x09, 0x53, 0xD6}, {0x66, 0xAB, 0xFF}, {0xFF, 0xFF, 0xFF}};

const LockKeyColors& LockKeyColorsFor(LockKeyKind kind);

// The six fonts of the window, all created up front; three of them are never drawn with.
enum class LockFontRole : int { kBrand, kHeading, kSmall, kMask, kKeyLabel, kEmphasis };
inline constexpr std::size_t kLockFontCount = 6;
struct LockFontSpec {
  LockFontRole role;
  int size;  // design height at 96 DPI
  int weight;
};
inline constexpr LockFontSpec kLockFontSpecs[kLockFontCount] = {
    {LockFontRole::kBrand, 42, 700},    {LockFontRole::kHeading, 32, 700},
    {LockFontRole::kSmall, 16, 400},    {LockFontRole::kMask, 24, 600},
    {LockFontRole::kKeyLabel, 26, 600}, {LockFontRole::kEmphasis, 18, 700},
};
inline constexpr std::u16string_view kLockFontFace = u"Microsoft YaHei";

const LockFontSpec& LockFontSpecFor(LockFontRole role);
int LockFontHeight(LockFontRole role, double scale);

// DrawTextW format bits, with the values of DT_LEFT, DT_CENTER, DT_VCENTER and DT_SINGLELINE.
inline constexpr unsigned kLockTextLeft = 0x00;
inline constexpr unsigned kLockTextCenter = 0x01;
inline constexpr unsigned kLockTextVCenter = 0x04;
inline constexpr unsigned kLockTextSingleLine = 0x20;

inline constexpr std::u16string_view kLockBrandText = u"KELVO ZMS";
inline constexpr char16_t kLockMaskChar = u'*';

struct LockPen {
  int width = 1;
  LockColor color;
  bool operator==(const LockPen&) const = default;
};

struct LockTile {
  LockRect rect;
  LockColor color;
};

struct LockLine {
  LockPoint from;
  LockPoint to;
  bool operator==(const LockLine&) const = default;
};

// One RoundRect: filled with `fill`, outlined with `pen`, corner ellipse `corner` by `corner`.
struct LockShape {
  LockRect rect;
  int corner = 0;
  LockColor fill;
  LockPen pen;
};

struct LockText {
  std::u16string text;
  LockRect rect;
  LockFontRole font = LockFontRole::kBrand;
  int fontHeight = 0;
  LockColor ink;
  unsigned format = 0;
};

// Each stroke is a MoveToEx to its first point and a LineTo through the rest.
struct LockIcon {
  LockPen pen;
  std::vector<std::vector<LockPoint>> strokes;
};

struct LockKeyPaint {
  LockShape shadow;
  LockShape face;
  std::optional<LockText> label;  // digits only
  LockIcon icon;                  // no strokes for digits
};

struct LockPaintPlan {
  bool paints = false;  // false for an empty client area: nothing but BeginPaint and EndPaint
  LockSize client;
  double scale = 1.0;
  int tileSide = 0;
  std::vector<LockTile> tiles;
  LockPen linePen;
  std::vector<LockLine> lines;
  LockText brand;
  LockShape input;
  std::optional<LockText> mask;
  std::vector<LockKeyPaint> keys;
};

// The background's colour for a tile whose top-left corner is (x, y).
LockColor LockTileColor(LockSize client, int tileSide, int x, int y);

LockKeyPaint PlanLockKey(const LockKey& key, double scale);

struct LockPaintInput {
  LockSize client;
  double scale = 1.0;
  const std::vector<LockKey>* keys = nullptr;
  LockRect inputRect;
  std::size_t typedCount = 0;
  bool hasMessage = false;
};

LockPaintPlan PlanLockPaint(const LockPaintInput& input);
