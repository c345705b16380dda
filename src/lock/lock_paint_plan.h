// Everything the lock window paints, as values: tiles, lines, shapes, texts and icon strokes in
// drawing order, each part an operation of the one painting path. ToPaintPlan lays them out for
// the GDI executor, so what is drawn is decided and tested here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lock/lock_layout.h"
#include "paint/paint_plan.h"

// The lock paints with the one painting path's values; the names stay the lock's own.
using LockColor = paint::Color;
using LockPen = paint::Pen;

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

// The six fonts of the window; three of them are never drawn with, and so never made.
enum class LockFontRole : int { kBrand, kHeading, kSmall, kMask, kKeyLabel, kEmphasis };
inline constexpr std::size_t kLockFontCount = 6;
struct LockFontStyle {
  LockFontRole role;
  int size;  // design height at 96 DPI
  int weight;
};
inline constexpr LockFontStyle kLockFontStyles[kLockFontCount] = {
    {LockFontRole::kBrand, 42, 700},    {LockFontRole::kHeading, 32, 700},
    {LockFontRole::kSmall, 16, 400},    {LockFontRole::kMask, 24, 600},
    {LockFontRole::kKeyLabel, 26, 600}, {LockFontRole::kEmphasis, 18, 700},
};
inline constexpr std::u16string_view kLockFontFace = u"Microsoft YaHei";

const LockFontStyle& LockFontStyleFor(LockFontRole role);
int LockFontHeight(LockFontRole role, double scale);
// The role's place in a lock plan's font table.
constexpr std::size_t LockFontIndex(LockFontRole role) { return static_cast<std::size_t>(role); }
// The six at a scale, in role order.
std::vector<paint::Font> LockFontTable(double scale);

inline constexpr std::u16string_view kLockBrandText = u"KELVO ZMS";
inline constexpr char16_t kLockMaskChar = u'*';

struct LockKeyPaint {
  paint::RoundRect shadow;
  paint::RoundRect face;
  std::optional<paint::Text> label;  // digits only
  paint::Strokes icon;               // no strokes for digits
};

struct LockPaintPlan {
  bool paints = false;  // false for an empty client area: nothing but BeginPaint and EndPaint
  LockSize client;
  double scale = 1.0;
  std::vector<paint::Font> fonts;  // the six, in the order of LockFontRole
  int tileSide = 0;
  std::vector<paint::FillRect> tiles;
  paint::Strokes lines;  // each stroke one diagonal
  paint::Text brand;
  paint::RoundRect input;
  std::optional<paint::Text> mask;
  std::vector<LockKeyPaint> keys;
};

// The background's colour for a tile whose top-left corner is (x, y).
LockColor LockTileColor(LockSize client, int tileSide, int x, int y);

// A key's shadow, face, label (digits) and icon; the label draws in the plan's key-label font.
LockKeyPaint PlanLockKey(const LockKey& key);

struct LockPaintInput {
  LockSize client;
  double scale = 1.0;
  const std::vector<LockKey>* keys = nullptr;
  LockRect inputRect;
  std::size_t typedCount = 0;
  bool hasMessage = false;
};

LockPaintPlan PlanLockPaint(const LockPaintInput& input);

// The lock's picture in the layers that change at different times, in drawing order; one after
// the other they are ToPaintPlan's plan. The background (tiles, diagonals, brand) changes only
// with the size, scale or layout, and so is drawn once into a cached bitmap; the input layer (the
// box and its mask) is what typing changes; the keys come last and change with the layout alone.
// Each has the plan's size and font table.
paint::Plan PlanLockBackgroundLayer(const LockPaintInput& input);
paint::Plan PlanLockInputLayer(const LockPaintInput& input);
paint::Plan PlanLockKeysLayer(const LockPaintInput& input);

// The operations in drawing order: tiles, the diagonals, the brand, the input box and its mask,
// then each key's shadow, face, label and icon. Empty when the plan paints nothing.
paint::Plan ToPaintPlan(const LockPaintPlan& plan);
