// What the host window and the Flutter window need of the window manager. Messages whose lParam
// points at a structure have their own small operations, so that the message table stays logic.
// The host's ports live in host::platform: other modules declare ports with the same Win32 names,
// and the adapters all link into one executable.
#pragma once

#include <cstdint>
#include <string>

#include "launch/launch_platform.h"

namespace host::platform {

using ::platform::NativeHandle;

using WindowProcedure = std::intptr_t (*)(NativeHandle window, unsigned message,
                                          std::uintptr_t wParam, std::intptr_t lParam);

struct Rect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};

struct Point {
  int x = 0;
  int y = 0;
};

// The fields of WNDCLASSW that this program sets; the rest stay zero.
struct WindowClass {
  unsigned style = 0;
  WindowProcedure procedure = nullptr;
  NativeHandle instance = nullptr;
  NativeHandle icon = nullptr;
  NativeHandle cursor = nullptr;
  std::u16string className;
};

// GetModuleHandleW(nullptr): the executable's module.
NativeHandle GetModuleHandleW();
// LoadIconW(instance, MAKEINTRESOURCEW(resource)); null when the resource is missing.
NativeHandle LoadIconW(NativeHandle instance, int resource);
// LoadCursorW(nullptr, IDC_ARROW).
NativeHandle LoadArrowCursor();

// The atom, 0 on failure.
std::uint16_t RegisterClassW(const WindowClass& windowClass);
bool UnregisterClassW(const std::u16string& className, NativeHandle instance);

NativeHandle CreateWindowExW(unsigned long exStyle, const std::u16string& className,
                             const std::u16string& title, unsigned long style, int x, int y,
                             int width, int height, NativeHandle parent, NativeHandle menu,
                             NativeHandle instance, void* createParameter);
bool DestroyWindow(NativeHandle window);
std::intptr_t DefWindowProcW(NativeHandle window, unsigned message, std::uintptr_t wParam,
                             std::intptr_t lParam);
void PostQuitMessage(int exitCode);

std::intptr_t SetWindowLongPtrW(NativeHandle window, int index, std::intptr_t value);
std::intptr_t GetWindowLongPtrW(NativeHandle window, int index);

NativeHandle LoadLibraryA(const char* name);
void* GetProcAddress(NativeHandle module, const char* name);
bool FreeLibrary(NativeHandle module);
// Calls a BOOL WINAPI (HWND) function that GetProcAddress found, EnableNonClientDpiScaling.
bool CallEnableNonClientDpiScaling(void* procedure, NativeHandle window);

// lpCreateParams of the CREATESTRUCTW that WM_NCCREATE carries.
void* CreateParameterOf(std::intptr_t lParam);
// ptMinTrackSize of the MINMAXINFO that WM_GETMINMAXINFO carries.
void SetMinTrackSize(std::intptr_t lParam, int width, int height);
// The suggested RECT that WM_DPICHANGED carries.
Rect SuggestedRectOf(std::intptr_t lParam);

Rect GetClientRect(NativeHandle window);
bool MoveWindow(NativeHandle window, int x, int y, int width, int height, bool repaint);
NativeHandle SetFocus(NativeHandle window);
NativeHandle SetParent(NativeHandle child, NativeHandle parent);
bool SetWindowPos(NativeHandle window, NativeHandle insertAfter, int x, int y, int width,
                  int height, unsigned flags);

bool ShowWindow(NativeHandle window, int command);
bool IsIconic(NativeHandle window);
bool SetForegroundWindow(NativeHandle window);
bool BringWindowToTop(NativeHandle window);

// 0 on failure; the same text gives the same number for the whole session.
unsigned RegisterWindowMessageW(const std::u16string& name);

}  // namespace host::platform
