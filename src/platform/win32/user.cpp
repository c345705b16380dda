// The windowing seam over user32, with dwmapi and shcore where the window facts and DPI need
// them. dwmapi and the newer user32 exports are looked up at run time: a system without them
// answers as failed, which the logic reads as "not known".
#include <windows.h>
#include <shellscalingapi.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/user.h"
#include "platform/win32/text.h"

namespace platform {

namespace {

WindowHandle PseudoWindow(std::intptr_t value) {
  return reinterpret_cast<WindowHandle>(value);  // NOLINT(performance-no-int-to-ptr)
}

RECT ToRect(const Rect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

Rect FromRect(const RECT& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

MSG ToMsg(const Message& message) {
  MSG native = {};
  native.hwnd = message.window;
  native.message = message.message;
  native.wParam = message.wParam;
  native.lParam = message.lParam;
  native.time = message.time;
  native.pt = {message.point.x, message.point.y};
  return native;
}

Message FromMsg(const MSG& native) {
  return {native.hwnd,
          native.message,
          native.wParam,
          native.lParam,
          static_cast<std::uint32_t>(native.time),
          {native.pt.x, native.pt.y}};
}

template <typename Function>
Function LookUp(const wchar_t* library, const char* name, bool load) {
  const HMODULE module = load ? ::LoadLibraryW(library) : ::GetModuleHandleW(library);
  if (!module) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

// WINEVENTPROC carries no context: each hook's procedure is found again by its handle.
std::mutex winEventMutex;
std::vector<std::pair<HWINEVENTHOOK, WinEventProcedure>> winEventProcedures;
// A hook's first event can only come from the thread's own message loop, after SetWinEventHook
// has returned and its handle is in the table; until then the newest procedure stands in.
WinEventProcedure newestWinEventProcedure = nullptr;

void CALLBACK WinEventTrampoline(HWINEVENTHOOK hook, DWORD event, HWND window, LONG objectId,
                                 LONG childId, DWORD, DWORD) {
  WinEventProcedure procedure = nullptr;
  {
    const std::lock_guard guard(winEventMutex);
    procedure = newestWinEventProcedure;
    for (const auto& [handle, target] : winEventProcedures) {
      if (handle == hook) procedure = target;
    }
  }
  if (procedure) procedure(hook, event, window, objectId, childId);
}

BOOL CALLBACK EnumWindowsThunk(HWND window, LPARAM context) {
  const auto& callback = *reinterpret_cast<const std::function<bool(WindowHandle)>*>(context);
  return callback(window) ? TRUE : FALSE;
}

}  // namespace

// The logic's procedure has the WNDPROC signature in portable types; on x64 there is one calling
// convention, so the two are the same function type.
static_assert(std::is_same_v<WNDPROC, WindowProcedure>);

WindowHandle HwndTop() { return HWND_TOP; }
WindowHandle HwndTopmost() { return HWND_TOPMOST; }
WindowHandle HwndNoTopmost() { return HWND_NOTOPMOST; }
WindowHandle HwndBroadcast() { return PseudoWindow(0xFFFF); }

std::uint16_t RegisterClassW(const WindowClass& windowClass) {
  const std::wstring name = AsWide(windowClass.className);
  WNDCLASSW native = {};
  native.style = windowClass.style;
  native.lpfnWndProc = windowClass.procedure;
  native.hInstance = windowClass.instance;
  native.hIcon = windowClass.icon;
  native.hCursor = windowClass.cursor;
  native.lpszClassName = name.c_str();
  return ::RegisterClassW(&native);
}

bool UnregisterClassW(std::u16string_view className, ModuleHandle instance) {
  return ::UnregisterClassW(AsWide(className).c_str(), instance) != FALSE;
}

WindowHandle CreateWindowExW(unsigned long exStyle, std::u16string_view className,
                             std::u16string_view title, unsigned long style, int x, int y,
                             int width, int height, WindowHandle parent, MenuHandle menu,
                             ModuleHandle instance, void* createParameter) {
  return ::CreateWindowExW(exStyle, AsWide(className).c_str(), AsWide(title).c_str(), style, x, y,
                           width, height, parent, menu, instance, createParameter);
}

bool DestroyWindow(WindowHandle window) { return ::DestroyWindow(window) != FALSE; }

std::intptr_t DefWindowProcW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                             std::intptr_t lParam) {
  return ::DefWindowProcW(window, message, wParam, lParam);
}

std::intptr_t SetWindowLongPtrW(WindowHandle window, int index, std::intptr_t value) {
  return ::SetWindowLongPtrW(window, index, value);
}

std::intptr_t GetWindowLongPtrW(WindowHandle window, int index) {
  return ::GetWindowLongPtrW(window, index);
}

void* CreateParameterOf(std::intptr_t lParam) {
  return reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams;
}

void SetMinTrackSize(std::intptr_t lParam, int width, int height) {
  auto* info = reinterpret_cast<MINMAXINFO*>(lParam);
  info->ptMinTrackSize.x = width;
  info->ptMinTrackSize.y = height;
}

Rect SuggestedRectOf(std::intptr_t lParam) {
  return FromRect(*reinterpret_cast<const RECT*>(lParam));
}

bool IsWindow(WindowHandle window) { return ::IsWindow(window) != FALSE; }

bool IsWindowVisible(WindowHandle window) { return ::IsWindowVisible(window) != FALSE; }

bool IsIconic(WindowHandle window) { return ::IsIconic(window) != FALSE; }

WindowHandle FindWindowW(const char16_t* className, const char16_t* windowName) {
  return ::FindWindowW(AsWideOrNull(className), AsWideOrNull(windowName));
}

bool EnumWindows(const std::function<bool(WindowHandle)>& callback) {
  return ::EnumWindows(EnumWindowsThunk, reinterpret_cast<LPARAM>(&callback)) != FALSE;
}

WindowHandle GetWindow(WindowHandle window, unsigned command) {
  return ::GetWindow(window, command);
}

WindowHandle GetAncestor(WindowHandle window, unsigned flags) {
  return ::GetAncestor(window, flags);
}

std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId) {
  DWORD process = 0;
  const DWORD thread = ::GetWindowThreadProcessId(window, &process);
  if (processId) *processId = process;
  return thread;
}

int GetClassNameW(WindowHandle window, char16_t* buffer, int maxCount) {
  return ::GetClassNameW(window, AsWideBuffer(buffer), maxCount);
}

int GetWindowTextW(WindowHandle window, char16_t* buffer, int maxCount) {
  return ::GetWindowTextW(window, AsWideBuffer(buffer), maxCount);
}

int GetWindowTextLengthW(WindowHandle window) { return ::GetWindowTextLengthW(window); }

bool GetWindowRect(WindowHandle window, Rect* rect) {
  RECT native = {};
  if (!::GetWindowRect(window, &native)) return false;
  *rect = FromRect(native);
  return true;
}

bool GetClientRect(WindowHandle window, Rect* rect) {
  RECT native = {};
  if (!::GetClientRect(window, &native)) return false;
  *rect = FromRect(native);
  return true;
}

bool ScreenToClient(WindowHandle window, Point* point) {
  POINT native = {point->x, point->y};
  if (!::ScreenToClient(window, &native)) return false;
  *point = {native.x, native.y};
  return true;
}

bool GetLayeredWindowAttributes(WindowHandle window, std::uint32_t* colorKey, std::uint8_t* alpha,
                                std::uint32_t* flags) {
  COLORREF key = colorKey ? *colorKey : 0;
  BYTE byte = alpha ? *alpha : 0;
  DWORD bits = flags ? *flags : 0;
  if (!::GetLayeredWindowAttributes(window, &key, &byte, &bits)) return false;
  if (colorKey) *colorKey = key;
  if (alpha) *alpha = byte;
  if (flags) *flags = bits;
  return true;
}

std::int32_t DwmGetWindowAttribute(WindowHandle window, std::uint32_t attribute, void* value,
                                   std::uint32_t size) {
  using Function = HRESULT(WINAPI*)(HWND, DWORD, PVOID, DWORD);
  // Loaded once, thread-safely, and kept for the life of the process as an import would be.
  static const Function function = LookUp<Function>(L"dwmapi.dll", "DwmGetWindowAttribute", true);
  if (!function) return static_cast<std::int32_t>(E_NOTIMPL);
  return static_cast<std::int32_t>(function(window, attribute, value, size));
}

bool ShowWindow(WindowHandle window, int command) { return ::ShowWindow(window, command) != FALSE; }

bool ShowWindowAsync(WindowHandle window, int command) {
  return ::ShowWindowAsync(window, command) != FALSE;
}

bool UpdateWindow(WindowHandle window) { return ::UpdateWindow(window) != FALSE; }

bool SetWindowPos(WindowHandle window, WindowHandle insertAfter, int x, int y, int width,
                  int height, unsigned flags) {
  return ::SetWindowPos(window, insertAfter, x, y, width, height, flags) != FALSE;
}

bool MoveWindow(WindowHandle window, int x, int y, int width, int height, bool repaint) {
  return ::MoveWindow(window, x, y, width, height, repaint ? TRUE : FALSE) != FALSE;
}

WindowHandle SetParent(WindowHandle child, WindowHandle parent) {
  return ::SetParent(child, parent);
}

WindowHandle SetFocus(WindowHandle window) { return ::SetFocus(window); }

bool InvalidateRect(WindowHandle window, const Rect* rect, bool erase) {
  if (!rect) return ::InvalidateRect(window, nullptr, erase ? TRUE : FALSE) != FALSE;
  const RECT native = ToRect(*rect);
  return ::InvalidateRect(window, &native, erase ? TRUE : FALSE) != FALSE;
}

bool PostMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                  std::intptr_t lParam) {
  return ::PostMessageW(window, message, wParam, lParam) != FALSE;
}

std::intptr_t SendMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                           std::intptr_t lParam) {
  return ::SendMessageW(window, message, wParam, lParam);
}

bool SendMessageTimeoutW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                         std::intptr_t lParam, unsigned flags, unsigned timeoutMilliseconds) {
  DWORD_PTR answer = 0;
  return ::SendMessageTimeoutW(window, message, wParam, lParam, flags, timeoutMilliseconds,
                               &answer) != 0;
}

bool PostThreadMessageW(std::uint32_t threadId, unsigned message, std::uintptr_t wParam,
                        std::intptr_t lParam) {
  return ::PostThreadMessageW(threadId, message, wParam, lParam) != FALSE;
}

bool PeekMessageW(Message* message, WindowHandle window, unsigned filterMin, unsigned filterMax,
                  unsigned removeFlags) {
  MSG native = {};
  if (!::PeekMessageW(&native, window, filterMin, filterMax, removeFlags)) return false;
  *message = FromMsg(native);
  return true;
}

int GetMessageW(Message* message, WindowHandle window, unsigned filterMin, unsigned filterMax) {
  MSG native = {};
  const BOOL result = ::GetMessageW(&native, window, filterMin, filterMax);
  *message = FromMsg(native);
  return static_cast<int>(result);
}

bool TranslateMessage(const Message& message) {
  const MSG native = ToMsg(message);
  return ::TranslateMessage(&native) != FALSE;
}

std::intptr_t DispatchMessageW(const Message& message) {
  const MSG native = ToMsg(message);
  return ::DispatchMessageW(&native);
}

void PostQuitMessage(int exitCode) { ::PostQuitMessage(exitCode); }

unsigned RegisterWindowMessageW(std::u16string_view name) {
  return ::RegisterWindowMessageW(AsWide(name).c_str());
}

std::uintptr_t SetTimer(WindowHandle window, std::uintptr_t id, unsigned elapseMilliseconds) {
  return ::SetTimer(window, id, elapseMilliseconds, nullptr);
}

bool KillTimer(WindowHandle window, std::uintptr_t id) { return ::KillTimer(window, id) != FALSE; }

WinEventHookHandle SetWinEventHook(std::uint32_t eventMin, std::uint32_t eventMax,
                                   WinEventProcedure procedure, std::uint32_t processId,
                                   std::uint32_t threadId, std::uint32_t flags) {
  if (!procedure) return nullptr;
  {
    const std::lock_guard guard(winEventMutex);
    newestWinEventProcedure = procedure;
  }
  const HWINEVENTHOOK hook = ::SetWinEventHook(eventMin, eventMax, nullptr, &WinEventTrampoline,
                                               processId, threadId, flags);
  if (hook) {
    const std::lock_guard guard(winEventMutex);
    winEventProcedures.emplace_back(hook, procedure);
  }
  return hook;
}

bool UnhookWinEvent(WinEventHookHandle hook) {
  {
    const std::lock_guard guard(winEventMutex);
    std::erase_if(winEventProcedures, [hook](const auto& entry) { return entry.first == hook; });
  }
  return ::UnhookWinEvent(hook) != FALSE;
}

WindowHandle GetForegroundWindow() { return ::GetForegroundWindow(); }

bool SetForegroundWindow(WindowHandle window) { return ::SetForegroundWindow(window) != FALSE; }

bool BringWindowToTop(WindowHandle window) { return ::BringWindowToTop(window) != FALSE; }

void SwitchToThisWindow(WindowHandle window, bool altTab) {
  ::SwitchToThisWindow(window, altTab ? TRUE : FALSE);
}

bool AttachThreadInput(std::uint32_t attachThread, std::uint32_t toThread, bool attach) {
  return ::AttachThreadInput(attachThread, toThread, attach ? TRUE : FALSE) != FALSE;
}

bool AllowSetForegroundWindow(std::uint32_t processId) {
  return ::AllowSetForegroundWindow(processId) != FALSE;
}

unsigned SendInput(std::span<const KeyboardInput> inputs) {
  std::vector<INPUT> records(inputs.size());
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    records[i].type = INPUT_KEYBOARD;
    records[i].ki.wVk = inputs[i].virtualKey;
    records[i].ki.dwFlags = inputs[i].flags;
  }
  return ::SendInput(static_cast<UINT>(records.size()), records.data(), sizeof(INPUT));
}

bool GetCursorPos(Point* point) {
  POINT native = {};
  if (!::GetCursorPos(&native)) return false;
  *point = {native.x, native.y};
  return true;
}

bool GetLastInputInfo(std::uint32_t* time) {
  LASTINPUTINFO info = {};
  static_assert(sizeof(info) == 8, "the record size the call is given");
  info.cbSize = sizeof(info);
  if (!::GetLastInputInfo(&info)) return false;
  *time = info.dwTime;
  return true;
}

IconHandle LoadIconW(ModuleHandle instance, int resource) {
  return ::LoadIconW(instance, MAKEINTRESOURCEW(resource));
}

CursorHandle LoadCursorW(int id) { return ::LoadCursorW(nullptr, MAKEINTRESOURCEW(id)); }

CursorHandle SetCursor(CursorHandle cursor) { return ::SetCursor(cursor); }

MenuHandle CreatePopupMenu() { return ::CreatePopupMenu(); }

bool AppendMenuW(MenuHandle menu, unsigned flags, std::uintptr_t id, std::u16string_view text) {
  const std::wstring wide = AsWide(text);
  const wchar_t* item = (flags & MF_SEPARATOR) ? nullptr : wide.c_str();
  return ::AppendMenuW(menu, flags, id, item) != FALSE;
}

int TrackPopupMenu(MenuHandle menu, unsigned flags, int x, int y, WindowHandle owner) {
  return ::TrackPopupMenu(menu, flags, x, y, 0, owner, nullptr);
}

bool DestroyMenu(MenuHandle menu) { return ::DestroyMenu(menu) != FALSE; }

MonitorHandle MonitorFromPoint(Point point, unsigned flags) {
  return ::MonitorFromPoint(POINT{point.x, point.y}, flags);
}

MonitorHandle MonitorFromRect(const Rect& rect, unsigned flags) {
  const RECT native = ToRect(rect);
  return ::MonitorFromRect(&native, flags);
}

bool GetMonitorInfoW(MonitorHandle monitor, MonitorInfo* info) {
  MONITORINFO native = {};
  native.cbSize = sizeof(native);
  if (!::GetMonitorInfoW(monitor, &native)) return false;
  *info = {FromRect(native.rcMonitor), FromRect(native.rcWork), native.dwFlags};
  return true;
}

int GetSystemMetrics(int index) { return ::GetSystemMetrics(index); }

std::int32_t SetProcessDpiAwareness(int level) {
  return ::SetProcessDpiAwareness(static_cast<PROCESS_DPI_AWARENESS>(level));
}

unsigned GetDpiForWindow(WindowHandle window) {
  using Function = UINT(WINAPI*)(HWND);
  // Looked up rather than linked: user32 of older systems does not have it.
  static const Function function = LookUp<Function>(L"user32.dll", "GetDpiForWindow", false);
  return function ? function(window) : 0;
}

bool CallEnableNonClientDpiScaling(void* procedure, WindowHandle window) {
  using Function = BOOL(WINAPI*)(HWND);
  return reinterpret_cast<Function>(procedure)(window) != FALSE;
}

bool LockWorkStation() { return ::LockWorkStation() != FALSE; }

bool ExitWindowsEx(unsigned flags, std::uint32_t reason) {
  return ::ExitWindowsEx(flags, reason) != FALSE;
}

bool SetLayeredWindowAttributes(WindowHandle window, std::uint32_t colorKey, std::uint8_t alpha,
                                std::uint32_t flags) {
  return ::SetLayeredWindowAttributes(window, colorKey, alpha, flags) != FALSE;
}

// ---- Low-level keyboard hook ----

static_assert(std::is_same_v<HOOKPROC, HookProcedure>);

HookHandle SetWindowsHookExW(int hookId, HookProcedure procedure, ModuleHandle module,
                             std::uint32_t threadId) {
  return ::SetWindowsHookExW(hookId, procedure, module, threadId);
}

bool UnhookWindowsHookEx(HookHandle hook) { return ::UnhookWindowsHookEx(hook) != FALSE; }

std::intptr_t CallNextHookEx(HookHandle hook, int code, std::uintptr_t wParam,
                             std::intptr_t lParam) {
  return ::CallNextHookEx(hook, code, wParam, lParam);
}

KeyboardHookEvent KeyboardHookEventOf(std::intptr_t lParam) {
  const auto* event = reinterpret_cast<const KBDLLHOOKSTRUCT*>(lParam);
  return {event->vkCode, event->flags};
}

std::int16_t GetAsyncKeyState(int virtualKey) { return ::GetAsyncKeyState(virtualKey); }

}  // namespace platform
