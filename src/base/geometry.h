// Points, sizes and rectangles in whole pixels, laid out as Win32's POINT, SIZE and RECT so that
// adapters copy them field for field.
#pragma once

#include <cstdint>

struct Point {
  std::int32_t x = 0;
  std::int32_t y = 0;
  bool operator==(const Point&) const = default;
};

struct Size {
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool operator==(const Size&) const = default;
};

// Right and bottom lie just outside, as in a RECT.
struct Rect {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;

  std::int32_t Width() const { return right - left; }
  std::int32_t Height() const { return bottom - top; }
  // PtInRect: the left and top edges are inside, the right and bottom ones are not.
  bool Contains(std::int32_t x, std::int32_t y) const {
    return x >= left && x < right && y >= top && y < bottom;
  }
  Rect Offset(std::int32_t dx, std::int32_t dy) const {
    return {left + dx, top + dy, right + dx, bottom + dy};
  }
  bool operator==(const Rect&) const = default;
};
