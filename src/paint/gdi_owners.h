// Owners of what GDI hands out while painting. Each gives back what it holds on every path and
// leaves the caller's last error as it was; an object selected into a DC is put back out (by
// SelectedObject's end) before its owner deletes it, so declare the owner first.
#pragma once

#include "base/unique_handle.h"
#include "platform/gdi.h"
#include "platform/handles.h"
#include "platform/owners.h"

namespace paint {

using UniqueBrush =
    UniqueHandle<platform::ClosingTraits<platform::BrushHandle, &platform::DeleteObject>>;
using UniquePen =
    UniqueHandle<platform::ClosingTraits<platform::PenHandle, &platform::DeleteObject>>;
using UniqueFont =
    UniqueHandle<platform::ClosingTraits<platform::FontHandle, &platform::DeleteObject>>;
using UniqueBitmap =
    UniqueHandle<platform::ClosingTraits<platform::BitmapHandle, &platform::DeleteObject>>;
using UniqueRegion =
    UniqueHandle<platform::ClosingTraits<platform::RegionHandle, &platform::DeleteObject>>;
// CreateCompatibleDC's: deleted, never released.
using UniqueMemoryDc =
    UniqueHandle<platform::ClosingTraits<platform::DcHandle, &platform::DeleteDC>>;

// GetDC / ReleaseDC: the release needs the window as well as the DC.
class WindowDc {
 public:
  explicit WindowDc(platform::WindowHandle window)
      : window_(window), dc_(platform::GetDC(window)) {}
  WindowDc(const WindowDc&) = delete;
  WindowDc& operator=(const WindowDc&) = delete;
  ~WindowDc() {
    if (dc_) platform::ReleaseDC(window_, dc_);
  }
  platform::DcHandle get() const { return dc_; }
  explicit operator bool() const { return dc_ != nullptr; }

 private:
  platform::WindowHandle window_;
  platform::DcHandle dc_;
};

// BeginPaint / EndPaint. EndPaint is owed even when BeginPaint gave no DC: it validates the
// window, and without it WM_PAINT would come back at once.
class PaintScope {
 public:
  explicit PaintScope(platform::WindowHandle window)
      : window_(window), dc_(platform::BeginPaint(window, &paint_)) {}
  PaintScope(const PaintScope&) = delete;
  PaintScope& operator=(const PaintScope&) = delete;
  ~PaintScope() { platform::EndPaint(window_, paint_); }
  platform::DcHandle dc() const { return dc_; }
  // rcPaint: the part of the client area that is to be drawn.
  const Rect& area() const { return paint_.paint; }

 private:
  platform::WindowHandle window_;
  platform::PaintStruct paint_;
  platform::DcHandle dc_;
};

// SelectObject for the length of a scope; false when the selection failed, and nothing is put
// back then.
class SelectedObject {
 public:
  SelectedObject(platform::DcHandle dc, platform::GdiObjectHandle object)
      : dc_(dc), previous_(object ? platform::SelectObject(dc, object) : nullptr) {}
  SelectedObject(const SelectedObject&) = delete;
  SelectedObject& operator=(const SelectedObject&) = delete;
  ~SelectedObject() {
    if (previous_) platform::SelectObject(dc_, previous_);
  }
  explicit operator bool() const { return previous_ != nullptr; }

 private:
  platform::DcHandle dc_;
  platform::GdiObjectHandle previous_;
};

// SaveDC / RestoreDC: whatever the scope changes in the DC (clip, modes, colours) is undone at
// its end, including saves made inside it and never restored.
class SavedDc {
 public:
  explicit SavedDc(platform::DcHandle dc) : dc_(dc), saved_(platform::SaveDC(dc)) {}
  SavedDc(const SavedDc&) = delete;
  SavedDc& operator=(const SavedDc&) = delete;
  ~SavedDc() {
    if (saved_ > 0) platform::RestoreDC(dc_, saved_);
  }
  explicit operator bool() const { return saved_ > 0; }

 private:
  platform::DcHandle dc_;
  int saved_;
};

}  // namespace paint
