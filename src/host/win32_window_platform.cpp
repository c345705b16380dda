#include <windows.h>

#include "host/window_platform.h"
#include "platform/win32_text.h"

namespace host::platform {

namespace {

HWND Hwnd(NativeHandle window) { return static_cast<HWND>(window); }

}  // namespace

NativeHandle GetModuleHandleW() { return ::GetModuleHandleW(nullptr); }

NativeHandle LoadIconW(NativeHandle instance, int resource) {
  return ::LoadIconW(static_cast<HINSTANCE>(instance), MAKEINTRESOURCEW(resource));
}

// IDC_ARROW is an integer resource, only typed for the build's character set.
NativeHandle LoadArrowCursor() {
  return ::LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
}

// The logic's procedure has the WNDPROC signature in portable types; on x64 there is one calling
// convention, so the two are the same function type in all but name.
static_assert(sizeof(LRESULT) == sizeof(std::intptr_t) &&
              sizeof(WPARAM) == sizeof(std::uintptr_t) && sizeof(LPARAM) == sizeof(std::intptr_t) &&
              sizeof(UINT) == sizeof(unsigned));

std::uint16_t RegisterClassW(const WindowClass& windowClass) {
  const std::wstring name = AsWide(windowClass.className);
  WNDCLASSW native = {};
  native.style = windowClass.style;
  native.lpfnWndProc = reinterpret_cast<WNDPROC>(windowClass.procedure);
  native.hInstance = static_cast<HINSTANCE>(windowClass.instance);
  native.hIcon = static_cast<HICON>(windowClass.icon);
  native.hCursor = static_cast<HCURSOR>(windowClass.cursor);
  native.lpszClassName = name.c_str();
  return ::RegisterClassW(&native);
}

bool UnregisterClassW(const std::u16string& className, NativeHandle instance) {
  return ::UnregisterClassW(AsWide(className).c_str(), static_cast<HINSTANCE>(instance)) != 0;
}

NativeHandle CreateWindowExW(unsigned long exStyle, const std::u16string& className,
                             const std::u16string& title, unsigned long style, int x, int y,
                             int width, int height, NativeHandle parent, NativeHandle menu,
                             NativeHandle instance, void* createParameter) {
  return ::CreateWindowExW(exStyle, AsWide(className).c_str(), AsWide(title).c_str(), style, x, y,
                           width, height, Hwnd(parent), static_cast<HMENU>(menu),
                           static_cast<HINSTANCE>(instance), createParameter);
}

bool DestroyWindow(NativeHandle window) { return ::DestroyWindow(Hwnd(window)) != 0; }

std::intptr_t DefWindowProcW(NativeHandle window, unsigned message, std::uintptr_t wParam,
                             std::intptr_t lParam) {
  return ::DefWindowProcW(Hwnd(window), message, wParam, lParam);
}

void PostQuitMessage(int exitCode) { ::PostQuitMessage(exitCode); }

std::intptr_t SetWindowLongPtrW(NativeHandle window, int index, std::intptr_t value) {
  return ::SetWindowLongPtrW(Hwnd(window), index, value);
}

std::intptr_t GetWindowLongPtrW(NativeHandle window, int index) {
  return ::GetWindowLongPtrW(Hwnd(window), index);
}

NativeHandle LoadLibraryA(const char* name) { return ::LoadLibraryA(name); }

void* GetProcAddress(NativeHandle module, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(module), name));
}

bool FreeLibrary(NativeHandle module) { return ::FreeLibrary(static_cast<HMODULE>(module)) != 0; }

bool CallEnableNonClientDpiScaling(void* procedure, NativeHandle window) {
  using EnableNonClientDpiScalingProc = BOOL(WINAPI*)(HWND);
  return reinterpret_cast<EnableNonClientDpiScalingProc>(procedure)(Hwnd(window)) != 0;
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
  const auto* rect = reinterpret_cast<const RECT*>(lParam);
  return {rect->left, rect->top, rect->right, rect->bottom};
}

Rect GetClientRect(NativeHandle window) {
  RECT rect = {};
  ::GetClientRect(Hwnd(window), &rect);
  return {rect.left, rect.top, rect.right, rect.bottom};
}

bool MoveWindow(NativeHandle window, int x, int y, int width, int height, bool repaint) {
  return ::MoveWindow(Hwnd(window), x, y, width, height, repaint ? TRUE : FALSE) != 0;
}

NativeHandle SetFocus(NativeHandle window) { return ::SetFocus(Hwnd(window)); }

NativeHandle SetParent(NativeHandle child, NativeHandle parent) {
  return ::SetParent(Hwnd(child), Hwnd(parent));
}

bool SetWindowPos(NativeHandle window, NativeHandle insertAfter, int x, int y, int width,
                  int height, unsigned flags) {
  return ::SetWindowPos(Hwnd(window), Hwnd(insertAfter), x, y, width, height, flags) != 0;
}

bool ShowWindow(NativeHandle window, int command) {
  return ::ShowWindow(Hwnd(window), command) != 0;
}

bool IsIconic(NativeHandle window) { return ::IsIconic(Hwnd(window)) != 0; }

bool SetForegroundWindow(NativeHandle window) { return ::SetForegroundWindow(Hwnd(window)) != 0; }

bool BringWindowToTop(NativeHandle window) { return ::BringWindowToTop(Hwnd(window)) != 0; }

unsigned RegisterWindowMessageW(const std::u16string& name) {
  return ::RegisterWindowMessageW(AsWide(name).c_str());
}

}  // namespace host::platform
