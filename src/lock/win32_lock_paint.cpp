#include "lock/win32_lock_paint.h"

#include <string>

#include "platform/win32/text.h"

static_assert(kLockTextLeft == DT_LEFT && kLockTextCenter == DT_CENTER &&
              kLockTextVCenter == DT_VCENTER && kLockTextSingleLine == DT_SINGLELINE);

namespace {

COLORREF ToColorRef(LockColor color) { return RGB(color.red, color.green, color.blue); }

RECT ToRect(const LockRect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

UniquePen MakePen(const LockPen& pen) {
  return UniquePen(::CreatePen(PS_SOLID, pen.width, ToColorRef(pen.color)));
}

void DrawShape(HDC dc, const LockShape& shape) {
  UniqueBrush brush(::CreateSolidBrush(ToColorRef(shape.fill)));
  UniquePen pen = MakePen(shape.pen);
  SelectedObject selectedBrush(dc, brush.get());
  SelectedObject selectedPen(dc, pen.get());
  ::RoundRect(dc, shape.rect.left, shape.rect.top, shape.rect.right, shape.rect.bottom,
              shape.corner, shape.corner);
}

void DrawLockText(HDC dc, const LockText& text, const LockFonts& fonts) {
  const HFONT font = fonts[static_cast<std::size_t>(text.font)].get();
  SelectedObject selectedFont(dc, font);
  ::SetTextColor(dc, ToColorRef(text.ink));
  RECT rect = ToRect(text.rect);
  const std::wstring wide = AsWide(text.text);
  ::DrawTextW(dc, wide.c_str(), static_cast<int>(wide.size()), &rect, text.format);
}

void DrawKeyIcon(HDC dc, const LockIcon& icon) {
  if (icon.strokes.empty()) return;
  UniquePen pen = MakePen(icon.pen);
  SelectedObject selectedPen(dc, pen.get());
  for (const auto& stroke : icon.strokes) {
    if (stroke.empty()) continue;
    ::MoveToEx(dc, stroke.front().x, stroke.front().y, nullptr);
    for (std::size_t i = 1; i < stroke.size(); ++i) ::LineTo(dc, stroke[i].x, stroke[i].y);
  }
}

}  // namespace

LockFonts CreateLockFonts(double scale) {
  const std::wstring face = AsWide(kLockFontFace);
  LockFonts fonts;
  for (const LockFontSpec& fontSpec : kLockFontSpecs) {
    fonts[static_cast<std::size_t>(fontSpec.role)].reset(
        ::CreateFontW(LockFontHeight(fontSpec.role, scale), 0, 0, 0, fontSpec.weight, FALSE, FALSE,
                      FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
                      CLEARTYPE_QUALITY, DEFAULT_PITCH | FF_DONTCARE, face.c_str()));
  }
  return fonts;
}

void DrawLockPaintPlan(HDC dc, const LockPaintPlan& plan, const LockFonts& fonts) {
  if (!plan.paints) return;
  // One brush per tile, made and deleted on the spot: the background is never cached.
  for (const LockTile& tile : plan.tiles) {
    UniqueBrush brush(::CreateSolidBrush(ToColorRef(tile.color)));
    const RECT rect = ToRect(tile.rect);
    ::FillRect(dc, &rect, brush.get());
  }
  {
    UniquePen pen = MakePen(plan.linePen);
    SelectedObject selectedPen(dc, pen.get());
    for (const LockLine& line : plan.lines) {
      ::MoveToEx(dc, line.from.x, line.from.y, nullptr);
      ::LineTo(dc, line.to.x, line.to.y);
    }
  }
  ::SetBkMode(dc, TRANSPARENT);
  DrawLockText(dc, plan.brand, fonts);
  DrawShape(dc, plan.input);
  if (plan.mask) DrawLockText(dc, *plan.mask, fonts);
  for (const LockKeyPaint& key : plan.keys) {
    DrawShape(dc, key.shadow);
    DrawShape(dc, key.face);
    if (key.label) DrawLockText(dc, *key.label, fonts);
    DrawKeyIcon(dc, key.icon);
  }
}

void PaintLockWindow(HWND window, const LockPaintPlan& plan, const LockFonts& fonts) {
  PaintScope paint(window);
  if (!plan.paints || !paint.dc()) return;
  const int width = plan.client.width;
  const int height = plan.client.height;
  UniqueMemoryDc memory(::CreateCompatibleDC(paint.dc()));
  UniqueBitmap bitmap(::CreateCompatibleBitmap(paint.dc(), width, height));
  if (!memory || !bitmap) {
    DrawLockPaintPlan(paint.dc(), plan, fonts);
    return;
  }
  SelectedObject selectedBitmap(memory.get(), bitmap.get());
  DrawLockPaintPlan(memory.get(), plan, fonts);
  ::BitBlt(paint.dc(), 0, 0, width, height, memory.get(), 0, 0, SRCCOPY);
}
