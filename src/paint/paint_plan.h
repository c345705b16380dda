// A paint plan: everything one window draws, as plain values in drawing order. A feature decides
// every rectangle, colour, font and text in a plan that its host tests can read; the one GDI
// executor (gdi_executor.h) walks it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/geometry.h"
#include "platform/gdi.h"

namespace paint {

struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  bool operator==(const Color&) const = default;
};

constexpr platform::ColorRef ToColorRef(Color color) {
  return platform::Rgb(color.red, color.green, color.blue);
}

// A solid pen; wider than one pixel it spreads to both sides of the line.
struct Pen {
  int width = 1;
  Color color;
  bool operator==(const Pen&) const = default;
};

// Height as CreateFontW takes it: positive for the cell's height, negative for the glyphs'.
struct Font {
  std::u16string face;
  int height = 0;
  int weight = platform::kFwNormal;
  bool operator==(const Font&) const = default;
};

// DrawTextW's format bits, as texts ask for them.
inline constexpr std::uint32_t kTextLeft = platform::kDtLeft;
inline constexpr std::uint32_t kTextCenter = platform::kDtCenter;
inline constexpr std::uint32_t kTextRight = platform::kDtRight;
inline constexpr std::uint32_t kTextVCenter = platform::kDtVCenter;
inline constexpr std::uint32_t kTextSingleLine = platform::kDtSingleLine;
inline constexpr std::uint32_t kTextNoClip = platform::kDtNoClip;
inline constexpr std::uint32_t kTextNoPrefix = platform::kDtNoPrefix;
inline constexpr std::uint32_t kTextEndEllipsis = platform::kDtEndEllipsis;

// ---- Operations ----

struct FillRect {
  Rect rect;
  Color color;
  bool operator==(const FillRect&) const = default;
};

// GDI's rectangle shapes include their outline: right and bottom lie just outside, as in a RECT.
struct Rectangle {
  Rect rect;
  Color fill;
  Pen pen;
  bool operator==(const Rectangle&) const = default;
};

// Rounded with a corner ellipse `corner` pixels wide and high.
struct RoundRect {
  Rect rect;
  int corner = 0;
  Color fill;
  Pen pen;
  bool operator==(const RoundRect&) const = default;
};

struct Ellipse {
  Rect rect;
  Color fill;
  Pen pen;
  bool operator==(const Ellipse&) const = default;
};

// Open polylines in one pen. Each segment is its own LineTo, so wide pens end every segment in a
// round cap rather than joining them as Polyline would.
using Stroke = std::vector<Point>;
struct Strokes {
  Pen pen;
  std::vector<Stroke> strokes;
  bool operator==(const Strokes&) const = default;
};

// `font` indexes the plan's font table. The background shows through between the glyphs.
struct Text {
  std::u16string text;
  Rect rect;
  std::size_t font = 0;
  Color ink;
  std::uint32_t format = 0;
  bool operator==(const Text&) const = default;
};

// A region filled in one colour with no outline, as FillRgn paints CreateEllipticRgn's or
// CreateRoundRectRgn's shape over `rect`.
enum class RegionShape { kEllipse, kRoundRect };
struct FillRegion {
  RegionShape shape = RegionShape::kEllipse;
  Rect rect;
  int corner = 0;  // kRoundRect: the corner ellipse's width and height
  Color color;
  bool operator==(const FillRegion&) const = default;
};

// An outline alone, in the null brush: the inside keeps what lies below it.
enum class OutlineShape { kRectangle, kRoundRect };
struct Outline {
  OutlineShape shape = OutlineShape::kRectangle;
  Rect rect;
  int corner = 0;  // kRoundRect only
  Pen pen;
  bool operator==(const Outline&) const = default;
};

// Everything up to the matching PopClip is drawn inside `rect` (and inside any enclosing clip).
struct PushClip {
  Rect rect;
  bool operator==(const PushClip&) const = default;
};
struct PopClip {
  bool operator==(const PopClip&) const = default;
};

using Op = std::variant<FillRect, Rectangle, RoundRect, Ellipse, Strokes, Text, PushClip, PopClip,
                        FillRegion, Outline>;

struct Plan {
  Size size;                // the area the plan covers, from (0, 0)
  std::vector<Font> fonts;  // each is made at most once per painting, when first drawn with
  std::vector<Op> ops;
};

// A plan with nothing to show: no ops or no area.
bool IsEmpty(const Plan& plan);

// A single line of text moved left by `offset` inside `box` and cut at the box's edges, as a
// marquee scrolls it: a clip, the text and the clip's end.
void AddScrolledText(Plan& plan, const Rect& box, std::u16string_view text, int offset,
                     std::size_t font, Color ink);

// ---- Parts of a plan ----

// The pixels an operation can touch, wide pens included; nullopt when that is not known (clips,
// texts drawn with kTextNoClip), which callers take as anywhere.
std::optional<Rect> Bounds(const Op& op);

// The union of every operation's bounds; the whole area when one is not known, nullopt for no
// operations.
std::optional<Rect> Bounds(const Plan& plan);

// What differs between two plans drawn over the same picture: the union of the bounds of every
// operation that is not the same at the same place in both (an operation only one of them has
// included). Nullopt when the two draw the same; the whole area of `after` when a changed
// operation's bounds are not known, or when the fonts or the area differ.
std::optional<Rect> ChangedBounds(const Plan& before, const Plan& after);

// The part of a plan that lands in `area`, moved so that the area's top-left corner is (0, 0)
// and sized to it: operations that lie wholly outside are left out, and what reaches past the
// area's edges is cut there by whatever the plan is drawn into. Drawn into a bitmap of that size,
// it gives the same pixels as the whole plan gives inside the area.
Plan CropPlan(const Plan& plan, const Rect& area);

// One line per operation (and one per font, after the size), for tests and the paint probe:
// e.g. "fill 0 0 8 8 #0F264D", "text font=0 ink=#F0F7FF format=0x24 56 42 576 114 KELVO ZMS".
std::string Describe(const Op& op);
std::vector<std::string> Describe(const Plan& plan);

}  // namespace paint
