#include "blocker/window_block_rule.h"

#include <variant>

#include "channels/channel_arguments.h"

namespace blocker {

namespace {

constexpr std::u16string_view kExeSuffix = u".exe";
constexpr std::u16string_view kCustomRuleName = u"自定义规则";

bool EndsWithExe(std::u16string_view name) {
  return name.size() > kExeSuffix.size() &&
         EqualsFolded(name.substr(name.size() - kExeSuffix.size()), kExeSuffix);
}

std::u16string_view FileNameOf(std::u16string_view path) {
  const size_t separator = path.find_last_of(u"\\/");
  return separator == std::u16string_view::npos ? path : path.substr(separator + 1);
}

WindowBlockRule ReadRule(const EncodableMap& map) {
  WindowBlockRule rule;
  rule.id = GetString(map, "id");
  rule.processName = GetWideString(map, "processName");
  rule.exePath = GetWideString(map, "exePath");
  rule.titleKeyword = GetWideString(map, "titleKeyword");
  rule.className = GetWideString(map, "className");
  rule.minWidth = GetInt(map, "minWidth", 0);
  rule.maxWidth = GetInt(map, "maxWidth", 0);
  rule.minHeight = GetInt(map, "minHeight", 0);
  rule.maxHeight = GetInt(map, "maxHeight", 0);
  rule.action = GetString(map, "action");
  rule.enabled = GetBool(map, "enabled", true);
  return rule;
}

// Bounds below 1 are no condition, so Dart can send 0 for "any".
bool WithinLowerBound(std::int32_t value, std::int32_t bound) {
  return bound < 1 || value >= bound;
}
bool WithinUpperBound(std::int32_t value, std::int32_t bound) {
  return bound < 1 || value <= bound;
}

}  // namespace

std::vector<WindowBlockRule> ReadRuleList(const EncodableValue& arguments) {
  std::vector<WindowBlockRule> rules;
  const auto* map = std::get_if<EncodableMap>(&arguments);
  if (!map) return rules;
  const auto entry = map->find(EncodableValue(std::string("rules")));
  if (entry == map->end()) return rules;
  const auto* list = std::get_if<EncodableList>(&entry->second);
  if (!list) return rules;
  for (const EncodableValue& element : *list) {
    if (const auto* ruleMap = std::get_if<EncodableMap>(&element)) {
      rules.push_back(ReadRule(*ruleMap));
    }
  }
  return rules;
}

bool MatchesRule(const WindowBlockRule& rule, const WindowFacts& facts) {
  if (!rule.enabled) return false;
  if (!rule.processName.empty() && !EqualsFolded(rule.processName, facts.processName)) return false;
  if (!rule.exePath.empty() && !EqualsFolded(rule.exePath, facts.exePath)) return false;
  if (!rule.titleKeyword.empty() && !ContainsFolded(facts.title, rule.titleKeyword)) return false;
  if (!rule.className.empty() && !ContainsFolded(facts.className, rule.className)) return false;
  if (!WithinLowerBound(facts.width, rule.minWidth)) return false;
  if (!WithinUpperBound(facts.width, rule.maxWidth)) return false;
  if (!WithinLowerBound(facts.height, rule.minHeight)) return false;
  if (!WithinUpperBound(facts.height, rule.maxHeight)) return false;
  // A rule of sizes alone would hit every window of that size; it stays inert instead.
  return !rule.processName.empty() || !rule.exePath.empty() || !rule.titleKeyword.empty() ||
         !rule.className.empty();
}

std::optional<RuleMatch> FindRuleForWindow(const std::vector<WindowBlockRule>& rules,
                                           const WindowFacts& facts, bool hideOnly) {
  for (const WindowBlockRule& rule : rules) {
    if (!MatchesRule(rule, facts)) continue;
    std::string action = EnsureActionVerb(rule);
    if (hideOnly && action != kActionHide) continue;
    return RuleMatch{rule.id, std::move(action)};
  }
  return std::nullopt;
}

std::string EnsureActionVerb(const WindowBlockRule& rule) {
  return rule.action.empty() ? std::string(kActionClose) : rule.action;
}

bool ContainsFolded(std::u16string_view haystack, std::u16string_view needle) {
  if (needle.empty()) return true;
  if (needle.size() > haystack.size()) return false;
  return FoldCase(haystack).find(FoldCase(needle)) != std::u16string::npos;
}

bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix) {
  // An empty prefix would make every path "under" an unreadable directory.
  if (prefix.empty()) return false;
  return ::StartsWithFolded(text, prefix);
}

std::u16string NormalizePath(std::u16string_view path) {
  std::u16string copy(path);
  for (char16_t& unit : copy) {
    if (unit == u'/') unit = u'\\';
  }
  return FoldCase(copy);
}

std::u16string BaseNameWithoutExe(std::u16string_view path) {
  if (path.empty()) return {};
  std::u16string_view name = FileNameOf(path);
  if (EndsWithExe(name)) name.remove_suffix(kExeSuffix.size());
  return std::u16string(name);
}

std::u16string RuleDisplayName(const WindowFacts& facts) {
  const std::u16string_view fileName = FileNameOf(facts.exePath);
  if (!fileName.empty()) return std::u16string(fileName);
  if (!facts.processName.empty()) {
    if (EndsWithExe(facts.processName)) return facts.processName;
    return facts.processName + std::u16string(kExeSuffix);
  }
  if (!facts.productName.empty()) return facts.productName;
  return std::u16string(kCustomRuleName);
}

}  // namespace blocker
