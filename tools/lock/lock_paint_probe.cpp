// lock_paint_probe layout|points WIDTH HEIGHT DPI [--typed N] [--message]
//
// Prints what the lock screen's layout and paint plan say about a screen of that size and DPI
// (the client area being the whole screen): `layout` gives the input box and the keys' centres,
// `points` gives pixels whose colour the plan fixes, each as "name x y RRGGBB". The Wine tests
// compare screenshots at these points, so the expected colours come from the plan itself.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "lock/lock_layout.h"
#include "lock/lock_paint_plan.h"

namespace {

struct Probe {
  std::string name;
  int x;
  int y;
  LockColor color;
};

bool Near(const LockRect& rect, int x, int y, int margin) {
  return x >= rect.left - margin && x < rect.right + margin && y >= rect.top - margin &&
         y < rect.bottom + margin;
}

// A pixel whose colour only its tile decides: in the middle of the tile, clear of every
// diagonal line (the pen spreads about width / 2 each side of x + y = const) and of every
// shape and text box that is drawn later.
bool IsPlainBackground(const LockPaintPlan& plan, int x, int y) {
  const int b = plan.tileSide;
  if (x < 0 || y < 0 || x >= plan.client.width || y >= plan.client.height) return false;
  const int inTileX = x % b;
  const int inTileY = y % b;
  if (inTileX < 2 || inTileX > b - 3 || inTileY < 2 || inTileY > b - 3) return false;
  for (const LockLine& line : plan.lines) {
    const int c = line.from.x + line.from.y;
    if (std::abs(x + y - c) <= 2 * plan.linePen.width + 2) return false;
  }
  constexpr int kMargin = 6;
  if (Near(plan.brand.rect, x, y, kMargin) || Near(plan.input.rect, x, y, kMargin)) return false;
  for (const LockKeyPaint& key : plan.keys) {
    if (Near(key.face.rect, x, y, kMargin) || Near(key.shadow.rect, x, y, kMargin)) return false;
  }
  return true;
}

const LockTile& TileAt(const LockPaintPlan& plan, int x, int y) {
  const int columns = (plan.client.width + plan.tileSide - 1) / plan.tileSide;
  return plan.tiles[static_cast<std::size_t>(y / plan.tileSide) * columns + x / plan.tileSide];
}

// The plain background pixel nearest to (x, y), looked for in growing squares.
std::optional<Probe> BackgroundNear(const LockPaintPlan& plan, const std::string& name, int x,
                                    int y) {
  const int limit = std::max(plan.client.width, plan.client.height);
  for (int radius = 0; radius < limit; ++radius) {
    for (int dy = -radius; dy <= radius; ++dy) {
      for (int dx = -radius; dx <= radius; ++dx) {
        if (std::max(std::abs(dx), std::abs(dy)) != radius) continue;
        if (IsPlainBackground(plan, x + dx, y + dy)) {
          return Probe{name, x + dx, y + dy, TileAt(plan, x + dx, y + dy).color};
        }
      }
    }
  }
  return std::nullopt;
}

std::vector<Probe> ProbePoints(const LockPaintPlan& plan, std::size_t typed) {
  std::vector<Probe> probes;
  const int w = plan.client.width;
  const int h = plan.client.height;
  const std::pair<const char*, LockPoint> starts[] = {
      {"background-centre", {w / 2, h / 2}},       {"background-top-left", {0, 0}},
      {"background-top-right", {w - 1, 0}},        {"background-bottom-left", {0, h - 1}},
      {"background-bottom-right", {w - 1, h - 1}}, {"background-left", {w / 4, h / 2}},
      {"background-right", {3 * w / 4, h / 2}}};
  for (const auto& [name, point] : starts) {
    if (auto probe = BackgroundNear(plan, name, point.x, point.y)) probes.push_back(*probe);
  }

  // Key faces: on the vertical centre line, an eighth of the side below the top edge, where
  // neither the 1-pixel border, the rounded corners, the label nor an icon reaches.
  for (std::size_t i = 0; i < plan.keys.size(); ++i) {
    const LockShape& face = plan.keys[i].face;
    probes.push_back({"key-" + std::to_string(i) + "-fill", (face.rect.left + face.rect.right) / 2,
                      face.rect.top + face.rect.Height() / 8 + 1, face.fill});
  }

  const LockShape& input = plan.input;
  const int inputMidX = (input.rect.left + input.rect.right) / 2;
  const int inputMidY = (input.rect.top + input.rect.bottom) / 2;
  probes.push_back({"input-border-top", inputMidX, input.rect.top, input.pen.color});
  // A long row of stars is clipped at the box's edges and may cover the side border.
  if (typed == 0) {
    probes.push_back({"input-border-left", input.rect.left, inputMidY, input.pen.color});
    probes.push_back({"input-fill", inputMidX, inputMidY, input.fill});
  }
  return probes;
}

int Usage() {
  std::fprintf(stderr,
               "usage: lock_paint_probe layout|points WIDTH HEIGHT DPI [--typed N] [--message]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) return Usage();
  const std::string command = argv[1];
  const LockSize screen{std::atoi(argv[2]), std::atoi(argv[3])};
  const unsigned dpi = static_cast<unsigned>(std::atoi(argv[4]));
  std::size_t typed = 0;
  bool message = false;
  for (int i = 5; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--typed" && i + 1 < argc) {
      typed = static_cast<std::size_t>(std::atoi(argv[++i]));
    } else if (option == "--message") {
      message = true;
    } else {
      return Usage();
    }
  }
  if (screen.width < 1 || screen.height < 1) return Usage();

  const double scale = ComputeLockScaleFrom(dpi, screen);
  const LockLayout layout = LayoutLockKeysFrom(screen, scale);
  LockPaintInput input;
  input.client = screen;
  input.scale = scale;
  input.keys = &layout.keys;
  input.inputRect = layout.inputRect;
  input.typedCount = typed;
  input.hasMessage = message;
  const LockPaintPlan plan = PlanLockPaint(input);

  if (command == "layout") {
    std::printf("scale %.4f\n", scale);
    const LockRect& box = layout.inputRect;
    std::printf("input %d %d %d %d\n", box.left, box.top, box.right, box.bottom);
    std::printf("mask-font-height %d\n",
                plan.mask ? plan.mask->fontHeight : LockFontHeight(LockFontRole::kMask, scale));
    for (std::size_t i = 0; i < layout.keys.size(); ++i) {
      const LockRect& r = layout.keys[i].rect;
      std::printf("key-%zu %d %d\n", i, (r.left + r.right) / 2, (r.top + r.bottom) / 2);
    }
    return 0;
  }
  if (command == "points") {
    for (const Probe& probe : ProbePoints(plan, typed)) {
      std::printf("%s %d %d %02X%02X%02X\n", probe.name.c_str(), probe.x, probe.y, probe.color.red,
                  probe.color.green, probe.color.blue);
    }
    return 0;
  }
  return Usage();
}
