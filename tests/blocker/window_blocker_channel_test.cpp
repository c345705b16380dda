#include "blocker/window_blocker_channel.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "blocker/window_blocker.h"
#include "channels/binary_messenger_impl.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "sim_messenger.h"
#include "sim_user.h"
#include "sim_core.h"
#include "sim_kernel.h"

// gtest's own printer does not terminate on these recursive types.
void Describe(const EncodableValue& value, std::ostream& out) {
  if (const auto* map = std::get_if<EncodableMap>(&value)) {
    out << '{';
    for (const auto& [key, entry] : *map) {
      Describe(key, out);
      out << ": ";
      Describe(entry, out);
      out << ", ";
    }
    out << '}';
  } else if (const auto* list = std::get_if<EncodableList>(&value)) {
    out << '[';
    for (const auto& entry : *list) {
      Describe(entry, out);
      out << ", ";
    }
    out << ']';
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    out << '"' << *text << '"';
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    out << (*flag ? "true" : "false");
  } else if (const auto* narrow = std::get_if<std::int32_t>(&value)) {
    out << *narrow << "i32";
  } else if (const auto* wide = std::get_if<std::int64_t>(&value)) {
    out << *wide << "i64";
  } else {
    out << "<alternative " << value.index() << '>';
  }
}

void PrintTo(const EncodableValue& value, std::ostream* out) { Describe(value, *out); }
void PrintTo(const EncodableMap& map, std::ostream* out) { Describe(EncodableValue(map), *out); }

using blocker::WindowBlocker;
using platform::WindowHandle;

namespace {

constexpr std::uint32_t kAdPid = 1200;
constexpr std::uint32_t kNotesPid = 1300;
const std::u16string kAdPath = u"C:\\Apps\\AdTool\\adpop.exe";
const std::u16string kNotesPath = u"D:\\Tools\\notes.exe";
constexpr std::int64_t kStartMs = 1'700'000'000'000;

constexpr std::size_t kInt32Index = 2;
constexpr std::size_t kInt64Index = 3;

WindowBlocker& Engine() { return WindowBlocker::Instance(); }

sim::DesktopWindow PopupWindow(std::uint32_t pid, std::u16string title = u"Pop-up Ad") {
  sim::DesktopWindow window;
  window.pid = pid;
  window.className = u"AdPopupWindow";
  window.title = std::move(title);
  window.frameBounds = Rect{100, 100, 500, 400};
  window.windowRect = Rect{100, 100, 500, 400};
  return window;
}

bool Visible(WindowHandle window) {
  const auto found = sim::Window(window);
  return found && found->visible;
}

// WM_CLOSE posted to the window: the close itself and its repeats.
int ClosesPosted(WindowHandle window) {
  const std::string call = "PostMessageW " + sim::Label(window) + " 16 0 0";
  int count = 0;
  for (const std::string& entry : sim::DesktopCalls()) count += entry == call ? 1 : 0;
  return count;
}

EncodableValue K(const char* key) { return EncodableValue(std::string(key)); }

const EncodableValue& At(const EncodableMap& map, const char* key) {
  static const EncodableValue kMissing;
  const auto it = map.find(K(key));
  return it == map.end() ? kMissing : it->second;
}

std::int64_t HandleValue(WindowHandle window) {
  return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(window));
}

// What came back over the channel, decoded from the reply bytes.
struct Reply {
  bool notImplemented = false;
  bool error = false;
  std::optional<EncodableValue> success;
};

class WindowBlockerChannelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Engine().ResetForTests();
    sim::ResetSimulation();
    sim::SetSystemTimeMs(kStartMs);
    sim::AddProcess(kAdPid, {kAdPath});
    sim::AddProcess(kNotesPid, {kNotesPath});
    channel.SetMethodCallHandler(WindowBlockerChannelHandler);
  }

  void TearDown() override {
    Engine().StopMonitoring();
    sim::WaitForThreads();
    Engine().ResetForTests();
    sim::WaitForThreads();
  }

  // Encodes the call as Dart does, delivers it and decodes the one reply.
  Reply Send(const std::string& method, EncodableValue arguments = EncodableValue()) {
    const auto bytes = StandardMethodCodec::GetInstance().EncodeMethodCall(
        MethodCall(method, std::make_unique<EncodableValue>(std::move(arguments))));
    const auto responses = fake.ResponsesTo(fake.Deliver(kChannel, *bytes));
    sim::WaitForThreads();
    Reply reply;
    EXPECT_EQ(responses.size(), 1u);
    if (responses.size() != 1) return reply;
    if (responses[0].nullData) {
      reply.notImplemented = true;
      return reply;
    }
    auto decoded = std::make_unique<MethodResultFunctions>(
        [&reply](const EncodableValue* value) {
          reply.success = value ? *value : EncodableValue();
        },
        [&reply](const std::string&, const std::string&, const EncodableValue*) {
          reply.error = true;
        },
        [&reply] { reply.notImplemented = true; });
    EXPECT_TRUE(StandardMethodCodec::GetInstance().DecodeAndProcessResponseEnvelope(
        responses[0].bytes.data(), responses[0].bytes.size(), decoded.get()));
    return reply;
  }

  bool SendBool(const std::string& method, EncodableValue arguments = EncodableValue()) {
    const Reply reply = Send(method, std::move(arguments));
    EXPECT_FALSE(reply.error);
    EXPECT_FALSE(reply.notImplemented);
    if (!reply.success || !std::holds_alternative<bool>(*reply.success)) {
      ADD_FAILURE() << method << " did not answer a boolean";
      return false;
    }
    return std::get<bool>(*reply.success);
  }

  EncodableMap Snapshot() {
    const Reply reply = Send("getSnapshot");
    if (!reply.success || !std::holds_alternative<EncodableMap>(*reply.success)) {
      ADD_FAILURE() << "getSnapshot did not answer a map";
      return {};
    }
    return std::get<EncodableMap>(*reply.success);
  }

  static constexpr char kChannel[] = "com.kelvo.tarnel/window_blocker";
  sim::FakeMessenger fake;
  BinaryMessengerImpl messenger{fake.ref()};
  MethodChannel channel{&messenger, kChannel, &StandardMethodCodec::GetInstance()};
};

EncodableMap RuleArgument(const char* id, const char* processName, const char* action) {
  return EncodableMap{{K("id"), EncodableValue(id)},
                      {K("processName"), EncodableValue(processName)},
                      {K("action"), EncodableValue(action)}};
}

EncodableValue RulesArgument(EncodableList rules) {
  return EncodableValue(EncodableMap{{K("rules"), EncodableValue(std::move(rules))}});
}

std::vector<std::string> RuleIds(const EncodableMap& snapshot) {
  std::vector<std::string> ids;
  for (const EncodableValue& rule : std::get<EncodableList>(At(snapshot, "rules"))) {
    ids.push_back(std::get<std::string>(At(std::get<EncodableMap>(rule), "id")));
  }
  return ids;
}

// ---- getSnapshot ----

TEST_F(WindowBlockerChannelTest, SnapshotBeforeAnythingElseIsAllOffEmptyAndZero) {
  const EncodableMap snapshot = Snapshot();
  EXPECT_EQ(snapshot.size(), 9u);
  EXPECT_EQ(At(snapshot, "enabled"), EncodableValue(false));
  EXPECT_EQ(At(snapshot, "running"), EncodableValue(false));
  EXPECT_EQ(At(snapshot, "superEnabled"), EncodableValue(false));
  EXPECT_EQ(At(snapshot, "candidateWindows"), EncodableValue(EncodableList{}));
  EXPECT_EQ(At(snapshot, "blockedLogs"), EncodableValue(EncodableList{}));
  EXPECT_EQ(At(snapshot, "rules"), EncodableValue(EncodableList{}));
  EXPECT_EQ(At(snapshot, "blockedCount").index(), kInt32Index);
  EXPECT_EQ(At(snapshot, "blockedCount"), EncodableValue(std::int32_t{0}));
  EXPECT_EQ(At(snapshot, "superEndTimeMs").index(), kInt64Index);
  EXPECT_EQ(At(snapshot, "superEndTimeMs"), EncodableValue(std::int64_t{0}));
  EXPECT_EQ(At(snapshot, "superBlockedCount").index(), kInt32Index);
  EXPECT_EQ(At(snapshot, "superBlockedCount"), EncodableValue(std::int32_t{0}));
}

TEST_F(WindowBlockerChannelTest, SnapshotIgnoresArguments) {
  const Reply reply = Send("getSnapshot", EncodableValue(EncodableMap{{K("enabled"), true}}));
  ASSERT_TRUE(reply.success.has_value());
  EXPECT_EQ(At(std::get<EncodableMap>(*reply.success), "enabled"), EncodableValue(false));
}

TEST_F(WindowBlockerChannelTest, RuleMapReadsBackAsSentWithExactTypes) {
  EncodableMap rule{{K("id"), EncodableValue("r1")},
                    {K("processName"), EncodableValue("adpop")},
                    {K("exePath"), EncodableValue("C:\\Apps\\AdTool\\adpop.exe")},
                    {K("titleKeyword"), EncodableValue("Werbung \xC3\xBC")},
                    {K("className"), EncodableValue("AdPopupWindow")},
                    {K("minWidth"), EncodableValue(std::int32_t{10})},
                    {K("maxWidth"), EncodableValue(std::int32_t{900})},
                    {K("minHeight"), EncodableValue(std::int32_t{20})},
                    {K("maxHeight"), EncodableValue(std::int32_t{800})},
                    {K("action"), EncodableValue("")},
                    {K("enabled"), EncodableValue(false)}};
  ASSERT_TRUE(SendBool("replaceRules", RulesArgument({EncodableValue(rule)})));
  const EncodableList rules = std::get<EncodableList>(At(Snapshot(), "rules"));
  ASSERT_EQ(rules.size(), 1u);
  const auto& back = std::get<EncodableMap>(rules[0]);
  EXPECT_EQ(back, rule);
  for (const char* bound : {"minWidth", "maxWidth", "minHeight", "maxHeight"}) {
    EXPECT_EQ(At(back, bound).index(), kInt32Index) << bound;
  }
  // An empty action stays empty rather than reading as "close".
  EXPECT_EQ(At(back, "action"), EncodableValue(std::string()));
}

TEST_F(WindowBlockerChannelTest, RulesKeepTheirListOrder) {
  ASSERT_TRUE(
      SendBool("replaceRules", RulesArgument({EncodableValue(RuleArgument("b", "x", "hide")),
                                              EncodableValue(RuleArgument("a", "y", "close")),
                                              EncodableValue(RuleArgument("c", "z", ""))})));
  EXPECT_EQ(RuleIds(Snapshot()), (std::vector<std::string>{"b", "a", "c"}));
}

TEST_F(WindowBlockerChannelTest, CandidateWindowMapHasTheFactsWithExactTypes) {
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  ASSERT_TRUE(SendBool("setEnabled"));
  ASSERT_TRUE(Engine().EvaluateWindow(notes, kStartMs, true, false, false) == false);
  const EncodableList windows = std::get<EncodableList>(At(Snapshot(), "candidateWindows"));
  ASSERT_EQ(windows.size(), 1u);
  const auto& window = std::get<EncodableMap>(windows[0]);
  EXPECT_EQ(window.size(), 12u);
  EXPECT_EQ(At(window, "hwnd"), EncodableValue(HandleValue(notes)));
  EXPECT_EQ(At(window, "pid"), EncodableValue(static_cast<std::int32_t>(kNotesPid)));
  EXPECT_EQ(At(window, "width"), EncodableValue(std::int32_t{400}));
  EXPECT_EQ(At(window, "height"), EncodableValue(std::int32_t{300}));
  EXPECT_EQ(At(window, "title"), EncodableValue("Notes"));
  EXPECT_EQ(At(window, "className"), EncodableValue("AdPopupWindow"));
  EXPECT_EQ(At(window, "processName"), EncodableValue("notes"));
  EXPECT_EQ(At(window, "exePath"), EncodableValue("D:\\Tools\\notes.exe"));
  EXPECT_EQ(At(window, "productName"), EncodableValue(std::string()));
  EXPECT_EQ(At(window, "firstSeenMs"), EncodableValue(kStartMs));
  EXPECT_EQ(At(window, "lastSeenMs"), EncodableValue(kStartMs));
  EXPECT_EQ(At(window, "hitCount").index(), kInt32Index);
  EXPECT_EQ(At(window, "hitCount"), EncodableValue(std::int32_t{1}));
}

TEST_F(WindowBlockerChannelTest, CandidatesComeFrontFirst) {
  const WindowHandle first = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"First"));
  const WindowHandle second = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Second"));
  ASSERT_TRUE(SendBool("setEnabled"));
  Engine().EvaluateWindow(first, kStartMs, true, false, false);
  Engine().EvaluateWindow(second, kStartMs + 5, true, false, false);
  const EncodableList windows = std::get<EncodableList>(At(Snapshot(), "candidateWindows"));
  ASSERT_EQ(windows.size(), 2u);
  EXPECT_EQ(At(std::get<EncodableMap>(windows[0]), "hwnd"), EncodableValue(HandleValue(second)));
  EXPECT_EQ(At(std::get<EncodableMap>(windows[1]), "hwnd"), EncodableValue(HandleValue(first)));
}

TEST_F(WindowBlockerChannelTest, TitleWithAnUnpairedSurrogateIsEmptyInTheMap) {
  const WindowHandle broken =
      sim::AddDesktopWindow(PopupWindow(kNotesPid, std::u16string(u"Bad ") + char16_t(0xD800)));
  ASSERT_TRUE(SendBool("setEnabled"));
  Engine().EvaluateWindow(broken, kStartMs, true, false, false);
  const EncodableList windows = std::get<EncodableList>(At(Snapshot(), "candidateWindows"));
  ASSERT_EQ(windows.size(), 1u);
  EXPECT_EQ(At(std::get<EncodableMap>(windows[0]), "title"), EncodableValue(std::string()));
}

// ---- setEnabled ----

TEST_F(WindowBlockerChannelTest, SetEnabledWithNoArgumentsTurnsRuleModeOn) {
  EXPECT_TRUE(SendBool("setEnabled"));
  EXPECT_EQ(At(Snapshot(), "enabled"), EncodableValue(true));
}

TEST_F(WindowBlockerChannelTest, SetEnabledFalseTurnsRuleModeOff) {
  ASSERT_TRUE(SendBool("setEnabled"));
  EXPECT_TRUE(SendBool("setEnabled", EncodableValue(EncodableMap{{K("enabled"), false}})));
  EXPECT_EQ(At(Snapshot(), "enabled"), EncodableValue(false));
}

TEST_F(WindowBlockerChannelTest, SetEnabledWithArgumentsThatAreNoMapTakesTheDefault) {
  EXPECT_TRUE(SendBool("setEnabled", EncodableValue(EncodableList{EncodableValue(false)})));
  EXPECT_EQ(At(Snapshot(), "enabled"), EncodableValue(true));
}

TEST_F(WindowBlockerChannelTest, SetEnabledWithANonBooleanValueTakesTheDefault) {
  EXPECT_TRUE(SendBool("setEnabled", EncodableValue(EncodableMap{{K("enabled"), "false"}})));
  EXPECT_EQ(At(Snapshot(), "enabled"), EncodableValue(true));
}

// ---- replaceRules ----

TEST_F(WindowBlockerChannelTest, ReplaceRulesWithoutRulesEmptiesTheList) {
  ASSERT_TRUE(
      SendBool("replaceRules", RulesArgument({EncodableValue(RuleArgument("a", "x", ""))})));
  ASSERT_EQ(RuleIds(Snapshot()).size(), 1u);
  EXPECT_TRUE(SendBool("replaceRules", EncodableValue(EncodableMap{})));
  EXPECT_TRUE(RuleIds(Snapshot()).empty());
}

TEST_F(WindowBlockerChannelTest, ReplaceRulesWithAListArgumentEmptiesTheList) {
  ASSERT_TRUE(
      SendBool("replaceRules", RulesArgument({EncodableValue(RuleArgument("a", "x", ""))})));
  EncodableList bare{EncodableValue(RuleArgument("b", "y", ""))};
  EXPECT_TRUE(SendBool("replaceRules", EncodableValue(bare)));
  EXPECT_TRUE(RuleIds(Snapshot()).empty());
}

TEST_F(WindowBlockerChannelTest, ReplaceRulesSkipsElementsThatAreNoMaps) {
  EXPECT_TRUE(SendBool("replaceRules", RulesArgument({EncodableValue("a"),
                                                      EncodableValue(RuleArgument("b", "y", "")),
                                                      EncodableValue(std::int32_t{3})})));
  EXPECT_EQ(RuleIds(Snapshot()), (std::vector<std::string>{"b"}));
}

// ---- setSuperBlock ----

EncodableValue SuperArguments(EncodableValue endTime, EncodableValue whitelist = EncodableValue()) {
  EncodableMap map{{K("enabled"), EncodableValue(true)}, {K("endTimeMs"), std::move(endTime)}};
  if (!whitelist.IsNull()) map[K("whitelistExePaths")] = std::move(whitelist);
  return EncodableValue(map);
}

TEST_F(WindowBlockerChannelTest, SetSuperBlockTakesA64BitEndTime) {
  EXPECT_TRUE(SendBool("setSuperBlock", SuperArguments(EncodableValue(kStartMs + 60'000))));
  const EncodableMap snapshot = Snapshot();
  EXPECT_EQ(At(snapshot, "superEnabled"), EncodableValue(true));
  EXPECT_EQ(At(snapshot, "superEndTimeMs"), EncodableValue(kStartMs + 60'000));
}

TEST_F(WindowBlockerChannelTest, SetSuperBlockTakesA32BitEndTimeSignExtended) {
  // Zero and negatives mean no end; the value is kept as sent, widened.
  EXPECT_TRUE(SendBool("setSuperBlock", SuperArguments(EncodableValue(std::int32_t{-5}))));
  const EncodableMap snapshot = Snapshot();
  EXPECT_EQ(At(snapshot, "superEnabled"), EncodableValue(true));
  EXPECT_EQ(At(snapshot, "superEndTimeMs"), EncodableValue(std::int64_t{-5}));
}

TEST_F(WindowBlockerChannelTest, SetSuperBlockWithNoArgumentsEndsSuperBlock) {
  ASSERT_TRUE(SendBool("setSuperBlock", SuperArguments(EncodableValue(std::int64_t{0}))));
  ASSERT_EQ(At(Snapshot(), "superEnabled"), EncodableValue(true));
  EXPECT_TRUE(SendBool("setSuperBlock"));
  const EncodableMap snapshot = Snapshot();
  EXPECT_EQ(At(snapshot, "superEnabled"), EncodableValue(false));
  EXPECT_EQ(At(snapshot, "superEndTimeMs"), EncodableValue(std::int64_t{0}));
}

TEST_F(WindowBlockerChannelTest, SuperBlockWhitelistSparesListedPathsAndSkipsNonStrings) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  EncodableList whitelist{EncodableValue(std::int32_t{7}), EncodableValue("D:\\Tools\\notes.exe")};
  ASSERT_TRUE(SendBool("setSuperBlock",
                       SuperArguments(EncodableValue(std::int64_t{0}), EncodableValue(whitelist))));
  EXPECT_TRUE(SendBool("applyRulesToExistingWindows"));
  EXPECT_FALSE(Visible(ad));
  EXPECT_TRUE(Visible(notes));
}

TEST_F(WindowBlockerChannelTest, SuperBlockWhitelistPathEndsAtAnEmbeddedZero) {
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  const std::string withZero =
      std::string("D:\\Tools\\notes.exe") + '\0' + "C:\\Apps\\AdTool\\adpop.exe";
  ASSERT_TRUE(SendBool("setSuperBlock",
                       SuperArguments(EncodableValue(std::int64_t{0}),
                                      EncodableValue(EncodableList{EncodableValue(withZero)}))));
  EXPECT_EQ(blocker::WindowBlocker::Instance().GetSnapshotData().superWhitelistPaths,
            std::vector<std::u16string>{u"d:\\tools\\notes.exe"});
  EXPECT_TRUE(SendBool("applyRulesToExistingWindows"));
  EXPECT_TRUE(Visible(notes));
  EXPECT_FALSE(Visible(ad));  // the text behind the zero named no program
}

TEST_F(WindowBlockerChannelTest, SuperBlockWhitelistThatIsNoListCountsAsEmpty) {
  const WindowHandle notes = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Notes"));
  ASSERT_TRUE(SendBool("setSuperBlock", SuperArguments(EncodableValue(std::int64_t{0}),
                                                       EncodableValue("D:\\Tools\\notes.exe"))));
  EXPECT_TRUE(SendBool("applyRulesToExistingWindows"));
  EXPECT_FALSE(Visible(notes));
}

TEST_F(WindowBlockerChannelTest, SnapshotAfterTheEndTimeShowsTheModeEndedAndWindowsBack) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  ASSERT_TRUE(SendBool("setSuperBlock", SuperArguments(EncodableValue(kStartMs + 10'000))));
  ASSERT_TRUE(SendBool("applyRulesToExistingWindows"));
  ASSERT_FALSE(Visible(ad));
  const std::int32_t counted = std::get<std::int32_t>(At(Snapshot(), "superBlockedCount"));
  ASSERT_GT(counted, 0);

  sim::SetSystemTimeMs(kStartMs + 20'000);
  const EncodableMap snapshot = Snapshot();
  EXPECT_EQ(At(snapshot, "superEnabled"), EncodableValue(false));
  EXPECT_EQ(At(snapshot, "superEndTimeMs"), EncodableValue(std::int64_t{0}));
  EXPECT_EQ(At(snapshot, "superBlockedCount"), EncodableValue(counted));
  EXPECT_TRUE(Visible(ad));
}

// ---- blockWindowNow ----

TEST_F(WindowBlockerChannelTest, BlockWindowNowWithNoActionClosesAndLogsCloseUnderManual) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  EXPECT_TRUE(SendBool("blockWindowNow",
                       EncodableValue(EncodableMap{{K("hwnd"), EncodableValue(HandleValue(ad))}})));
  EXPECT_GT(ClosesPosted(ad), 0);
  EXPECT_TRUE(Visible(ad));
  const EncodableMap snapshot = Snapshot();
  EXPECT_EQ(At(snapshot, "blockedCount"), EncodableValue(std::int32_t{1}));
  const auto& logs = std::get<EncodableList>(At(snapshot, "blockedLogs"));
  ASSERT_EQ(logs.size(), 1u);
  const auto& log = std::get<EncodableMap>(logs[0]);
  EXPECT_EQ(log.size(), 15u);
  EXPECT_EQ(At(log, "ruleId"), EncodableValue("manual"));
  EXPECT_EQ(At(log, "action"), EncodableValue("close"));
  EXPECT_EQ(At(log, "hwnd"), EncodableValue(HandleValue(ad)));
  EXPECT_EQ(At(log, "processName"), EncodableValue("adpop"));
  EXPECT_EQ(At(log, "blockedAtMs").index(), kInt64Index);
  EXPECT_EQ(At(log, "firstSeenMs"), At(log, "lastSeenMs"));
  EXPECT_EQ(At(log, "firstSeenMs").index(), kInt64Index);
  EXPECT_EQ(At(log, "hitCount"), EncodableValue(std::int32_t{0}));
}

TEST_F(WindowBlockerChannelTest, BlockWindowNowWith32BitHwndActsOnTheSameWindow) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  const std::int64_t wide = HandleValue(ad);
  ASSERT_EQ(wide, static_cast<std::int32_t>(wide));
  EXPECT_TRUE(SendBool("blockWindowNow",
                       EncodableValue(EncodableMap{{K("hwnd"), static_cast<std::int32_t>(wide)},
                                                   {K("action"), "hide"},
                                                   {K("ruleId"), "r9"}})));
  EXPECT_FALSE(Visible(ad));
  const EncodableList logs = std::get<EncodableList>(At(Snapshot(), "blockedLogs"));
  ASSERT_EQ(logs.size(), 1u);
  const auto& log = std::get<EncodableMap>(logs[0]);
  EXPECT_EQ(At(log, "hwnd"), EncodableValue(wide));
  EXPECT_EQ(At(log, "action"), EncodableValue("hide"));
  EXPECT_EQ(At(log, "ruleId"), EncodableValue("r9"));
}

TEST_F(WindowBlockerChannelTest, BlockWindowNowWithoutAUsableHwndAnswersFalse) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  EXPECT_FALSE(SendBool("blockWindowNow"));
  EXPECT_FALSE(SendBool("blockWindowNow", EncodableValue(EncodableMap{{K("hwnd"), "1"}})));
  EXPECT_TRUE(Visible(ad));
  EXPECT_EQ(At(Snapshot(), "blockedCount"), EncodableValue(std::int32_t{0}));
}

TEST_F(WindowBlockerChannelTest, BlockWindowNowForADeadWindowAnswersFalse) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  sim::DestroyDesktopWindow(ad);
  EXPECT_FALSE(SendBool("blockWindowNow", EncodableValue(EncodableMap{
                                              {K("hwnd"), EncodableValue(HandleValue(ad))}})));
}

TEST_F(WindowBlockerChannelTest, BlockWindowNowEmptyRuleIdIsManualAndEmptyActionIsLoggedEmpty) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  EXPECT_TRUE(SendBool(
      "blockWindowNow",
      EncodableValue(EncodableMap{
          {K("hwnd"), EncodableValue(HandleValue(ad))}, {K("action"), ""}, {K("ruleId"), ""}})));
  EXPECT_GT(ClosesPosted(ad), 0);
  EXPECT_TRUE(Visible(ad));
  const EncodableList logs = std::get<EncodableList>(At(Snapshot(), "blockedLogs"));
  ASSERT_EQ(logs.size(), 1u);
  const auto& log = std::get<EncodableMap>(logs[0]);
  EXPECT_EQ(At(log, "ruleId"), EncodableValue("manual"));
  EXPECT_EQ(At(log, "action"), EncodableValue(std::string()));
}

// ---- clearLogs, monitoring, rules on existing windows ----

TEST_F(WindowBlockerChannelTest, ClearLogsZeroesBlockedCountAndKeepsSuperBlockedCount) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  const WindowHandle other = sim::AddDesktopWindow(PopupWindow(kAdPid, u"Other Ad"));
  ASSERT_TRUE(SendBool("blockWindowNow",
                       EncodableValue(EncodableMap{{K("hwnd"), EncodableValue(HandleValue(ad))}})));
  ASSERT_TRUE(SendBool("setSuperBlock", SuperArguments(EncodableValue(std::int64_t{0}))));
  ASSERT_TRUE(SendBool("applyRulesToExistingWindows"));
  ASSERT_FALSE(Visible(other));
  const EncodableMap before = Snapshot();
  ASSERT_GT(std::get<std::int32_t>(At(before, "blockedCount")), 0);
  const EncodableValue superCount = At(before, "superBlockedCount");
  ASSERT_GT(std::get<std::int32_t>(superCount), 0);

  EXPECT_TRUE(SendBool("clearLogs"));
  const EncodableMap after = Snapshot();
  EXPECT_EQ(At(after, "blockedCount"), EncodableValue(std::int32_t{0}));
  EXPECT_EQ(At(after, "blockedLogs"), EncodableValue(EncodableList{}));
  EXPECT_EQ(At(after, "superBlockedCount"), superCount);
}

TEST_F(WindowBlockerChannelTest, LogsComeNewestFirst) {
  const WindowHandle first = sim::AddDesktopWindow(PopupWindow(kAdPid, u"First"));
  const WindowHandle second = sim::AddDesktopWindow(PopupWindow(kNotesPid, u"Second"));
  for (WindowHandle w : {first, second}) {
    ASSERT_TRUE(SendBool("blockWindowNow",
                         EncodableValue(EncodableMap{{K("hwnd"), EncodableValue(HandleValue(w))},
                                                     {K("action"), "hide"}})));
  }
  const EncodableList logs = std::get<EncodableList>(At(Snapshot(), "blockedLogs"));
  ASSERT_EQ(logs.size(), 2u);
  EXPECT_EQ(At(std::get<EncodableMap>(logs[0]), "hwnd"), EncodableValue(HandleValue(second)));
  EXPECT_EQ(At(std::get<EncodableMap>(logs[1]), "hwnd"), EncodableValue(HandleValue(first)));
}

TEST_F(WindowBlockerChannelTest, StartAndStopMonitoringShowInRunning) {
  EXPECT_TRUE(SendBool("startMonitoring"));
  sim::WaitForWinEventHooks(2);
  EXPECT_EQ(At(Snapshot(), "running"), EncodableValue(true));
  EXPECT_TRUE(SendBool("startMonitoring"));
  EXPECT_TRUE(SendBool("stopMonitoring"));
  EXPECT_EQ(At(Snapshot(), "running"), EncodableValue(false));
  EXPECT_EQ(sim::ActiveWinEventHooks(), 0);
}

TEST_F(WindowBlockerChannelTest, StopMonitoringWhenNotRunningAnswersTrue) {
  EXPECT_TRUE(SendBool("stopMonitoring"));
}

TEST_F(WindowBlockerChannelTest, ApplyRulesToExistingWindowsAnswersTheEngineResult) {
  const WindowHandle ad = sim::AddDesktopWindow(PopupWindow(kAdPid));
  // Rule mode off and no super block: nothing is evaluated.
  ASSERT_TRUE(SendBool("replaceRules",
                       RulesArgument({EncodableValue(RuleArgument("r1", "adpop", "hide"))})));
  EXPECT_FALSE(SendBool("applyRulesToExistingWindows"));
  EXPECT_TRUE(Visible(ad));
  ASSERT_TRUE(SendBool("setEnabled"));
  EXPECT_TRUE(SendBool("applyRulesToExistingWindows"));
  EXPECT_FALSE(Visible(ad));
}

// ---- Names ----

TEST_F(WindowBlockerChannelTest, MethodNameInAnotherCaseIsNotImplemented) {
  const Reply reply = Send("GetSnapshot");
  EXPECT_TRUE(reply.notImplemented);
  EXPECT_FALSE(reply.success.has_value());
  EXPECT_TRUE(Send("setenabled").notImplemented);
  EXPECT_EQ(At(Snapshot(), "enabled"), EncodableValue(false));
}

TEST_F(WindowBlockerChannelTest, UnknownMethodIsNotImplemented) {
  EXPECT_TRUE(Send("startMonitoring ").notImplemented);
  EXPECT_TRUE(Send("").notImplemented);
}

TEST_F(WindowBlockerChannelTest, SnapshotRepliesWithAnEncodedMapOfNineEntries) {
  const auto bytes = StandardMethodCodec::GetInstance().EncodeMethodCall(
      MethodCall("getSnapshot", std::make_unique<EncodableValue>()));
  const auto responses = fake.ResponsesTo(fake.Deliver(kChannel, *bytes));
  ASSERT_EQ(responses.size(), 1u);
  ASSERT_GE(responses[0].bytes.size(), 3u);
  EXPECT_EQ(responses[0].bytes[0], 0x00);  // success envelope
  EXPECT_EQ(responses[0].bytes[1], 13);    // map
  EXPECT_EQ(responses[0].bytes[2], 9);     // entries
}

}  // namespace
