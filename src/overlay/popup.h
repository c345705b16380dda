// The popup: a centred pale yellow note with a title, a close button and a wrapped body, which
// closes by itself; and the file prompt, the same window with an open and a later button. One
// window at most: showing either form closes the one before.
#pragma once

#include <cstdint>
#include <string>

#include "base/geometry.h"
#include "paint/paint_plan.h"
#include "platform/handles.h"

struct PopupState {
  platform::WindowHandle window = nullptr;
  std::uintptr_t timer = 0;  // SetTimer's answer; 0 when stopped
  std::u16string title;
  std::u16string content;
  std::u16string filePath;    // empty in the plain popup
  std::int32_t duration = 0;  // seconds
  bool isFilePrompt = false;
};

// Process-wide, main thread only.
PopupState& GetPopupState();

void ShowPopup(const std::u16string& title, const std::u16string& content, std::int32_t duration);
void ShowFileOpenPrompt(const std::u16string& title, const std::u16string& content,
                        const std::u16string& filePath, std::int32_t duration);
// Safe to repeat: the state is cleared whether or not there was a window.
void ClosePopup();

// A plain popup always closes (at least 1 s); a prompt without a duration waits for the user (0).
std::int32_t PopupDuration(std::int32_t requested);
std::int32_t PromptDuration(std::int32_t requested);
// SetTimer's period for a duration in seconds, within what SetTimer takes.
unsigned PopupTimerMilliseconds(std::int32_t duration);

struct PromptButtons {
  Rect open;
  Rect later;
};
Rect PopupCloseButton(int clientWidth, double scale);
PromptButtons PromptButtonRects(Size client);

enum class PopupHit { kNothing, kClose, kOpen, kLater };
PopupHit HitTestPopup(Size client, double scale, bool isFilePrompt, Point point);

struct PopupPaintInput {
  Size client;
  double scale = 1.0;
  std::u16string title;
  std::u16string content;
  bool isFilePrompt = false;
  std::u16string openText;
  std::u16string laterText;
};
paint::Plan PlanPopupPaint(const PopupPaintInput& input);

paint::Plan PlanPopupWindowPaint(platform::WindowHandle window);
void PaintPopup(platform::WindowHandle window);
void ClickPopup(platform::WindowHandle window, std::intptr_t lParam);
