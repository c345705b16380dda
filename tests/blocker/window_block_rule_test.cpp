#include "blocker/window_block_rule.h"

#include <gtest/gtest.h>

#include <string>

using blocker::BaseNameWithoutExe;
using blocker::ContainsFolded;
using blocker::EnsureActionVerb;
using blocker::FindRuleForWindow;
using blocker::MatchesRule;
using blocker::NormalizePath;
using blocker::ReadRuleList;
using blocker::RuleDisplayName;
using blocker::WindowBlockRule;
using blocker::WindowFacts;

namespace {

WindowFacts Notepad() {
  WindowFacts facts;
  facts.pid = 1200;
  facts.width = 800;
  facts.height = 600;
  facts.title = u"Untitled - Notepad";
  facts.className = u"Notepad";
  facts.exePath = u"C:\\Windows\\System32\\notepad.exe";
  facts.processName = u"notepad";
  return facts;
}

WindowBlockRule RuleFor(std::u16string processName, std::string id = "r1",
                        std::string action = "close") {
  WindowBlockRule rule;
  rule.id = std::move(id);
  rule.processName = std::move(processName);
  rule.action = std::move(action);
  return rule;
}

EncodableValue RulesArgument(EncodableList rules) {
  return EncodableValue(EncodableMap{{EncodableValue("rules"), EncodableValue(std::move(rules))}});
}

}  // namespace

// ---- Constants ----

TEST(RuleIds, FixedIdsHaveTheirLiterals) {
  EXPECT_EQ(blocker::SuperBlockRuleId, "__super_block__");
  EXPECT_EQ(blocker::ManualRuleId, "manual");
}

// ---- ReadRuleList ----

TEST(ReadRuleList, ReadsEveryFieldUnderItsKey) {
  const auto rules = ReadRuleList(RulesArgument({EncodableValue(EncodableMap{
      {EncodableValue("id"), EncodableValue("r-7")},
      {EncodableValue("processName"), EncodableValue("Setup")},
      {EncodableValue("exePath"), EncodableValue("D:\\Tools\\setup.exe")},
      {EncodableValue("titleKeyword"), EncodableValue("广告")},
      {EncodableValue("className"), EncodableValue("#32770")},
      {EncodableValue("minWidth"), EncodableValue(int32_t{100})},
      {EncodableValue("maxWidth"), EncodableValue(int32_t{900})},
      {EncodableValue("minHeight"), EncodableValue(int32_t{50})},
      {EncodableValue("maxHeight"), EncodableValue(int32_t{700})},
      {EncodableValue("action"), EncodableValue("hide")},
      {EncodableValue("enabled"), EncodableValue(false)},
  })}));
  ASSERT_EQ(rules.size(), 1u);
  const WindowBlockRule& rule = rules[0];
  EXPECT_EQ(rule.id, "r-7");
  EXPECT_EQ(rule.processName, u"Setup");
  EXPECT_EQ(rule.exePath, u"D:\\Tools\\setup.exe");
  EXPECT_EQ(rule.titleKeyword, u"广告");
  EXPECT_EQ(rule.className, u"#32770");
  EXPECT_EQ(rule.minWidth, 100);
  EXPECT_EQ(rule.maxWidth, 900);
  EXPECT_EQ(rule.minHeight, 50);
  EXPECT_EQ(rule.maxHeight, 700);
  EXPECT_EQ(rule.action, "hide");
  EXPECT_FALSE(rule.enabled);
}

TEST(ReadRuleList, AbsentFieldsTakeTheirDefaults) {
  const auto rules = ReadRuleList(RulesArgument({EncodableValue(EncodableMap{})}));
  ASSERT_EQ(rules.size(), 1u);
  const WindowBlockRule& rule = rules[0];
  EXPECT_EQ(rule.id, "");
  EXPECT_EQ(rule.processName, u"");
  EXPECT_EQ(rule.exePath, u"");
  EXPECT_EQ(rule.titleKeyword, u"");
  EXPECT_EQ(rule.className, u"");
  EXPECT_EQ(rule.minWidth, 0);
  EXPECT_EQ(rule.maxWidth, 0);
  EXPECT_EQ(rule.minHeight, 0);
  EXPECT_EQ(rule.maxHeight, 0);
  EXPECT_EQ(rule.action, "");
  EXPECT_TRUE(rule.enabled);
}

TEST(ReadRuleList, FieldsOfAnotherTypeTakeTheirDefaults) {
  const auto rules = ReadRuleList(RulesArgument({EncodableValue(EncodableMap{
      {EncodableValue("id"), EncodableValue(int32_t{5})},
      {EncodableValue("processName"), EncodableValue(true)},
      {EncodableValue("minWidth"), EncodableValue("100")},
      {EncodableValue("maxHeight"), EncodableValue(3.5)},
      {EncodableValue("action"), EncodableValue(EncodableList{})},
      {EncodableValue("enabled"), EncodableValue(int32_t{0})},
  })}));
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(rules[0].id, "");
  EXPECT_EQ(rules[0].processName, u"");
  EXPECT_EQ(rules[0].minWidth, 0);
  EXPECT_EQ(rules[0].maxHeight, 0);
  EXPECT_EQ(rules[0].action, "");
  EXPECT_TRUE(rules[0].enabled);
}

TEST(ReadRuleList, BoundSentAs64BitsKeepsItsLow32Bits) {
  const auto rules = ReadRuleList(RulesArgument({EncodableValue(EncodableMap{
      {EncodableValue("minWidth"), EncodableValue(int64_t{0x100000000LL + 640})},
      {EncodableValue("maxWidth"), EncodableValue(int64_t{0xFFFFFFFFLL})},
  })}));
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(rules[0].minWidth, 640);
  EXPECT_EQ(rules[0].maxWidth, -1);
}

TEST(ReadRuleList, NothingIsTrimmedFoldedOrNormalised) {
  const auto rules = ReadRuleList(RulesArgument({EncodableValue(EncodableMap{
      {EncodableValue("processName"), EncodableValue(" Notepad.EXE ")},
      {EncodableValue("exePath"), EncodableValue("c:/Tools/A.exe")},
      {EncodableValue("action"), EncodableValue(" HIDE")},
  })}));
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(rules[0].processName, u" Notepad.EXE ");
  EXPECT_EQ(rules[0].exePath, u"c:/Tools/A.exe");
  EXPECT_EQ(rules[0].action, " HIDE");
}

TEST(ReadRuleList, KeepsTheCallersOrderAndRulesWithOneId) {
  const auto rules = ReadRuleList(RulesArgument({
      EncodableValue(EncodableMap{{EncodableValue("id"), EncodableValue("b")}}),
      EncodableValue(EncodableMap{{EncodableValue("id"), EncodableValue("a")}}),
      EncodableValue(EncodableMap{{EncodableValue("id"), EncodableValue("b")}}),
  }));
  ASSERT_EQ(rules.size(), 3u);
  EXPECT_EQ(rules[0].id, "b");
  EXPECT_EQ(rules[1].id, "a");
  EXPECT_EQ(rules[2].id, "b");
}

TEST(ReadRuleList, StringElementIsSkippedAndLaterElementsAreStillRead) {
  const auto rules = ReadRuleList(RulesArgument({
      EncodableValue(EncodableMap{{EncodableValue("id"), EncodableValue("first")}}),
      EncodableValue("not a rule"),
      EncodableValue(int32_t{3}),
      EncodableValue(EncodableMap{{EncodableValue("id"), EncodableValue("last")}}),
  }));
  ASSERT_EQ(rules.size(), 2u);
  EXPECT_EQ(rules[0].id, "first");
  EXPECT_EQ(rules[1].id, "last");
}

TEST(ReadRuleList, NoArgumentsGiveAnEmptyList) {
  EXPECT_TRUE(ReadRuleList(EncodableValue()).empty());
}

TEST(ReadRuleList, ArgumentsThatAreNotAMapGiveAnEmptyList) {
  EXPECT_TRUE(ReadRuleList(EncodableValue(EncodableList{EncodableValue(EncodableMap{})})).empty());
}

TEST(ReadRuleList, MissingRulesEntryGivesAnEmptyList) {
  EXPECT_TRUE(ReadRuleList(EncodableValue(EncodableMap{
                               {EncodableValue("rule"), EncodableValue(EncodableList{})}}))
                  .empty());
}

TEST(ReadRuleList, RulesEntryThatIsNotAListGivesAnEmptyList) {
  EXPECT_TRUE(ReadRuleList(EncodableValue(EncodableMap{
                               {EncodableValue("rules"), EncodableValue(EncodableMap{})}}))
                  .empty());
}

TEST(ReadRuleList, ReadsRulesThatNothingCouldEverMatch) {
  const auto rules = ReadRuleList(RulesArgument({EncodableValue(EncodableMap{
      {EncodableValue("minWidth"), EncodableValue(int32_t{900})},
      {EncodableValue("maxWidth"), EncodableValue(int32_t{100})},
  })}));
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(rules[0].minWidth, 900);
  EXPECT_EQ(rules[0].maxWidth, 100);
}

// ---- MatchesRule ----

TEST(MatchesRule, OnlyMinWidthMatchesNoWindowHoweverLarge) {
  WindowBlockRule rule;
  rule.minWidth = 1;
  WindowFacts facts = Notepad();
  facts.width = 100000;
  facts.height = 100000;
  EXPECT_FALSE(MatchesRule(rule, facts));
}

TEST(MatchesRule, SizeBoundsAloneNeverMatch) {
  WindowBlockRule rule;
  rule.minWidth = 100;
  rule.maxWidth = 1000;
  rule.minHeight = 100;
  rule.maxHeight = 1000;
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, EmptyRuleMatchesNothing) {
  EXPECT_FALSE(MatchesRule(WindowBlockRule{}, Notepad()));
}

TEST(MatchesRule, ProcessNameInCapitalsMatchesNotepadInTheWindowsDirectory) {
  EXPECT_TRUE(MatchesRule(RuleFor(u"NOTEPAD"), Notepad()));
}

TEST(MatchesRule, ProcessNameIsAWholeStringTest) {
  EXPECT_FALSE(MatchesRule(RuleFor(u"note"), Notepad()));
  EXPECT_FALSE(MatchesRule(RuleFor(u"notepad2"), Notepad()));
}

TEST(MatchesRule, ProcessNameSentWithExeEndingNeverMatches) {
  EXPECT_FALSE(MatchesRule(RuleFor(u"notepad.exe"), Notepad()));
}

TEST(MatchesRule, ExePathMatchesWithoutRegardToAsciiCase) {
  WindowBlockRule rule;
  rule.exePath = u"c:\\WINDOWS\\system32\\NOTEPAD.EXE";
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, ExePathIsAWholeStringTest) {
  WindowBlockRule rule;
  rule.exePath = u"C:\\Windows\\System32";
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, ExePathWithForwardSlashesNeverMatchesABackslashPath) {
  WindowBlockRule rule;
  rule.exePath = u"C:/Windows/System32/notepad.exe";
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, TitleKeywordAbcMatchesTitleXABCx) {
  WindowBlockRule rule;
  rule.titleKeyword = u"abc";
  WindowFacts facts = Notepad();
  facts.title = u"xABCx";
  EXPECT_TRUE(MatchesRule(rule, facts));
}

TEST(MatchesRule, TitleKeywordEAcuteDoesNotMatchCapitalEAcute) {
  WindowBlockRule rule;
  rule.titleKeyword = u"é";
  WindowFacts facts = Notepad();
  facts.title = u"É";
  EXPECT_FALSE(MatchesRule(rule, facts));
  facts.title = u"café";
  EXPECT_TRUE(MatchesRule(rule, facts));
}

TEST(MatchesRule, ClassNameIsASubstringCondition) {
  WindowBlockRule rule;
  rule.className = u"otep";
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
  rule.className = u"Edit";
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, MinWidthEqualToTheWidthPasses) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.minWidth = 800;
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
  rule.minWidth = 801;
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, MaxWidthEqualToTheWidthPasses) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.maxWidth = 800;
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
  rule.maxWidth = 799;
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, HeightBoundsAreInclusive) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.minHeight = 600;
  rule.maxHeight = 600;
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
  rule.minHeight = 601;
  rule.maxHeight = 0;
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
  rule.minHeight = 0;
  rule.maxHeight = 599;
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, NegativeMinWidthPlacesNoCondition) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.minWidth = -5;
  WindowFacts facts = Notepad();
  facts.width = -100;
  EXPECT_TRUE(MatchesRule(rule, facts));
}

TEST(MatchesRule, ZeroAndNegativeBoundsPlaceNoCondition) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.maxWidth = -1;
  rule.minHeight = 0;
  rule.maxHeight = -100;
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, MinWidthAboveMaxWidthMatchesNothing) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.minWidth = 900;
  rule.maxWidth = 700;
  for (int width : {600, 700, 800, 900, 1000}) {
    WindowFacts facts = Notepad();
    facts.width = width;
    EXPECT_FALSE(MatchesRule(rule, facts)) << width;
  }
}

TEST(MatchesRule, DisabledRuleNeverMatches) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.enabled = false;
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, AllConditionsMustHold) {
  WindowBlockRule rule = RuleFor(u"notepad");
  rule.titleKeyword = u"untitled";
  rule.className = u"note";
  EXPECT_TRUE(MatchesRule(rule, Notepad()));
  rule.titleKeyword = u"saved";
  EXPECT_FALSE(MatchesRule(rule, Notepad()));
}

TEST(MatchesRule, RuleOfTextConditionsMatchesWindowWithEmptyPathWhenTheyHold) {
  WindowBlockRule rule;
  rule.titleKeyword = u"Notepad";
  WindowFacts facts = Notepad();
  facts.exePath.clear();
  facts.processName.clear();
  EXPECT_TRUE(MatchesRule(rule, facts));
}

// ---- FindRuleForWindow and EnsureActionVerb ----

TEST(FindRuleForWindow, FirstMatchingCloseWinsWithoutHideOnly) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "c", "close"),
                                              RuleFor(u"notepad", "h", "hide")};
  const auto found = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "c");
  EXPECT_EQ(found->action, "close");
}

TEST(FindRuleForWindow, HideOnlyPassesOverTheCloseAndAnswersTheHide) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "c", "close"),
                                              RuleFor(u"notepad", "h", "hide")};
  const auto found = FindRuleForWindow(rules, Notepad(), true);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "h");
  EXPECT_EQ(found->action, "hide");
}

TEST(FindRuleForWindow, EmptyActionAnswersClose) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "e", "")};
  const auto found = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "e");
  EXPECT_EQ(found->action, "close");
}

TEST(FindRuleForWindow, EmptyActionIsPassedOverUnderHideOnly) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "e", "")};
  EXPECT_FALSE(FindRuleForWindow(rules, Notepad(), true).has_value());
}

TEST(FindRuleForWindow, HideInOtherLetterCaseIsNotAHide) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "H", "Hide"),
                                              RuleFor(u"notepad", "h", "hide")};
  const auto all = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(all.has_value());
  EXPECT_EQ(all->action, "Hide");
  const auto hides = FindRuleForWindow(rules, Notepad(), true);
  ASSERT_TRUE(hides.has_value());
  EXPECT_EQ(hides->id, "h");
}

TEST(FindRuleForWindow, UnknownActionIsAnsweredAsSent) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "m", "minimise")};
  const auto found = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->action, "minimise");
}

TEST(FindRuleForWindow, DisabledRuleStopsNothingAndTheScanGoesOn) {
  WindowBlockRule disabled = RuleFor(u"notepad", "off", "hide");
  disabled.enabled = false;
  const std::vector<WindowBlockRule> rules = {disabled, RuleFor(u"notepad", "on", "close")};
  const auto found = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "on");
}

TEST(FindRuleForWindow, FirstRuleWinsOverAMoreSpecificLaterRule) {
  WindowBlockRule specific = RuleFor(u"notepad", "specific", "hide");
  specific.exePath = u"C:\\Windows\\System32\\notepad.exe";
  specific.titleKeyword = u"Untitled";
  specific.minWidth = 800;
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "broad", "close"), specific};
  const auto found = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "broad");
}

TEST(FindRuleForWindow, EmptyIdStillEndsTheScan) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "", "close"),
                                              RuleFor(u"notepad", "later", "close")};
  const auto found = FindRuleForWindow(rules, Notepad(), false);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "");
  EXPECT_EQ(found->action, "close");
}

TEST(FindRuleForWindow, NoMatchingRuleGivesNoAnswer) {
  const std::vector<WindowBlockRule> rules = {RuleFor(u"calc"), RuleFor(u"mspaint")};
  EXPECT_FALSE(FindRuleForWindow(rules, Notepad(), false).has_value());
  EXPECT_FALSE(FindRuleForWindow({}, Notepad(), false).has_value());
}

TEST(FindRuleForWindow, AnswerIsACopyThatOutlivesTheList) {
  std::optional<blocker::RuleMatch> found;
  {
    std::vector<WindowBlockRule> rules = {RuleFor(u"notepad", "gone", "hide")};
    found = FindRuleForWindow(rules, Notepad(), false);
    rules.clear();
  }
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "gone");
  EXPECT_EQ(found->action, "hide");
}

TEST(EnsureActionVerb, EmptyActionBecomesClose) {
  EXPECT_EQ(EnsureActionVerb(WindowBlockRule{}), "close");
}

TEST(EnsureActionVerb, AnyOtherActionStaysAsItIs) {
  EXPECT_EQ(EnsureActionVerb(RuleFor(u"x", "r", "hide")), "hide");
  EXPECT_EQ(EnsureActionVerb(RuleFor(u"x", "r", "HIDE")), "HIDE");
  EXPECT_EQ(EnsureActionVerb(RuleFor(u"x", "r", " ")), " ");
}

// ---- Text helpers ----

TEST(FoldCase, FoldsAsciiLettersOnly) {
  EXPECT_EQ(blocker::FoldCase(u"ABC xyz ÀÉ Ω Я [@]"), u"abc xyz ÀÉ Ω Я [@]");
}

TEST(ContainsFolded, EmptyNeedleIsFoundEverywhere) {
  EXPECT_TRUE(ContainsFolded(u"", u""));
  EXPECT_TRUE(ContainsFolded(u"abc", u""));
}

TEST(ContainsFolded, NeedleLongerThanHaystackIsNotFound) {
  EXPECT_FALSE(ContainsFolded(u"ab", u"abc"));
  EXPECT_FALSE(ContainsFolded(u"", u"a"));
}

TEST(ContainsFolded, FindsARunAnywhereWithoutRegardToAsciiCase) {
  EXPECT_TRUE(ContainsFolded(u"Hello World", u"O w"));
  EXPECT_TRUE(ContainsFolded(u"Hello World", u"WORLD"));
  EXPECT_TRUE(ContainsFolded(u"Hello World", u"hELLO"));
  EXPECT_FALSE(ContainsFolded(u"Hello World", u"Worlds"));
}

TEST(ContainsFolded, ComparesSixteenBitUnits) {
  const std::u16string pair = u"\U0001F600";
  EXPECT_TRUE(ContainsFolded(u"a\U0001F600b", pair.substr(0, 1)));
}

TEST(StartsWithFolded, EmptyPrefixGivesFalse) {
  EXPECT_FALSE(blocker::StartsWithFolded(u"abc", u""));
  EXPECT_FALSE(blocker::StartsWithFolded(u"", u""));
}

TEST(StartsWithFolded, TextShorterThanPrefixGivesFalse) {
  EXPECT_FALSE(blocker::StartsWithFolded(u"C:\\Win", u"C:\\Windows\\"));
}

TEST(StartsWithFolded, ComparesThePrefixWithoutRegardToAsciiCase) {
  EXPECT_TRUE(blocker::StartsWithFolded(u"c:\\WINDOWS\\x.exe", u"C:\\Windows\\"));
  EXPECT_TRUE(blocker::StartsWithFolded(u"abc", u"ABC"));
  EXPECT_FALSE(blocker::StartsWithFolded(u"Ébc", u"éb"));
  EXPECT_FALSE(blocker::StartsWithFolded(u"abd", u"abc"));
}

TEST(NormalizePath, TurnsForwardSlashesIntoBackslashesAndFolds) {
  EXPECT_EQ(NormalizePath(u"C:/Program Files/App\\Tool.EXE"), u"c:\\program files\\app\\tool.exe");
  EXPECT_EQ(NormalizePath(u""), u"");
  EXPECT_EQ(NormalizePath(u"D:/Ärger/X"), u"d:\\Ärger\\x");
}

TEST(BaseNameWithoutExe, EmptyPathGivesEmpty) { EXPECT_EQ(BaseNameWithoutExe(u""), u""); }

TEST(BaseNameWithoutExe, ForwardSlashPathEndingInUpperCaseExeGivesTheName) {
  EXPECT_EQ(BaseNameWithoutExe(u"C:/tools/sub/b.EXE"), u"b");
}

TEST(BaseNameWithoutExe, ExeBakStaysUnchanged) {
  EXPECT_EQ(BaseNameWithoutExe(u"C:\\tools\\b.exe.bak"), u"b.exe.bak");
}

TEST(BaseNameWithoutExe, PathEndingInASeparatorGivesEmpty) {
  EXPECT_EQ(BaseNameWithoutExe(u"C:\\tools\\"), u"");
  EXPECT_EQ(BaseNameWithoutExe(u"C:/tools/"), u"");
}

TEST(BaseNameWithoutExe, KeepsTheCaseOfTheName) {
  EXPECT_EQ(BaseNameWithoutExe(u"D:\\Apps\\Tool.EXE"), u"Tool");
}

TEST(BaseNameWithoutExe, NameThatIsOnlyExeStays) {
  EXPECT_EQ(BaseNameWithoutExe(u"C:\\x\\.exe"), u".exe");
  EXPECT_EQ(BaseNameWithoutExe(u".EXE"), u".EXE");
}

TEST(BaseNameWithoutExe, PathWithoutSeparatorIsTheName) {
  EXPECT_EQ(BaseNameWithoutExe(u"setup.exe"), u"setup");
  EXPECT_EQ(BaseNameWithoutExe(u"a.exe"), u"a");
}

TEST(BaseNameWithoutExe, LastSeparatorOfEitherKindCounts) {
  EXPECT_EQ(BaseNameWithoutExe(u"C:/a\\b/c.exe"), u"c");
  EXPECT_EQ(BaseNameWithoutExe(u"C:\\a/b\\d.exe"), u"d");
}

TEST(BaseNameWithoutExe, OtherEndingsStay) {
  EXPECT_EQ(BaseNameWithoutExe(u"C:\\a\\tool.com"), u"tool.com");
  EXPECT_EQ(BaseNameWithoutExe(u"C:\\a\\toolexe"), u"toolexe");
}

// ---- RuleDisplayName ----

TEST(RuleDisplayName, FileNameOfThePathComesFirstWithItsEnding) {
  WindowFacts facts = Notepad();
  facts.exePath = u"D:/Games/Launcher.EXE";
  EXPECT_EQ(RuleDisplayName(facts), u"Launcher.EXE");
}

TEST(RuleDisplayName, ProcessNameGetsExeAppended) {
  WindowFacts facts;
  facts.processName = u"setup";
  facts.productName = u"Installer";
  EXPECT_EQ(RuleDisplayName(facts), u"setup.exe");
}

TEST(RuleDisplayName, ProcessNameThatEndsInExeStaysAsItIs) {
  WindowFacts facts;
  facts.processName = u"Setup.EXE";
  EXPECT_EQ(RuleDisplayName(facts), u"Setup.EXE");
  facts.processName = u".exe";
  EXPECT_EQ(RuleDisplayName(facts), u".exe.exe");
}

TEST(RuleDisplayName, ProductNameWhenThereIsNoPathOrProcess) {
  WindowFacts facts;
  facts.productName = u"Kelvo Suite";
  EXPECT_EQ(RuleDisplayName(facts), u"Kelvo Suite");
}

TEST(RuleDisplayName, LiteralWhenNothingIsKnown) {
  EXPECT_EQ(RuleDisplayName(WindowFacts{}), u"自定义规则");
}

TEST(RuleDisplayName, PathEndingInASeparatorFallsThroughToTheProcessName) {
  WindowFacts facts;
  facts.exePath = u"D:\\Games\\";
  facts.processName = u"Launcher";
  EXPECT_EQ(RuleDisplayName(facts), u"Launcher.exe");
}
