// The lock window: one borderless topmost popup over the whole virtual desktop, painted from
// the plan of lock_screen.h, in a process of its own without the engine.
#include <windows.h>
#include <windowsx.h>

#include "app/app_log.h"
#include "app/product.h"
#include "lock/lock_screen.h"
#include "lock/lock_shortcuts.h"
#include "lock/lock_window.h"
#include "lock/password_store.h"
#include "lock/win32_lock_window.h"
#include "platform/user.h"
#include "platform/win32/text.h"

namespace {

const std::wstring kLockWindowClass = AsWide(product::kLockWindowClass);
const std::wstring kLockWindowTitle = AsWide(product::kLockWindowTitle);

static_assert((WS_EX_TOPMOST | WS_EX_TOOLWINDOW) == 136);

}  // namespace

LRESULT CALLBACK LockWindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_CREATE:
      LayoutLockKeys(hwnd);
      ::SetTimer(hwnd, kLockTimerId, kLockTimerMilliseconds, nullptr);
      ::SetFocus(hwnd);
      return 0;
    case WM_DESTROY:
      EndLockWindow();
      ::PostQuitMessage(0);
      return 0;
    case WM_SIZE:
      LayoutLockKeys(hwnd);
      return 0;
    case WM_PAINT:
      PaintLockWindow(hwnd);
      return 0;
    case WM_CLOSE:
      // Alt+F4 and every outside close request end here: only the password or the file unlock.
      return 0;
    case WM_ERASEBKGND:
      return 1;
    case WM_SETCURSOR:
      if (WantsLockHandCursor(hwnd, LOWORD(lParam))) {
        ::SetCursor(platform::LoadCursorW(platform::kIdcHand));
        return 1;
      }
      return ::DefWindowProcW(hwnd, message, wParam, lParam);
    case WM_KEYDOWN:
      HandleLockKeyDown(hwnd, static_cast<unsigned>(wParam));
      return 0;
    case WM_CHAR:
      HandleLockChar(hwnd, static_cast<char16_t>(wParam));
      return 0;
    case WM_TIMER:
      OnLockTimer(hwnd);
      return 0;
    case WM_LBUTTONDOWN:
      PressLockKeyAt(hwnd, GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam));
      return 0;
    default:
      return ::DefWindowProcW(hwnd, message, wParam, lParam);
  }
}

int RunNativeLockScreen(platform::ModuleHandle instance) {
  // Read once: a new digest reaches a running lock only by way of the locked flag.
  GetLockScreenState().lockStoredHash = ReadLockPasswordHash();
  WriteAppLog(u"Starting native lock screen");

  const HINSTANCE module = instance;
  WNDCLASSW windowClass{};
  windowClass.style = 0;
  windowClass.lpfnWndProc = LockWindowProc;
  windowClass.hInstance = module;
  windowClass.hCursor = platform::LoadCursorW(platform::kIdcArrow);
  windowClass.lpszClassName = kLockWindowClass.c_str();
  // A class left registered by an earlier window of this process serves as well.
  ::RegisterClassW(&windowClass);

  const HWND hwnd = ::CreateWindowExW(
      WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kLockWindowClass.c_str(), kLockWindowTitle.c_str(),
      WS_POPUP, ::GetSystemMetrics(SM_XVIRTUALSCREEN), ::GetSystemMetrics(SM_YVIRTUALSCREEN),
      ::GetSystemMetrics(SM_CXVIRTUALSCREEN), ::GetSystemMetrics(SM_CYVIRTUALSCREEN), nullptr,
      nullptr, module, nullptr);
  if (!hwnd) {
    WriteAppLog(u"Failed to create native lock screen window");
    return 1;
  }
  ::ShowWindow(hwnd, SW_SHOW);
  ::UpdateWindow(hwnd);
  ::SetForegroundWindow(hwnd);
  ::SetFocus(hwnd);
  // Called from this thread's message loop below; removed when the loop has ended.
  const platform::UniqueWindowsHook keyboardHook = InstallLockKeyboardHook(instance);

  MSG msg;
  while (::GetMessageW(&msg, nullptr, 0, 0) != 0) {
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }
  WriteAppLog(u"Native lock screen exited");
  return 0;
}
