// Windows, messages and hooks: window classes and windows, their facts and placement, message
// queues, window events, timers, input and the foreground, menus, monitors and DPI, the session's
// lock and power calls. Names and values are Win32's; the Windows build implements them in
// win32/user.cpp, the host build with one simulated desktop.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "base/geometry.h"
#include "platform/handles.h"

namespace platform {

// ---- Messages ----
inline constexpr unsigned kWmCreate = 0x0001;
inline constexpr unsigned kWmDestroy = 0x0002;
inline constexpr unsigned kWmSize = 0x0005;
inline constexpr unsigned kWmActivate = 0x0006;
inline constexpr unsigned kWmPaint = 0x000F;
inline constexpr unsigned kWmClose = 0x0010;
inline constexpr unsigned kWmQuit = 0x0012;
inline constexpr unsigned kWmEraseBkgnd = 0x0014;
inline constexpr unsigned kWmFontChange = 0x001D;
inline constexpr unsigned kWmSetCursor = 0x0020;
inline constexpr unsigned kWmGetMinMaxInfo = 0x0024;
inline constexpr unsigned kWmNcCreate = 0x0081;
inline constexpr unsigned kWmNcDestroy = 0x0082;
inline constexpr unsigned kWmNcLButtonDblClk = 0x00A3;
inline constexpr unsigned kWmKeyDown = 0x0100;
inline constexpr unsigned kWmChar = 0x0102;
inline constexpr unsigned kWmSysCommand = 0x0112;
inline constexpr unsigned kWmTimer = 0x0113;
inline constexpr unsigned kWmLButtonDown = 0x0201;
inline constexpr unsigned kWmLButtonDblClk = 0x0203;
inline constexpr unsigned kWmRButtonUp = 0x0205;
inline constexpr unsigned kWmDeviceChange = 0x0219;
inline constexpr unsigned kWmDpiChanged = 0x02E0;
inline constexpr unsigned kWmUser = 0x0400;

inline constexpr std::uintptr_t kScMaximize = 0xF030;
inline constexpr std::uintptr_t kScClose = 0xF060;
inline constexpr std::uintptr_t kScMonitorPower = 0xF170;
inline constexpr std::uintptr_t kHtCaption = 2;
inline constexpr int kHtClient = 1;

inline constexpr unsigned kVkBack = 0x08;
inline constexpr unsigned kVkReturn = 0x0D;
inline constexpr unsigned kVkMenu = 0x12;
inline constexpr std::uint32_t kKeyEventFKeyUp = 0x0002;

// ---- Styles and window fields ----
inline constexpr unsigned long kWsOverlappedWindow = 0x00CF0000;
inline constexpr unsigned long kWsCaption = 0x00C00000;
inline constexpr unsigned long kWsVisible = 0x10000000;
inline constexpr unsigned long kWsChild = 0x40000000;
inline constexpr unsigned long kWsPopup = 0x80000000;
inline constexpr unsigned long kWsExTransparent = 0x00000020;
inline constexpr unsigned long kWsExTopmost = 0x00000008;
inline constexpr unsigned long kWsExToolWindow = 0x00000080;
inline constexpr unsigned long kWsExLayered = 0x00080000;
inline constexpr unsigned long kWsExNoActivate = 0x08000000;
inline constexpr unsigned kCsVRedraw = 0x0001;
inline constexpr unsigned kCsHRedraw = 0x0002;

inline constexpr int kGwlStyle = -16;
inline constexpr int kGwlExStyle = -20;
inline constexpr int kGwlpUserData = -21;
inline constexpr unsigned kGwOwner = 4;
inline constexpr unsigned kGaRoot = 2;

inline constexpr std::uint32_t kLwaColorKey = 1;
inline constexpr std::uint32_t kLwaAlpha = 2;
inline constexpr std::uint32_t kDwmwaExtendedFrameBounds = 9;
inline constexpr std::uint32_t kDwmwaCloaked = 14;

// ---- Showing and placing ----
inline constexpr int kSwHide = 0;
inline constexpr int kSwShow = 5;
inline constexpr int kSwShowNa = 8;
inline constexpr int kSwRestore = 9;

inline constexpr unsigned kSwpNoSize = 0x0001;
inline constexpr unsigned kSwpNoMove = 0x0002;
inline constexpr unsigned kSwpNoZOrder = 0x0004;
inline constexpr unsigned kSwpNoActivate = 0x0010;
inline constexpr unsigned kSwpShowWindow = 0x0040;
inline constexpr unsigned kSwpHideWindow = 0x0080;

// The pseudo windows of SetWindowPos and SendMessageTimeoutW: HWND_TOP, HWND_TOPMOST,
// HWND_NOTOPMOST and HWND_BROADCAST are numbers that Win32 takes as window handles.
WindowHandle HwndTop();
WindowHandle HwndTopmost();
WindowHandle HwndNoTopmost();
WindowHandle HwndBroadcast();

// ---- Window classes and windows ----
// The window procedure in the shape of WNDPROC: on x64 the two are the same function type.
using WindowProcedure = std::intptr_t (*)(WindowHandle window, unsigned message,
                                          std::uintptr_t wParam, std::intptr_t lParam);

// The fields of WNDCLASSW that this program sets; the rest stay zero.
struct WindowClass {
  unsigned style = 0;
  WindowProcedure procedure = nullptr;
  ModuleHandle instance = nullptr;
  IconHandle icon = nullptr;
  CursorHandle cursor = nullptr;
  std::u16string className;
};
// The atom, 0 on failure (also for a class that is registered already).
std::uint16_t RegisterClassW(const WindowClass& windowClass);
bool UnregisterClassW(std::u16string_view className, ModuleHandle instance);

WindowHandle CreateWindowExW(unsigned long exStyle, std::u16string_view className,
                             std::u16string_view title, unsigned long style, int x, int y,
                             int width, int height, WindowHandle parent, MenuHandle menu,
                             ModuleHandle instance, void* createParameter);
bool DestroyWindow(WindowHandle window);
std::intptr_t DefWindowProcW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                             std::intptr_t lParam);

std::intptr_t SetWindowLongPtrW(WindowHandle window, int index, std::intptr_t value);
// 0 for a window that is gone.
std::intptr_t GetWindowLongPtrW(WindowHandle window, int index);

// Messages whose lParam points at a structure: lpCreateParams of WM_NCCREATE's CREATESTRUCTW,
// ptMinTrackSize of WM_GETMINMAXINFO's MINMAXINFO, the suggested RECT of WM_DPICHANGED.
void* CreateParameterOf(std::intptr_t lParam);
void SetMinTrackSize(std::intptr_t lParam, int width, int height);
Rect SuggestedRectOf(std::intptr_t lParam);

// ---- Window facts ----
bool IsWindow(WindowHandle window);
bool IsWindowVisible(WindowHandle window);
bool IsIconic(WindowHandle window);
// Either name may be null, as in Win32.
WindowHandle FindWindowW(const char16_t* className, const char16_t* windowName);
// EnumWindows over the top-level windows; the callback returns false to stop. False when the
// enumeration was stopped or failed.
bool EnumWindows(const std::function<bool(WindowHandle)>& callback);
WindowHandle GetWindow(WindowHandle window, unsigned command);
WindowHandle GetAncestor(WindowHandle window, unsigned flags);
// The owner's thread id; its process id goes to *processId when not null (0 for a window that
// is gone).
std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId);
// Copies at most maxCount - 1 units and a terminator; the number of units copied.
int GetClassNameW(WindowHandle window, char16_t* buffer, int maxCount);
int GetWindowTextW(WindowHandle window, char16_t* buffer, int maxCount);
int GetWindowTextLengthW(WindowHandle window);
bool GetWindowRect(WindowHandle window, Rect* rect);
bool GetClientRect(WindowHandle window, Rect* rect);
bool ScreenToClient(WindowHandle window, Point* point);
bool GetLayeredWindowAttributes(WindowHandle window, std::uint32_t* colorKey, std::uint8_t* alpha,
                                std::uint32_t* flags);
// An HRESULT: negative on failure, and then `value` is untouched. dwmapi is loaded on first
// use; a system without it answers E_NOTIMPL.
std::int32_t DwmGetWindowAttribute(WindowHandle window, std::uint32_t attribute, void* value,
                                   std::uint32_t size);

// ---- Placement and painting requests ----
bool ShowWindow(WindowHandle window, int command);
bool ShowWindowAsync(WindowHandle window, int command);
bool UpdateWindow(WindowHandle window);
bool SetWindowPos(WindowHandle window, WindowHandle insertAfter, int x, int y, int width,
                  int height, unsigned flags);
bool MoveWindow(WindowHandle window, int x, int y, int width, int height, bool repaint);
WindowHandle SetParent(WindowHandle child, WindowHandle parent);
WindowHandle SetFocus(WindowHandle window);
// A null rectangle is the whole client area.
bool InvalidateRect(WindowHandle window, const Rect* rect, bool erase);

// ---- Message queues ----
struct Message {
  WindowHandle window = nullptr;
  unsigned message = 0;
  std::uintptr_t wParam = 0;
  std::intptr_t lParam = 0;
  std::uint32_t time = 0;
  Point point;
};
inline constexpr unsigned kPmNoRemove = 0;
inline constexpr unsigned kPmRemove = 1;
inline constexpr unsigned kSmtoAbortIfHung = 2;

bool PostMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                  std::intptr_t lParam);
std::intptr_t SendMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                           std::intptr_t lParam);
// The call's own result (non-zero for success), not the message's.
bool SendMessageTimeoutW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                         std::intptr_t lParam, unsigned flags, unsigned timeoutMilliseconds);
bool PostThreadMessageW(std::uint32_t threadId, unsigned message, std::uintptr_t wParam,
                        std::intptr_t lParam);
bool PeekMessageW(Message* message, WindowHandle window, unsigned filterMin, unsigned filterMax,
                  unsigned removeFlags);
// Above 0 for a message, 0 for WM_QUIT, -1 on failure. Hook events and sent messages are
// delivered inside it.
int GetMessageW(Message* message, WindowHandle window, unsigned filterMin, unsigned filterMax);
bool TranslateMessage(const Message& message);
std::intptr_t DispatchMessageW(const Message& message);
void PostQuitMessage(int exitCode);
// 0 on failure; the same text gives the same number for the whole session.
unsigned RegisterWindowMessageW(std::u16string_view name);

// ---- Timers ----
std::uintptr_t SetTimer(WindowHandle window, std::uintptr_t id, unsigned elapseMilliseconds);
bool KillTimer(WindowHandle window, std::uintptr_t id);

// ---- Window events ----
inline constexpr std::uint32_t kEventObjectCreate = 0x8000;
inline constexpr std::uint32_t kEventObjectDestroy = 0x8001;
inline constexpr std::uint32_t kEventObjectShow = 0x8002;
inline constexpr std::uint32_t kEventObjectHide = 0x8003;
inline constexpr std::int32_t kObjidWindow = 0;
inline constexpr std::int32_t kChildidSelf = 0;
inline constexpr std::uint32_t kWineventOutOfContext = 0;
inline constexpr std::uint32_t kWineventSkipOwnProcess = 2;

// WINEVENTPROC without the event thread and time, which nothing here reads.
using WinEventProcedure = void (*)(WinEventHookHandle hook, std::uint32_t event,
                                   WindowHandle window, std::int32_t objectId,
                                   std::int32_t childId);
WinEventHookHandle SetWinEventHook(std::uint32_t eventMin, std::uint32_t eventMax,
                                   WinEventProcedure procedure, std::uint32_t processId,
                                   std::uint32_t threadId, std::uint32_t flags);
bool UnhookWinEvent(WinEventHookHandle hook);

// ---- Input and the foreground ----
WindowHandle GetForegroundWindow();
bool SetForegroundWindow(WindowHandle window);
bool BringWindowToTop(WindowHandle window);
void SwitchToThisWindow(WindowHandle window, bool altTab);
bool AttachThreadInput(std::uint32_t attachThread, std::uint32_t toThread, bool attach);
bool AllowSetForegroundWindow(std::uint32_t processId);
// One INPUT_KEYBOARD record: a virtual key and its KEYEVENTF_* flags.
struct KeyboardInput {
  std::uint16_t virtualKey = 0;
  std::uint32_t flags = 0;
};
// The number of records inserted.
unsigned SendInput(std::span<const KeyboardInput> inputs);
bool GetCursorPos(Point* point);
// dwTime of LASTINPUTINFO, a GetTickCount reading.
bool GetLastInputInfo(std::uint32_t* time);

// ---- Icons, cursors, menus ----
inline constexpr int kIdcArrow = 32512;
inline constexpr int kIdcHand = 32649;
// LoadIconW(instance, MAKEINTRESOURCEW(resource)); null when the resource is missing.
IconHandle LoadIconW(ModuleHandle instance, int resource);
// LoadCursorW(nullptr, MAKEINTRESOURCEW(id)) for the system cursors.
CursorHandle LoadCursorW(int id);
CursorHandle SetCursor(CursorHandle cursor);

inline constexpr unsigned kMfString = 0;
inline constexpr unsigned kMfSeparator = 0x0800;
inline constexpr unsigned kTpmNoNotify = 0x0080;
inline constexpr unsigned kTpmReturnCmd = 0x0100;
MenuHandle CreatePopupMenu();
// A separator carries no text.
bool AppendMenuW(MenuHandle menu, unsigned flags, std::uintptr_t id, std::u16string_view text);
// The chosen command with TPM_RETURNCMD among the flags, 0 for none.
int TrackPopupMenu(MenuHandle menu, unsigned flags, int x, int y, WindowHandle owner);
bool DestroyMenu(MenuHandle menu);

// ---- Monitors, metrics and DPI ----
inline constexpr unsigned kMonitorDefaultToNearest = 2;
inline constexpr int kSmCxScreen = 0;
inline constexpr int kSmCyScreen = 1;
inline constexpr int kSmXVirtualScreen = 76;
inline constexpr int kSmYVirtualScreen = 77;
inline constexpr int kSmCxVirtualScreen = 78;
inline constexpr int kSmCyVirtualScreen = 79;
inline constexpr int kProcessPerMonitorDpiAware = 2;

struct MonitorInfo {
  Rect monitor;
  Rect work;
  std::uint32_t flags = 0;
};
MonitorHandle MonitorFromPoint(Point point, unsigned flags);
MonitorHandle MonitorFromRect(const Rect& rect, unsigned flags);
bool GetMonitorInfoW(MonitorHandle monitor, MonitorInfo* info);
int GetSystemMetrics(int index);
// SetProcessDpiAwareness of shcore; the HRESULT.
std::int32_t SetProcessDpiAwareness(int level);
// Looked up in user32 at run time: 0 when the system lacks it or it answers 0.
unsigned GetDpiForWindow(WindowHandle window);
// Calls a BOOL WINAPI (HWND) function that GetProcAddress found: EnableNonClientDpiScaling.
bool CallEnableNonClientDpiScaling(void* procedure, WindowHandle window);

// ---- Layered windows and showing without activation (the overlay windows) ----
inline constexpr int kSwShowNoActivate = 4;
bool SetLayeredWindowAttributes(WindowHandle window, std::uint32_t colorKey, std::uint8_t alpha,
                                std::uint32_t flags);

// ---- Session and power ----
inline constexpr unsigned kEwxReboot = 0x02;
inline constexpr unsigned kEwxPowerOff = 0x08;
inline constexpr unsigned kEwxForceIfHung = 0x10;
bool LockWorkStation();
bool ExitWindowsEx(unsigned flags, std::uint32_t reason);

// ---- Low-level keyboard hook ----
inline constexpr int kWhKeyboardLl = 13;
inline constexpr int kHcAction = 0;
inline constexpr std::uint32_t kLlkhfAltDown = 0x20;
inline constexpr std::uint32_t kLlkhfUp = 0x80;
inline constexpr unsigned kVkTab = 0x09;
inline constexpr unsigned kVkControl = 0x11;
inline constexpr unsigned kVkEscape = 0x1B;
inline constexpr unsigned kVkDelete = 0x2E;
inline constexpr unsigned kVkLWin = 0x5B;
inline constexpr unsigned kVkRWin = 0x5C;
inline constexpr unsigned kVkF4 = 0x73;

// HOOKPROC in portable types; on x64 the two are the same function type.
using HookProcedure = std::intptr_t (*)(int code, std::uintptr_t wParam, std::intptr_t lParam);
HookHandle SetWindowsHookExW(int hookId, HookProcedure procedure, ModuleHandle module,
                             std::uint32_t threadId);
bool UnhookWindowsHookEx(HookHandle hook);
std::intptr_t CallNextHookEx(HookHandle hook, int code, std::uintptr_t wParam,
                             std::intptr_t lParam);
// The fields of a WH_KEYBOARD_LL hook's KBDLLHOOKSTRUCT that a decision reads.
struct KeyboardHookEvent {
  std::uint32_t virtualKey = 0;
  std::uint32_t flags = 0;  // LLKHF_*
};
KeyboardHookEvent KeyboardHookEventOf(std::intptr_t lParam);
// Negative (high bit set) while the key is down.
std::int16_t GetAsyncKeyState(int virtualKey);

}  // namespace platform
