// The GDI seam over gdi32 and user32's device-context calls.
#include <windows.h>

#include <algorithm>
#include <string>

#include "platform/gdi.h"
#include "platform/win32/text.h"

namespace platform {
namespace {

RECT ToRect(const Rect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }
Rect FromRect(const RECT& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

}  // namespace

DcHandle GetDC(WindowHandle window) { return ::GetDC(window); }

int ReleaseDC(WindowHandle window, DcHandle dc) { return ::ReleaseDC(window, dc); }

int GetDeviceCaps(DcHandle dc, int index) { return ::GetDeviceCaps(dc, index); }

DcHandle BeginPaint(WindowHandle window, PaintStruct* paint) {
  PAINTSTRUCT native{};
  const HDC dc = ::BeginPaint(window, &native);
  paint->dc = native.hdc;
  paint->erase = native.fErase != FALSE;
  paint->paint = FromRect(native.rcPaint);
  paint->restore = native.fRestore != FALSE;
  paint->incUpdate = native.fIncUpdate != FALSE;
  std::copy(std::begin(native.rgbReserved), std::end(native.rgbReserved), paint->reserved.begin());
  return dc;
}

bool EndPaint(WindowHandle window, const PaintStruct& paint) {
  PAINTSTRUCT native{};
  native.hdc = paint.dc;
  native.fErase = paint.erase ? TRUE : FALSE;
  native.rcPaint = ToRect(paint.paint);
  native.fRestore = paint.restore ? TRUE : FALSE;
  native.fIncUpdate = paint.incUpdate ? TRUE : FALSE;
  std::copy(paint.reserved.begin(), paint.reserved.end(), std::begin(native.rgbReserved));
  return ::EndPaint(window, &native) != FALSE;
}

DcHandle CreateCompatibleDC(DcHandle dc) { return ::CreateCompatibleDC(dc); }

bool DeleteDC(DcHandle dc) { return ::DeleteDC(dc) != FALSE; }

BitmapHandle CreateCompatibleBitmap(DcHandle dc, int width, int height) {
  return ::CreateCompatibleBitmap(dc, width, height);
}

bool BitBlt(DcHandle destination, int x, int y, int width, int height, DcHandle source, int sourceX,
            int sourceY, std::uint32_t rop) {
  return ::BitBlt(destination, x, y, width, height, source, sourceX, sourceY, rop) != FALSE;
}

BrushHandle CreateSolidBrush(ColorRef color) { return ::CreateSolidBrush(color); }

PenHandle CreatePen(int style, int width, ColorRef color) {
  return ::CreatePen(style, width, color);
}

FontHandle CreateFontW(int height, int width, int escapement, int orientation, int weight,
                       std::uint32_t italic, std::uint32_t underline, std::uint32_t strikeOut,
                       std::uint32_t charSet, std::uint32_t outPrecision,
                       std::uint32_t clipPrecision, std::uint32_t quality,
                       std::uint32_t pitchAndFamily, std::u16string_view face) {
  const std::wstring wide = AsWide(face);
  return ::CreateFontW(height, width, escapement, orientation, weight, italic, underline, strikeOut,
                       charSet, outPrecision, clipPrecision, quality, pitchAndFamily, wide.c_str());
}

GdiObjectHandle SelectObject(DcHandle dc, GdiObjectHandle object) {
  return ::SelectObject(dc, object);
}

bool DeleteObject(GdiObjectHandle object) { return ::DeleteObject(object) != FALSE; }

int FillRect(DcHandle dc, const Rect& rect, BrushHandle brush) {
  const RECT native = ToRect(rect);
  return ::FillRect(dc, &native, brush);
}

bool Rectangle(DcHandle dc, int left, int top, int right, int bottom) {
  return ::Rectangle(dc, left, top, right, bottom) != FALSE;
}

bool RoundRect(DcHandle dc, int left, int top, int right, int bottom, int cornerWidth,
               int cornerHeight) {
  return ::RoundRect(dc, left, top, right, bottom, cornerWidth, cornerHeight) != FALSE;
}

bool Ellipse(DcHandle dc, int left, int top, int right, int bottom) {
  return ::Ellipse(dc, left, top, right, bottom) != FALSE;
}

bool MoveToEx(DcHandle dc, int x, int y, Point* previous) {
  POINT native{};
  if (::MoveToEx(dc, x, y, previous ? &native : nullptr) == FALSE) return false;
  if (previous) *previous = {native.x, native.y};
  return true;
}

bool LineTo(DcHandle dc, int x, int y) { return ::LineTo(dc, x, y) != FALSE; }

ColorRef SetTextColor(DcHandle dc, ColorRef color) { return ::SetTextColor(dc, color); }

int SetBkMode(DcHandle dc, int mode) { return ::SetBkMode(dc, mode); }

int DrawTextW(DcHandle dc, std::u16string_view text, Rect* rect, std::uint32_t format) {
  const std::wstring wide = AsWide(text);
  RECT native = ToRect(*rect);
  const int height = ::DrawTextW(dc, wide.c_str(), static_cast<int>(wide.size()), &native, format);
  *rect = FromRect(native);
  return height;
}

int SaveDC(DcHandle dc) { return ::SaveDC(dc); }

bool RestoreDC(DcHandle dc, int savedDc) { return ::RestoreDC(dc, savedDc) != FALSE; }

int IntersectClipRect(DcHandle dc, int left, int top, int right, int bottom) {
  return ::IntersectClipRect(dc, left, top, right, bottom);
}

GdiObjectHandle GetStockObject(int index) { return ::GetStockObject(index); }

RegionHandle CreateEllipticRgn(int left, int top, int right, int bottom) {
  return ::CreateEllipticRgn(left, top, right, bottom);
}

RegionHandle CreateRoundRectRgn(int left, int top, int right, int bottom, int cornerWidth,
                                int cornerHeight) {
  return ::CreateRoundRectRgn(left, top, right, bottom, cornerWidth, cornerHeight);
}

bool FillRgn(DcHandle dc, RegionHandle region, BrushHandle brush) {
  return ::FillRgn(dc, region, brush) != FALSE;
}

bool GetTextExtentPoint32W(DcHandle dc, std::u16string_view text, Size* size) {
  const std::wstring wide = AsWide(text);
  SIZE native{};
  if (!::GetTextExtentPoint32W(dc, wide.c_str(), static_cast<int>(wide.size()), &native)) {
    return false;
  }
  *size = {native.cx, native.cy};
  return true;
}

}  // namespace platform
