#include "overlay/overlay_strings.h"

OverlayStrings& GetOverlayStrings() {
  static OverlayStrings strings;
  return strings;
}

void ReplaceUnlessEmpty(std::u16string& text, const std::u16string& replacement) {
  if (!replacement.empty()) text = replacement;
}

void SetOverlayStrings(const OverlayStrings& replacements) {
  OverlayStrings& strings = GetOverlayStrings();
  ReplaceUnlessEmpty(strings.marqueePrefix, replacements.marqueePrefix);
  ReplaceUnlessEmpty(strings.defaultPopupTitle, replacements.defaultPopupTitle);
  ReplaceUnlessEmpty(strings.defaultDownloadCompleteTitle,
                     replacements.defaultDownloadCompleteTitle);
  ReplaceUnlessEmpty(strings.openFile, replacements.openFile);
  ReplaceUnlessEmpty(strings.later, replacements.later);
}
