// The engine stand-in end to end: standin_host.exe runs under Wine with the stand-in as its
// flutter_windows.dll, and this program plays Dart over TCP. Each test starts its own host, so
// a failure leaves nothing behind for the next one.
//
// Needs a Wine session (tools/wine/session.sh start, or the `wine` CTest fixture) and the
// windows build; without them every test fails, saying what is missing.
#include <stdlib.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "engine_driver.h"
#include "wine_process.h"

namespace {

using namespace std::chrono_literals;
using driver::Bytes;
using driver::EngineDriver;
using driver::FreePort;
using driver::ReadFile;
using driver::ToBytes;
using driver::ToString;
using driver::WindowsBin;
using driver::WindowsPath;
using frames::CallArgument;
using frames::Frame;

constexpr driver::Timeout kStartTimeout = 90s;  // a cold Wine start on a busy machine
constexpr driver::Timeout kTimeout = 20s;

constexpr char kEcho[] = "standin_host/echo";
constexpr char kControl[] = "standin_host/control";
constexpr char kAsk[] = "standin_host/ask";
constexpr char kAnswer[] = "standin_host/answer";
constexpr char kWindow[] = "standin_host/window";
constexpr char kNested[] = "standin_host/nested";
constexpr uint32_t kMsgPayload = 0x8000 + 1;  // WM_APP + 1
constexpr uint32_t kMsgPlain = 0x8000 + 2;

std::string Show(const Frame& frame) {
  std::string text = frames::Describe(frame);
  std::visit(
      [&text](const auto& value) {
        if constexpr (requires { value.payload; }) {
          text += " \"" + ToString(value.payload) + "\"";
        }
      },
      frame);
  return text;
}

void ExpectFrame(const Frame& actual, const Frame& expected) {
  EXPECT_TRUE(actual == expected) << "got " << Show(actual) << "\nexpected " << Show(expected);
}

class StandinTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = driver::MissingForWine(WindowsBin() + "/standin_host.exe");
    ASSERT_TRUE(missing.empty()) << missing;
    ASSERT_TRUE(std::filesystem::exists(WindowsBin() + "/flutter_windows.dll"))
        << "missing the stand-in in " << WindowsBin();

    char pattern[] = "/tmp/kt_standin_XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    dir_ = pattern;
    port_ = FreePort();
    host_.Start(WindowsBin() + "/standin_host.exe", {"--ready-file", WindowsPath(dir_ + "/ready")},
                {{"KT_ENGINE_PORT", std::to_string(port_)}}, dir_ + "/host.log");

    // The ready file is written after the host's early sends: connecting only then makes sure
    // those frames were queued with no driver there.
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (!std::filesystem::exists(dir_ + "/ready")) {
      const std::optional<int> exit = host_.Wait(0ms);
      ASSERT_FALSE(exit.has_value()) << "the host ended with " << *exit << " before it was ready:\n"
                                     << ReadFile(dir_ + "/host.log");
      ASSERT_LT(std::chrono::steady_clock::now(), deadline)
          << "the host was not ready within " << kStartTimeout.count() << " ms";
      std::this_thread::sleep_for(50ms);
    }
    driver_ = EngineDriver::Connect(port_, kStartTimeout);
  }

  void TearDown() override {
    if (!shutDown_ && driver_ && host_.running()) {
      try {
        ShutDownHost();
      } catch (const std::exception& e) {
        ADD_FAILURE() << "shutting the host down: " << e.what();
      }
    }
    driver_.reset();
    host_.Kill();
    if (HasFailure()) std::cerr << "host output:\n" << ReadFile(dir_ + "/host.log") << "\n";
    if (!dir_.empty()) std::filesystem::remove_all(dir_);
  }

  Bytes Control(const std::string& command) {
    return driver_->SendMessage(kControl, ToBytes(command), kTimeout);
  }

  // Quits the host's loop; the engine goes with its view controller, the stand-in says so last
  // and closes, and the host, having found nothing wrong, exits with 0.
  void ShutDownHost() {
    shutDown_ = true;
    EXPECT_EQ(ToString(Control("quit")), "bye");
    driver_->WaitForEvent("engine-destroyed", kTimeout);
    driver_->WaitForClose(kTimeout);
    driver_->Close();
    const std::optional<int> exit = host_.Wait(kTimeout * 3);
    ASSERT_TRUE(exit.has_value()) << "the host did not exit after its engine was destroyed";
    EXPECT_EQ(*exit, 0) << "the host reported problems (see its output)";
  }

  std::string dir_;
  uint16_t port_ = 0;
  driver::WineProcess host_;
  std::unique_ptr<EngineDriver> driver_;
  bool shutDown_ = false;
};

TEST_F(StandinTest, StartupFramesWaitForTheDriverAndArriveInOrder) {
  ExpectFrame(driver_->NextFrame(kTimeout), frames::Event{"engine-created",
                                                          "C:\\kt\\data\\flutter_assets\n"
                                                          "C:\\kt\\data\\icudtl.dat\n"
                                                          "C:\\kt\\data\\app_\xc3\xbc.so\n"
                                                          "--alpha\n"
                                                          "beta gamma\n"
                                                          "\xc3\xbcn\xc3\xaf"});
  ExpectFrame(driver_->NextFrame(kTimeout), frames::Event{"view-created", "640x480"});
  ExpectFrame(driver_->NextFrame(kTimeout), frames::Event{"registrar", "StandinHostPlugin"});
  ExpectFrame(driver_->NextFrame(kTimeout), frames::Event{"handler-set", kEcho});
  ExpectFrame(driver_->NextFrame(kTimeout), frames::Event{"handler-set", kControl});
  ExpectFrame(driver_->NextFrame(kTimeout),
              frames::NativeMessage{0, "standin_host/early", ToBytes("early-1")});
  ExpectFrame(driver_->NextFrame(kTimeout),
              frames::NativeMessage{0, "standin_host/early", ToBytes("early-2")});
}

TEST_F(StandinTest, EchoChannelAnswersWithTheSameBytes) {
  driver_->WaitForHandlerSet(kEcho, kTimeout);
  EXPECT_EQ(ToString(driver_->SendMessage(kEcho, ToBytes("hello"), kTimeout)), "hello");

  Bytes everyByte(256);
  for (int i = 0; i < 256; ++i) everyByte[i] = static_cast<uint8_t>(i);
  EXPECT_EQ(driver_->SendMessage(kEcho, everyByte, kTimeout), everyByte);

  // Large enough to be cut into many reads and writes on both sides.
  Bytes large(3 * 1024 * 1024 + 17);
  for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<uint8_t>((i * 31) ^ (i >> 8));
  EXPECT_EQ(driver_->SendMessage(kEcho, large, kTimeout), large);
}

TEST_F(StandinTest, MessagesAreAnsweredInTheOrderTheyWereSent) {
  driver_->WaitForHandlerSet(kEcho, kTimeout);
  std::vector<uint32_t> ids;
  for (int i = 0; i < 50; ++i)
    ids.push_back(driver_->PostMessage(kEcho, ToBytes(std::to_string(i))));
  std::vector<Frame> responses;
  while (responses.size() < ids.size()) {
    Frame frame = driver_->NextFrame(kTimeout);
    if (std::holds_alternative<frames::Response>(frame)) responses.push_back(std::move(frame));
  }
  for (size_t i = 0; i < ids.size(); ++i)
    ExpectFrame(responses[i], frames::Response{ids[i], ToBytes(std::to_string(i))});
}

TEST_F(StandinTest, MessageOnChannelWithoutReceiverGetsEmptyResponse) {
  EXPECT_TRUE(driver_->SendMessage("nobody/listens", ToBytes("anyone?"), kTimeout).empty());
  // The host's echo log shows the message reached no receive function.
  EXPECT_EQ(ToString(Control("echoed")), "");
}

TEST_F(StandinTest, ClearedReceiveFunctionLeavesTheChannelUnanswered) {
  driver_->WaitForHandlerSet(kEcho, kTimeout);
  EXPECT_EQ(ToString(Control("clear-echo")), "cleared");
  EXPECT_EQ(driver_->WaitForEvent("handler-cleared", kTimeout), kEcho);
  EXPECT_TRUE(driver_->SendMessage(kEcho, ToBytes("gone"), kTimeout).empty());

  EXPECT_EQ(ToString(Control("set-echo")), "set");
  driver_->WaitForHandlerSet(kEcho, kTimeout);
  EXPECT_EQ(ToString(driver_->SendMessage(kEcho, ToBytes("back"), kTimeout)), "back");
}

TEST_F(StandinTest, ResponseFromAnotherThreadReachesTheDriver) {
  EXPECT_EQ(ToString(Control("answer-from-thread")), "answered from a thread");
}

TEST_F(StandinTest, SecondResponseToOneMessageIsDropped) {
  const uint32_t twice = driver_->PostMessage(kControl, ToBytes("twice"));
  EXPECT_EQ(ToString(driver_->WaitForResponse(twice, kTimeout)), "first");
  // A second answer would have been queued before this one's.
  EXPECT_EQ(ToString(driver_->SendMessage(kEcho, ToBytes("after"), kTimeout)), "after");
  for (const Frame& frame : driver_->pending()) {
    const auto* response = std::get_if<frames::Response>(&frame);
    EXPECT_FALSE(response && response->id == twice) << "a second answer came: " << Show(frame);
  }
}

TEST_F(StandinTest, NativeMessageWithReplyGetsItsAnswerOnThePlatformThread) {
  EXPECT_EQ(ToString(Control("ask")), "asked");
  const frames::NativeMessage question = driver_->WaitForNativeMessage(kAsk, kTimeout);
  EXPECT_NE(question.id, 0u);
  EXPECT_EQ(ToString(question.payload), "ping");
  driver_->Reply(question.id, ToBytes("pong"));
  const frames::NativeMessage answer = driver_->WaitForNativeMessage(kAnswer, kTimeout);
  EXPECT_EQ(answer.id, 0u);
  EXPECT_EQ(ToString(answer.payload), "got:pong on the platform thread");

  // A second reply to the same message finds nobody waiting; the next answer is the next ask's.
  driver_->Reply(question.id, ToBytes("again"));
  driver_->SetNativeHandler(kAsk, [](const frames::NativeMessage& m) -> std::optional<Bytes> {
    return ToBytes("auto:" + ToString(m.payload));
  });
  EXPECT_EQ(ToString(Control("ask")), "asked");
  EXPECT_EQ(ToString(driver_->WaitForNativeMessage(kAnswer, kTimeout).payload),
            "got:auto:ping on the platform thread");
}

TEST_F(StandinTest, SendWithReplyFromAnotherThreadIsAnsweredOnThePlatformThread) {
  EXPECT_EQ(ToString(Control("ask-from-thread")), "asked");
  const frames::NativeMessage question = driver_->WaitForNativeMessage(kAsk, kTimeout);
  EXPECT_EQ(ToString(question.payload), "ping-from-thread");
  // An empty reply is still a reply: the function runs with no bytes.
  driver_->Reply(question.id, {});
  EXPECT_EQ(ToString(driver_->WaitForNativeMessage(kAnswer, kTimeout).payload),
            "got: on the platform thread");
}

TEST_F(StandinTest, NativeMessagesGetDistinctIds) {
  EXPECT_EQ(ToString(Control("ask")), "asked");
  EXPECT_EQ(ToString(Control("ask")), "asked");
  const frames::NativeMessage first = driver_->WaitForNativeMessage(kAsk, kTimeout);
  const frames::NativeMessage second = driver_->WaitForNativeMessage(kAsk, kTimeout);
  EXPECT_NE(first.id, second.id);
  // Answered in the other order: each reply finds its own function.
  driver_->Reply(second.id, ToBytes("two"));
  driver_->Reply(first.id, ToBytes("one"));
  EXPECT_EQ(ToString(driver_->WaitForNativeMessage(kAnswer, kTimeout).payload),
            "got:two on the platform thread");
  EXPECT_EQ(ToString(driver_->WaitForNativeMessage(kAnswer, kTimeout).payload),
            "got:one on the platform thread");
}

TEST_F(StandinTest, WindowMessageReachesTheRunnerWindowWithACopyOfThePayload) {
  const Bytes payload = {1, 2, 3, 0, 250, 'k', 't'};
  int64_t sum = 0;
  for (uint8_t b : payload) sum += b;
  // lParam is a bad pointer on purpose: the window may only ever see the copy.
  const int64_t result =
      driver_->SendWindowMessage(kMsgPayload, payload.size(), 0xdead, payload, kTimeout);
  EXPECT_EQ(result, (int64_t{1} << 40) + sum);
  EXPECT_EQ(driver_->WaitForNativeMessage(kWindow, kTimeout).payload, payload);
}

TEST_F(StandinTest, WindowMessageWithoutPayloadPassesItsParametersAsSent) {
  EXPECT_EQ(driver_->SendWindowMessage(kMsgPlain, 5, 0x100000000ull, {}, kTimeout),
            -int64_t{0x100000005});
}

TEST_F(StandinTest, WindowMessageWithNoRunnerWindowAnswersZero) {
  EXPECT_EQ(ToString(Control("destroy-runner")), "destroyed");
  EXPECT_EQ(driver_->SendWindowMessage(kMsgPlain, 5, 7, {}, kTimeout), 0);
}

TEST_F(StandinTest, CallExportPassesIntegersBuffersAndText) {
  const frames::CallResult result =
      driver_->CallExport("StandinHostReverse",
                          {CallArgument::Buffer({1, 2, 3, 4, 5}), CallArgument::Int(5),
                           CallArgument::String(u"h\u00e9llo\u2713"), CallArgument::Int(-7)},
                          kTimeout);
  EXPECT_TRUE(result.found);
  // -7 * 1000 + six UTF-16 units; INT64_MIN would mean it ran off the platform thread.
  EXPECT_EQ(result.result, -6994);
  ASSERT_EQ(result.buffers.size(), 1u);
  EXPECT_EQ(result.buffers[0], (Bytes{5, 4, 3, 2, 1}));
}

TEST_F(StandinTest, CallExportReturnsBuffersInArgumentOrder) {
  const frames::CallResult result =
      driver_->CallExport("StandinHostSwap",
                          {CallArgument::Buffer(ToBytes("abc")),
                           CallArgument::Buffer(ToBytes("xyz")), CallArgument::Int(3)},
                          kTimeout);
  EXPECT_TRUE(result.found);
  EXPECT_EQ(result.result, 3);
  ASSERT_EQ(result.buffers.size(), 2u);
  EXPECT_EQ(ToString(result.buffers[0]), "xyz");
  EXPECT_EQ(ToString(result.buffers[1]), "abc");
}

TEST_F(StandinTest, CallToAMissingExportGivesTheIdAlone) {
  const frames::CallResult result =
      driver_->CallExport("StandinHostNoSuchExport", {CallArgument::Int(1)}, kTimeout);
  EXPECT_FALSE(result.found);
  EXPECT_TRUE(result.buffers.empty());
}

TEST_F(StandinTest, MessagesAreDeliveredInsideANestedMessageLoop) {
  driver_->WaitForHandlerSet(kEcho, kTimeout);
  EXPECT_EQ(ToString(Control("depth")), "0");
  EXPECT_EQ(ToString(Control("nested")), "entered");
  // The platform thread is now inside the handler of "nested", in its own loop.
  EXPECT_EQ(ToString(Control("depth")), "1");
  EXPECT_EQ(ToString(driver_->SendMessage(kEcho, ToBytes("inside"), kTimeout)), "inside");
  EXPECT_EQ(driver_->SendWindowMessage(kMsgPlain, 1, 2, {}, kTimeout), -3);
  EXPECT_EQ(ToString(Control("leave")), "left");
  EXPECT_EQ(ToString(driver_->WaitForNativeMessage(kNested, kTimeout).payload), "nested-returned");
  EXPECT_EQ(ToString(Control("depth")), "0");
}

TEST_F(StandinTest, ReloadingFontsIsReported) {
  EXPECT_EQ(ToString(Control("fonts")), "reloaded");
  EXPECT_EQ(driver_->WaitForEvent("fonts-reloaded", kTimeout), "");
}

TEST_F(StandinTest, MalformedFrameClosesTheConnectionAndTheNextDriverIsServed) {
  const struct {
    const char* what;
    Bytes bytes;
  } bad[] = {
      {"zero length", {0, 0, 0, 0}},
      {"length above the bound", {0xff, 0xff, 0xff, 0xff}},
      {"unknown kind", {1, 0, 0, 0, 42}},
      {"name past the end of the frame", {9, 0, 0, 0, 1, 1, 0, 0, 0, 5, 0, 'a', 'b'}},
      {"too many call arguments", {9, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 5}},
      {"a kind only the app sends", *frames::Encode(frames::Response{1, ToBytes("x")})},
  };
  for (const auto& [what, bytes] : bad) {
    SCOPED_TRACE(what);
    driver_->SendBytes(bytes);
    driver_->WaitForClose(kTimeout);
    driver_ = EngineDriver::Connect(port_, kTimeout);
    EXPECT_EQ(ToString(driver_->SendMessage(kEcho, ToBytes(what), kTimeout)), what);
  }
}

TEST_F(StandinTest, SecondDriverIsServedOnlyAfterTheFirstHangsUp) {
  driver_->WaitForHandlerSet(kEcho, kTimeout);
  std::unique_ptr<EngineDriver> second = EngineDriver::Connect(port_, kTimeout);
  const uint32_t waiting = second->PostMessage(kEcho, ToBytes("from-second"));
  EXPECT_EQ(ToString(driver_->SendMessage(kEcho, ToBytes("from-first"), kTimeout)), "from-first");
  EXPECT_EQ(ToString(Control("echoed")), "from-first|");

  driver_->Close();
  EXPECT_EQ(ToString(second->WaitForResponse(waiting, kTimeout)), "from-second");
  driver_ = std::move(second);
  EXPECT_EQ(ToString(Control("echoed")), "from-first|from-second|");
}

TEST_F(StandinTest, EngineDestroyedIsTheLastFrameAndLateAnswersAreDropped) {
  driver_->WaitForHandlerSet(kControl, kTimeout);
  // Never answered while the engine lives; the host answers it after destroying the engine.
  const uint32_t held = driver_->PostMessage(kControl, ToBytes("hold"));
  const uint32_t quit = driver_->PostMessage(kControl, ToBytes("quit"));
  shutDown_ = true;
  driver_->WaitForClose(kTimeout);

  // The start-up frames, then the answer to quit, then engine-destroyed as the very last frame,
  // and nothing for the held message.
  const std::deque<Frame>& all = driver_->pending();
  ASSERT_GE(all.size(), 2u);
  ExpectFrame(all[all.size() - 2], frames::Response{quit, ToBytes("bye")});
  ExpectFrame(all.back(), frames::Event{"engine-destroyed", ""});
  for (const Frame& frame : all) {
    const auto* response = std::get_if<frames::Response>(&frame);
    EXPECT_FALSE(response && response->id == held) << "a late answer came: " << Show(frame);
  }
  driver_->Close();
  const std::optional<int> exit = host_.Wait(kTimeout * 3);
  ASSERT_TRUE(exit.has_value()) << "the host did not exit after its engine was destroyed";
  EXPECT_EQ(*exit, 0) << "the host reported problems (see its output)";
}

}  // namespace
