#include "blocker/window_blocker_channel.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "channels/channel_arguments.h"
#include "base/text.h"

namespace blocker {

namespace {

EncodableValue Key(std::string_view key) { return EncodableValue(std::string(key)); }

EncodableValue Text(std::u16string_view text) { return EncodableValue(WideToUtf8(text)); }

const EncodableValue* Find(const EncodableMap& map, std::string_view key) {
  const auto it = map.find(Key(key));
  return it == map.end() ? nullptr : &it->second;
}

std::vector<std::u16string> ReadWhitelist(const EncodableMap& map) {
  std::vector<std::u16string> paths;
  const EncodableValue* value = Find(map, "whitelistExePaths");
  const auto* list = value ? std::get_if<EncodableList>(value) : nullptr;
  if (!list) return paths;
  for (const EncodableValue& element : *list) {
    // Ends at an embedded NUL, as every other text read from the channel does.
    if (const auto* text = std::get_if<std::string>(&element)) {
      paths.push_back(Utf8ToWide(std::string_view(text->c_str())));
    }
  }
  return paths;
}

WindowHandle ReadWindowHandle(const EncodableMap& map) {
  const EncodableValue* value = Find(map, "hwnd");
  if (!value) return nullptr;
  std::int64_t raw = 0;
  if (const auto* wide = std::get_if<std::int64_t>(value)) {
    raw = *wide;
  } else if (const auto* narrow = std::get_if<std::int32_t>(value)) {
    raw = *narrow;
  }
  return reinterpret_cast<WindowHandle>(static_cast<std::intptr_t>(raw));
}

// Strings replace the default even when empty; the engine decides what an empty one means.
std::string ReadStringOr(const EncodableMap& map, std::string_view key, std::string fallback) {
  const EncodableValue* value = Find(map, key);
  if (value) {
    if (const auto* text = std::get_if<std::string>(value)) return *text;
  }
  return fallback;
}

}  // namespace

EncodableMap WindowFactsToMap(const WindowFacts& facts) {
  return EncodableMap{
      {Key("hwnd"),
       EncodableValue(static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(facts.hwnd)))},
      {Key("pid"), EncodableValue(static_cast<std::int32_t>(facts.pid))},
      {Key("width"), EncodableValue(facts.width)},
      {Key("height"), EncodableValue(facts.height)},
      {Key("title"), Text(facts.title)},
      {Key("className"), Text(facts.className)},
      {Key("processName"), Text(facts.processName)},
      {Key("exePath"), Text(facts.exePath)},
      {Key("productName"), Text(facts.productName)},
      {Key("firstSeenMs"), EncodableValue(facts.firstSeenMs)},
      {Key("lastSeenMs"), EncodableValue(facts.lastSeenMs)},
      {Key("hitCount"), EncodableValue(facts.hitCount)},
  };
}

EncodableMap BlockLogToMap(const BlockLogEntry& entry) {
  EncodableMap map = WindowFactsToMap(entry.facts);
  map[Key("ruleId")] = EncodableValue(entry.ruleId);
  map[Key("action")] = EncodableValue(entry.action);
  map[Key("blockedAtMs")] = EncodableValue(entry.blockedAtMs);
  return map;
}

EncodableMap RuleToMap(const WindowBlockRule& rule) {
  return EncodableMap{
      {Key("id"), EncodableValue(rule.id)},
      {Key("processName"), Text(rule.processName)},
      {Key("exePath"), Text(rule.exePath)},
      {Key("titleKeyword"), Text(rule.titleKeyword)},
      {Key("className"), Text(rule.className)},
      {Key("minWidth"), EncodableValue(rule.minWidth)},
      {Key("maxWidth"), EncodableValue(rule.maxWidth)},
      {Key("minHeight"), EncodableValue(rule.minHeight)},
      {Key("maxHeight"), EncodableValue(rule.maxHeight)},
      {Key("action"), EncodableValue(rule.action)},
      {Key("enabled"), EncodableValue(rule.enabled)},
  };
}

EncodableMap GetSnapshot() {
  const BlockerSnapshot data = WindowBlocker::Instance().GetSnapshotData();
  EncodableList windows;
  windows.reserve(data.candidateWindows.size());
  for (const WindowFacts& facts : data.candidateWindows)
    windows.emplace_back(WindowFactsToMap(facts));
  EncodableList logs;
  logs.reserve(data.blockedLogs.size());
  for (const BlockLogEntry& entry : data.blockedLogs) logs.emplace_back(BlockLogToMap(entry));
  EncodableList rules;
  rules.reserve(data.rules.size());
  for (const WindowBlockRule& rule : data.rules) rules.emplace_back(RuleToMap(rule));
  return EncodableMap{
      {Key("enabled"), EncodableValue(data.enabled)},
      {Key("running"), EncodableValue(data.running)},
      {Key("candidateWindows"), EncodableValue(std::move(windows))},
      {Key("blockedLogs"), EncodableValue(std::move(logs))},
      {Key("rules"), EncodableValue(std::move(rules))},
      {Key("blockedCount"), EncodableValue(static_cast<std::int32_t>(data.blockedLogs.size()))},
      {Key("superEnabled"), EncodableValue(data.superEnabled)},
      {Key("superEndTimeMs"), EncodableValue(data.superEndTimeMs)},
      {Key("superBlockedCount"), EncodableValue(data.superBlockedCount)},
  };
}

}  // namespace blocker

void WindowBlockerChannelHandler(const MethodCall& call, std::unique_ptr<MethodResult> result) {
  using blocker::WindowBlocker;
  static const EncodableMap kNoArguments;
  const EncodableValue* raw = call.arguments();
  const auto* asMap = raw ? std::get_if<EncodableMap>(raw) : nullptr;
  const EncodableMap& arguments = asMap ? *asMap : kNoArguments;
  const std::string& method = call.method_name();
  WindowBlocker& engine = WindowBlocker::Instance();

  if (method == "startMonitoring") {
    engine.StartMonitoring();
    result->Success(EncodableValue(true));
  } else if (method == "stopMonitoring") {
    engine.StopMonitoring();
    result->Success(EncodableValue(true));
  } else if (method == "setEnabled") {
    engine.SetEnabled(GetBool(arguments, "enabled", true));
    result->Success(EncodableValue(true));
  } else if (method == "replaceRules") {
    engine.ReplaceRules(blocker::ReadRuleList(EncodableValue(arguments)));
    result->Success(EncodableValue(true));
  } else if (method == "setSuperBlock") {
    engine.SetSuperBlock(GetBool(arguments, "enabled", false), GetInt64(arguments, "endTimeMs", 0),
                         blocker::ReadWhitelist(arguments));
    result->Success(EncodableValue(true));
  } else if (method == "getSnapshot") {
    result->Success(EncodableValue(blocker::GetSnapshot()));
  } else if (method == "clearLogs") {
    engine.ClearLogs();
    result->Success(EncodableValue(true));
  } else if (method == "blockWindowNow") {
    const bool done = engine.BlockWindowNow(
        blocker::ReadWindowHandle(arguments),
        blocker::ReadStringOr(arguments, "action", std::string(blocker::kActionClose)),
        blocker::ReadStringOr(arguments, "ruleId", std::string(blocker::ManualRuleId)));
    result->Success(EncodableValue(done));
  } else if (method == "applyRulesToExistingWindows") {
    result->Success(EncodableValue(engine.ApplyRulesToExistingWindows()));
  } else {
    result->NotImplemented();
  }
}
