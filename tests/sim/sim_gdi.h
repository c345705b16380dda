// The simulated GDI behind platform/gdi.h: device contexts of windows and of memory, bitmaps,
// brushes, pens and fonts as named objects, each DC's selections, colours, mode and saved states.
//
// Objects are named by kind and number in the order they are made, from 1 after every reset:
// "dc1" (GetDC, BeginPaint and CreateCompatibleDC share the count), "bitmap1", "brush1",
// "pen1", "font1"; each DC starts with the stock objects "stock-bitmap", "stock-brush",
// "stock-pen" and "stock-font". The calls that make, select or free are journalled with those
// names, e.g. "CreateSolidBrush #0F264D -> brush1", "SelectObject dc2 brush1 -> stock-brush",
// "DeleteObject brush1" ("-> null" when a creation fails), and each drawing call says what it
// draws with, and the clip when there is one: "FillRect dc2 0 0 8 8 brush=#0F264D",
// "RoundRect dc2 10 10 50 30 11 11 brush=#F6FBFF pen=1#89B9FF", "LineTo dc2 5 5 pen=2#2176F6",
// "DrawTextW dc2 KELVO ZMS 56 42 576 114 0x24 font=Microsoft YaHei/42/700 ink=#F0F7FF
// transparent clip=0,0,50,20", "GetDC w1 -> dc1". ReleaseDC and GetDeviceCaps are not
// journalled.
//
// What Windows lets pass but a careful painter never does is kept as a misuse: deleting an object
// still selected into a DC, deleting or giving back a DC that still holds a selected object or a
// saved state, and any call with a DC or object that is unknown or already freed.
#pragma once

#include <string>
#include <vector>

namespace sim {

// What GetDeviceCaps(LOGPIXELSX) answers for every device context; 96 until set.
void SetScreenDpi(int dpi);
// Device contexts handed out by GetDC or BeginPaint and not yet given back.
int OpenDcCount();

// Made and not yet freed, by name, in the order they were made: memory DCs, bitmaps, brushes,
// pens and fonts.
std::vector<std::string> LiveGdiObjects();
std::vector<std::string> GdiMisuses();
// States saved by SaveDC and not yet restored, over every DC still alive.
int SavedDcStates();

// The `nth` call from now (1 = the next) of the named function fails as Windows fails it: null
// from a Create call, GetDC, BeginPaint and SelectObject; zero or false from the others. One
// failure per call; several may be pending. SelectObject fails only for objects that are not stock
// objects and so is never counted for a DC's own objects put back, which Windows never refuses.
void FailGdiCall(const std::string& function, int nth = 1);
// Failures asked for whose call has not come yet.
int PendingGdiFailures();

// An object's name ("bitmap1", "stock-bitmap"), "unknown" for a handle GDI never made.
std::string GdiObjectName(const void* object);

}  // namespace sim
