#include "sim_gdi.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "base/text.h"
#include "platform/gdi.h"
#include "sim_core.h"
#include "sim_user.h"

namespace sim {
namespace {

enum class Kind { kBitmap, kBrush, kPen, kFont, kRegion };
constexpr std::size_t kKindCount = 5;
constexpr std::array<const char*, kKindCount> kKindNames = {"bitmap", "brush", "pen", "font",
                                                            "region"};

struct Object {
  Kind kind;
  std::string name;
  std::string description;  // what drawing entries say of it: "#0F264D", "2#2176F6", ...
  bool stock = false;
  bool deleted = false;
  int fontHeight = 16;  // what text extents are measured with
};

enum class DcOrigin { kWindow, kPaint, kMemory };

struct DcState {
  std::array<std::uintptr_t, kKindCount> selected{};  // by Kind
  platform::ColorRef textColor = 0;
  int bkMode = platform::kOpaque;
  Point position;
  std::optional<Rect> clip;
};

struct Dc {
  std::string name;
  DcOrigin origin;
  platform::WindowHandle window = nullptr;
  DcState state;
  std::vector<DcState> saved;
  bool alive = true;
};

struct Gdi {
  std::mutex lock;
  int dpi = 96;
  std::uintptr_t nextHandle = 0x6d00;
  int nextDc = 1;
  std::array<int, kKindCount> nextObject{};
  std::map<std::uintptr_t, Object> objects;
  std::map<std::uintptr_t, Dc> dcs;
  std::array<std::uintptr_t, kKindCount> stock{};
  std::uintptr_t nullBrush = 0;
  std::vector<std::string> misuses;
  std::vector<std::pair<std::string, int>> failures;
};

void AddStockObjects(Gdi& g) {
  for (std::size_t kind = 0; kind < kKindCount; ++kind) {
    const std::uintptr_t handle = g.nextHandle += 0x10;
    const std::string name = std::string("stock-") + kKindNames[kind];
    g.objects[handle] = {static_cast<Kind>(kind), name, name, true, false};
    g.stock[kind] = handle;
  }
  g.nullBrush = g.nextHandle += 0x10;
  g.objects[g.nullBrush] = {Kind::kBrush, "null-brush", "null", true, false};
}

// Every DC starts with the stock objects, so they exist before the first reset too.
Gdi& G() {
  static Gdi gdi;
  static const bool stocked = (AddStockObjects(gdi), true);
  (void)stocked;
  return gdi;
}

void Reset() {
  const std::lock_guard guard(G().lock);
  Gdi& g = G();
  g.dpi = 96;
  g.nextDc = 1;
  g.nextObject = {};
  g.objects.clear();
  g.dcs.clear();
  g.misuses.clear();
  g.failures.clear();
  AddStockObjects(g);
}

const bool registered = OnReset(&Reset);

std::uintptr_t Key(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

std::string ColorText(platform::ColorRef color) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", static_cast<unsigned>(color & 0xFF),
                static_cast<unsigned>((color >> 8) & 0xFF),
                static_cast<unsigned>((color >> 16) & 0xFF));
  return text;
}

std::string Numbers(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += " " + std::to_string(value);
  return text;
}

// Counts the call down on every failure asked for it; true when one of them is due now.
bool Fails(Gdi& g, const std::string& function) {
  bool due = false;
  for (auto& [name, remaining] : g.failures) {
    if (name == function && --remaining == 0) due = true;
  }
  std::erase_if(g.failures, [](const auto& failure) { return failure.second <= 0; });
  return due;
}

void Misuse(Gdi& g, std::string what) { g.misuses.push_back(std::move(what)); }

// The live DC behind a handle; a misuse when there is none.
Dc* FindDc(Gdi& g, platform::DcHandle dc, const char* function) {
  const auto found = g.dcs.find(Key(dc));
  if (found == g.dcs.end() || !found->second.alive) {
    Misuse(g, std::string(function) + " with a DC that is not alive");
    return nullptr;
  }
  return &found->second;
}

Object* FindObject(Gdi& g, const void* handle, const char* function) {
  const auto found = g.objects.find(Key(handle));
  if (found == g.objects.end() || found->second.deleted) {
    Misuse(g, std::string(function) + " with an object that is not alive");
    return nullptr;
  }
  return &found->second;
}

const std::string& NameOf(Gdi& g, std::uintptr_t handle) { return g.objects.at(handle).name; }

const std::string& Selected(Gdi& g, const Dc& dc, Kind kind) {
  return g.objects.at(dc.state.selected[static_cast<std::size_t>(kind)]).description;
}

std::string Clip(const Dc& dc) {
  if (!dc.state.clip) return "";
  const Rect& r = *dc.state.clip;
  return " clip=" + std::to_string(r.left) + "," + std::to_string(r.top) + "," +
         std::to_string(r.right) + "," + std::to_string(r.bottom);
}

Dc& NewDc(Gdi& g, DcOrigin origin, platform::WindowHandle window, std::uintptr_t* handle) {
  *handle = g.nextHandle += 0x10;
  Dc dc{"dc" + std::to_string(g.nextDc++), origin, window, {}, {}, true};
  for (std::size_t kind = 0; kind < kKindCount; ++kind) dc.state.selected[kind] = g.stock[kind];
  return g.dcs[*handle] = dc;
}

platform::GdiObjectHandle NewObject(Gdi& g, Kind kind, std::string description) {
  const std::uintptr_t handle = g.nextHandle += 0x10;
  const std::size_t index = static_cast<std::size_t>(kind);
  const std::string name = kKindNames[index] + std::to_string(++g.nextObject[index]);
  g.objects[handle] = {kind, name, std::move(description), false, false};
  return reinterpret_cast<platform::GdiObjectHandle>(handle);
}

// A DC given back or deleted must hold only stock objects and no saved state.
void CheckClean(Gdi& g, const Dc& dc, const char* function) {
  for (std::size_t kind = 0; kind < kKindCount; ++kind) {
    const Object& object = g.objects.at(dc.state.selected[kind]);
    if (!object.stock) {
      Misuse(g, std::string(function) + " " + dc.name + " with " + object.name + " selected");
    }
  }
  if (!dc.saved.empty()) {
    Misuse(g, std::string(function) + " " + dc.name + " with " + std::to_string(dc.saved.size()) +
                  " saved state(s)");
  }
}

std::string SelectedInto(Gdi& g, std::uintptr_t object) {
  for (const auto& [handle, dc] : g.dcs) {
    if (!dc.alive) continue;
    for (const std::uintptr_t selected : dc.state.selected) {
      if (selected == object) return dc.name;
    }
  }
  return "";
}

// Journals outside the simulation's lock, as sim_core asks.
template <typename Function>
auto Locked(Function function) {
  std::string entry;
  auto result = [&] {
    const std::lock_guard guard(G().lock);
    return function(G(), entry);
  }();
  if (!entry.empty()) Record(std::move(entry));
  return result;
}

}  // namespace

void SetScreenDpi(int dpi) {
  const std::lock_guard guard(G().lock);
  G().dpi = dpi;
}

int OpenDcCount() {
  const std::lock_guard guard(G().lock);
  return static_cast<int>(std::count_if(G().dcs.begin(), G().dcs.end(), [](const auto& entry) {
    return entry.second.alive && entry.second.origin != DcOrigin::kMemory;
  }));
}

std::vector<std::string> LiveGdiObjects() {
  const std::lock_guard guard(G().lock);
  std::vector<std::pair<std::uintptr_t, std::string>> live;
  for (const auto& [handle, dc] : G().dcs) {
    if (dc.alive && dc.origin == DcOrigin::kMemory) live.emplace_back(handle, dc.name);
  }
  for (const auto& [handle, object] : G().objects) {
    if (!object.stock && !object.deleted) live.emplace_back(handle, object.name);
  }
  // Handles grow with every creation: their order is the order things were made in.
  std::sort(live.begin(), live.end());
  std::vector<std::string> names;
  for (auto& entry : live) names.push_back(std::move(entry.second));
  return names;
}

std::vector<std::string> GdiMisuses() {
  const std::lock_guard guard(G().lock);
  return G().misuses;
}

int SavedDcStates() {
  const std::lock_guard guard(G().lock);
  int count = 0;
  for (const auto& [handle, dc] : G().dcs) {
    if (dc.alive) count += static_cast<int>(dc.saved.size());
  }
  return count;
}

void FailGdiCall(const std::string& function, int nth) {
  const std::lock_guard guard(G().lock);
  G().failures.emplace_back(function, nth);
}

int PendingGdiFailures() {
  const std::lock_guard guard(G().lock);
  return static_cast<int>(G().failures.size());
}

std::string GdiObjectName(const void* object) {
  const std::lock_guard guard(G().lock);
  const auto found = G().objects.find(Key(object));
  return found == G().objects.end() ? "unknown" : found->second.name;
}

}  // namespace sim

namespace platform {

using sim::Dc;
using sim::DcOrigin;
using sim::Gdi;
using sim::Kind;

DcHandle GetDC(WindowHandle window) {
  std::string entry = "GetDC " + sim::Label(window);
  std::uintptr_t handle = 0;
  {
    const std::lock_guard guard(sim::G().lock);
    if (sim::Fails(sim::G(), "GetDC")) {
      entry += " -> null";
    } else {
      entry += " -> " + sim::NewDc(sim::G(), DcOrigin::kWindow, window, &handle).name;
    }
  }
  sim::Record(std::move(entry));
  return reinterpret_cast<DcHandle>(handle);
}

int ReleaseDC(WindowHandle window, DcHandle dc) {
  const std::lock_guard guard(sim::G().lock);
  Gdi& g = sim::G();
  const auto found = g.dcs.find(sim::Key(dc));
  if (found == g.dcs.end() || !found->second.alive || found->second.origin != DcOrigin::kWindow ||
      found->second.window != window) {
    return 0;
  }
  sim::CheckClean(g, found->second, "ReleaseDC");
  found->second.alive = false;
  return 1;
}

int GetDeviceCaps(DcHandle dc, int index) {
  const std::lock_guard guard(sim::G().lock);
  const auto found = sim::G().dcs.find(sim::Key(dc));
  if (found == sim::G().dcs.end() || !found->second.alive) return 0;
  return index == kLogPixelsX ? sim::G().dpi : 0;
}

DcHandle BeginPaint(WindowHandle window, PaintStruct* paint) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> DcHandle {
    *paint = PaintStruct{};
    if (sim::Fails(g, "BeginPaint")) {
      entry = "BeginPaint -> null";
      return nullptr;
    }
    std::uintptr_t handle = 0;
    const Dc& dc = sim::NewDc(g, DcOrigin::kPaint, window, &handle);
    paint->dc = reinterpret_cast<DcHandle>(handle);
    paint->paint = sim::TakeUpdateRect(window);
    entry = "BeginPaint -> " + dc.name;
    return paint->dc;
  });
}

bool EndPaint(WindowHandle window, const PaintStruct& paint) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    if (!paint.dc) {
      entry = "EndPaint null";
      return true;
    }
    const auto found = g.dcs.find(sim::Key(paint.dc));
    if (found == g.dcs.end() || !found->second.alive || found->second.origin != DcOrigin::kPaint ||
        found->second.window != window) {
      sim::Misuse(g, "EndPaint with a DC that BeginPaint did not give this window");
      return false;
    }
    sim::CheckClean(g, found->second, "EndPaint");
    found->second.alive = false;
    entry = "EndPaint " + found->second.name;
    return true;
  });
}

DcHandle CreateCompatibleDC(DcHandle dc) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> DcHandle {
    // Null asks for one compatible with the screen.
    const Dc* source = dc ? sim::FindDc(g, dc, "CreateCompatibleDC") : nullptr;
    const std::string sourceName = source ? source->name : "null";
    if ((dc && !source) || sim::Fails(g, "CreateCompatibleDC")) {
      entry = "CreateCompatibleDC " + sourceName + " -> null";
      return nullptr;
    }
    std::uintptr_t handle = 0;
    const Dc& made = sim::NewDc(g, DcOrigin::kMemory, nullptr, &handle);
    entry = "CreateCompatibleDC " + sourceName + " -> " + made.name;
    return reinterpret_cast<DcHandle>(handle);
  });
}

bool DeleteDC(DcHandle dc) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* found = sim::FindDc(g, dc, "DeleteDC");
    if (!found) return false;
    if (found->origin != DcOrigin::kMemory) {
      sim::Misuse(g, "DeleteDC " + found->name + ", which is to be given back, not deleted");
    }
    entry = "DeleteDC " + found->name;
    if (sim::Fails(g, "DeleteDC")) return false;
    sim::CheckClean(g, *found, "DeleteDC");
    found->alive = false;
    return true;
  });
}

BitmapHandle CreateCompatibleBitmap(DcHandle dc, int width, int height) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> BitmapHandle {
    const Dc* source = sim::FindDc(g, dc, "CreateCompatibleBitmap");
    entry = "CreateCompatibleBitmap " + (source ? source->name : std::string("?")) +
            sim::Numbers({width, height}) + " -> ";
    if (!source || sim::Fails(g, "CreateCompatibleBitmap")) {
      entry += "null";
      return nullptr;
    }
    const auto made = static_cast<BitmapHandle>(
        sim::NewObject(g, Kind::kBitmap, std::to_string(width) + "x" + std::to_string(height)));
    entry += sim::NameOf(g, sim::Key(made));
    return made;
  });
}

bool BitBlt(DcHandle destination, int x, int y, int width, int height, DcHandle source, int sourceX,
            int sourceY, std::uint32_t rop) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    const Dc* to = sim::FindDc(g, destination, "BitBlt");
    const Dc* from = sim::FindDc(g, source, "BitBlt");
    if (!to || !from) return false;
    entry = "BitBlt " + to->name + sim::Numbers({x, y, width, height}) + " " + from->name +
            sim::Numbers({sourceX, sourceY}) + " " + sim::Hex(rop) + " bitmap=" +
            sim::NameOf(g, from->state.selected[static_cast<std::size_t>(Kind::kBitmap)]);
    return !sim::Fails(g, "BitBlt");
  });
}

BrushHandle CreateSolidBrush(ColorRef color) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> BrushHandle {
    entry = "CreateSolidBrush " + sim::ColorText(color) + " -> ";
    if (sim::Fails(g, "CreateSolidBrush")) {
      entry += "null";
      return nullptr;
    }
    const auto made =
        static_cast<BrushHandle>(sim::NewObject(g, Kind::kBrush, sim::ColorText(color)));
    entry += sim::NameOf(g, sim::Key(made));
    return made;
  });
}

PenHandle CreatePen(int style, int width, ColorRef color) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> PenHandle {
    entry = "CreatePen" + sim::Numbers({style, width}) + " " + sim::ColorText(color) + " -> ";
    if (sim::Fails(g, "CreatePen")) {
      entry += "null";
      return nullptr;
    }
    const auto made = static_cast<PenHandle>(
        sim::NewObject(g, Kind::kPen, std::to_string(width) + sim::ColorText(color)));
    entry += sim::NameOf(g, sim::Key(made));
    return made;
  });
}

FontHandle CreateFontW(int height, int width, int escapement, int orientation, int weight,
                       std::uint32_t italic, std::uint32_t underline, std::uint32_t strikeOut,
                       std::uint32_t charSet, std::uint32_t outPrecision,
                       std::uint32_t clipPrecision, std::uint32_t quality,
                       std::uint32_t pitchAndFamily, std::u16string_view face) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> FontHandle {
    const std::string faceName = WideToUtf8(face);
    entry = "CreateFontW" +
            sim::Numbers({height, width, escapement, orientation, weight, static_cast<int>(italic),
                          static_cast<int>(underline), static_cast<int>(strikeOut),
                          static_cast<int>(charSet), static_cast<int>(outPrecision),
                          static_cast<int>(clipPrecision), static_cast<int>(quality),
                          static_cast<int>(pitchAndFamily)}) +
            " " + faceName + " -> ";
    if (sim::Fails(g, "CreateFontW")) {
      entry += "null";
      return nullptr;
    }
    const auto made = static_cast<FontHandle>(sim::NewObject(
        g, Kind::kFont, faceName + "/" + std::to_string(height) + "/" + std::to_string(weight)));
    g.objects.at(sim::Key(made)).fontHeight = height;
    entry += sim::NameOf(g, sim::Key(made));
    return made;
  });
}

GdiObjectHandle SelectObject(DcHandle dc, GdiObjectHandle object) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> GdiObjectHandle {
    Dc* into = sim::FindDc(g, dc, "SelectObject");
    const sim::Object* selecting = sim::FindObject(g, object, "SelectObject");
    if (!into || !selecting) return nullptr;
    entry = "SelectObject " + into->name + " " + selecting->name + " -> ";
    const std::size_t kind = static_cast<std::size_t>(selecting->kind);
    // A bitmap goes into one memory DC at a time, as in Windows.
    const bool bitmapRefused =
        selecting->kind == Kind::kBitmap && !selecting->stock &&
        (into->origin != DcOrigin::kMemory || (!sim::SelectedInto(g, sim::Key(object)).empty() &&
                                               into->state.selected[kind] != sim::Key(object)));
    if (bitmapRefused || (!selecting->stock && sim::Fails(g, "SelectObject"))) {
      entry += "null";
      return nullptr;
    }
    const std::uintptr_t previous = std::exchange(into->state.selected[kind], sim::Key(object));
    entry += sim::NameOf(g, previous);
    return reinterpret_cast<GdiObjectHandle>(previous);
  });
}

bool DeleteObject(GdiObjectHandle object) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    sim::Object* found = sim::FindObject(g, object, "DeleteObject");
    if (!found) return false;
    entry = "DeleteObject " + found->name;
    if (found->stock) return true;  // stock objects outlive every DeleteObject
    if (sim::Fails(g, "DeleteObject")) return false;
    const std::string holder = sim::SelectedInto(g, sim::Key(object));
    if (!holder.empty()) {
      sim::Misuse(g, "DeleteObject " + found->name + " while selected into " + holder);
    }
    found->deleted = true;
    return true;
  });
}

int FillRect(DcHandle dc, const Rect& rect, BrushHandle brush) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    const Dc* into = sim::FindDc(g, dc, "FillRect");
    const sim::Object* with = sim::FindObject(g, brush, "FillRect");
    if (!into || !with) return 0;
    entry = "FillRect " + into->name +
            sim::Numbers({rect.left, rect.top, rect.right, rect.bottom}) +
            " brush=" + with->description + sim::Clip(*into);
    return sim::Fails(g, "FillRect") ? 0 : 1;
  });
}

namespace {

bool Shape(const char* function, DcHandle dc, std::initializer_list<int> numbers) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    const Dc* into = sim::FindDc(g, dc, function);
    if (!into) return false;
    entry = std::string(function) + " " + into->name + sim::Numbers(numbers) +
            " brush=" + sim::Selected(g, *into, Kind::kBrush) +
            " pen=" + sim::Selected(g, *into, Kind::kPen) + sim::Clip(*into);
    return !sim::Fails(g, function);
  });
}

}  // namespace

bool Rectangle(DcHandle dc, int left, int top, int right, int bottom) {
  return Shape("Rectangle", dc, {left, top, right, bottom});
}

bool RoundRect(DcHandle dc, int left, int top, int right, int bottom, int cornerWidth,
               int cornerHeight) {
  return Shape("RoundRect", dc, {left, top, right, bottom, cornerWidth, cornerHeight});
}

bool Ellipse(DcHandle dc, int left, int top, int right, int bottom) {
  return Shape("Ellipse", dc, {left, top, right, bottom});
}

bool MoveToEx(DcHandle dc, int x, int y, Point* previous) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* into = sim::FindDc(g, dc, "MoveToEx");
    if (!into) return false;
    entry = "MoveToEx " + into->name + sim::Numbers({x, y});
    if (sim::Fails(g, "MoveToEx")) return false;
    if (previous) *previous = into->state.position;
    into->state.position = {x, y};
    return true;
  });
}

bool LineTo(DcHandle dc, int x, int y) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* into = sim::FindDc(g, dc, "LineTo");
    if (!into) return false;
    entry = "LineTo " + into->name + sim::Numbers({x, y}) +
            " pen=" + sim::Selected(g, *into, Kind::kPen) + sim::Clip(*into);
    if (sim::Fails(g, "LineTo")) return false;
    into->state.position = {x, y};
    return true;
  });
}

ColorRef SetTextColor(DcHandle dc, ColorRef color) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> ColorRef {
    Dc* into = sim::FindDc(g, dc, "SetTextColor");
    // CLR_INVALID, as Windows answers a failure.
    constexpr ColorRef kInvalid = 0xFFFFFFFF;
    if (!into) return kInvalid;
    entry = "SetTextColor " + into->name + " " + sim::ColorText(color);
    if (sim::Fails(g, "SetTextColor")) return kInvalid;
    return std::exchange(into->state.textColor, color);
  });
}

int SetBkMode(DcHandle dc, int mode) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* into = sim::FindDc(g, dc, "SetBkMode");
    if (!into) return 0;
    entry = "SetBkMode " + into->name + " " + std::to_string(mode);
    if ((mode != kTransparent && mode != kOpaque) || sim::Fails(g, "SetBkMode")) return 0;
    return std::exchange(into->state.bkMode, mode);
  });
}

int DrawTextW(DcHandle dc, std::u16string_view text, Rect* rect, std::uint32_t format) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    const Dc* into = sim::FindDc(g, dc, "DrawTextW");
    if (!into) return 0;
    entry = "DrawTextW " + into->name + " " + WideToUtf8(text) +
            sim::Numbers({rect->left, rect->top, rect->right, rect->bottom}) + " " +
            sim::Hex(format) + " font=" + sim::Selected(g, *into, Kind::kFont) +
            " ink=" + sim::ColorText(into->state.textColor) +
            (into->state.bkMode == kTransparent ? " transparent" : " opaque") + sim::Clip(*into);
    if (sim::Fails(g, "DrawTextW")) return 0;
    // The height of one line; the simulation does not measure glyphs.
    return 16;
  });
}

int SaveDC(DcHandle dc) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* into = sim::FindDc(g, dc, "SaveDC");
    if (!into) return 0;
    entry = "SaveDC " + into->name + " -> ";
    if (sim::Fails(g, "SaveDC")) {
      entry += "0";
      return 0;
    }
    into->saved.push_back(into->state);
    const int level = static_cast<int>(into->saved.size());
    entry += std::to_string(level);
    return level;
  });
}

bool RestoreDC(DcHandle dc, int savedDc) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* into = sim::FindDc(g, dc, "RestoreDC");
    if (!into) return false;
    entry = "RestoreDC " + into->name + " " + std::to_string(savedDc);
    const int depth = static_cast<int>(into->saved.size());
    // Negative counts back from the latest save; positive names a level.
    const int level = savedDc < 0 ? depth + savedDc + 1 : savedDc;
    if (savedDc == 0 || level < 1 || level > depth) {
      sim::Misuse(g, "RestoreDC " + into->name + " " + std::to_string(savedDc) + " with " +
                         std::to_string(depth) + " saved state(s)");
      return false;
    }
    if (sim::Fails(g, "RestoreDC")) return false;
    into->state = into->saved[static_cast<std::size_t>(level - 1)];
    into->saved.resize(static_cast<std::size_t>(level - 1));
    return true;
  });
}

int IntersectClipRect(DcHandle dc, int left, int top, int right, int bottom) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    Dc* into = sim::FindDc(g, dc, "IntersectClipRect");
    if (!into) return kRegionError;
    entry = "IntersectClipRect " + into->name + sim::Numbers({left, top, right, bottom});
    if (sim::Fails(g, "IntersectClipRect")) return kRegionError;
    Rect clip{left, top, right, bottom};
    if (into->state.clip) {
      const Rect& old = *into->state.clip;
      clip = {std::max(old.left, left), std::max(old.top, top), std::min(old.right, right),
              std::min(old.bottom, bottom)};
    }
    if (clip.right <= clip.left || clip.bottom <= clip.top) clip = {};
    into->state.clip = clip;
    return clip.Width() > 0 ? kSimpleRegion : kNullRegion;
  });
}

GdiObjectHandle GetStockObject(int index) {
  const std::lock_guard guard(sim::G().lock);
  return index == kNullBrush ? reinterpret_cast<GdiObjectHandle>(sim::G().nullBrush) : nullptr;
}

namespace {

RegionHandle NewRegion(const char* function, const std::string& shape) {
  return sim::Locked([&](Gdi& g, std::string& entry) -> RegionHandle {
    entry = std::string(function) + " " + shape + " -> ";
    if (sim::Fails(g, function)) {
      entry += "null";
      return nullptr;
    }
    const auto made = static_cast<RegionHandle>(sim::NewObject(g, Kind::kRegion, shape));
    entry += sim::NameOf(g, sim::Key(made));
    return made;
  });
}

}  // namespace

RegionHandle CreateEllipticRgn(int left, int top, int right, int bottom) {
  return NewRegion("CreateEllipticRgn", "ellipse" + sim::Numbers({left, top, right, bottom}));
}

RegionHandle CreateRoundRectRgn(int left, int top, int right, int bottom, int cornerWidth,
                                int cornerHeight) {
  return NewRegion("CreateRoundRectRgn", "roundrect" + sim::Numbers({left, top, right, bottom,
                                                                     cornerWidth, cornerHeight}));
}

bool FillRgn(DcHandle dc, RegionHandle region, BrushHandle brush) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    const Dc* into = sim::FindDc(g, dc, "FillRgn");
    const sim::Object* shape = sim::FindObject(g, region, "FillRgn");
    const sim::Object* with = sim::FindObject(g, brush, "FillRgn");
    if (!into || !shape || !with) return false;
    entry = "FillRgn " + into->name + " " + shape->description + " brush=" + with->description +
            sim::Clip(*into);
    return !sim::Fails(g, "FillRgn");
  });
}

bool GetTextExtentPoint32W(DcHandle dc, std::u16string_view text, Size* size) {
  return sim::Locked([&](Gdi& g, std::string& entry) {
    const Dc* into = sim::FindDc(g, dc, "GetTextExtentPoint32W");
    if (!into) return false;
    // The simulation does not measure glyphs: every unit is half the font's height wide.
    const int height = std::abs(
        g.objects.at(into->state.selected[static_cast<std::size_t>(Kind::kFont)]).fontHeight);
    const int width = static_cast<int>(text.size()) * std::max(1, height / 2);
    entry = "GetTextExtentPoint32W " + into->name + " " + std::to_string(text.size()) +
            " font=" + sim::Selected(g, *into, Kind::kFont) + " -> " + std::to_string(width);
    if (sim::Fails(g, "GetTextExtentPoint32W")) return false;
    *size = {width, height};
    return true;
  });
}

}  // namespace platform
