// Geometry of the lock screen: scale, layout frame, keypad and hit test. Plain values only, so
// that every size can be checked without a window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/geometry.h"

// The lock's geometry is plain pixels in the layout of Win32's SIZE, POINT and RECT.
using LockSize = Size;
using LockPoint = Point;
using LockRect = Rect;

enum class LockKeyKind : std::int32_t { kDigit = 1, kBackspace = 2, kClear = 3, kSubmit = 4 };

struct LockKey {
  LockRect rect;
  LockKeyKind kind = LockKeyKind::kDigit;
  char16_t character = 0;
  std::u16string label;
};

struct LockKeyDefinition {
  LockKeyKind kind;
  char16_t character;
  std::u16string_view label;
};

// The keypad in list order: three columns, the digit 0 between clear and backspace, and the
// submit key last because it sits beside the input box rather than in the grid.
inline constexpr std::size_t kLockKeyCount = 13;
inline constexpr LockKeyDefinition kLockKeyDefinitions[kLockKeyCount] = {
    {LockKeyKind::kDigit, u'1', u"1"},  {LockKeyKind::kDigit, u'2', u"2"},
    {LockKeyKind::kDigit, u'3', u"3"},  {LockKeyKind::kDigit, u'4', u"4"},
    {LockKeyKind::kDigit, u'5', u"5"},  {LockKeyKind::kDigit, u'6', u"6"},
    {LockKeyKind::kDigit, u'7', u"7"},  {LockKeyKind::kDigit, u'8', u"8"},
    {LockKeyKind::kDigit, u'9', u"9"},  {LockKeyKind::kClear, 0, u"清空"},
    {LockKeyKind::kDigit, u'0', u"0"},  {LockKeyKind::kBackspace, 0, u"退格"},
    {LockKeyKind::kSubmit, 0, u"解锁"},
};

// trunc(x + 0.5) as a 32-bit integer: halves of negative values round towards zero.
int LockRound(double x);

inline constexpr unsigned kLockBaseDpi = 96;

// The DPI the lock scales by: the window's own when known, else the DC's, else 96.
unsigned ChooseLockDpi(unsigned windowDpi, unsigned deviceDpi);

// max(dpi scale within 1..3, monitor size against 1920x1080), kept within 1.0 and 2.6.
double ComputeLockScaleFrom(unsigned dpi, LockSize monitor);

// The frame the keypad is centred in; it is never painted.
LockRect ComputeLockPanelRectFrom(LockSize client, double scale);

struct LockLayout {
  LockRect panel;
  bool compact = false;
  int keySide = 0;
  int gap = 0;
  LockRect inputRect;
  std::vector<LockKey> keys;  // kLockKeyCount entries in the order of kLockKeyDefinitions
};

LockLayout LayoutLockKeysFrom(LockSize client, double scale);

// Index of the first key in list order whose rectangle holds the point; -1 for none.
int FindLockKeyAt(const std::vector<LockKey>& keys, int x, int y);
