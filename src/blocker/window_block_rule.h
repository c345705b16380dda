// One blocker rule as Dart sends it, the match test against a window's facts and the text
// helpers that compare paths and names the way the Windows runtime does: A to Z fold, nothing
// else does.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "blocker/window_facts.h"
#include "channels/encodable_value.h"
#include "base/text.h"

namespace blocker {

struct WindowBlockRule {
  std::string id;
  std::u16string processName;
  std::u16string exePath;
  std::u16string titleKeyword;
  std::u16string className;
  std::int32_t minWidth = 0;
  std::int32_t maxWidth = 0;
  std::int32_t minHeight = 0;
  std::int32_t maxHeight = 0;
  std::string action;
  bool enabled = true;
};

// Not reserved: a rule sent under one of these ids is ordinary and shares the id's hidden group.
constexpr std::string_view SuperBlockRuleId = "__super_block__";
constexpr std::string_view ManualRuleId = "manual";

constexpr std::string_view kActionHide = "hide";
constexpr std::string_view kActionClose = "close";

// What the scan found, copied out so that the action can run after the engine's mutex is gone.
// An empty id still ends the scan; the engine then does nothing.
struct RuleMatch {
  std::string id;
  std::string action;
};

std::vector<WindowBlockRule> ReadRuleList(const EncodableValue& arguments);
bool MatchesRule(const WindowBlockRule& rule, const WindowFacts& facts);
// Run with the engine's mutex held: it walks the engine's list.
std::optional<RuleMatch> FindRuleForWindow(const std::vector<WindowBlockRule>& rules,
                                           const WindowFacts& facts, bool hideOnly);
std::string EnsureActionVerb(const WindowBlockRule& rule);

using ::FoldCase;
bool ContainsFolded(std::u16string_view haystack, std::u16string_view needle);
// Unlike the shared helper of base/text.h, an empty prefix starts nothing here.
bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix);
std::u16string NormalizePath(std::u16string_view path);
std::u16string BaseNameWithoutExe(std::u16string_view path);
std::u16string RuleDisplayName(const WindowFacts& facts);

}  // namespace blocker
