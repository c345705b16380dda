// The overlay channel's handler: method order, defaults, 32-bit-only integers, INVALID_ARGS,
// setNativeStrings and bad input of every kind.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "channels/encodable_value.h"
#include "channels/method_call.h"
#include "channels/method_result.h"
#include "overlay/marquee.h"
#include "overlay/overlay_channel.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "overlay/popup.h"
#include "platform/user.h"
#include "sim_core.h"
#include "sim_gdi.h"
#include "sim_user.h"

namespace {

struct Answer {
  enum Kind { kNone, kSuccess, kError, kNotImplemented } kind = kNone;
  std::optional<EncodableValue> value;
  std::string code;
  std::string message;
  bool details = false;
};

class RecordingResult : public MethodResult {
 public:
  explicit RecordingResult(Answer* answer) : answer_(answer) {}

 protected:
  void SuccessInternal(const EncodableValue* result) override {
    answer_->kind = Answer::kSuccess;
    if (result) answer_->value = *result;
  }
  void ErrorInternal(const std::string& code, const std::string& message,
                     const EncodableValue* details) override {
    answer_->kind = Answer::kError;
    answer_->code = code;
    answer_->message = message;
    answer_->details = details != nullptr;
  }
  void NotImplementedInternal() override { answer_->kind = Answer::kNotImplemented; }

 private:
  Answer* answer_;
};

EncodableValue Key(const char* key) { return EncodableValue(std::string(key)); }

class OverlayChannel : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    ShutdownOverlay();
    GetOverlayStrings() = OverlayStrings{};
    sim::ResetSimulation();
  }
  void TearDown() override {
    ShutdownOverlay();
    GetOverlayStrings() = OverlayStrings{};
    EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
  }

  Answer Call(const std::string& method, std::optional<EncodableValue> arguments) {
    Answer answer;
    MethodCall call(method, arguments ? std::make_unique<EncodableValue>(*arguments) : nullptr);
    HandleOverlayCall(call, std::make_unique<RecordingResult>(&answer), {&trayShow, &trayExit});
    return answer;
  }
  Answer Call(const std::string& method, const EncodableMap& map) {
    return Call(method, EncodableValue(map));
  }

  static bool IsTrue(const Answer& answer) {
    return answer.kind == Answer::kSuccess && answer.value && *answer.value == EncodableValue(true);
  }
  static void ExpectInvalidArgs(const Answer& answer) {
    EXPECT_EQ(answer.kind, Answer::kError);
    EXPECT_EQ(answer.code, "INVALID_ARGS");
    EXPECT_EQ(answer.message, "Invalid arguments");
    EXPECT_FALSE(answer.details);
  }

  std::u16string trayShow = u"显示窗口";
  std::u16string trayExit = u"退出";
};

TEST_F(OverlayChannel, ShowMarqueeWithAnEmptyMapPlaysThePrefixFiveTimes) {
  EXPECT_TRUE(IsTrue(Call("showMarquee", EncodableMap{})));
  EXPECT_NE(GetMarqueeState().window, nullptr);
  EXPECT_EQ(GetMarqueeState().text, u"消息通知: ");
  EXPECT_EQ(GetMarqueeState().playCount, 5);
}

TEST_F(OverlayChannel, ShowMarqueeReadsTitleContentAndPlayCount) {
  const EncodableMap map{{Key("title"), EncodableValue(std::string("T"))},
                         {Key("content"), EncodableValue(std::string("C"))},
                         {Key("playCount"), EncodableValue(std::int32_t{2})}};
  EXPECT_TRUE(IsTrue(Call("showMarquee", map)));
  EXPECT_EQ(GetMarqueeState().text, u"消息通知: T - C");
  EXPECT_EQ(GetMarqueeState().playCount, 2);
}

TEST_F(OverlayChannel, ShowMarqueeWithAListIsInvalidAndLeavesTheOpenMarqueeOpen) {
  Call("showMarquee", EncodableMap{});
  const platform::WindowHandle open = GetMarqueeState().window;
  ExpectInvalidArgs(Call("showMarquee", EncodableValue(EncodableList{EncodableValue(1)})));
  EXPECT_EQ(GetMarqueeState().window, open);
  EXPECT_TRUE(platform::IsWindow(open));
}

TEST_F(OverlayChannel, EveryShowAndSetNativeStringsRefuseNullOrNonMapArguments) {
  for (const char* method :
       {"showMarquee", "showPopup", "showFileOpenPrompt", "setNativeStrings"}) {
    SCOPED_TRACE(method);
    ExpectInvalidArgs(Call(method, std::nullopt));
    ExpectInvalidArgs(Call(method, EncodableValue()));
    ExpectInvalidArgs(Call(method, EncodableValue(std::string("text"))));
    ExpectInvalidArgs(Call(method, EncodableValue(std::int32_t{3})));
  }
  EXPECT_EQ(sim::LiveWindowCount(), 0);
  EXPECT_EQ(GetOverlayStrings().marqueePrefix, u"消息通知: ");
}

TEST_F(OverlayChannel, SixtyFourBitOrWrongTypedCountsTakeTheDefault) {
  Call("showMarquee", EncodableMap{{Key("playCount"), EncodableValue(std::int64_t{2})}});
  EXPECT_EQ(GetMarqueeState().playCount, 5);
  Call("showMarquee", EncodableMap{{Key("playCount"), EncodableValue(std::string("2"))}});
  EXPECT_EQ(GetMarqueeState().playCount, 5);
  Call("showMarquee", EncodableMap{{Key("playCount"), EncodableValue(2.0)}});
  EXPECT_EQ(GetMarqueeState().playCount, 5);
  Call("showPopup", EncodableMap{{Key("duration"), EncodableValue(std::int64_t{9})}});
  EXPECT_EQ(GetPopupState().duration, 5);
}

TEST_F(OverlayChannel, WrongTypedTextsReadAsEmpty) {
  Call("showPopup", EncodableMap{{Key("title"), EncodableValue(std::int32_t{1})},
                                 {Key("content"), EncodableValue(true)}});
  EXPECT_EQ(GetPopupState().title, u"系统通知");
  EXPECT_EQ(GetPopupState().content, u"");
}

TEST_F(OverlayChannel, ShowPopupWithoutDurationClosesAfterFiveSeconds) {
  EXPECT_TRUE(IsTrue(Call("showPopup", EncodableMap{})));
  EXPECT_EQ(GetPopupState().duration, 5);
  EXPECT_EQ(sim::JournalEntries("SetTimer"), (std::vector<std::string>{"SetTimer w1 2001 5000"}));
}

TEST_F(OverlayChannel, ShowFileOpenPromptWithoutDurationWaitsForAButton) {
  const EncodableMap map{{Key("filePath"), EncodableValue(std::string("C:\\a b\\ü.txt"))}};
  EXPECT_TRUE(IsTrue(Call("showFileOpenPrompt", map)));
  EXPECT_TRUE(GetPopupState().isFilePrompt);
  EXPECT_EQ(GetPopupState().filePath, u"C:\\a b\\ü.txt");
  EXPECT_TRUE(sim::JournalEntries("SetTimer").empty());
}

TEST_F(OverlayChannel, CloseMarqueeAndClosePopupIgnoreTheirArguments) {
  Call("showMarquee", EncodableMap{});
  Call("showPopup", EncodableMap{});
  EXPECT_TRUE(IsTrue(Call("closeMarquee", EncodableValue(EncodableList{}))));
  EXPECT_TRUE(IsTrue(Call("closePopup", std::nullopt)));
  EXPECT_EQ(sim::LiveWindowCount(), 0);
  EXPECT_TRUE(IsTrue(Call("closeMarquee", EncodableValue())));
  EXPECT_TRUE(IsTrue(Call("closePopup", EncodableValue())));
}

TEST_F(OverlayChannel, SetNativeStringsReplacesAllSevenTexts) {
  const EncodableMap map{
      {Key("marqueePrefix"), EncodableValue(std::string("Notice: "))},
      {Key("defaultPopupTitle"), EncodableValue(std::string("System"))},
      {Key("defaultDownloadCompleteTitle"), EncodableValue(std::string("Downloaded"))},
      {Key("openFile"), EncodableValue(std::string("Open"))},
      {Key("later"), EncodableValue(std::string("Later"))},
      {Key("trayShowWindow"), EncodableValue(std::string("Show"))},
      {Key("trayExit"), EncodableValue(std::string("Exit"))}};
  EXPECT_TRUE(IsTrue(Call("setNativeStrings", map)));
  const OverlayStrings& strings = GetOverlayStrings();
  EXPECT_EQ(strings.marqueePrefix, u"Notice: ");
  EXPECT_EQ(strings.defaultPopupTitle, u"System");
  EXPECT_EQ(strings.defaultDownloadCompleteTitle, u"Downloaded");
  EXPECT_EQ(strings.openFile, u"Open");
  EXPECT_EQ(strings.later, u"Later");
  EXPECT_EQ(trayShow, u"Show");
  EXPECT_EQ(trayExit, u"Exit");
  Call("showMarquee", EncodableMap{{Key("content"), EncodableValue(std::string("x"))}});
  EXPECT_EQ(GetMarqueeState().text, u"Notice: x");
}

TEST_F(OverlayChannel, SetNativeStringsWithLaterEmptyKeepsTheOldText) {
  Call("setNativeStrings", EncodableMap{{Key("later"), EncodableValue(std::string("Later"))}});
  Call("setNativeStrings", EncodableMap{{Key("later"), EncodableValue(std::string(""))},
                                        {Key("trayExit"), EncodableValue(std::string())}});
  EXPECT_EQ(GetOverlayStrings().later, u"Later");
  EXPECT_EQ(trayExit, u"退出");
  EXPECT_EQ(GetOverlayStrings().openFile, u"打开文件");
}

TEST_F(OverlayChannel, UnknownMethodIsNotImplementedNeverAnError) {
  EXPECT_EQ(Call("showToast", EncodableMap{}).kind, Answer::kNotImplemented);
  EXPECT_EQ(Call("ShowMarquee", EncodableValue(EncodableList{})).kind, Answer::kNotImplemented);
  EXPECT_EQ(Call("", std::nullopt).kind, Answer::kNotImplemented);
}

TEST_F(OverlayChannel, OneMegabyteTextsAreShownAndPainted) {
  const std::string huge(1 << 20, 'a');
  EXPECT_TRUE(IsTrue(Call("showMarquee", EncodableMap{{Key("content"), EncodableValue(huge)}})));
  EXPECT_EQ(GetMarqueeState().text.size(), (1U << 20) + 6);
  sim::SendMessage(GetMarqueeState().window, platform::kWmPaint);
  sim::SendMessage(GetMarqueeState().window, platform::kWmTimer, kMarqueeTimerId, 0);
  EXPECT_EQ(GetMarqueeState().position, 1917);
  EXPECT_TRUE(IsTrue(Call("showPopup", EncodableMap{{Key("content"), EncodableValue(huge)}})));
  sim::SendMessage(GetPopupState().window, platform::kWmPaint);
  EXPECT_EQ(GetPopupState().content.size(), 1U << 20);
}

TEST_F(OverlayChannel, ControlCharactersAndUnpairedSurrogatesReachTheWindowsReplacedOrAsGiven) {
  // "\xED\xA0\x80" is a lone high surrogate in UTF-8 form: invalid, replaced on conversion.
  const std::string text = std::string("a\tb\r\nc\x01") + "\xED\xA0\x80" + "d";
  Call("showPopup",
       EncodableMap{{Key("title"), EncodableValue(text)}, {Key("content"), EncodableValue(text)}});
  const std::u16string& title = GetPopupState().title;
  EXPECT_EQ(title.substr(0, 7), u"a\tb\r\nc\x01");
  EXPECT_EQ(title.back(), u'd');
  for (const char16_t unit : title) EXPECT_FALSE(unit >= 0xD800 && unit <= 0xDFFF);
  sim::SendMessage(GetPopupState().window, platform::kWmPaint);
  EXPECT_EQ(sim::JournalEntries("BitBlt").size(), 1U);
}

TEST_F(OverlayChannel, EmptyOrMissingFilePathOpensNothingOnTheOpenButton) {
  Call("showFileOpenPrompt", EncodableMap{{Key("filePath"), EncodableValue(std::string())}});
  const platform::WindowHandle window = GetPopupState().window;
  sim::SendMessage(window, platform::kWmLButtonDown, 0, (380 << 16) | 100);
  EXPECT_TRUE(sim::JournalEntries("ShellExecuteW").empty());
  EXPECT_EQ(sim::PostedMessages().size(), 1U);
}

}  // namespace
