// The one GDI executor: draws any paint plan through the GDI seam, every object it makes deleted
// and every DC it changes given back as it was.
#pragma once

#include <cstddef>

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

}  // namespace paint
