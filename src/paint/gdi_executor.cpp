#include "paint/gdi_executor.h"

#include <algorithm>
#include <optional>
#include <variant>
#include <vector>

#include "paint/gdi_owners.h"
#include "platform/gdi.h"

namespace paint {
namespace {

// The plan's fonts, each made the first time a text asks for it and kept to the end of the
// painting; one that fails is not asked for again.
class Fonts {
 public:
  explicit Fonts(const std::vector<Font>& table) : table_(table), made_(table.size()) {}

  // Null when the index is outside the table or the font could not be made.
  platform::FontHandle Get(std::size_t index) {
    if (index >= table_.size()) return nullptr;
    std::optional<UniqueFont>& slot = made_[index];
    if (!slot) {
      const Font& font = table_[index];
      slot.emplace(platform::CreateFontW(
          font.height, 0, 0, 0, font.weight, 0, 0, 0, platform::kDefaultCharset,
          platform::kOutDefaultPrecis, platform::kClipDefaultPrecis, platform::kClearTypeQuality,
          platform::kDefaultPitch | platform::kFfDontCare, font.face));
    }
    return slot->get();
  }

 private:
  const std::vector<Font>& table_;
  std::vector<std::optional<UniqueFont>> made_;
};

UniquePen MakePen(const Pen& pen) {
  return UniquePen(platform::CreatePen(platform::kPsSolid, pen.width, ToColorRef(pen.color)));
}

class Executor {
 public:
  Executor(platform::DcHandle dc, const Plan& plan) : dc_(dc), fonts_(plan.fonts) {}

  std::size_t Run(const Plan& plan) {
    const SavedDc saved(dc_);
    if (!saved) ++failures_;
    // Every text of a plan lies on what was drawn before it.
    platform::SetBkMode(dc_, platform::kTransparent);
    for (const Op& op : plan.ops) {
      const bool clipping =
          std::holds_alternative<PushClip>(op) || std::holds_alternative<PopClip>(op);
      if (blocked_ > 0 && !clipping) {
        ++failures_;
        continue;
      }
      std::visit(*this, op);
    }
    return failures_;
  }

  void operator()(const FillRect& op) {
    const UniqueBrush brush(platform::CreateSolidBrush(ToColorRef(op.color)));
    Count(brush && platform::FillRect(dc_, op.rect, brush.get()) != 0);
  }

  void operator()(const Rectangle& op) {
    Shape(op.fill, op.pen, [&] {
      return platform::Rectangle(dc_, op.rect.left, op.rect.top, op.rect.right, op.rect.bottom);
    });
  }

  void operator()(const RoundRect& op) {
    Shape(op.fill, op.pen, [&] {
      return platform::RoundRect(dc_, op.rect.left, op.rect.top, op.rect.right, op.rect.bottom,
                                 op.corner, op.corner);
    });
  }

  void operator()(const Ellipse& op) {
    Shape(op.fill, op.pen, [&] {
      return platform::Ellipse(dc_, op.rect.left, op.rect.top, op.rect.right, op.rect.bottom);
    });
  }

  void operator()(const Strokes& op) {
    if (op.strokes.empty()) return;
    const UniquePen pen = MakePen(op.pen);
    const SelectedObject selected(dc_, pen.get());
    if (!selected) {
      ++failures_;
      return;
    }
    bool drawn = true;
    for (const Stroke& stroke : op.strokes) {
      if (stroke.empty()) continue;
      drawn = platform::MoveToEx(dc_, stroke.front().x, stroke.front().y, nullptr) && drawn;
      for (std::size_t i = 1; i < stroke.size(); ++i) {
        drawn = platform::LineTo(dc_, stroke[i].x, stroke[i].y) && drawn;
      }
    }
    Count(drawn);
  }

  void operator()(const Text& op) {
    const platform::FontHandle font = fonts_.Get(op.font);
    const SelectedObject selected(dc_, font);
    platform::SetTextColor(dc_, ToColorRef(op.ink));
    Rect rect = op.rect;
    const bool drawn = platform::DrawTextW(dc_, op.text, &rect, op.format) != 0 || op.text.empty();
    Count(selected && drawn);
  }

  void operator()(const FillRegion& op) {
    const UniqueRegion region(
        op.shape == RegionShape::kEllipse
            ? platform::CreateEllipticRgn(op.rect.left, op.rect.top, op.rect.right, op.rect.bottom)
            : platform::CreateRoundRectRgn(op.rect.left, op.rect.top, op.rect.right, op.rect.bottom,
                                           op.corner, op.corner));
    const UniqueBrush brush(platform::CreateSolidBrush(ToColorRef(op.color)));
    Count(region && brush && platform::FillRgn(dc_, region.get(), brush.get()));
  }

  void operator()(const Outline& op) {
    const UniquePen pen = MakePen(op.pen);
    const SelectedObject selectedBrush(dc_, platform::GetStockObject(platform::kNullBrush));
    const SelectedObject selectedPen(dc_, pen.get());
    if (!selectedBrush || !selectedPen) {
      ++failures_;
      return;
    }
    const Rect& r = op.rect;
    Count(op.shape == OutlineShape::kRectangle
              ? platform::Rectangle(dc_, r.left, r.top, r.right, r.bottom)
              : platform::RoundRect(dc_, r.left, r.top, r.right, r.bottom, op.corner, op.corner));
  }

  // Drawing unclipped would spill over what the clip protects: when a clip cannot be set, what
  // lies inside it is left out.
  void operator()(const PushClip& op) {
    if (blocked_ > 0) {
      clips_.push_back({0, true});
      ++blocked_;
      return;
    }
    const int saved = platform::SaveDC(dc_);
    const bool clipped =
        saved > 0 && platform::IntersectClipRect(dc_, op.rect.left, op.rect.top, op.rect.right,
                                                 op.rect.bottom) != platform::kRegionError;
    clips_.push_back({saved, !clipped});
    if (!clipped) {
      ++blocked_;
      ++failures_;
    }
  }

  void operator()(const PopClip& /*op*/) {
    // A PopClip without its PushClip must not undo the executor's own save.
    if (clips_.empty()) {
      ++failures_;
      return;
    }
    const Clip clip = clips_.back();
    clips_.pop_back();
    if (clip.blocked) --blocked_;
    if (clip.saved > 0) Count(platform::RestoreDC(dc_, clip.saved));
  }

 private:
  template <typename DrawFunction>
  void Shape(Color fill, const Pen& outline, DrawFunction draw) {
    const UniqueBrush brush(platform::CreateSolidBrush(ToColorRef(fill)));
    const UniquePen pen = MakePen(outline);
    const SelectedObject selectedBrush(dc_, brush.get());
    const SelectedObject selectedPen(dc_, pen.get());
    // A shape in the DC's own white brush or black pen would be a wrong picture: skip it.
    if (!selectedBrush || !selectedPen) {
      ++failures_;
      return;
    }
    Count(draw());
  }

  void Count(bool drawn) {
    if (!drawn) ++failures_;
  }

  struct Clip {
    int saved;     // SaveDC's level to go back to; 0 when nothing was saved
    bool blocked;  // the clip is not in force: nothing inside it is drawn
  };

  platform::DcHandle dc_;
  Fonts fonts_;
  std::vector<Clip> clips_;
  int blocked_ = 0;
  std::size_t failures_ = 0;
};

}  // namespace

PaintResult DrawPlan(platform::DcHandle dc, const Plan& plan) {
  if (!dc) return {false, plan.ops.size()};
  Executor executor(dc, plan);
  return {false, executor.Run(plan)};
}

PaintResult PaintPlan(platform::DcHandle target, const Plan& plan) {
  if (IsEmpty(plan)) return {};
  if (!target) return {false, plan.ops.size()};
  const int width = plan.size.width;
  const int height = plan.size.height;
  const UniqueMemoryDc memory(platform::CreateCompatibleDC(target));
  // Compatible with the target, not with the memory DC, whose own bitmap is one monochrome pixel.
  const UniqueBitmap bitmap(memory ? platform::CreateCompatibleBitmap(target, width, height)
                                   : nullptr);
  const SelectedObject selectedBitmap(memory.get(), bitmap.get());
  if (!memory || !bitmap || !selectedBitmap) return DrawPlan(target, plan);
  PaintResult result = DrawPlan(memory.get(), plan);
  result.buffered = true;
  if (!platform::BitBlt(target, 0, 0, width, height, memory.get(), 0, 0, platform::kSrcCopy)) {
    ++result.failures;
  }
  return result;
}

PaintResult PaintWindow(platform::WindowHandle window, const Plan& plan) {
  const PaintScope paint(window);
  if (IsEmpty(plan)) return {};
  return PaintPlan(paint.dc(), plan);
}

bool CachedLayer::Update(platform::DcHandle compatibleWith, const LayerKey& key,
                         const std::function<Plan()>& make) {
  if (*this && key_ == key) return false;
  Release();
  if (!compatibleWith || key.size.width < 1 || key.size.height < 1) return false;
  dc_.reset(platform::CreateCompatibleDC(compatibleWith));
  if (dc_) {
    bitmap_.reset(
        platform::CreateCompatibleBitmap(compatibleWith, key.size.width, key.size.height));
  }
  if (bitmap_) selected_.emplace(dc_.get(), bitmap_.get());
  if (!selected_ || !*selected_) {
    Release();
    return false;
  }
  key_ = key;
  DrawPlan(dc_.get(), make());
  return true;
}

void CachedLayer::Release() {
  selected_.reset();
  bitmap_.reset();
  dc_.reset();
  key_ = {};
}

PaintResult PaintOverLayer(platform::DcHandle target, const CachedLayer& layer, const Rect& area,
                           const Plan& over) {
  const Size size = layer.key().size;
  const Rect cut{std::max(area.left, 0), std::max(area.top, 0), std::min(area.right, size.width),
                 std::min(area.bottom, size.height)};
  if (!target || !layer || cut.Width() < 1 || cut.Height() < 1) return {};
  const int width = cut.Width();
  const int height = cut.Height();
  const UniqueMemoryDc memory(platform::CreateCompatibleDC(target));
  const UniqueBitmap bitmap(memory ? platform::CreateCompatibleBitmap(target, width, height)
                                   : nullptr);
  const SelectedObject selectedBitmap(memory.get(), bitmap.get());
  PaintResult result;
  if (!memory || !bitmap || !selectedBitmap) {
    Plan clipped{size, over.fonts, {}};
    clipped.ops.reserve(over.ops.size() + 2);
    clipped.ops.emplace_back(PushClip{cut});
    clipped.ops.insert(clipped.ops.end(), over.ops.begin(), over.ops.end());
    clipped.ops.emplace_back(PopClip{});
    if (!platform::BitBlt(target, cut.left, cut.top, width, height, layer.dc(), cut.left, cut.top,
                          platform::kSrcCopy)) {
      ++result.failures;
    }
    result.failures += DrawPlan(target, clipped).failures;
    return result;
  }
  result.buffered = true;
  if (!platform::BitBlt(memory.get(), 0, 0, width, height, layer.dc(), cut.left, cut.top,
                        platform::kSrcCopy)) {
    ++result.failures;
  }
  result.failures += DrawPlan(memory.get(), CropPlan(over, cut)).failures;
  if (!platform::BitBlt(target, cut.left, cut.top, width, height, memory.get(), 0, 0,
                        platform::kSrcCopy)) {
    ++result.failures;
  }
  return result;
}

}  // namespace paint
