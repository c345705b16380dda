#include "sim_window.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include "base/text.h"
#include "sim_platform.h"

namespace {

constexpr unsigned kWmCreate = 1;
constexpr unsigned kWmDestroy = 2;
constexpr unsigned kWmSize = 5;
constexpr unsigned kWmGetMinMaxInfo = 36;
constexpr unsigned kWmNcCreate = 129;
constexpr unsigned kWmNcDestroy = 130;
constexpr unsigned kWmDpiChanged = 736;
constexpr unsigned long kWsVisible = 0x10000000;
constexpr unsigned kSwpNoSize = 1;
constexpr unsigned kSwpNoMove = 2;
constexpr unsigned kMfSeparator = 2048;
constexpr unsigned kNimAdd = 0;
constexpr unsigned kNimModify = 1;
constexpr unsigned kNimDelete = 2;

constexpr std::uintptr_t kWindowBase = 0x10000;
constexpr std::uintptr_t kMenuBase = 0x50000;
constexpr std::uintptr_t kModule = 0x400000;
constexpr std::uintptr_t kIcon = 0x600000;
constexpr std::uintptr_t kCursor = 0x610000;
constexpr std::uintptr_t kUser32 = 0x7ff00000;
constexpr std::uintptr_t kEnableNonClientDpiScaling = 0x7ff01000;

struct ClassRecord {
  host::platform::WindowClass description;
};

struct WindowRecord {
  int id = 0;
  sim::WindowState state;
  host::platform::WindowProcedure procedure = nullptr;
  std::map<int, std::intptr_t> longs;
  std::vector<unsigned> defaultHandled;
};

struct MenuRecord {
  std::vector<sim::MenuItem> items;
};

struct WindowSystem {
  std::map<std::u16string, ClassRecord> classes;
  std::map<platform::NativeHandle, WindowRecord> windows;
  int nextWindowId = 1;
  platform::NativeHandle focus = nullptr;
  platform::NativeHandle foreground = nullptr;
  platform::NativeHandle inNcCreate = nullptr;
  int quitMessages = 0;
  bool iconPresent = true;
  bool createFails = false;
  bool nonClientDpiScalingMissing = false;
  std::map<std::string, int> libraries;

  bool taskbarRunning = true;
  bool trayThrows = false;
  std::vector<std::pair<platform::NativeHandle, unsigned>> trayIcons;
  std::vector<sim::TrayCall> trayCalls;

  std::map<platform::NativeHandle, MenuRecord> menus;
  int nextMenuId = 1;
  host::platform::Point cursor{640, 400};
  int menuChoice = 0;
  std::vector<sim::MenuItem> lastTracked;
};

WindowSystem& W() {
  static WindowSystem system;
  return system;
}

// Message names live for the session, so they outlast every reset.
std::map<std::u16string, unsigned>& RegisteredMessages() {
  static std::map<std::u16string, unsigned> messages;
  return messages;
}

WindowRecord* Find(platform::NativeHandle window) {
  const auto it = W().windows.find(window);
  return it == W().windows.end() ? nullptr : &it->second;
}

std::string Utf8(const std::u16string& text) { return WideToUtf8(text); }

std::string Geometry(int x, int y, int width, int height) {
  return std::to_string(x) + "," + std::to_string(y) + " " + std::to_string(width) + "x" +
         std::to_string(height);
}

std::intptr_t Deliver(platform::NativeHandle window, unsigned message, std::uintptr_t wParam,
                      std::intptr_t lParam) {
  WindowRecord* record = Find(window);
  if (!record) return 0;
  if (record->procedure) return record->procedure(window, message, wParam, lParam);
  return host::platform::DefWindowProcW(window, message, wParam, lParam);
}

std::intptr_t PackSize(int width, int height) {
  return static_cast<std::intptr_t>((static_cast<std::uint32_t>(height) << 16) |
                                    (static_cast<std::uint32_t>(width) & 0xFFFF));
}

host::platform::Rect ClientOf(const sim::WindowState& state) {
  const bool framed = (state.style & sim::kWsCaption) == sim::kWsCaption;
  const int width = std::max(0, state.width - (framed ? sim::kFrameWidth : 0));
  const int height = std::max(0, state.height - (framed ? sim::kFrameHeight : 0));
  return {0, 0, width, height};
}

// Moves and sizes a window; a new size reaches the window as WM_SIZE, as WM_WINDOWPOSCHANGED's
// default handling does.
void Place(platform::NativeHandle window, int x, int y, int width, int height) {
  WindowRecord* record = Find(window);
  if (!record) return;
  const bool resized = record->state.width != width || record->state.height != height;
  record->state.x = x;
  record->state.y = y;
  record->state.width = width;
  record->state.height = height;
  if (resized) {
    const host::platform::Rect client = ClientOf(record->state);
    Deliver(window, kWmSize, 0, PackSize(client.right, client.bottom));
  }
}

void DestroyTree(platform::NativeHandle window) {
  Deliver(window, kWmDestroy, 0, 0);
  std::vector<platform::NativeHandle> children;
  for (const auto& [handle, record] : W().windows) {
    if (record.state.parent == window) children.push_back(handle);
  }
  for (platform::NativeHandle child : children) DestroyTree(child);
  Deliver(window, kWmNcDestroy, 0, 0);
  if (W().focus == window) W().focus = nullptr;
  if (W().foreground == window) W().foreground = nullptr;
  W().windows.erase(window);
}

const char* TrayMessageName(unsigned message) {
  switch (message) {
    case kNimAdd:
      return "NIM_ADD";
    case kNimModify:
      return "NIM_MODIFY";
    case kNimDelete:
      return "NIM_DELETE";
    default:
      return "NIM_?";
  }
}

}  // namespace

namespace sim {

void ResetWindows() { W() = WindowSystem(); }

std::string Label(platform::NativeHandle window) {
  if (!window) return "null";
  if (const WindowRecord* record = Find(window)) return "w" + std::to_string(record->id);
  const auto offset = reinterpret_cast<std::uintptr_t>(window);
  if (offset >= kWindowBase && offset < kMenuBase) {
    return "w" + std::to_string((offset - kWindowBase) / 0x10);
  }
  return "?";
}

bool IsWindow(platform::NativeHandle window) { return Find(window) != nullptr; }

std::optional<WindowState> Window(platform::NativeHandle window) {
  if (const WindowRecord* record = Find(window)) return record->state;
  return std::nullopt;
}

int LiveWindowCount() { return static_cast<int>(W().windows.size()); }
platform::NativeHandle FocusWindow() { return W().focus; }
platform::NativeHandle ForegroundWindow() { return W().foreground; }
bool ClassRegistered(const std::u16string& className) { return W().classes.count(className) != 0; }

std::optional<host::platform::WindowClass> RegisteredClass(const std::u16string& className) {
  const auto it = W().classes.find(className);
  if (it == W().classes.end()) return std::nullopt;
  return it->second.description;
}

std::vector<unsigned> DefaultHandled(platform::NativeHandle window) {
  if (const WindowRecord* record = Find(window)) return record->defaultHandled;
  return {};
}

int QuitMessagesPosted() { return W().quitMessages; }

void SetIconResourcePresent(bool present) { W().iconPresent = present; }
platform::NativeHandle ModuleHandle() { return reinterpret_cast<platform::NativeHandle>(kModule); }
platform::NativeHandle IconHandle() { return reinterpret_cast<platform::NativeHandle>(kIcon); }
platform::NativeHandle ArrowCursorHandle() {
  return reinterpret_cast<platform::NativeHandle>(kCursor);
}

void SetCreateWindowFails(bool fails) { W().createFails = fails; }
void SetNonClientDpiScalingMissing(bool missing) { W().nonClientDpiScalingMissing = missing; }

int LibraryReferences(const std::string& name) {
  const auto it = W().libraries.find(name);
  return it == W().libraries.end() ? 0 : it->second;
}

std::intptr_t SendMessage(platform::NativeHandle window, unsigned message, std::uintptr_t wParam,
                          std::intptr_t lParam) {
  return Deliver(window, message, wParam, lParam);
}

MinMaxInfo SendGetMinMaxInfo(platform::NativeHandle window) {
  MinMaxInfo info;
  Deliver(window, kWmGetMinMaxInfo, 0, reinterpret_cast<std::intptr_t>(&info));
  return info;
}

std::intptr_t SendDpiChanged(platform::NativeHandle window, unsigned dpi,
                             const host::platform::Rect& suggested) {
  host::platform::Rect rect = suggested;
  const std::uintptr_t dpis = (static_cast<std::uintptr_t>(dpi) << 16) | dpi;
  return Deliver(window, kWmDpiChanged, dpis, reinterpret_cast<std::intptr_t>(&rect));
}

platform::NativeHandle CreatePlainWindow(const std::u16string& className, int width, int height) {
  WindowSystem& w = W();
  const int id = w.nextWindowId++;
  const auto handle = reinterpret_cast<platform::NativeHandle>(kWindowBase + id * 0x10);
  WindowRecord record;
  record.id = id;
  record.state.className = className;
  record.state.width = width;
  record.state.height = height;
  record.state.visible = true;
  w.windows.emplace(handle, std::move(record));
  Record("CreatePlainWindow " + Label(handle) + " " + Utf8(className));
  return handle;
}

unsigned RegisteredMessage(const std::u16string& name) {
  auto& messages = RegisteredMessages();
  const auto it = messages.find(name);
  if (it != messages.end()) return it->second;
  const unsigned number = 0xC000 + static_cast<unsigned>(messages.size()) * 7 + 0x2F;
  messages.emplace(name, number);
  return number;
}

std::vector<TrayCall> TrayCalls() { return W().trayCalls; }
void SetTaskbarRunning(bool running) { W().taskbarRunning = running; }
void RestartTaskbar() { W().trayIcons.clear(); }

bool TrayIconShown(platform::NativeHandle window, unsigned id) {
  const auto& icons = W().trayIcons;
  return std::find(icons.begin(), icons.end(), std::make_pair(window, id)) != icons.end();
}

void SetTrayThrows(bool throws) { W().trayThrows = throws; }

void SetCursorPos(host::platform::Point point) { W().cursor = point; }
void SetMenuChoice(int command) { W().menuChoice = command; }
std::vector<MenuItem> LastTrackedMenu() { return W().lastTracked; }
int OpenMenuCount() { return static_cast<int>(W().menus.size()); }

}  // namespace sim

namespace host::platform {

NativeHandle GetModuleHandleW() { return sim::ModuleHandle(); }

NativeHandle LoadIconW(NativeHandle instance, int resource) {
  if (instance != sim::ModuleHandle() || resource != 101 || !W().iconPresent) return nullptr;
  return sim::IconHandle();
}

NativeHandle LoadArrowCursor() { return sim::ArrowCursorHandle(); }

std::uint16_t RegisterClassW(const WindowClass& windowClass) {
  sim::Record("RegisterClassW " + Utf8(windowClass.className));
  auto [it, added] = W().classes.emplace(windowClass.className, ClassRecord{windowClass});
  if (!added) return 0;  // ERROR_CLASS_ALREADY_EXISTS
  return static_cast<std::uint16_t>(0xC100 + W().classes.size());
}

bool UnregisterClassW(const std::u16string& className, NativeHandle instance) {
  sim::Record("UnregisterClassW " + Utf8(className));
  const auto it = W().classes.find(className);
  if (it == W().classes.end() || it->second.description.instance != instance) return false;
  for (const auto& [handle, record] : W().windows) {
    if (record.state.className == className) return false;  // ERROR_CLASS_HAS_WINDOWS
  }
  W().classes.erase(it);
  return true;
}

NativeHandle CreateWindowExW(unsigned long exStyle, const std::u16string& className,
                             const std::u16string& title, unsigned long style, int x, int y,
                             int width, int height, NativeHandle parent, NativeHandle menu,
                             NativeHandle instance, void* createParameter) {
  static_cast<void>(exStyle);
  static_cast<void>(menu);
  static_cast<void>(instance);
  sim::Record("CreateWindowExW " + Utf8(className) + " \"" + Utf8(title) + "\" " +
              std::to_string(style) + " " + Geometry(x, y, width, height));
  WindowSystem& w = W();
  const auto found = w.classes.find(className);
  if (w.createFails || found == w.classes.end()) return nullptr;

  const int id = w.nextWindowId++;
  const auto handle = reinterpret_cast<NativeHandle>(kWindowBase + id * 0x10);
  WindowRecord record;
  record.id = id;
  record.procedure = found->second.description.procedure;
  record.state.className = className;
  record.state.title = title;
  record.state.style = style;
  record.state.x = x;
  record.state.y = y;
  record.state.width = width;
  record.state.height = height;
  record.state.parent = parent;
  w.windows.emplace(handle, std::move(record));

  sim::MinMaxInfo minMax;
  Deliver(handle, kWmGetMinMaxInfo, 0, reinterpret_cast<std::intptr_t>(&minMax));

  sim::CreateStruct create{createParameter};
  W().inNcCreate = handle;
  const std::intptr_t accepted =
      Deliver(handle, kWmNcCreate, 0, reinterpret_cast<std::intptr_t>(&create));
  W().inNcCreate = nullptr;
  if (!accepted) {
    DestroyTree(handle);
    return nullptr;
  }
  if (Deliver(handle, kWmCreate, 0, reinterpret_cast<std::intptr_t>(&create)) == -1) {
    DestroyTree(handle);
    return nullptr;
  }
  if (WindowRecord* created = Find(handle)) {
    const host::platform::Rect client = ClientOf(created->state);
    Deliver(handle, kWmSize, 0, PackSize(client.right, client.bottom));
  }
  if (WindowRecord* created = Find(handle)) created->state.visible = (style & kWsVisible) != 0;
  return Find(handle) ? handle : nullptr;
}

bool DestroyWindow(NativeHandle window) {
  sim::Record("DestroyWindow " + sim::Label(window));
  if (!Find(window)) return false;
  DestroyTree(window);
  return true;
}

std::intptr_t DefWindowProcW(NativeHandle window, unsigned message, std::uintptr_t, std::intptr_t) {
  if (WindowRecord* record = Find(window)) record->defaultHandled.push_back(message);
  return message == kWmNcCreate ? 1 : 0;
}

void PostQuitMessage(int exitCode) {
  sim::Record("PostQuitMessage " + std::to_string(exitCode));
  ++W().quitMessages;
}

std::intptr_t SetWindowLongPtrW(NativeHandle window, int index, std::intptr_t value) {
  WindowRecord* record = Find(window);
  if (!record) return 0;
  const std::intptr_t previous = record->longs[index];
  record->longs[index] = value;
  return previous;
}

std::intptr_t GetWindowLongPtrW(NativeHandle window, int index) {
  WindowRecord* record = Find(window);
  if (!record) return 0;
  const auto it = record->longs.find(index);
  return it == record->longs.end() ? 0 : it->second;
}

NativeHandle LoadLibraryA(const char* name) {
  sim::Record(std::string("LoadLibraryA ") + name);
  if (std::string(name) != "User32.dll") return nullptr;
  ++W().libraries[name];
  return reinterpret_cast<NativeHandle>(kUser32);
}

void* GetProcAddress(NativeHandle module, const char* name) {
  if (module != reinterpret_cast<NativeHandle>(kUser32)) return nullptr;
  if (std::string(name) != "EnableNonClientDpiScaling" || W().nonClientDpiScalingMissing) {
    return nullptr;
  }
  return reinterpret_cast<void*>(kEnableNonClientDpiScaling);
}

bool FreeLibrary(NativeHandle module) {
  sim::Record("FreeLibrary");
  if (module != reinterpret_cast<NativeHandle>(kUser32) || W().libraries["User32.dll"] == 0) {
    return false;
  }
  --W().libraries["User32.dll"];
  return true;
}

bool CallEnableNonClientDpiScaling(void* procedure, NativeHandle window) {
  if (procedure != reinterpret_cast<void*>(kEnableNonClientDpiScaling)) {
    throw std::logic_error("called a function GetProcAddress did not give");
  }
  sim::Record("EnableNonClientDpiScaling " + sim::Label(window));
  // Windows accepts it only while the window handles WM_NCCREATE.
  WindowRecord* record = Find(window);
  if (!record || W().inNcCreate != window) return false;
  record->state.nonClientDpiScaling = true;
  return true;
}

void* CreateParameterOf(std::intptr_t lParam) {
  return reinterpret_cast<const sim::CreateStruct*>(lParam)->createParameter;
}

void SetMinTrackSize(std::intptr_t lParam, int width, int height) {
  reinterpret_cast<sim::MinMaxInfo*>(lParam)->minTrackSize = {width, height};
}

Rect SuggestedRectOf(std::intptr_t lParam) { return *reinterpret_cast<const Rect*>(lParam); }

Rect GetClientRect(NativeHandle window) {
  if (const WindowRecord* record = Find(window)) return ClientOf(record->state);
  return {};
}

bool MoveWindow(NativeHandle window, int x, int y, int width, int height, bool repaint) {
  sim::Record("MoveWindow " + sim::Label(window) + " " + Geometry(x, y, width, height) +
              (repaint ? " repaint" : ""));
  if (!Find(window)) return false;
  Place(window, x, y, width, height);
  return true;
}

NativeHandle SetFocus(NativeHandle window) {
  sim::Record("SetFocus " + sim::Label(window));
  if (window && !Find(window)) return nullptr;
  return std::exchange(W().focus, window);
}

NativeHandle SetParent(NativeHandle child, NativeHandle parent) {
  sim::Record("SetParent " + sim::Label(child) + " " + sim::Label(parent));
  WindowRecord* record = Find(child);
  if (!record || (parent && !Find(parent))) return nullptr;
  return std::exchange(record->state.parent, parent);
}

bool SetWindowPos(NativeHandle window, NativeHandle insertAfter, int x, int y, int width,
                  int height, unsigned flags) {
  sim::Record("SetWindowPos " + sim::Label(window) + " " + sim::Label(insertAfter) + " " +
              Geometry(x, y, width, height) + " " + std::to_string(flags));
  const WindowRecord* record = Find(window);
  if (!record) return false;
  const sim::WindowState& state = record->state;
  Place(window, (flags & kSwpNoMove) ? state.x : x, (flags & kSwpNoMove) ? state.y : y,
        (flags & kSwpNoSize) ? state.width : width, (flags & kSwpNoSize) ? state.height : height);
  return true;
}

bool ShowWindow(NativeHandle window, int command) {
  sim::Record("ShowWindow " + sim::Label(window) + " " + std::to_string(command));
  WindowRecord* record = Find(window);
  if (!record) return false;
  const bool wasVisible = record->state.visible;
  switch (command) {
    case 0:  // SW_HIDE
      record->state.visible = false;
      break;
    case 2:  // SW_SHOWMINIMIZED
    case 6:  // SW_MINIMIZE
    case 7:  // SW_SHOWMINNOACTIVE
      record->state.visible = true;
      record->state.iconic = true;
      break;
    case 1:  // SW_SHOWNORMAL
    case 9:  // SW_RESTORE
      record->state.visible = true;
      record->state.iconic = false;
      break;
    default:  // SW_SHOW and the rest keep the minimised state
      record->state.visible = true;
      break;
  }
  return wasVisible;
}

bool IsIconic(NativeHandle window) {
  const WindowRecord* record = Find(window);
  return record && record->state.iconic;
}

bool SetForegroundWindow(NativeHandle window) {
  sim::Record("SetForegroundWindow " + sim::Label(window));
  if (!Find(window)) return false;
  W().foreground = window;
  return true;
}

bool BringWindowToTop(NativeHandle window) {
  sim::Record("BringWindowToTop " + sim::Label(window));
  return Find(window) != nullptr;
}

unsigned RegisterWindowMessageW(const std::u16string& name) {
  sim::Record("RegisterWindowMessageW " + Utf8(name));
  return sim::RegisteredMessage(name);
}

bool Shell_NotifyIconW(unsigned message, const NotifyIconData& data) {
  sim::Record(std::string("Shell_NotifyIconW ") + TrayMessageName(message));
  if (W().trayThrows) throw std::runtime_error("shell tray failed");
  auto& icons = W().trayIcons;
  const auto key = std::make_pair(data.window, data.id);
  const auto shown = std::find(icons.begin(), icons.end(), key);
  bool succeeded = false;
  if (message == kNimAdd) {
    succeeded = W().taskbarRunning && shown == icons.end();
    if (succeeded) icons.push_back(key);
  } else if (message == kNimModify) {
    succeeded = shown != icons.end();
  } else if (message == kNimDelete) {
    succeeded = shown != icons.end();
    if (succeeded) icons.erase(shown);
  }
  W().trayCalls.push_back({message, data, succeeded});
  return succeeded;
}

Point GetCursorPos() { return W().cursor; }

NativeHandle CreatePopupMenu() {
  const auto menu = reinterpret_cast<NativeHandle>(kMenuBase + W().nextMenuId++ * 0x10);
  W().menus.emplace(menu, MenuRecord{});
  sim::Record("CreatePopupMenu");
  return menu;
}

bool AppendMenuW(NativeHandle menu, unsigned flags, std::uintptr_t id, const std::u16string& text) {
  const auto it = W().menus.find(menu);
  if (it == W().menus.end()) return false;
  const bool separator = (flags & kMfSeparator) != 0;
  sim::Record("AppendMenuW " + std::to_string(flags) + " " + std::to_string(id) +
              (separator ? "" : " " + Utf8(text)));
  it->second.items.push_back({flags, id, separator ? std::u16string() : text});
  return true;
}

int TrackPopupMenu(NativeHandle menu, unsigned flags, int x, int y, NativeHandle owner) {
  sim::Record("TrackPopupMenu " + std::to_string(flags) + " " + std::to_string(x) + "," +
              std::to_string(y) + " " + sim::Label(owner));
  const auto it = W().menus.find(menu);
  if (it == W().menus.end() || !Find(owner)) return 0;
  W().lastTracked = it->second.items;
  for (const sim::MenuItem& item : it->second.items) {
    if (!(item.flags & kMfSeparator) && static_cast<int>(item.id) == W().menuChoice) {
      return W().menuChoice;
    }
  }
  return 0;
}

bool DestroyMenu(NativeHandle menu) {
  sim::Record("DestroyMenu");
  return W().menus.erase(menu) != 0;
}

void ExitProcess(unsigned exitCode) {
  sim::Record("ExitProcess " + std::to_string(exitCode));
  throw sim::ProcessExit{exitCode};
}

}  // namespace host::platform
