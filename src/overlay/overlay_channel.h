// The overlay channel, "com.kelvo.tarnel/overlay_notification": Dart shows and closes the
// notices and localises their texts. Nothing flows back: clicks and timeouts stay native.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "channels/encodable_value.h"
#include "channels/method_call.h"
#include "channels/method_result.h"

// The main window's tray texts, which setNativeStrings replaces as well.
struct TrayTexts {
  std::u16string* showText = nullptr;
  std::u16string* exitText = nullptr;
};

// Only the 32-bit alternative counts: a missing key, a 64-bit value (a number too large to be
// meant) or any other alternative gives the default.
std::int32_t GetInt32Only(const EncodableMap& map, std::string_view key, std::int32_t defaultValue);

// Answers every call before it returns: true for a handled call, INVALID_ARGS for a show or
// setNativeStrings whose arguments are no map, not implemented for an unknown method.
void HandleOverlayCall(const MethodCall& call, std::unique_ptr<MethodResult> result,
                       const TrayTexts& tray);
