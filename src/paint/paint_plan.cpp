#include "paint/paint_plan.h"

#include <algorithm>
#include <cstdio>
#include <variant>

#include "base/text.h"

namespace paint {
namespace {

std::string Hex(Color color) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", color.red, color.green, color.blue);
  return text;
}

std::string Format(std::uint32_t format) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", format);
  return text;
}

std::string Coordinates(const Rect& rect) {
  return std::to_string(rect.left) + " " + std::to_string(rect.top) + " " +
         std::to_string(rect.right) + " " + std::to_string(rect.bottom);
}

std::string PenText(const Pen& pen) { return "pen=" + std::to_string(pen.width) + Hex(pen.color); }

struct Describer {
  std::string operator()(const FillRect& op) const {
    return "fill " + Coordinates(op.rect) + " " + Hex(op.color);
  }
  std::string operator()(const Rectangle& op) const {
    return "rectangle " + Coordinates(op.rect) + " fill=" + Hex(op.fill) + " " + PenText(op.pen);
  }
  std::string operator()(const RoundRect& op) const {
    return "roundrect " + Coordinates(op.rect) + " corner=" + std::to_string(op.corner) +
           " fill=" + Hex(op.fill) + " " + PenText(op.pen);
  }
  std::string operator()(const Ellipse& op) const {
    return "ellipse " + Coordinates(op.rect) + " fill=" + Hex(op.fill) + " " + PenText(op.pen);
  }
  std::string operator()(const Strokes& op) const {
    std::string line = "strokes " + PenText(op.pen);
    for (std::size_t i = 0; i < op.strokes.size(); ++i) {
      if (i > 0) line += " |";
      for (const Point& point : op.strokes[i]) {
        line += ' ';
        line += std::to_string(point.x);
        line += ',';
        line += std::to_string(point.y);
      }
    }
    return line;
  }
  std::string operator()(const Text& op) const {
    return "text font=" + std::to_string(op.font) + " ink=" + Hex(op.ink) +
           " format=" + Format(op.format) + " " + Coordinates(op.rect) + " " + WideToUtf8(op.text);
  }
  std::string operator()(const PushClip& op) const { return "clip " + Coordinates(op.rect); }
  std::string operator()(const PopClip& /*op*/) const { return "unclip"; }
  std::string operator()(const FillRegion& op) const {
    if (op.shape == RegionShape::kEllipse) {
      return "region ellipse " + Coordinates(op.rect) + " " + Hex(op.color);
    }
    return "region roundrect " + Coordinates(op.rect) + " corner=" + std::to_string(op.corner) +
           " " + Hex(op.color);
  }
  std::string operator()(const Outline& op) const {
    if (op.shape == OutlineShape::kRectangle) {
      return "outline rectangle " + Coordinates(op.rect) + " " + PenText(op.pen);
    }
    return "outline roundrect " + Coordinates(op.rect) + " corner=" + std::to_string(op.corner) +
           " " + PenText(op.pen);
  }
};

}  // namespace

bool IsEmpty(const Plan& plan) {
  return plan.ops.empty() || plan.size.width < 1 || plan.size.height < 1;
}

namespace {

bool IsEmptyRect(const Rect& rect) { return rect.right <= rect.left || rect.bottom <= rect.top; }

Rect Union(const Rect& a, const Rect& b) {
  if (IsEmptyRect(a)) return b;
  if (IsEmptyRect(b)) return a;
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

bool Intersects(const Rect& a, const Rect& b) {
  return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

// A shape's outline is centred on its edge: a wide pen spreads past the rectangle.
Rect Widened(const Rect& rect, const Pen& pen) {
  const int spread = std::max(pen.width, 1);
  return {rect.left - spread, rect.top - spread, rect.right + spread, rect.bottom + spread};
}

struct BoundsOf {
  std::optional<Rect> operator()(const FillRect& op) const { return op.rect; }
  std::optional<Rect> operator()(const Rectangle& op) const { return Widened(op.rect, op.pen); }
  std::optional<Rect> operator()(const RoundRect& op) const { return Widened(op.rect, op.pen); }
  std::optional<Rect> operator()(const Ellipse& op) const { return Widened(op.rect, op.pen); }
  std::optional<Rect> operator()(const Strokes& op) const {
    Rect points;
    bool any = false;
    for (const Stroke& stroke : op.strokes) {
      for (const Point& point : stroke) {
        if (!any) points = {point.x, point.y, point.x, point.y};
        points = {std::min(points.left, point.x), std::min(points.top, point.y),
                  std::max(points.right, point.x), std::max(points.bottom, point.y)};
        any = true;
      }
    }
    if (!any) return Rect{};
    return Widened(points, op.pen);
  }
  std::optional<Rect> operator()(const Text& op) const {
    // Without DT_NOCLIP, DrawTextW never draws outside its rectangle.
    if ((op.format & kTextNoClip) != 0) return std::nullopt;
    return op.rect;
  }
  std::optional<Rect> operator()(const PushClip& /*op*/) const { return std::nullopt; }
  std::optional<Rect> operator()(const PopClip& /*op*/) const { return std::nullopt; }
  // A region fills its shape and nothing past it.
  std::optional<Rect> operator()(const FillRegion& op) const { return op.rect; }
  std::optional<Rect> operator()(const Outline& op) const { return Widened(op.rect, op.pen); }
};

struct Moved {
  int dx;
  int dy;
  void operator()(FillRect& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(Rectangle& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(RoundRect& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(Ellipse& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(Strokes& op) const {
    for (Stroke& stroke : op.strokes) {
      for (Point& point : stroke) point = {point.x + dx, point.y + dy};
    }
  }
  void operator()(Text& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(PushClip& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(PopClip& /*op*/) const {}
  void operator()(FillRegion& op) const { op.rect = op.rect.Offset(dx, dy); }
  void operator()(Outline& op) const { op.rect = op.rect.Offset(dx, dy); }
};

}  // namespace

std::optional<Rect> Bounds(const Op& op) { return std::visit(BoundsOf{}, op); }

std::optional<Rect> Bounds(const Plan& plan) {
  std::optional<Rect> all;
  for (const Op& op : plan.ops) {
    const std::optional<Rect> bounds = Bounds(op);
    all =
        Union(all.value_or(Rect{}), bounds.value_or(Rect{0, 0, plan.size.width, plan.size.height}));
  }
  return all;
}

std::optional<Rect> ChangedBounds(const Plan& before, const Plan& after) {
  const Rect whole{0, 0, after.size.width, after.size.height};
  // Other fonts or another area change what every text looks like, or where it may land.
  if (before.fonts != after.fonts || before.size != after.size) return whole;
  const std::size_t count = std::max(before.ops.size(), after.ops.size());
  std::optional<Rect> changed;
  const auto add = [&](const std::vector<Op>& ops, std::size_t i) {
    if (i >= ops.size()) return;
    const std::optional<Rect> bounds = Bounds(ops[i]);
    changed = Union(changed.value_or(Rect{}), bounds.value_or(whole));
  };
  for (std::size_t i = 0; i < count; ++i) {
    if (i < before.ops.size() && i < after.ops.size() && before.ops[i] == after.ops[i]) continue;
    add(before.ops, i);
    add(after.ops, i);
  }
  return changed;
}

Plan CropPlan(const Plan& plan, const Rect& area) {
  Plan cropped;
  cropped.size = {area.Width(), area.Height()};
  cropped.fonts = plan.fonts;
  const Moved move{-area.left, -area.top};
  for (const Op& op : plan.ops) {
    const std::optional<Rect> bounds = Bounds(op);
    if (bounds && !Intersects(*bounds, area)) continue;
    Op moved = op;
    std::visit(move, moved);
    cropped.ops.push_back(std::move(moved));
  }
  return cropped;
}

void AddScrolledText(Plan& plan, const Rect& box, std::u16string_view text, int offset,
                     std::size_t font, Color ink) {
  plan.ops.emplace_back(PushClip{box});
  // Without DT_NOCLIP DrawTextW would cut the text at its own rectangle, which starts left of the
  // box once the text has moved; the clip alone decides what shows.
  plan.ops.emplace_back(
      Text{std::u16string(text),
           {box.left - offset, box.top, box.right, box.bottom},
           font,
           ink,
           kTextLeft | kTextVCenter | kTextSingleLine | kTextNoClip | kTextNoPrefix});
  plan.ops.emplace_back(PopClip{});
}

std::string Describe(const Op& op) { return std::visit(Describer{}, op); }

std::vector<std::string> Describe(const Plan& plan) {
  std::vector<std::string> lines;
  lines.reserve(1 + plan.fonts.size() + plan.ops.size());
  lines.push_back("size " + std::to_string(plan.size.width) + " " +
                  std::to_string(plan.size.height));
  for (std::size_t i = 0; i < plan.fonts.size(); ++i) {
    const Font& font = plan.fonts[i];
    lines.push_back("font " + std::to_string(i) + " " + std::to_string(font.height) + " " +
                    std::to_string(font.weight) + " " + WideToUtf8(font.face));
  }
  for (const Op& op : plan.ops) lines.push_back(Describe(op));
  return lines;
}

}  // namespace paint
