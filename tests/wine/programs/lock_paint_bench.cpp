// lock_paint_bench [WIDTH HEIGHT [DPI [COUNT]]]
//
// Figures for the lock's painting under the display it runs on, each next to the cost of one
// full-screen BitBlt measured in the same run:
//   draw      the whole paint plan computed and drawn into a memory DC by paint::DrawPlan, as
//             every paint cost before the background was cached
//   full      the whole plan through paint::PaintPlan onto the window: memory bitmap, draw and
//             BitBlt, as every key press cost before the background was cached
//   first     a real lock window (LockWindowProc) painted with no cached background: the
//             background drawn into its bitmap, then the whole window composed and copied
//   wm_paint  the whole window invalidated and updated over the cached background
//   keypress  one typed digit or Backspace through the window's input handling, then
//             UpdateWindow: the repaint of what the key changed
//   bitblt    one BitBlt of the whole memory bitmap onto a window of the same size
// Nothing is checked: the numbers are printed for a person to read.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "lock/lock_paint_plan.h"
#include "lock/lock_screen.h"
#include "lock/win32_lock_window.h"
#include "paint/gdi_executor.h"
#include "paint/gdi_owners.h"
#include "paint_bench.h"

namespace {

using test_windows::BlankPaintProc;
using test_windows::NowMs;

HWND MakeWindow(const wchar_t* className, WNDPROC proc, int width, int height) {
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = proc;
  windowClass.hInstance = ::GetModuleHandleW(nullptr);
  windowClass.lpszClassName = className;
  ::RegisterClassW(&windowClass);
  const HWND window =
      ::CreateWindowExW(WS_EX_TOOLWINDOW, className, className, WS_POPUP, 0, 0, width, height,
                        nullptr, nullptr, windowClass.hInstance, nullptr);
  if (window) {
    ::ShowWindow(window, SW_SHOWNOACTIVATE);
    ::UpdateWindow(window);
  }
  return window;
}

}  // namespace

int main(int argc, char** argv) {
  const int width = argc > 2 ? std::atoi(argv[1]) : ::GetSystemMetrics(SM_CXSCREEN);
  const int height = argc > 2 ? std::atoi(argv[2]) : ::GetSystemMetrics(SM_CYSCREEN);
  const unsigned dpi = argc > 3 ? static_cast<unsigned>(std::atoi(argv[3])) : 96;
  const int count = argc > 4 ? std::atoi(argv[4]) : 20;
  if (width < 1 || height < 1 || count < 1) {
    std::fprintf(stderr, "usage: lock_paint_bench [WIDTH HEIGHT [DPI [COUNT]]]\n");
    return 2;
  }

  const double scale = ComputeLockScaleFrom(dpi, {width, height});
  const LockLayout layout = LayoutLockKeysFrom({width, height}, scale);
  LockPaintInput input;
  input.client = {width, height};
  input.scale = scale;
  input.keys = &layout.keys;
  input.inputRect = layout.inputRect;
  input.typedCount = 4;

  const HWND target = MakeWindow(L"KelvoTarnelLockBenchTarget", BlankPaintProc, width, height);
  if (!target) {
    std::fprintf(stderr, "no window: is there a display?\n");
    return 1;
  }
  const paint::WindowDc targetDc(target);
  const paint::UniqueMemoryDc memory(::CreateCompatibleDC(targetDc.get()));
  const paint::UniqueBitmap bitmap(::CreateCompatibleBitmap(targetDc.get(), width, height));
  if (!memory || !bitmap) {
    std::fprintf(stderr, "no memory DC or bitmap of %dx%d\n", width, height);
    return 1;
  }
  const paint::SelectedObject selected(memory.get(), bitmap.get());

  // One of each first, so that fonts, glyph caches and the X connection are warm.
  paint::DrawPlan(memory.get(), ToPaintPlan(PlanLockPaint(input)));
  ::BitBlt(targetDc.get(), 0, 0, width, height, memory.get(), 0, 0, SRCCOPY);
  ::GdiFlush();

  double start = NowMs();
  std::size_t tiles = 0;
  for (int i = 0; i < count; ++i) {
    const LockPaintPlan plan = PlanLockPaint(input);
    tiles = plan.tiles.size();
    paint::DrawPlan(memory.get(), ToPaintPlan(plan));
    ::GdiFlush();
  }
  const double drawMs = (NowMs() - start) / count;

  start = NowMs();
  for (int i = 0; i < count; ++i) {
    paint::PaintPlan(targetDc.get(), ToPaintPlan(PlanLockPaint(input)));
    ::GdiFlush();
  }
  const double fullMs = (NowMs() - start) / count;

  start = NowMs();
  for (int i = 0; i < count; ++i) {
    ::BitBlt(targetDc.get(), 0, 0, width, height, memory.get(), 0, 0, SRCCOPY);
    ::GdiFlush();
  }
  const double bitBltMs = (NowMs() - start) / count;

  // The real window: its scale comes from the monitor it is on, like the lock's own.
  double firstMs = -1;
  double paintMs = -1;
  double keyMs = -1;
  const HWND lock = MakeWindow(L"KelvoTarnelLockBenchWindow", LockWindowProc, width, height);
  if (lock) {
    GetLockScreenState().lockTypedText = u"2468";
    ::InvalidateRect(lock, nullptr, FALSE);
    ::UpdateWindow(lock);
    start = NowMs();
    for (int i = 0; i < count; ++i) {
      ReleaseLockPaintCache();
      ::InvalidateRect(lock, nullptr, FALSE);
      ::UpdateWindow(lock);
      ::GdiFlush();
    }
    firstMs = (NowMs() - start) / count;
    start = NowMs();
    for (int i = 0; i < count; ++i) {
      ::InvalidateRect(lock, nullptr, FALSE);
      ::UpdateWindow(lock);
      ::GdiFlush();
    }
    paintMs = (NowMs() - start) / count;
    start = NowMs();
    for (int i = 0; i < count; ++i) {
      // A digit, then Backspace: the mask grows and shrinks by one star.
      HandleLockChar(lock, i % 2 == 0 ? u'1' : kLockCharBackspace);
      ::UpdateWindow(lock);
      ::GdiFlush();
    }
    keyMs = (NowMs() - start) / count;
    ::DestroyWindow(lock);
  }
  ::DestroyWindow(target);

  std::printf("size %dx%d dpi %u scale %.2f tiles %zu, %d rounds\n", width, height, dpi, scale,
              tiles, count);
  std::printf("draw     %8.2f ms  (whole plan + paint::DrawPlan into a memory DC)\n", drawMs);
  std::printf("full     %8.2f ms  (whole plan: paint::PaintPlan onto the window)\n", fullMs);
  std::printf("first    %8.2f ms  (lock window without a cached background: UpdateWindow)\n",
              firstMs);
  std::printf("wm_paint %8.2f ms  (lock window, whole window over the cache: UpdateWindow)\n",
              paintMs);
  std::printf("keypress %8.2f ms  (lock window: one typed character + UpdateWindow)\n", keyMs);
  std::printf("bitblt   %8.2f ms  (one full-screen BitBlt memory DC -> window)\n", bitBltMs);
  std::printf(
      "ratio draw/bitblt %.1f, full/bitblt %.1f, first/bitblt %.1f, "
      "wm_paint/bitblt %.1f, keypress/bitblt %.2f\n",
      drawMs / bitBltMs, fullMs / bitBltMs, firstMs / bitBltMs, paintMs / bitBltMs,
      keyMs / bitBltMs);
  return 0;
}
