// What the Windows test programs do with their own windows while they wait: run the thread's
// messages, and register a window class once however often a test asks.
#pragma once

#include <windows.h>

#include <algorithm>

namespace test_windows {

inline void PumpMessages() {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

// Runs this thread's messages until `done` holds; false once `limitMs` has passed. Wakes at
// least every 20 ms, since what `done` looks at may change in another thread or process
// without a message to this one.
template <typename Done>
bool PumpUntil(DWORD limitMs, Done done) {
  const ULONGLONG deadline = ::GetTickCount64() + limitMs;
  for (;;) {
    PumpMessages();
    if (done()) return true;
    const ULONGLONG now = ::GetTickCount64();
    if (now >= deadline) return false;
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE,
                                static_cast<DWORD>(std::min<ULONGLONG>(deadline - now, 20)),
                                QS_ALLINPUT);
  }
}

// True when the class is there, whether this call or an earlier one made it.
inline bool RegisterClassOnce(const wchar_t* name, WNDPROC procedure) {
  WNDCLASSEXW windowClass = {};
  windowClass.cbSize = sizeof(windowClass);
  windowClass.lpfnWndProc = procedure;
  windowClass.hInstance = ::GetModuleHandleW(nullptr);
  windowClass.hCursor = ::LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // IDC_ARROW
  windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
  windowClass.lpszClassName = name;
  return ::RegisterClassExW(&windowClass) != 0 || ::GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
}

}  // namespace test_windows
