#include "lock/lock_layout.h"

#include <algorithm>
#include <cmath>

int LockRound(double x) { return static_cast<int>(std::trunc(x + 0.5)); }

unsigned ChooseLockDpi(unsigned windowDpi, unsigned deviceDpi) {
  if (windowDpi != 0) return windowDpi;
  if (deviceDpi != 0) return deviceDpi;
  return kLockBaseDpi;
}

double ComputeLockScaleFrom(unsigned dpi, LockSize monitor) {
  const double dpiScale = std::clamp(dpi / static_cast<double>(kLockBaseDpi), 1.0, 3.0);
  const double sizeScale = std::max(monitor.height / 1080.0, monitor.width / 1920.0);
  return std::clamp(std::max(dpiScale, sizeScale), 1.0, 2.6);
}

LockRect ComputeLockPanelRectFrom(LockSize client, double scale) {
  const int w = client.width;
  const int h = client.height;
  const double s = scale;
  const int panelWidth = w < LockRound(s * 900) ? LockRound(s * 460) : LockRound(s * 540);
  const int wanted = h >= LockRound(s * 760) ? LockRound(s * 690) : h - LockRound(s * 72);
  const int panelHeight = std::min(h - LockRound(s * 48), std::max(wanted, LockRound(s * 620)));
  const int top = std::max((h - panelHeight) / 2, LockRound(s * 24));
  const int left = (w - panelWidth) / 2;
  return {left, top, left + panelWidth, top + panelHeight};
}

LockLayout LayoutLockKeysFrom(LockSize client, double scale) {
  const double s = scale;
  LockLayout layout;
  layout.panel = ComputeLockPanelRectFrom(client, scale);
  const LockRect& p = layout.panel;
  layout.compact = p.bottom - p.top < LockRound(s * 660);
  const int key = layout.compact ? LockRound(s * 56) : LockRound(s * 64);
  const int gap = layout.compact ? LockRound(s * 12) : LockRound(s * 14);
  layout.keySide = key;
  layout.gap = gap;

  const int gridWidth = 3 * key + 2 * gap;
  const int gridLeft = p.left + (p.right - p.left - gridWidth) / 2;
  const int inputHeight = LockRound(s * 46);
  const int topPad = LockRound(s * 18);
  const int keysGap = LockRound(s * 24);
  const int minTop = LockRound(s * 96);
  const int centre = (p.bottom - p.top - (keysGap + inputHeight + 3 * gap + 4 * key)) / 2;
  const int inputTop = std::max(p.top + centre + topPad, p.top + minTop);

  layout.inputRect = {gridLeft, inputTop, gridLeft + gridWidth - LockRound(s * 58),
                      inputTop + inputHeight};

  layout.keys.reserve(kLockKeyCount);
  for (std::size_t i = 0; i < kLockKeyCount; ++i) {
    const LockKeyDefinition& definition = kLockKeyDefinitions[i];
    LockRect rect;
    if (definition.kind == LockKeyKind::kSubmit) {
      // The submit key closes the input box's row instead of taking a grid cell.
      const int left = gridLeft + gridWidth - inputHeight;
      rect = {left, inputTop, left + inputHeight, inputTop + inputHeight};
    } else {
      const int column = static_cast<int>(i % 3);
      const int row = static_cast<int>(i / 3);
      const int left = gridLeft + (key + gap) * column;
      const int top = inputTop + inputHeight + keysGap + (key + gap) * row;
      rect = {left, top, left + key, top + key};
    }
    layout.keys.push_back(
        {rect, definition.kind, definition.character, std::u16string(definition.label)});
  }
  return layout;
}

int FindLockKeyAt(const std::vector<LockKey>& keys, int x, int y) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i].rect.Contains(x, y)) return static_cast<int>(i);
  }
  return -1;
}
