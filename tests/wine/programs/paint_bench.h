// What the Wine paint benchmarks share: a millisecond clock and a window that paints nothing of
// its own, so that what is timed is only what the benchmark draws into it.
#pragma once

#include <windows.h>

namespace test_windows {

inline double NowMs() {
  static const double frequency = [] {
    LARGE_INTEGER f;
    ::QueryPerformanceFrequency(&f);
    return static_cast<double>(f.QuadPart);
  }();
  LARGE_INTEGER counter;
  ::QueryPerformanceCounter(&counter);
  return static_cast<double>(counter.QuadPart) * 1000.0 / frequency;
}

inline LRESULT CALLBACK BlankPaintProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_ERASEBKGND) return 1;
  if (message == WM_PAINT) {
    PAINTSTRUCT paint;
    ::BeginPaint(window, &paint);
    ::EndPaint(window, &paint);
    return 0;
  }
  return ::DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace test_windows
