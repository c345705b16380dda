// GDI: device contexts and what is drawn into them. Names and values are Win32's; the Windows
// build implements them in win32/gdi.cpp.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "base/geometry.h"
#include "platform/handles.h"

namespace platform {

inline constexpr int kLogPixelsX = 88;

// COLORREF: red in the low byte, then green, then blue.
using ColorRef = std::uint32_t;
constexpr ColorRef Rgb(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
  return static_cast<ColorRef>(red) | static_cast<ColorRef>(green) << 8 |
         static_cast<ColorRef>(blue) << 16;
}

inline constexpr int kPsSolid = 0;
inline constexpr int kTransparent = 1;
inline constexpr int kOpaque = 2;
inline constexpr std::uint32_t kSrcCopy = 0x00CC0020;

// IntersectClipRect's answers.
inline constexpr int kRegionError = 0;
inline constexpr int kNullRegion = 1;
inline constexpr int kSimpleRegion = 2;
inline constexpr int kComplexRegion = 3;

// CreateFontW's fixed choices.
inline constexpr std::uint32_t kDefaultCharset = 1;
inline constexpr std::uint32_t kOutDefaultPrecis = 0;
inline constexpr std::uint32_t kClipDefaultPrecis = 0;
inline constexpr std::uint32_t kClearTypeQuality = 5;
inline constexpr std::uint32_t kDefaultPitch = 0;
inline constexpr std::uint32_t kFfDontCare = 0;
inline constexpr int kFwNormal = 400;
inline constexpr int kFwBold = 700;

// DrawTextW's format bits.
inline constexpr std::uint32_t kDtLeft = 0x00;
inline constexpr std::uint32_t kDtCenter = 0x01;
inline constexpr std::uint32_t kDtRight = 0x02;
inline constexpr std::uint32_t kDtVCenter = 0x04;
inline constexpr std::uint32_t kDtBottom = 0x08;
inline constexpr std::uint32_t kDtWordBreak = 0x10;
inline constexpr std::uint32_t kDtSingleLine = 0x20;
inline constexpr std::uint32_t kDtNoClip = 0x100;
inline constexpr std::uint32_t kDtNoPrefix = 0x800;
inline constexpr std::uint32_t kDtEndEllipsis = 0x8000;
inline constexpr std::uint32_t kDtEditControl = 0x2000;

// PAINTSTRUCT field for field, so that EndPaint gets back exactly what BeginPaint filled in.
struct PaintStruct {
  DcHandle dc = nullptr;
  bool erase = false;
  Rect paint;
  bool restore = false;
  bool incUpdate = false;
  std::array<std::uint8_t, 32> reserved{};
};

// GetDC / ReleaseDC of a window's client area.
DcHandle GetDC(WindowHandle window);
int ReleaseDC(WindowHandle window, DcHandle dc);
int GetDeviceCaps(DcHandle dc, int index);

// WM_PAINT's device context: null when the window cannot be painted.
DcHandle BeginPaint(WindowHandle window, PaintStruct* paint);
bool EndPaint(WindowHandle window, const PaintStruct& paint);

// Memory device contexts and bitmaps.
DcHandle CreateCompatibleDC(DcHandle dc);
bool DeleteDC(DcHandle dc);
BitmapHandle CreateCompatibleBitmap(DcHandle dc, int width, int height);
bool BitBlt(DcHandle destination, int x, int y, int width, int height, DcHandle source, int sourceX,
            int sourceY, std::uint32_t rop);

// Drawing objects. SelectObject answers the object it replaced, null when it failed.
BrushHandle CreateSolidBrush(ColorRef color);
PenHandle CreatePen(int style, int width, ColorRef color);
FontHandle CreateFontW(int height, int width, int escapement, int orientation, int weight,
                       std::uint32_t italic, std::uint32_t underline, std::uint32_t strikeOut,
                       std::uint32_t charSet, std::uint32_t outPrecision,
                       std::uint32_t clipPrecision, std::uint32_t quality,
                       std::uint32_t pitchAndFamily, std::u16string_view face);
GdiObjectHandle SelectObject(DcHandle dc, GdiObjectHandle object);
bool DeleteObject(GdiObjectHandle object);

// Shapes: the outline in the selected pen, the inside in the selected brush.
int FillRect(DcHandle dc, const Rect& rect, BrushHandle brush);
bool Rectangle(DcHandle dc, int left, int top, int right, int bottom);
bool RoundRect(DcHandle dc, int left, int top, int right, int bottom, int cornerWidth,
               int cornerHeight);
bool Ellipse(DcHandle dc, int left, int top, int right, int bottom);
bool MoveToEx(DcHandle dc, int x, int y, Point* previous);
bool LineTo(DcHandle dc, int x, int y);

// Text in the selected font.
ColorRef SetTextColor(DcHandle dc, ColorRef color);
int SetBkMode(DcHandle dc, int mode);
int DrawTextW(DcHandle dc, std::u16string_view text, Rect* rect, std::uint32_t format);

// The DC's state, clip included, kept and given back.
int SaveDC(DcHandle dc);
bool RestoreDC(DcHandle dc, int savedDc);
int IntersectClipRect(DcHandle dc, int left, int top, int right, int bottom);

// ---- Regions, stock objects and text extents (the overlay windows) ----
inline constexpr int kNullBrush = 5;
// Never deleted: stock objects outlive every DeleteObject.
GdiObjectHandle GetStockObject(int index);
// Regions are deleted with DeleteObject; null on failure.
RegionHandle CreateEllipticRgn(int left, int top, int right, int bottom);
RegionHandle CreateRoundRectRgn(int left, int top, int right, int bottom, int cornerWidth,
                                int cornerHeight);
bool FillRgn(DcHandle dc, RegionHandle region, BrushHandle brush);
// The extent of one line of text in the selected font.
bool GetTextExtentPoint32W(DcHandle dc, std::u16string_view text, Size* size);

}  // namespace platform
