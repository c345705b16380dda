#include "paint/paint_plan.h"

#include <cstdio>

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
