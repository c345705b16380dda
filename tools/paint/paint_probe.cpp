// paint_probe plan NAME WIDTH HEIGHT DPI [OPTIONS]
// paint_probe layout|points WIDTH HEIGHT DPI [--typed N] [--message]
// paint_probe overlay marquee|popup|prompt WIDTH HEIGHT DPI
//
// `plan` prints a window's paint plan for a screen of that size and DPI, one operation per line,
// as the GDI executor would draw it. NAME is one of the plans below (today: lock, whose options
// are --typed N and --message).
//
// `layout` and `points` are the lock screen's (the client area being the whole screen): `layout`
// gives the input box and the keys' centres, `points` gives pixels whose colour the plan fixes,
// each as "name x y RRGGBB". The Wine tests compare screenshots at these points, so the expected
// colours come from the plan itself.
//
// `plan marquee|popup|prompt` print the overlay windows' plans as they open on a screen of that
// size and DPI (options: --text T and --position N for the marquee, --title T and --content T for
// the popup and the prompt, texts in UTF-8). `overlay` gives such a window's place on the screen,
// its scale, the centres of its buttons and probe points in screen coordinates, each as
// "point name x y RRGGBB".
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "lock/lock_layout.h"
#include "lock/lock_paint_plan.h"
#include "base/text.h"
#include "overlay/marquee.h"
#include "overlay/overlay_scale.h"
#include "overlay/overlay_strings.h"
#include "overlay/popup.h"
#include "paint/paint_plan.h"

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
  for (const paint::Stroke& line : plan.lines.strokes) {
    const int c = line.front().x + line.front().y;
    if (std::abs(x + y - c) <= 2 * plan.lines.pen.width + 2) return false;
  }
  constexpr int kMargin = 6;
  if (Near(plan.brand.rect, x, y, kMargin) || Near(plan.input.rect, x, y, kMargin)) return false;
  for (const LockKeyPaint& key : plan.keys) {
    if (Near(key.face.rect, x, y, kMargin) || Near(key.shadow.rect, x, y, kMargin)) return false;
  }
  return true;
}

const paint::FillRect& TileAt(const LockPaintPlan& plan, int x, int y) {
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
    const paint::RoundRect& face = plan.keys[i].face;
    probes.push_back({"key-" + std::to_string(i) + "-fill", (face.rect.left + face.rect.right) / 2,
                      face.rect.top + face.rect.Height() / 8 + 1, face.fill});
  }

  const paint::RoundRect& input = plan.input;
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
               "usage: paint_probe plan lock WIDTH HEIGHT DPI [--typed N] [--message]\n"
               "       paint_probe layout|points WIDTH HEIGHT DPI [--typed N] [--message]\n"
               "       paint_probe plan marquee WIDTH HEIGHT DPI [--text T] [--position N]\n"
               "       paint_probe plan popup|prompt WIDTH HEIGHT DPI [--title T] [--content T]\n"
               "       paint_probe overlay marquee|popup|prompt WIDTH HEIGHT DPI\n");
  return 2;
}

struct Screen {
  LockSize size;
  unsigned dpi = 96;
};

// WIDTH HEIGHT DPI at argv[at]; nullopt when they are missing or the screen is empty.
std::optional<Screen> ReadScreen(int argc, char** argv, int at) {
  if (argc < at + 3) return std::nullopt;
  const Screen screen{{std::atoi(argv[at]), std::atoi(argv[at + 1])},
                      static_cast<unsigned>(std::atoi(argv[at + 2]))};
  if (screen.size.width < 1 || screen.size.height < 1) return std::nullopt;
  return screen;
}

struct LockState {
  std::size_t typed = 0;
  bool message = false;
};

std::optional<LockState> ReadLockState(int argc, char** argv, int at) {
  LockState state;
  for (int i = at; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--typed" && i + 1 < argc) {
      state.typed = static_cast<std::size_t>(std::atoi(argv[++i]));
    } else if (option == "--message") {
      state.message = true;
    } else {
      return std::nullopt;
    }
  }
  return state;
}

struct LockScreen {
  double scale;
  LockLayout layout;
  LockPaintPlan plan;
};

LockScreen MakeLockScreen(const Screen& screen, const LockState& state) {
  LockScreen lock;
  lock.scale = ComputeLockScaleFrom(screen.dpi, screen.size);
  lock.layout = LayoutLockKeysFrom(screen.size, lock.scale);
  LockPaintInput input;
  input.client = screen.size;
  input.scale = lock.scale;
  input.keys = &lock.layout.keys;
  input.inputRect = lock.layout.inputRect;
  input.typedCount = state.typed;
  input.hasMessage = state.message;
  lock.plan = PlanLockPaint(input);
  return lock;
}

// The plans the probe can print: a window's name, and its plan for a screen and the options.
std::optional<paint::Plan> LockPlan(const Screen& screen, int argc, char** argv, int at) {
  const std::optional<LockState> state = ReadLockState(argc, argv, at);
  if (!state) return std::nullopt;
  return ToPaintPlan(MakeLockScreen(screen, *state).plan);
}

// ---- Overlay windows ----

struct OverlayOptions {
  std::u16string text = GetOverlayStrings().marqueePrefix;
  std::optional<int> position;
  std::u16string title;
  std::u16string content;
};

std::optional<OverlayOptions> ReadOverlayOptions(int argc, char** argv, int at) {
  OverlayOptions options;
  for (int i = at; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return std::nullopt;
    const std::string value = argv[++i];
    if (option == "--text") {
      options.text = Utf8ToWide(value);
    } else if (option == "--position") {
      options.position = std::atoi(value.c_str());
    } else if (option == "--title") {
      options.title = Utf8ToWide(value);
    } else if (option == "--content") {
      options.content = Utf8ToWide(value);
    } else {
      return std::nullopt;
    }
  }
  return options;
}

// Where a window opens on the screen and the scale it paints with, as the overlay computes them
// with GetDpiForWindow answering the screen's DPI.
struct OverlayWindow {
  Rect bounds;
  double scale = 1.0;
  Size Client() const { return {bounds.Width(), bounds.Height()}; }
};

OverlayWindow MarqueeWindow(const Screen& screen) {
  const double screenScale =
      ScreenScaleFrom(static_cast<int>(screen.dpi), screen.size.width, screen.size.height);
  OverlayWindow window{{0, 0, screen.size.width, Px(40, screenScale)}, 1.0};
  window.scale = WindowScaleFrom(screen.dpi, window.Client(), false);
  return window;
}

OverlayWindow PopupWindow(const Screen& screen) {
  const double screenScale =
      ScreenScaleFrom(static_cast<int>(screen.dpi), screen.size.width, screen.size.height);
  const int width = Px(560, screenScale);
  const int height = Px(420, screenScale);
  const int x = (screen.size.width - width) / 2;
  const int y = (screen.size.height - height) / 2;
  OverlayWindow window{{x, y, x + width, y + height}, 1.0};
  window.scale = WindowScaleFrom(screen.dpi, window.Client(), true);
  return window;
}

paint::Plan MarqueePlan(const Screen& screen, const OverlayOptions& options) {
  const OverlayWindow window = MarqueeWindow(screen);
  return PlanMarqueePaint(
      {window.Client(), window.scale, options.text, options.position.value_or(screen.size.width)});
}

paint::Plan PopupPlan(const Screen& screen, const OverlayOptions& options, bool prompt) {
  const OverlayWindow window = PopupWindow(screen);
  const OverlayStrings& strings = GetOverlayStrings();
  std::u16string title = options.title;
  if (title.empty()) {
    title = prompt ? strings.defaultDownloadCompleteTitle : strings.defaultPopupTitle;
  }
  return PlanPopupPaint({window.Client(), window.scale, title, options.content, prompt,
                         strings.openFile, strings.later});
}

std::optional<paint::Plan> MarqueePlanSource(const Screen& screen, int argc, char** argv, int at) {
  const auto options = ReadOverlayOptions(argc, argv, at);
  if (!options) return std::nullopt;
  return MarqueePlan(screen, *options);
}

std::optional<paint::Plan> PopupPlanSource(const Screen& screen, int argc, char** argv, int at) {
  const auto options = ReadOverlayOptions(argc, argv, at);
  if (!options) return std::nullopt;
  return PopupPlan(screen, *options, false);
}

std::optional<paint::Plan> PromptPlanSource(const Screen& screen, int argc, char** argv, int at) {
  const auto options = ReadOverlayOptions(argc, argv, at);
  if (!options) return std::nullopt;
  return PopupPlan(screen, *options, true);
}

void PrintPoint(const OverlayWindow& window, const char* name, int x, int y, paint::Color color) {
  std::printf("point %s %d %d %02X%02X%02X\n", name, window.bounds.left + x, window.bounds.top + y,
              color.red, color.green, color.blue);
}

void PrintCentre(const OverlayWindow& window, const char* name, const Rect& rect) {
  std::printf("%s %d %d\n", name, window.bounds.left + (rect.left + rect.right) / 2,
              window.bounds.top + (rect.top + rect.bottom) / 2);
}

template <typename Op>
const Op& NthOp(const paint::Plan& plan, std::size_t n) {
  for (const paint::Op& op : plan.ops) {
    if (const auto* found = std::get_if<Op>(&op)) {
      if (n-- == 0) return *found;
    }
  }
  std::fprintf(stderr, "paint_probe: the plan lacks an operation it always has\n");
  std::exit(1);
}

// Pixels that only one shape of the plan decides: clear of outlines, glyphs and rounded corners.
int PrintOverlay(int argc, char** argv) {
  if (argc != 6) return Usage();
  const std::string name = argv[2];
  const std::optional<Screen> screen = ReadScreen(argc, argv, 3);
  if (!screen) return Usage();
  if (name == "marquee") {
    const OverlayWindow window = MarqueeWindow(*screen);
    const paint::Plan plan = MarqueePlan(*screen, OverlayOptions{});
    const double s = window.scale;
    const int height = window.bounds.Height();
    std::printf("window %d %d %d %d\nscale %.4f\n", window.bounds.left, window.bounds.top,
                window.bounds.Width(), height, s);
    const Rect close = MarqueeCloseButton(window.bounds.Width(), s);
    PrintCentre(window, "close", close);
    std::printf("text-clip %d %d\n", Px(44, s), window.bounds.Width() - Px(40, s));
    const paint::Color bar = NthOp<paint::FillRect>(plan, 0).color;
    PrintPoint(window, "bar-left", Px(39, s), height / 2, bar);
    PrintPoint(window, "bar-right", window.bounds.Width() - Px(6, s), height / 2, bar);
    PrintPoint(window, "disc", Px(14, s), Px(20, s), NthOp<paint::FillRegion>(plan, 0).color);
    PrintPoint(window, "close-fill", close.left + Px(4, s), close.top + Px(12, s),
               NthOp<paint::FillRegion>(plan, 1).color);
    return 0;
  }
  if (name == "popup" || name == "prompt") {
    const bool prompt = name == "prompt";
    const OverlayWindow window = PopupWindow(*screen);
    const paint::Plan plan = PopupPlan(*screen, OverlayOptions{}, prompt);
    const double s = window.scale;
    const Size client = window.Client();
    std::printf("window %d %d %d %d\nscale %.4f\n", window.bounds.left, window.bounds.top,
                client.width, client.height, s);
    const Rect close = PopupCloseButton(client.width, s);
    PrintCentre(window, "close", close);
    const paint::Color note = NthOp<paint::FillRect>(plan, 1).color;
    PrintPoint(window, "note-left", Px(12, s), client.height / 2, note);
    PrintPoint(window, "note-bottom", client.width / 2, client.height - Px(8, s), note);
    PrintPoint(window, "border-left", 0, client.height / 2,
               NthOp<paint::Outline>(plan, 0).pen.color);
    PrintPoint(window, "divider", client.width / 2, Px(74, s),
               NthOp<paint::Strokes>(plan, 0).pen.color);
    PrintPoint(window, "close-fill", close.left + Px(4, s), close.top + Px(12, s),
               NthOp<paint::FillRegion>(plan, 0).color);
    if (prompt) {
      const PromptButtons buttons = PromptButtonRects(client);
      PrintCentre(window, "open", buttons.open);
      PrintCentre(window, "later", buttons.later);
      const int middle = (buttons.open.top + buttons.open.bottom) / 2;
      PrintPoint(window, "open-fill", buttons.open.left + 14, middle,
                 NthOp<paint::FillRegion>(plan, 1).color);
      PrintPoint(window, "later-fill", buttons.later.right - 14, middle,
                 NthOp<paint::FillRegion>(plan, 2).color);
    }
    return 0;
  }
  return Usage();
}

struct PlanSource {
  const char* name;
  std::optional<paint::Plan> (*make)(const Screen& screen, int argc, char** argv, int at);
};
constexpr PlanSource kPlanSources[] = {{"lock", &LockPlan},
                                       {"marquee", &MarqueePlanSource},
                                       {"popup", &PopupPlanSource},
                                       {"prompt", &PromptPlanSource}};

int PrintPlan(int argc, char** argv) {
  if (argc < 3) return Usage();
  const std::string name = argv[2];
  const std::optional<Screen> screen = ReadScreen(argc, argv, 3);
  if (!screen) return Usage();
  for (const PlanSource& source : kPlanSources) {
    if (name != source.name) continue;
    const std::optional<paint::Plan> plan = source.make(*screen, argc, argv, 6);
    if (!plan) return Usage();
    for (const std::string& line : paint::Describe(*plan)) std::printf("%s\n", line.c_str());
    return 0;
  }
  return Usage();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return Usage();
  const std::string command = argv[1];
  if (command == "plan") return PrintPlan(argc, argv);
  if (command == "overlay") return PrintOverlay(argc, argv);

  const std::optional<Screen> screen = ReadScreen(argc, argv, 2);
  const std::optional<LockState> state = ReadLockState(argc, argv, 5);
  if (!screen || !state) return Usage();
  const LockScreen lock = MakeLockScreen(*screen, *state);
  const LockPaintPlan& plan = lock.plan;

  if (command == "layout") {
    std::printf("scale %.4f\n", lock.scale);
    const LockRect& box = lock.layout.inputRect;
    std::printf("input %d %d %d %d\n", box.left, box.top, box.right, box.bottom);
    std::printf("mask-font-height %d\n", plan.mask
                                             ? plan.fonts.at(plan.mask->font).height
                                             : LockFontHeight(LockFontRole::kMask, lock.scale));
    for (std::size_t i = 0; i < lock.layout.keys.size(); ++i) {
      const LockRect& r = lock.layout.keys[i].rect;
      std::printf("key-%zu %d %d\n", i, (r.left + r.right) / 2, (r.top + r.bottom) / 2);
    }
    return 0;
  }
  if (command == "points") {
    for (const Probe& probe : ProbePoints(plan, state->typed)) {
      std::printf("%s %d %d %02X%02X%02X\n", probe.name.c_str(), probe.x, probe.y, probe.color.red,
                  probe.color.green, probe.color.blue);
    }
    return 0;
  }
  return Usage();
}
