// Owning types for the GDI objects the lock paints with. Each is released where it was made,
// and an object selected into a DC is put back out before it is deleted.
#pragma once

#include <windows.h>

#include "base/unique_handle.h"

template <typename Handle>
struct GdiObjectTraits {
  using Type = Handle;
  static constexpr Type Null() { return nullptr; }
  static bool IsValid(Type handle) { return handle != nullptr; }
  static void Close(Type handle) {
    const DWORD error = ::GetLastError();
    ::DeleteObject(handle);
    ::SetLastError(error);
  }
};
using UniqueBrush = UniqueHandle<GdiObjectTraits<HBRUSH>>;
using UniquePen = UniqueHandle<GdiObjectTraits<HPEN>>;
using UniqueFont = UniqueHandle<GdiObjectTraits<HFONT>>;
using UniqueBitmap = UniqueHandle<GdiObjectTraits<HBITMAP>>;

struct MemoryDcTraits {
  using Type = HDC;
  static constexpr Type Null() { return nullptr; }
  static bool IsValid(Type dc) { return dc != nullptr; }
  static void Close(Type dc) {
    const DWORD error = ::GetLastError();
    ::DeleteDC(dc);
    ::SetLastError(error);
  }
};
using UniqueMemoryDc = UniqueHandle<MemoryDcTraits>;

// GetDC / ReleaseDC: the release needs the window as well as the DC.
class WindowDc {
 public:
  explicit WindowDc(HWND window) : window_(window), dc_(::GetDC(window)) {}
  WindowDc(const WindowDc&) = delete;
  WindowDc& operator=(const WindowDc&) = delete;
  ~WindowDc() {
    if (dc_) ::ReleaseDC(window_, dc_);
  }
  HDC get() const { return dc_; }
  explicit operator bool() const { return dc_ != nullptr; }

 private:
  HWND window_;
  HDC dc_;
};

// SelectObject for the length of a scope.
class SelectedObject {
 public:
  SelectedObject(HDC dc, HGDIOBJ object) : dc_(dc), previous_(::SelectObject(dc, object)) {}
  SelectedObject(const SelectedObject&) = delete;
  SelectedObject& operator=(const SelectedObject&) = delete;
  ~SelectedObject() {
    if (previous_ && previous_ != HGDI_ERROR) ::SelectObject(dc_, previous_);
  }

 private:
  HDC dc_;
  HGDIOBJ previous_;
};

// BeginPaint / EndPaint.
class PaintScope {
 public:
  explicit PaintScope(HWND window) : window_(window) { dc_ = ::BeginPaint(window, &paint_); }
  PaintScope(const PaintScope&) = delete;
  PaintScope& operator=(const PaintScope&) = delete;
  ~PaintScope() { ::EndPaint(window_, &paint_); }
  HDC dc() const { return dc_; }

 private:
  HWND window_;
  PAINTSTRUCT paint_{};
  HDC dc_ = nullptr;
};
