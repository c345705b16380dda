// The marquee: a thin dark bar across the top of the primary screen, above everything, that
// scrolls one line from right to left a number of times and then closes by itself.
#pragma once

#include <cstdint>
#include <string>

#include "base/geometry.h"
#include "paint/paint_plan.h"
#include "platform/handles.h"

struct MarqueeState {
  platform::WindowHandle window = nullptr;
  std::uintptr_t timer = 0;  // SetTimer's answer; 0 when stopped
  std::u16string text;
  std::int32_t playCount = 0;
  std::int32_t passesDone = 0;
  std::int32_t position = 0;  // the text's left edge in client coordinates
};

// Process-wide, main thread only.
MarqueeState& GetMarqueeState();

std::u16string BuildMarqueeText(const std::u16string& prefix, const std::u16string& title,
                                const std::u16string& content);

void ShowMarquee(const std::u16string& title, const std::u16string& content,
                 std::int32_t playCount);
// Safe to repeat: the state is cleared whether or not there was a window.
void CloseMarquee();

// One tick of timer 1001.
void MarqueeTimerStep(platform::WindowHandle window);
// What a tick does with the position, once the text's width is known.
enum class MarqueeTick { kScrolled, kRestarted, kFinished };
MarqueeTick AdvanceMarquee(MarqueeState& state, int step, int textWidth, int screenWidth);

// The close button's square.
Rect MarqueeCloseButton(int clientWidth, double scale);
bool MarqueeCloseButtonHit(int clientWidth, double scale, Point point);

struct MarqueePaintInput {
  Size client;
  double scale = 1.0;
  std::u16string text;
  int position = 0;
};
paint::Plan PlanMarqueePaint(const MarqueePaintInput& input);
// The font the text is both measured and drawn in.
paint::Font MarqueeTextFont(double scale);

// The plan for the window as it is now: its client size, scale and the stored text.
paint::Plan PlanMarqueeWindowPaint(platform::WindowHandle window);
void PaintMarquee(platform::WindowHandle window);
void ClickMarquee(platform::WindowHandle window, std::intptr_t lParam);
