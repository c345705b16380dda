// The texts that Dart may localise for the overlay windows; the overlay speaks Chinese until it
// is told otherwise. The tray's two texts live with the main window instead.
#pragma once

#include <string>

struct OverlayStrings {
  std::u16string marqueePrefix = u"消息通知: ";
  std::u16string defaultPopupTitle = u"系统通知";
  std::u16string defaultDownloadCompleteTitle = u"下载完成";
  std::u16string openFile = u"打开文件";
  std::u16string later = u"稍后";
};

// Process-wide, main thread only.
OverlayStrings& GetOverlayStrings();

// Each non-empty text of `replacements` replaces the held one; an empty one keeps it, so that Dart
// can send a subset and can never clear a text.
void SetOverlayStrings(const OverlayStrings& replacements);

// Replaces `text` with `replacement` unless the replacement is empty.
void ReplaceUnlessEmpty(std::u16string& text, const std::u16string& replacement);
