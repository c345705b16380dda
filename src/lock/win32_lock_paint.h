// The GDI side of the lock's painting: the six fonts and a draw function that follows a plan.
#pragma once

#include <windows.h>

#include <array>

#include "lock/lock_paint_plan.h"
#include "lock/win32_gdi_handles.h"

using LockFonts = std::array<UniqueFont, kLockFontCount>;

// All six, face "Microsoft YaHei", height LockRound(scale * size); a font that fails stays null
// and its texts draw in the DC's current font.
LockFonts CreateLockFonts(double scale);

// Draws every step of the plan into the DC, in the plan's order.
void DrawLockPaintPlan(HDC dc, const LockPaintPlan& plan, const LockFonts& fonts);

// WM_PAINT: the plan drawn into a memory bitmap and copied to the window in one BitBlt, or
// straight onto the window when no memory DC or bitmap can be had.
void PaintLockWindow(HWND window, const LockPaintPlan& plan, const LockFonts& fonts);
