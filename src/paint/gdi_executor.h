// The one GDI executor: draws any paint plan through the GDI seam, every object it makes deleted
// and every DC it changes given back as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "paint/gdi_owners.h"
#include "paint/paint_plan.h"
#include "platform/handles.h"

namespace paint {

struct PaintResult {
  // Drawn into a memory bitmap and copied in one BitBlt; false when drawn straight into the
  // target (no memory DC or bitmap could be had) or when nothing was drawn at all.
  bool buffered = false;
  // Operations not drawn as planned: a pen, brush or font that could not be made, a font index
  // outside the table, a GDI call that failed. A text whose font failed is still drawn, in the
  // DC's own font, so that what it says stays readable.
  std::size_t failures = 0;
};

// Every operation of the plan in order, straight into the DC; the DC's state (modes, colours,
// clip, selections) is the same afterwards as before.
PaintResult DrawPlan(platform::DcHandle dc, const Plan& plan);

// The plan drawn into a memory DC with a bitmap of the plan's size compatible with `target`,
// then copied to the target's (0, 0) in one BitBlt, so that no half-drawn frame is ever shown.
// Without a memory DC or bitmap it falls back to DrawPlan on the target. An empty plan draws
// nothing and makes nothing.
PaintResult PaintPlan(platform::DcHandle target, const Plan& plan);

// WM_PAINT: BeginPaint, PaintPlan into its DC, EndPaint. The window is validated even when there
// is nothing to draw.
PaintResult PaintWindow(platform::WindowHandle window, const Plan& plan);

// What a cached layer was drawn for; when any of it changes, the layer is drawn anew.
struct LayerKey {
  Size size;
  double scale = 0;
  std::uint64_t version = 0;  // the owner's count of what else the layer depends on
  bool operator==(const LayerKey&) const = default;
};

// A picture kept in a memory bitmap compatible with a window's DC and drawn again only when its
// key changes: the part of a window that input never changes.
class CachedLayer {
 public:
  CachedLayer() = default;
  CachedLayer(const CachedLayer&) = delete;
  CachedLayer& operator=(const CachedLayer&) = delete;

  // Draws the plan that `make` gives, at the key's size, when the key is not the one held; true
  // when it drew. When no memory DC or bitmap can be had, nothing is held afterwards.
  bool Update(platform::DcHandle compatibleWith, const LayerKey& key,
              const std::function<Plan()>& make);
  explicit operator bool() const { return selected_.has_value(); }
  platform::DcHandle dc() const { return dc_.get(); }
  const LayerKey& key() const { return key_; }
  // The bitmap and DC are freed; the next Update draws anew.
  void Release();

 private:
  // Declared in this order so that the bitmap is put out of the DC before either is freed.
  UniqueMemoryDc dc_;
  UniqueBitmap bitmap_;
  std::optional<SelectedObject> selected_;
  LayerKey key_;
};

// `area` of a window (cut to the layer's size) made anew from a cached layer and the plan drawn
// over it: the layer's pixels copied into a bitmap of the area's size, the plan cropped to the
// area drawn there, and the result copied to the target in one BitBlt. Without such a bitmap the
// layer is copied to the target and the plan drawn there, clipped to the area.
PaintResult PaintOverLayer(platform::DcHandle target, const CachedLayer& layer, const Rect& area,
                           const Plan& over);

}  // namespace paint
