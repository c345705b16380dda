// overlay_paint_bench [COUNT]
//
// Figures for the overlay windows' painting under the display it runs on, each next to the cost
// of one BitBlt measured in the same run:
//   marquee_paint  the real marquee (ShowMarquee) invalidated and updated: WM_PAINT through
//                  OverlayWindowProc with its plan, memory DC and final BitBlt
//   marquee_tick   one timer step: a font made, the text measured, the font destroyed, the
//                  client area invalidated (the paint it causes is marquee_paint)
//   popup_paint    the real popup, the same way
//   bitblt_screen  one BitBlt of a full-screen memory bitmap onto a full-screen window
//   bitblt_bar     one BitBlt of a memory bitmap of the marquee's size onto the marquee
//   huge_tick, huge_paint  the same for a marquee of 1 MB of text, as bad input can make it
// Nothing is checked: the numbers are printed for a person to read.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "overlay/marquee.h"
#include "overlay/overlay_window.h"
#include "overlay/popup.h"
#include "paint/gdi_owners.h"
#include "paint_bench.h"

namespace {

using test_windows::BlankPaintProc;
using test_windows::NowMs;

// Milliseconds of one repaint of the window, averaged over `count`.
double RepaintMs(HWND window, int count) {
  ::InvalidateRect(window, nullptr, FALSE);
  ::UpdateWindow(window);
  ::GdiFlush();
  const double start = NowMs();
  for (int i = 0; i < count; ++i) {
    ::InvalidateRect(window, nullptr, FALSE);
    ::UpdateWindow(window);
    ::GdiFlush();
  }
  return (NowMs() - start) / count;
}

double BitBltMs(HWND window, int width, int height, int count) {
  const paint::WindowDc dc(window);
  const paint::UniqueMemoryDc memory(::CreateCompatibleDC(dc.get()));
  const paint::UniqueBitmap bitmap(::CreateCompatibleBitmap(dc.get(), width, height));
  if (!memory || !bitmap) return -1;
  const paint::SelectedObject selected(memory.get(), bitmap.get());
  ::BitBlt(dc.get(), 0, 0, width, height, memory.get(), 0, 0, SRCCOPY);
  ::GdiFlush();
  const double start = NowMs();
  for (int i = 0; i < count; ++i) {
    ::BitBlt(dc.get(), 0, 0, width, height, memory.get(), 0, 0, SRCCOPY);
    ::GdiFlush();
  }
  return (NowMs() - start) / count;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 200;
  if (count < 1) {
    std::fprintf(stderr, "usage: overlay_paint_bench [COUNT]\n");
    return 2;
  }
  const int width = ::GetSystemMetrics(SM_CXSCREEN);
  const int height = ::GetSystemMetrics(SM_CYSCREEN);

  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = BlankPaintProc;
  windowClass.hInstance = ::GetModuleHandleW(nullptr);
  windowClass.lpszClassName = L"KelvoTarnelOverlayBenchTarget";
  ::RegisterClassW(&windowClass);
  const HWND screen =
      ::CreateWindowExW(WS_EX_TOOLWINDOW, windowClass.lpszClassName, L"", WS_POPUP, 0, 0, width,
                        height, nullptr, nullptr, windowClass.hInstance, nullptr);
  if (!screen) {
    std::fprintf(stderr, "no window: is there a display?\n");
    return 1;
  }
  ::ShowWindow(screen, SW_SHOWNOACTIVATE);
  const double bitBltScreenMs = BitBltMs(screen, width, height, count);

  ShowMarquee(u"Benchmark", u"a marquee text of ordinary length, as a notice would carry", 1000);
  const HWND marquee = GetMarqueeState().window;
  if (!marquee) {
    std::fprintf(stderr, "the marquee did not open\n");
    return 1;
  }
  RECT bar;
  ::GetClientRect(marquee, &bar);
  const double marqueePaintMs = RepaintMs(marquee, count);
  const double bitBltBarMs = BitBltMs(marquee, bar.right, bar.bottom, count);
  double start = NowMs();
  for (int i = 0; i < count; ++i) MarqueeTimerStep(marquee);
  const double tickMs = (NowMs() - start) / count;
  CloseMarquee();

  // Every tick measures the whole text and every paint draws it: a huge text costs in full.
  constexpr int kHugeRounds = 5;
  ShowMarquee(u"", std::u16string(1 << 20, u'x'), 1);
  const HWND huge = GetMarqueeState().window;
  double hugeTickMs = -1;
  double hugePaintMs = -1;
  if (huge) {
    hugePaintMs = RepaintMs(huge, kHugeRounds);
    start = NowMs();
    for (int i = 0; i < kHugeRounds; ++i) MarqueeTimerStep(huge);
    hugeTickMs = (NowMs() - start) / kHugeRounds;
  }
  CloseMarquee();

  ShowPopup(u"Benchmark", u"A popup body that wraps over a few lines of the note.", 1000);
  const HWND popup = GetPopupState().window;
  const double popupPaintMs = popup ? RepaintMs(popup, count) : -1;
  ShutdownOverlay();
  ::DestroyWindow(screen);

  std::printf("screen %dx%d, marquee %ldx%ld, %d rounds\n", width, height, bar.right, bar.bottom,
              count);
  std::printf("marquee_paint %8.3f ms  (WM_PAINT of the real marquee)\n", marqueePaintMs);
  std::printf("marquee_tick  %8.3f ms  (one timer step without its paint)\n", tickMs);
  std::printf("popup_paint   %8.3f ms  (WM_PAINT of the real popup)\n", popupPaintMs);
  std::printf("bitblt_screen %8.3f ms  (one full-screen BitBlt)\n", bitBltScreenMs);
  std::printf("bitblt_bar    %8.3f ms  (one BitBlt of the marquee's size)\n", bitBltBarMs);
  std::printf("huge_tick     %8.3f ms  (one timer step, 1 MB of text)\n", hugeTickMs);
  std::printf("huge_paint    %8.3f ms  (WM_PAINT, 1 MB of text)\n", hugePaintMs);
  std::printf(
      "ratio marquee_paint/bitblt_screen %.2f, popup_paint/bitblt_screen %.2f, "
      "marquee_paint/bitblt_bar %.2f\n",
      marqueePaintMs / bitBltScreenMs, popupPaintMs / bitBltScreenMs, marqueePaintMs / bitBltBarMs);
  return 0;
}
