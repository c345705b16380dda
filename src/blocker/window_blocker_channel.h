// The window blocker's method channel, "com.kelvo.tarnel/window_blocker": the Dart side's only
// way to drive the engine and to learn what it did.
#pragma once

#include <memory>

#include "blocker/window_blocker.h"
#include "channels/encodable_value.h"
#include "channels/method_call.h"
#include "channels/method_result.h"

namespace blocker {

EncodableMap WindowFactsToMap(const WindowFacts& facts);
EncodableMap BlockLogToMap(const BlockLogEntry& entry);
EncodableMap RuleToMap(const WindowBlockRule& rule);

// Built fresh from the engine on each call; may end an expired super block.
EncodableMap GetSnapshot();

}  // namespace blocker

// Answers every call before it returns, and never with an error: a bad argument is a default.
void WindowBlockerChannelHandler(const MethodCall& call, std::unique_ptr<MethodResult> result);
