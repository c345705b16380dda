// A simulated window manager, shell tray and menu manager for the host build. Windows run their
// class procedure for every message, in the order Windows sends them: CreateWindowExW sends
// WM_GETMINMAXINFO before WM_NCCREATE, then WM_CREATE and WM_SIZE; DestroyWindow sends
// WM_DESTROY to the window before its children, then WM_NCDESTROY. Calls that matter for order go
// to sim::Journal() with windows named "w1", "w2", ... in creation order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/tray_platform.h"
#include "host/window_platform.h"

namespace sim {

// Forgets windows, classes, menus and tray icons. Registered message names stay, as they do for
// a whole session on Windows.
void ResetWindows();

// What WM_NCCREATE's and WM_GETMINMAXINFO's lParam point at in the simulation.
struct CreateStruct {
  void* createParameter = nullptr;
};
struct MinMaxInfo {
  host::platform::Point minTrackSize{112, 27};
  host::platform::Point maxTrackSize{1944, 1104};
};

// Frame of a window with a caption: the client area is this much smaller than the window.
constexpr int kFrameWidth = 16;
constexpr int kFrameHeight = 39;
constexpr unsigned long kWsCaption = 0xC00000;

struct WindowState {
  std::u16string className;
  std::u16string title;
  unsigned long style = 0;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  platform::NativeHandle parent = nullptr;
  bool visible = false;
  bool iconic = false;
  bool nonClientDpiScaling = false;
};

std::string Label(platform::NativeHandle window);  // "w1", ...; "null" for none
bool IsWindow(platform::NativeHandle window);
std::optional<WindowState> Window(platform::NativeHandle window);
int LiveWindowCount();
platform::NativeHandle FocusWindow();
platform::NativeHandle ForegroundWindow();
bool ClassRegistered(const std::u16string& className);
std::optional<host::platform::WindowClass> RegisteredClass(const std::u16string& className);
// The messages a window left to DefWindowProcW, in order.
std::vector<unsigned> DefaultHandled(platform::NativeHandle window);
int QuitMessagesPosted();

// The module's icon resource 101 (missing makes LoadIconW fail).
void SetIconResourcePresent(bool present);
platform::NativeHandle ModuleHandle();
platform::NativeHandle IconHandle();
platform::NativeHandle ArrowCursorHandle();

void SetCreateWindowFails(bool fails);
// User32.dll without EnableNonClientDpiScaling, as before Windows 10 1607.
void SetNonClientDpiScalingMissing(bool missing);
int LibraryReferences(const std::string& name);

// Sends a message through the window's procedure, as SendMessageW would.
std::intptr_t SendMessage(platform::NativeHandle window, unsigned message,
                          std::uintptr_t wParam = 0, std::intptr_t lParam = 0);
// WM_GETMINMAXINFO with a default-filled record; the record after the call.
MinMaxInfo SendGetMinMaxInfo(platform::NativeHandle window);
// WM_DPICHANGED with the suggested rectangle.
std::intptr_t SendDpiChanged(platform::NativeHandle window, unsigned dpi,
                             const host::platform::Rect& suggested);

// A window of no registered class, such as the engine's view: DefWindowProcW handles it all.
platform::NativeHandle CreatePlainWindow(const std::u16string& className, int width, int height);

// The number the session gives this message name, as another process would see it.
unsigned RegisteredMessage(const std::u16string& name);

// ---- Tray ----
struct TrayCall {
  unsigned message = 0;  // NIM_ADD 0, NIM_MODIFY 1, NIM_DELETE 2
  host::platform::NotifyIconData data;
  bool succeeded = false;
};
std::vector<TrayCall> TrayCalls();
// Without a taskbar every NIM_ADD fails; a running one refuses NIM_ADD of an icon it shows and
// NIM_MODIFY or NIM_DELETE of one it doesn't.
void SetTaskbarRunning(bool running);
// The taskbar restarts: every icon is gone.
void RestartTaskbar();
bool TrayIconShown(platform::NativeHandle window, unsigned id);
// Shell_NotifyIconW throws, as an unexpected failure inside a module would.
void SetTrayThrows(bool throws);

// ---- Menus ----
struct MenuItem {
  unsigned flags = 0;
  std::uintptr_t id = 0;
  std::u16string text;
};
void SetCursorPos(host::platform::Point point);
// The command TrackPopupMenu answers; 0 (the default) is a menu dismissed without a choice.
void SetMenuChoice(int command);
// The items of the menu that TrackPopupMenu showed last.
std::vector<MenuItem> LastTrackedMenu();
int OpenMenuCount();

// What ExitProcess throws here, so that a test sees the exit and nothing after it.
struct ProcessExit {
  unsigned code = 0;
};

}  // namespace sim
