// lock_window_probe find|close|setcursor|cover [WAIT_MS]
// lock_window_probe shortcuts TRIGGER_FILE [ROUNDS]
//
// Looks at a running lock window from another process, as the outside world sees it, and
// prints "key value" lines for tests/wine/lock_*.sh:
//   find       where the window is, its styles, what covers the virtual desktop's centre
//   close      every outside close request: posted and sent WM_CLOSE, SC_CLOSE
//   setcursor  the answers to WM_SETCURSOR for the cursor where it is now
//   cover      opens a topmost window of its own over the lock, and waits for the lock to
//              come back above it; then keeps it open for WAIT_MS so that a screenshot can
//              show what is on top
//   shortcuts  sets a low-level keyboard hook of its own, before any lock starts, so that a
//              lock's hook set later is asked first; then, each time TRIGGER_FILE appears, sends
//              the shortcuts with SendInput, prints "rN-NAME 1" for each whose key reached this
//              hook ("0" when something swallowed it) and "rN done", and deletes the file
// Exit code 0 when the lock window was found, 3 when it was not.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace {

constexpr wchar_t kLockClass[] = L"KelvoTarnelNativeLockWindow";
constexpr wchar_t kProbeClass[] = L"KelvoTarnelLockProbeCover";

HWND WaitForLockWindow(DWORD waitMs) {
  const ULONGLONG deadline = ::GetTickCount64() + waitMs;
  for (;;) {
    if (HWND window = ::FindWindowW(kLockClass, nullptr)) return window;
    if (::GetTickCount64() >= deadline) return nullptr;
    ::Sleep(50);
  }
}

// Z-order among top-level windows: true when `upper` comes before `lower`.
bool IsAbove(HWND upper, HWND lower) {
  for (HWND w = ::GetTopWindow(nullptr); w; w = ::GetWindow(w, GW_HWNDNEXT)) {
    if (w == upper) return true;
    if (w == lower) return false;
  }
  return false;
}

void PumpFor(DWORD ms) {
  const ULONGLONG deadline = ::GetTickCount64() + ms;
  while (::GetTickCount64() < deadline) {
    MSG msg;
    while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
      ::TranslateMessage(&msg);
      ::DispatchMessageW(&msg);
    }
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
  }
}

int Find(HWND lock) {
  wchar_t className[128] = {};
  wchar_t title[128] = {};
  ::GetClassNameW(lock, className, 128);
  ::GetWindowTextW(lock, title, 128);
  RECT rect{};
  ::GetWindowRect(lock, &rect);
  const int vx = ::GetSystemMetrics(SM_XVIRTUALSCREEN);
  const int vy = ::GetSystemMetrics(SM_YVIRTUALSCREEN);
  const int vw = ::GetSystemMetrics(SM_CXVIRTUALSCREEN);
  const int vh = ::GetSystemMetrics(SM_CYVIRTUALSCREEN);
  const LONG_PTR style = ::GetWindowLongPtrW(lock, GWL_STYLE);
  const LONG_PTR exStyle = ::GetWindowLongPtrW(lock, GWL_EXSTYLE);
  const POINT centre{vx + vw / 2, vy + vh / 2};
  const HWND atCentre = ::GetAncestor(::WindowFromPoint(centre), GA_ROOT);
  std::printf("class %ls\n", className);
  std::printf("title %ls\n", title);
  std::printf("rect %ld %ld %ld %ld\n", rect.left, rect.top, rect.right, rect.bottom);
  std::printf("virtual %d %d %d %d\n", vx, vy, vx + vw, vy + vh);
  std::printf("popup %d\n", (style & WS_POPUP) ? 1 : 0);
  std::printf("caption %d\n", (style & WS_CAPTION) ? 1 : 0);
  std::printf("topmost %d\n", (exStyle & WS_EX_TOPMOST) ? 1 : 0);
  std::printf("toolwindow %d\n", (exStyle & WS_EX_TOOLWINDOW) ? 1 : 0);
  std::printf("visible %d\n", ::IsWindowVisible(lock) ? 1 : 0);
  std::printf("at-centre %s\n", atCentre == lock ? "lock" : "other");
  std::printf("foreground %d\n", ::GetForegroundWindow() == lock ? 1 : 0);
  return 0;
}

LRESULT SendWithTimeout(HWND window, UINT message, WPARAM wParam, LPARAM lParam, bool* ok) {
  DWORD_PTR result = 0;
  *ok =
      ::SendMessageTimeoutW(window, message, wParam, lParam, SMTO_ABORTIFHUNG, 5000, &result) != 0;
  return static_cast<LRESULT>(result);
}

int Close(HWND lock) {
  bool ok = false;
  std::printf("post-close %d\n", ::PostMessageW(lock, WM_CLOSE, 0, 0) ? 1 : 0);
  const LRESULT closeResult = SendWithTimeout(lock, WM_CLOSE, 0, 0, &ok);
  std::printf("send-close %d result %lld\n", ok ? 1 : 0, static_cast<long long>(closeResult));
  const LRESULT sysResult = SendWithTimeout(lock, WM_SYSCOMMAND, SC_CLOSE, 0, &ok);
  std::printf("send-sc-close %d result %lld\n", ok ? 1 : 0, static_cast<long long>(sysResult));
  // The posted request is handled after this returns: look again a moment later.
  ::Sleep(1500);
  std::printf("alive %d\n", ::IsWindow(lock) ? 1 : 0);
  return 0;
}

int SetCursorQuery(HWND lock) {
  bool ok = false;
  const LRESULT client = SendWithTimeout(lock, WM_SETCURSOR, reinterpret_cast<WPARAM>(lock),
                                         MAKELPARAM(HTCLIENT, WM_MOUSEMOVE), &ok);
  std::printf("htclient %lld\n", static_cast<long long>(client));
  const LRESULT caption = SendWithTimeout(lock, WM_SETCURSOR, reinterpret_cast<WPARAM>(lock),
                                          MAKELPARAM(HTCAPTION, WM_MOUSEMOVE), &ok);
  std::printf("htcaption %lld\n", static_cast<long long>(caption));
  return 0;
}

LRESULT CALLBACK CoverProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_ERASEBKGND) {
    RECT rect;
    ::GetClientRect(window, &rect);
    HBRUSH brush = ::CreateSolidBrush(RGB(255, 0, 255));
    ::FillRect(reinterpret_cast<HDC>(wParam), &rect, brush);
    ::DeleteObject(brush);
    return 1;
  }
  return ::DefWindowProcW(window, message, wParam, lParam);
}

int Cover(HWND lock, DWORD holdMs) {
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = CoverProc;
  windowClass.hInstance = ::GetModuleHandleW(nullptr);
  windowClass.lpszClassName = kProbeClass;
  ::RegisterClassW(&windowClass);
  const HWND cover = ::CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW | WS_EX_NOACTIVATE,
                                       kProbeClass, L"lock probe cover", WS_POPUP, 0, 0, 200, 200,
                                       nullptr, nullptr, windowClass.hInstance, nullptr);
  if (!cover) {
    std::printf("cover-created 0\n");
    return 4;
  }
  ::ShowWindow(cover, SW_SHOWNOACTIVATE);
  ::UpdateWindow(cover);
  std::printf("cover-created 1\n");
  std::printf("initially %s\n", IsAbove(cover, lock) ? "cover-above" : "lock-above");
  std::fflush(stdout);
  const ULONGLONG start = ::GetTickCount64();
  bool lifted = false;
  while (::GetTickCount64() - start < 10000) {
    PumpFor(20);
    if (IsAbove(lock, cover)) {
      lifted = true;
      break;
    }
  }
  std::printf("lifted %d\n", lifted ? 1 : 0);
  std::printf("lifted-after-ms %llu\n",
              static_cast<unsigned long long>(::GetTickCount64() - start));
  std::fflush(stdout);
  PumpFor(holdMs);
  ::DestroyWindow(cover);
  std::printf("done\n");
  return 0;
}

// ---- shortcuts ----

std::mutex seenMutex;
std::set<DWORD> seenDown;  // virtual keys whose key-down reached this hook
DWORD hookThreadId = 0;

LRESULT CALLBACK SeeKeys(int code, WPARAM wParam, LPARAM lParam) {
  if (code == HC_ACTION && (wParam == WM_KEYDOWN || wParam == WM_SYSKEYDOWN)) {
    const std::lock_guard guard(seenMutex);
    seenDown.insert(reinterpret_cast<const KBDLLHOOKSTRUCT*>(lParam)->vkCode);
  }
  return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

struct Shortcut {
  const char* name;
  WORD modifier;  // 0 for none
  WORD key;
};
// F9 means nothing to the lock and must always come through: it shows that the hooks are asked.
constexpr Shortcut kShortcuts[] = {
    {"win-left", 0, VK_LWIN},
    {"win-right", 0, VK_RWIN},
    {"alt-tab", VK_MENU, VK_TAB},
    {"alt-esc", VK_MENU, VK_ESCAPE},
    {"ctrl-esc", VK_CONTROL, VK_ESCAPE},
    {"alt-f4", VK_MENU, VK_F4},
    {"f9", 0, VK_F9},
};

void SendKey(WORD key, bool up) {
  INPUT input{};
  input.type = INPUT_KEYBOARD;
  input.ki.wVk = key;
  input.ki.dwFlags = up ? KEYEVENTF_KEYUP : 0;
  ::SendInput(1, &input, sizeof(input));
}

bool Seen(WORD key) {
  const std::lock_guard guard(seenMutex);
  return seenDown.count(key) != 0;
}

void RunRound(int round) {
  for (const Shortcut& shortcut : kShortcuts) {
    {
      const std::lock_guard guard(seenMutex);
      seenDown.clear();
    }
    if (shortcut.modifier) SendKey(shortcut.modifier, false);
    SendKey(shortcut.key, false);
    SendKey(shortcut.key, true);
    if (shortcut.modifier) SendKey(shortcut.modifier, true);
    // The hook runs on its own thread's loop: give it time to be asked.
    const ULONGLONG deadline = ::GetTickCount64() + 500;
    while (!Seen(shortcut.key) && ::GetTickCount64() < deadline) ::Sleep(20);
    std::printf("r%d-%s %d\n", round, shortcut.name, Seen(shortcut.key) ? 1 : 0);
    std::fflush(stdout);
  }
  std::printf("r%d done\n", round);
  std::fflush(stdout);
}

int Shortcuts(const char* triggerFile, int rounds) {
  HANDLE ready = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  bool hooked = false;
  std::thread hookThread([&] {
    hookThreadId = ::GetCurrentThreadId();
    HHOOK hook = ::SetWindowsHookExW(WH_KEYBOARD_LL, SeeKeys, ::GetModuleHandleW(nullptr), 0);
    hooked = hook != nullptr;
    MSG msg;
    ::PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the queue, before anyone posts to it
    ::SetEvent(ready);
    while (::GetMessageW(&msg, nullptr, 0, 0) > 0) {
      ::TranslateMessage(&msg);
      ::DispatchMessageW(&msg);
    }
    if (hook) ::UnhookWindowsHookEx(hook);
  });
  ::WaitForSingleObject(ready, INFINITE);
  ::CloseHandle(ready);
  std::printf("hook %d\n", hooked ? 1 : 0);
  std::fflush(stdout);
  for (int round = 1; hooked && round <= rounds; ++round) {
    while (::GetFileAttributesA(triggerFile) == INVALID_FILE_ATTRIBUTES) ::Sleep(50);
    RunRound(round);
    ::DeleteFileA(triggerFile);
  }
  ::PostThreadMessageW(hookThreadId, WM_QUIT, 0, 0);
  hookThread.join();
  return hooked ? 0 : 4;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: lock_window_probe find|close|setcursor|cover [WAIT_MS]\n");
    return 2;
  }
  if (std::strcmp(argv[1], "shortcuts") == 0) {
    if (argc < 3) return 2;
    return Shortcuts(argv[2], argc > 3 ? std::atoi(argv[3]) : 1);
  }
  const DWORD waitMs = argc > 2 ? static_cast<DWORD>(std::atoi(argv[2])) : 10000;
  const HWND lock = WaitForLockWindow(std::strcmp(argv[1], "cover") == 0 ? 10000 : waitMs);
  if (!lock) {
    std::printf("found 0\n");
    return 3;
  }
  std::printf("found 1\n");
  int code = 2;
  if (std::strcmp(argv[1], "find") == 0) code = Find(lock);
  if (std::strcmp(argv[1], "close") == 0) code = Close(lock);
  if (std::strcmp(argv[1], "setcursor") == 0) code = SetCursorQuery(lock);
  if (std::strcmp(argv[1], "cover") == 0) code = Cover(lock, waitMs);
  std::fflush(stdout);
  return code;
}
