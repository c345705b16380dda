#include "lock/lock_paint_plan.h"

#include <algorithm>

const LockKeyColors& LockKeyColorsFor(LockKeyKind kind) {
  switch (kind) {
    case LockKeyKind::kDigit:
      return kLockDigitKeyColors;
    case LockKeyKind::kSubmit:
      return kLockSubmitKeyColors;
    case LockKeyKind::kBackspace:
    case LockKeyKind::kClear:
      break;
  }
  return kLockEditKeyColors;
}

const LockFontStyle& LockFontStyleFor(LockFontRole role) {
  return kLockFontStyles[static_cast<std::size_t>(role)];
}

int LockFontHeight(LockFontRole role, double scale) {
  return LockRound(scale * LockFontStyleFor(role).size);
}

std::vector<paint::Font> LockFontTable(double scale) {
  std::vector<paint::Font> fonts;
  fonts.reserve(kLockFontCount);
  for (const LockFontStyle& style : kLockFontStyles) {
    fonts.push_back(
        {std::u16string(kLockFontFace), LockFontHeight(style.role, scale), style.weight});
  }
  return fonts;
}

LockColor LockTileColor(LockSize client, int tileSide, int x, int y) {
  const int w = client.width;
  const int h = client.height;
  const int cx = w / 2;
  const int cy = h / 2;
  const double farX = std::max(cx, w - cx);
  const double farY = std::max(cy, h - cy);
  const double d2 = farX * farX + farY * farY;
  // The tile's centre is taken in whole pixels, as the painting steps do.
  const double dx = x + tileSide / 2 - cx;  // NOLINT(bugprone-integer-division)
  const double dy = y + tileSide / 2 - cy;  // NOLINT(bugprone-integer-division)
  const double t = std::min(1.0, (dx * dx + dy * dy) / d2) * 0.86;
  const auto mix = [t](int centre, int corner) {
    return static_cast<std::uint8_t>((1 - t) * centre + t * corner);
  };
  return {mix(92, 2), mix(174, 15), mix(255, 46)};
}

namespace {

// Icon offsets are in pixels and stay so at every DPI, as the keys have always been drawn.
paint::Strokes PlanKeyIcon(const LockKey& key, LockColor ink) {
  paint::Strokes icon{{2, ink}, {}};
  const LockRect& r = key.rect;
  const int width = r.Width();
  const int h = r.Height();
  const int cx = (r.left + r.right) / 2;
  const int cy = (r.top + r.bottom) / 2;
  switch (key.kind) {
    case LockKeyKind::kDigit:
      break;
    case LockKeyKind::kClear: {
      const int a = width / 6;
      icon.strokes = {{{cx - a, cy - a}, {cx + a, cy + a}}, {{cx + a, cy - a}, {cx - a, cy + a}}};
      break;
    }
    case LockKeyKind::kBackspace: {
      const int half = width / 2;
      const int xl = cx - half / 2;
      const int xr = cx + half / 2;
      const int yt = cy - h / 6;
      const int yb = cy + h / 6;
      icon.strokes = {
          {{xl + 8, yt}, {xr, yt}, {xr, yb}, {xl + 8, yb}, {xl, (yt + yb) / 2}, {xl + 8, yt}},
          {{xl + 15, yt + 5}, {xr - 7, yb - 5}},
          {{xr - 7, yt + 5}, {xl + 15, yb - 5}},
      };
      break;
    }
    case LockKeyKind::kSubmit: {
      const int a = width / 5;
      const int b = width / 7;
      icon.strokes = {
          {{cx - a, cy}, {cx + a, cy}},
          {{cx + a - b, cy - b}, {cx + a, cy}},
          {{cx + a - b, cy + b}, {cx + a, cy}},
      };
      break;
    }
  }
  return icon;
}

}  // namespace

LockKeyPaint PlanLockKey(const LockKey& key) {
  const LockKeyColors& colors = LockKeyColorsFor(key.kind);
  const int h = key.rect.Height();
  const int corner = h / 4;
  LockKeyPaint result;
  result.shadow = {key.rect.Offset(0, h / 24), corner, kLockKeyShadow, {1, kLockKeyShadow}};
  result.face = {key.rect, corner, colors.fill, {1, colors.border}};
  if (key.kind == LockKeyKind::kDigit) {
    result.label =
        paint::Text{key.label, key.rect, LockFontIndex(LockFontRole::kKeyLabel), colors.ink,
                    paint::kTextCenter | paint::kTextVCenter | paint::kTextSingleLine};
  }
  result.icon = PlanKeyIcon(key, colors.ink);
  return result;
}

namespace {

paint::RoundRect PlanInputBox(const LockPaintInput& input) {
  const LockRect& box = input.inputRect;
  return {box,
          box.Height() / 4,
          kLockInputFill,
          {1, input.hasMessage ? kLockInputBorderWithMessage : kLockInputBorder}};
}

std::optional<paint::Text> PlanMask(const LockPaintInput& input) {
  if (input.typedCount == 0) return std::nullopt;
  return paint::Text{std::u16string(input.typedCount, kLockMaskChar), input.inputRect,
                     LockFontIndex(LockFontRole::kMask), kLockInputInk,
                     paint::kTextCenter | paint::kTextVCenter | paint::kTextSingleLine};
}

void AddKeyOps(std::vector<paint::Op>& ops, const LockKeyPaint& key) {
  ops.emplace_back(key.shadow);
  ops.emplace_back(key.face);
  if (key.label) ops.emplace_back(*key.label);
  // A digit's icon has no strokes and the executor would make no pen for it; leaving it out
  // keeps the plan to what is drawn.
  if (!key.icon.strokes.empty()) ops.emplace_back(key.icon);
}

std::vector<LockKeyPaint> PlanKeys(const LockPaintInput& input) {
  std::vector<LockKeyPaint> keys;
  if (!input.keys) return keys;
  keys.reserve(input.keys->size());
  for (const LockKey& key : *input.keys) keys.push_back(PlanLockKey(key));
  return keys;
}

}  // namespace

LockPaintPlan PlanLockPaint(const LockPaintInput& input) {
  LockPaintPlan plan;
  plan.client = input.client;
  plan.scale = input.scale;
  plan.fonts = LockFontTable(input.scale);
  const int w = input.client.width;
  const int h = input.client.height;
  if (w < 1 || h < 1) return plan;
  plan.paints = true;
  const double s = input.scale;

  const int b = LockRound(s * 8);
  plan.tileSide = b;
  plan.tiles.reserve(static_cast<std::size_t>((w + b - 1) / b) * ((h + b - 1) / b));
  for (int y = 0; y < h; y += b) {
    for (int x = 0; x < w; x += b) {
      plan.tiles.push_back({{x, y, x + b, y + b}, LockTileColor(input.client, b, x, y)});
    }
  }

  plan.lines.pen = {LockRound(s), kLockLineColor};
  const int step = LockRound(s * 48);
  for (int x = -h; x < w; x += step) plan.lines.strokes.push_back({{x, h}, {x + h, 0}});

  const int brandLeft = LockRound(s * 56);
  const int brandTop = LockRound(s * 42);
  plan.brand = {std::u16string(kLockBrandText),
                {brandLeft, brandTop, brandLeft + LockRound(s * 520), brandTop + LockRound(s * 72)},
                LockFontIndex(LockFontRole::kBrand),
                kLockBrandInk,
                paint::kTextLeft | paint::kTextVCenter | paint::kTextSingleLine};

  plan.input = PlanInputBox(input);
  plan.mask = PlanMask(input);
  plan.keys = PlanKeys(input);
  return plan;
}

namespace {

paint::Plan EmptyLayer(const LockPaintInput& input) {
  paint::Plan layer;
  if (input.client.width < 1 || input.client.height < 1) return layer;
  layer.size = input.client;
  layer.fonts = LockFontTable(input.scale);
  return layer;
}

}  // namespace

paint::Plan PlanLockBackgroundLayer(const LockPaintInput& input) {
  paint::Plan layer = EmptyLayer(input);
  if (layer.size.width < 1) return layer;
  const LockPaintPlan plan = PlanLockPaint(input);
  layer.ops.reserve(plan.tiles.size() + 2);
  for (const paint::FillRect& tile : plan.tiles) layer.ops.emplace_back(tile);
  layer.ops.emplace_back(plan.lines);
  layer.ops.emplace_back(plan.brand);
  return layer;
}

paint::Plan PlanLockInputLayer(const LockPaintInput& input) {
  paint::Plan layer = EmptyLayer(input);
  if (layer.size.width < 1) return layer;
  layer.ops.emplace_back(PlanInputBox(input));
  if (auto mask = PlanMask(input)) layer.ops.emplace_back(std::move(*mask));
  return layer;
}

paint::Plan PlanLockKeysLayer(const LockPaintInput& input) {
  paint::Plan layer = EmptyLayer(input);
  if (layer.size.width < 1) return layer;
  for (const LockKeyPaint& key : PlanKeys(input)) AddKeyOps(layer.ops, key);
  return layer;
}

paint::Plan ToPaintPlan(const LockPaintPlan& plan) {
  paint::Plan out;
  if (!plan.paints) return out;
  out.size = plan.client;
  out.fonts = plan.fonts;
  out.ops.reserve(plan.tiles.size() + 4 + 4 * plan.keys.size());
  for (const paint::FillRect& tile : plan.tiles) out.ops.emplace_back(tile);
  out.ops.emplace_back(plan.lines);
  out.ops.emplace_back(plan.brand);
  out.ops.emplace_back(plan.input);
  if (plan.mask) out.ops.emplace_back(*plan.mask);
  for (const LockKeyPaint& key : plan.keys) AddKeyOps(out.ops, key);
  return out;
}
