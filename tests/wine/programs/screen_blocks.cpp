// A still screen for the capture tests: one topmost popup over the whole primary screen, painted
// as 4 by 3 blocks of known colours (the test reads the same table). Prints "shown W H" once it
// has painted, then keeps the screen until it is ended.
//
// With --measure PATH RUNS it also times, in this one process, a full-screen BitBlt of the screen
// into a memory bitmap and CaptureScreenToFile(PATH), RUNS times each, and prints the medians:
// figures to read, never to assert.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "capture/screen_capture.h"
#include "message_pump.h"

namespace {

constexpr int kColumns = 4;
constexpr int kRows = 3;
constexpr COLORREF kBlocks[kRows][kColumns] = {
    {RGB(255, 0, 0), RGB(0, 255, 0), RGB(0, 0, 255), RGB(255, 255, 0)},
    {RGB(0, 255, 255), RGB(255, 0, 255), RGB(128, 64, 32), RGB(32, 128, 200)},
    {RGB(250, 250, 250), RGB(10, 10, 10), RGB(200, 100, 150), RGB(60, 180, 75)},
};

bool painted = false;

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_PAINT) {
    PAINTSTRUCT paint;
    const HDC dc = ::BeginPaint(window, &paint);
    RECT client;
    ::GetClientRect(window, &client);
    for (int row = 0; row < kRows; ++row) {
      for (int column = 0; column < kColumns; ++column) {
        const RECT block = {client.right * column / kColumns, client.bottom * row / kRows,
                            client.right * (column + 1) / kColumns,
                            client.bottom * (row + 1) / kRows};
        const HBRUSH brush = ::CreateSolidBrush(kBlocks[row][column]);
        ::FillRect(dc, &block, brush);
        ::DeleteObject(brush);
      }
    }
    ::EndPaint(window, &paint);
    painted = true;
    return 0;
  }
  if (message == WM_ERASEBKGND) return 1;
  return ::DefWindowProcW(window, message, wParam, lParam);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

template <typename Work>
double MillisecondsOf(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

// One full-screen copy as CaptureScreenToFile makes it, without GDI+.
bool BlitScreen(int width, int height) {
  const HDC screen = ::GetDC(nullptr);
  const HDC memory = ::CreateCompatibleDC(screen);
  const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, width, height);
  const HGDIOBJ old = ::SelectObject(memory, bitmap);
  const bool copied = ::BitBlt(memory, 0, 0, width, height, screen, 0, 0, SRCCOPY) != FALSE;
  ::SelectObject(memory, old);
  ::DeleteObject(bitmap);
  ::DeleteDC(memory);
  ::ReleaseDC(nullptr, screen);
  return copied;
}

int Measure(const std::wstring& path, int runs) {
  const int width = ::GetSystemMetrics(SM_CXSCREEN);
  const int height = ::GetSystemMetrics(SM_CYSCREEN);
  std::vector<double> blits;
  std::vector<double> shots;
  int failures = 0;
  for (int run = 0; run < runs; ++run) {
    blits.push_back(MillisecondsOf([&] { failures += BlitScreen(width, height) ? 0 : 1; }));
    shots.push_back(MillisecondsOf([&] {
      failures += CaptureScreenToFile(reinterpret_cast<const char16_t*>(path.c_str())) == 0 ? 0 : 1;
    }));
    test_windows::PumpMessages();
  }
  const double blit = Median(blits);
  const double shot = Median(shots);
  std::printf("screen %dx%d, %d runs each\n", width, height, runs);
  std::printf("BitBlt of the screen: median %.2f ms\n", blit);
  std::printf("CaptureScreenToFile: median %.2f ms (%.1fx the BitBlt)\n", shot, shot / blit);
  std::printf("failures %d\n", failures);
  std::fflush(stdout);
  return failures == 0 ? 0 : 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (!test_windows::RegisterClassOnce(L"KtScreenBlocks", &Procedure)) return 2;
  const int width = ::GetSystemMetrics(SM_CXSCREEN);
  const int height = ::GetSystemMetrics(SM_CYSCREEN);
  const HWND window = ::CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, L"KtScreenBlocks",
                                        L"KtScreenBlocks", WS_POPUP, 0, 0, width, height, nullptr,
                                        nullptr, ::GetModuleHandleW(nullptr), nullptr);
  if (!window) return 3;
  ::ShowWindow(window, SW_SHOW);
  ::UpdateWindow(window);
  if (!test_windows::PumpUntil(10000, [] { return painted; })) return 4;
  std::printf("shown %d %d\n", width, height);
  std::fflush(stdout);

  if (argc == 4 && std::wcscmp(argv[1], L"--measure") == 0) {
    // Let the X server settle the newly mapped window before anything is timed.
    test_windows::PumpUntil(500, [] { return false; });
    return Measure(argv[2], std::max(1, _wtoi(argv[3])));
  }
  test_windows::PumpUntil(300000, [] { return false; });
  return 0;
}
