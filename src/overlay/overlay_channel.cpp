#include "overlay/overlay_channel.h"

#include "channels/channel_arguments.h"
#include "overlay/marquee.h"
#include "overlay/overlay_strings.h"
#include "overlay/popup.h"

namespace {

constexpr std::int32_t kDefaultPlayCount = 5;
constexpr std::int32_t kDefaultPopupDuration = 5;
constexpr std::int32_t kDefaultPromptDuration = 0;

void SetNativeStrings(const EncodableMap& map, const TrayTexts& tray) {
  OverlayStrings replacements;
  replacements.marqueePrefix = GetWideString(map, "marqueePrefix");
  replacements.defaultPopupTitle = GetWideString(map, "defaultPopupTitle");
  replacements.defaultDownloadCompleteTitle = GetWideString(map, "defaultDownloadCompleteTitle");
  replacements.openFile = GetWideString(map, "openFile");
  replacements.later = GetWideString(map, "later");
  SetOverlayStrings(replacements);
  if (tray.showText) ReplaceUnlessEmpty(*tray.showText, GetWideString(map, "trayShowWindow"));
  if (tray.exitText) ReplaceUnlessEmpty(*tray.exitText, GetWideString(map, "trayExit"));
}

}  // namespace

std::int32_t GetInt32Only(const EncodableMap& map, std::string_view key,
                          std::int32_t defaultValue) {
  const auto found = map.find(EncodableValue(std::string(key)));
  if (found == map.end()) return defaultValue;
  const auto* value = std::get_if<std::int32_t>(&found->second);
  return value ? *value : defaultValue;
}

void HandleOverlayCall(const MethodCall& call, std::unique_ptr<MethodResult> result,
                       const TrayTexts& tray) {
  const std::string& method = call.method_name();
  const bool readsArguments = method == "showMarquee" || method == "showPopup" ||
                              method == "showFileOpenPrompt" || method == "setNativeStrings";
  const EncodableValue* arguments = call.arguments();
  const auto* map = arguments ? std::get_if<EncodableMap>(arguments) : nullptr;
  if (readsArguments && !map) {
    result->Error("INVALID_ARGS", "Invalid arguments");
    return;
  }
  if (method == "showMarquee") {
    ShowMarquee(GetWideString(*map, "title"), GetWideString(*map, "content"),
                GetInt32Only(*map, "playCount", kDefaultPlayCount));
  } else if (method == "showPopup") {
    ShowPopup(GetWideString(*map, "title"), GetWideString(*map, "content"),
              GetInt32Only(*map, "duration", kDefaultPopupDuration));
  } else if (method == "showFileOpenPrompt") {
    ShowFileOpenPrompt(GetWideString(*map, "title"), GetWideString(*map, "content"),
                       GetWideString(*map, "filePath"),
                       GetInt32Only(*map, "duration", kDefaultPromptDuration));
  } else if (method == "closeMarquee") {
    CloseMarquee();
  } else if (method == "closePopup") {
    ClosePopup();
  } else if (method == "setNativeStrings") {
    SetNativeStrings(*map, tray);
  } else {
    result->NotImplemented();
    return;
  }
  result->Success(EncodableValue(true));
}
