#include "answer_recorder.h"
#include "channels/method_channel.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "channels/binary_messenger_impl.h"
#include "channels/engine_method_result.h"
#include "channels/standard_codec.h"
#include "sim_messenger.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes B(std::initializer_list<int> values) {
  Bytes bytes;
  for (int v : values) bytes.push_back(static_cast<uint8_t>(v));
  return bytes;
}

const std::string kChannel = "com.kelvo.tarnel/test";

const StandardMethodCodec& Codec() { return StandardMethodCodec::GetInstance(); }

Bytes CallBytes(const std::string& method, std::unique_ptr<EncodableValue> arguments = nullptr) {
  return *Codec().EncodeMethodCall(MethodCall(method, std::move(arguments)));
}

class MethodChannelTest : public ::testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(fake_.RuleViolations(), 0);
    EXPECT_EQ(fake_.StrayResponses(), 0);
    EXPECT_FALSE(fake_.Locked());
  }

  // The one response a delivery got.
  sim::MessengerResponse OnlyResponse(int delivery) const {
    const auto responses = fake_.ResponsesTo(delivery);
    EXPECT_EQ(responses.size(), 1u);
    return responses.empty() ? sim::MessengerResponse{} : responses.front();
  }

  sim::FakeMessenger fake_;
  BinaryMessengerImpl messenger_{fake_.ref()};
  MethodChannel channel_{&messenger_, kChannel, &Codec()};
};

// ---- Incoming calls ----

TEST_F(MethodChannelTest, ConstructionSendsNothing) {
  EXPECT_TRUE(fake_.Sent().empty());
  EXPECT_FALSE(fake_.HasCallback(kChannel));
}

TEST_F(MethodChannelTest, HandlerReceivesTheDecodedCallAndItsAnswerGoesBack) {
  std::string seenMethod;
  std::optional<EncodableValue> seenArguments;
  channel_.SetMethodCallHandler([&](const MethodCall& call, std::unique_ptr<MethodResult> result) {
    seenMethod = call.method_name();
    seenArguments = *call.arguments();
    result->Success(EncodableValue(int64_t{5000000000}));
  });
  ASSERT_TRUE(fake_.HasCallback(kChannel));

  const int delivery = fake_.Deliver(
      kChannel, CallBytes("getIdleSeconds", std::make_unique<EncodableValue>(EncodableMap{
                                                {EncodableValue("a"), EncodableValue(1)}})));
  EXPECT_EQ(seenMethod, "getIdleSeconds");
  EXPECT_EQ(seenArguments, EncodableValue(EncodableMap{{EncodableValue("a"), EncodableValue(1)}}));
  const sim::MessengerResponse response = OnlyResponse(delivery);
  EXPECT_FALSE(response.nullData);
  EXPECT_EQ(response.bytes, B({0x00, 0x04, 0x00, 0xf2, 0x05, 0x2a, 0x01, 0x00, 0x00, 0x00}));
  EXPECT_EQ(fake_.References(), 0);
}

TEST_F(MethodChannelTest, ErrorAnswerIsAnErrorEnvelope) {
  channel_.SetMethodCallHandler([](const MethodCall&, std::unique_ptr<MethodResult> result) {
    result->Error("INVALID_ARGS", "Invalid arguments");
  });
  const int delivery = fake_.Deliver(kChannel, CallBytes("show"));
  Bytes expected = B({0x01, 0x07, 0x0c});
  for (char c : std::string("INVALID_ARGS")) expected.push_back(static_cast<uint8_t>(c));
  expected.insert(expected.end(), {0x07, 0x11});
  for (char c : std::string("Invalid arguments")) expected.push_back(static_cast<uint8_t>(c));
  expected.push_back(0x00);
  EXPECT_EQ(OnlyResponse(delivery).bytes, expected);
}

TEST_F(MethodChannelTest, NotImplementedAnswerIsANullResponse) {
  channel_.SetMethodCallHandler(
      [](const MethodCall&, std::unique_ptr<MethodResult> result) { result->NotImplemented(); });
  const int delivery = fake_.Deliver(kChannel, CallBytes("unknownMethod"));
  const sim::MessengerResponse response = OnlyResponse(delivery);
  EXPECT_TRUE(response.nullData);
  EXPECT_TRUE(response.bytes.empty());
}

TEST_F(MethodChannelTest, MessageWithOnlyAMethodNameRunsTheHandlerWithNullArguments) {
  bool ran = false;
  channel_.SetMethodCallHandler([&](const MethodCall& call, std::unique_ptr<MethodResult> result) {
    ran = true;
    ASSERT_NE(call.arguments(), nullptr);
    EXPECT_TRUE(call.arguments()->IsNull());
    result->Success(EncodableValue(true));
  });
  testing::internal::CaptureStderr();
  const int delivery = fake_.Deliver(kChannel, B({0x07, 0x04, 'p', 'i', 'n', 'g'}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n");
  EXPECT_TRUE(ran);
  EXPECT_EQ(OnlyResponse(delivery).bytes, B({0x00, 0x01}));
}

TEST_F(MethodChannelTest, ZeroByteMessagePrintsThreeLinesInOrderAndIsNotImplemented) {
  bool ran = false;
  channel_.SetMethodCallHandler(
      [&](const MethodCall&, std::unique_ptr<MethodResult>) { ran = true; });
  testing::internal::CaptureStderr();
  const int delivery = fake_.Deliver(kChannel, {});
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n"
            "Invalid method call; method name is not a string.\n"
            "Unable to construct method call from message on channel com.kelvo.tarnel/test\n");
  EXPECT_FALSE(ran);
  EXPECT_TRUE(OnlyResponse(delivery).nullData);
}

TEST_F(MethodChannelTest, MessageThatIsNotACallIsNotImplemented) {
  bool ran = false;
  channel_.SetMethodCallHandler(
      [&](const MethodCall&, std::unique_ptr<MethodResult>) { ran = true; });
  testing::internal::CaptureStderr();
  const int delivery = fake_.Deliver(kChannel, B({0x01, 0x00}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid method call; method name is not a string.\n"
            "Unable to construct method call from message on channel com.kelvo.tarnel/test\n");
  EXPECT_FALSE(ran);
  EXPECT_TRUE(OnlyResponse(delivery).nullData);
}

TEST_F(MethodChannelTest, HundredThousandDeepMessageIsNotImplementedWithoutACrash) {
  bool ran = false;
  channel_.SetMethodCallHandler(
      [&](const MethodCall&, std::unique_ptr<MethodResult>) { ran = true; });
  Bytes message = B({0x07, 0x01, 'm'});
  for (int i = 0; i < 100000; ++i) message.insert(message.end(), {0x0c, 0x01});
  message.push_back(0x00);
  testing::internal::CaptureStderr();
  const int delivery = fake_.Deliver(kChannel, message);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unable to construct method call from message on channel com.kelvo.tarnel/test\n");
  EXPECT_FALSE(ran);
  EXPECT_TRUE(OnlyResponse(delivery).nullData);
}

TEST_F(MethodChannelTest, SuccessCalledTwiceSendsTheFirstAndPrintsTheDuplicateText) {
  channel_.SetMethodCallHandler([](const MethodCall&, std::unique_ptr<MethodResult> result) {
    result->Success(EncodableValue(1));
    testing::internal::CaptureStderr();
    result->Success(EncodableValue(2));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Only one of Success, Error, or NotImplemented can be called, and it can be "
              "called exactly once. Ignoring duplicate result.\n");
  });
  const int delivery = fake_.Deliver(kChannel, CallBytes("twice"));
  EXPECT_EQ(OnlyResponse(delivery).bytes, B({0x00, 0x03, 0x01, 0x00, 0x00, 0x00}));
}

TEST_F(MethodChannelTest, AnyAnswerAfterTheFirstIsDropped) {
  channel_.SetMethodCallHandler([](const MethodCall&, std::unique_ptr<MethodResult> result) {
    result->NotImplemented();
    testing::internal::CaptureStderr();
    result->Error("E");
    result->Success();
    const std::string duplicate =
        "Error: Only one of Success, Error, or NotImplemented can be called, and it can be "
        "called exactly once. Ignoring duplicate result.\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), duplicate + duplicate);
  });
  const int delivery = fake_.Deliver(kChannel, CallBytes("thrice"));
  EXPECT_TRUE(OnlyResponse(delivery).nullData);
}

TEST_F(MethodChannelTest, DroppedResultPrintsTheWarningAndNeverAnswers) {
  channel_.SetMethodCallHandler([](const MethodCall&, std::unique_ptr<MethodResult>) {});
  testing::internal::CaptureStderr();
  const int delivery = fake_.Deliver(kChannel, CallBytes("forgotten"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: Failed to respond to a message. This is a memory leak.\n");
  EXPECT_TRUE(fake_.ResponsesTo(delivery).empty());
  EXPECT_EQ(fake_.References(), 0);
}

TEST_F(MethodChannelTest, ResultKeptByTheHandlerAnswersLater) {
  std::unique_ptr<MethodResult> kept;
  channel_.SetMethodCallHandler(
      [&](const MethodCall&, std::unique_ptr<MethodResult> result) { kept = std::move(result); });
  const int delivery = fake_.Deliver(kChannel, CallBytes("later"));
  EXPECT_TRUE(fake_.ResponsesTo(delivery).empty());
  EXPECT_EQ(fake_.References(), 1);
  kept->Success();
  EXPECT_EQ(OnlyResponse(delivery).bytes, B({0x00, 0x00}));
  kept.reset();
  EXPECT_EQ(fake_.References(), 0);
}

TEST_F(MethodChannelTest, ReplyAfterTheEngineIsGoneIsDroppedWithNoText) {
  std::unique_ptr<MethodResult> kept;
  channel_.SetMethodCallHandler(
      [&](const MethodCall&, std::unique_ptr<MethodResult> result) { kept = std::move(result); });
  const int delivery = fake_.Deliver(kChannel, CallBytes("late"));
  fake_.SetAvailable(false);
  testing::internal::CaptureStderr();
  kept->Success(EncodableValue(true));
  kept.reset();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(fake_.ResponsesTo(delivery).empty());
  EXPECT_EQ(fake_.References(), 0);
  EXPECT_EQ(fake_.LockCount(), 1);
}

TEST_F(MethodChannelTest, EmptyHandlerRemovesTheChannelsCallback) {
  channel_.SetMethodCallHandler(
      [](const MethodCall&, std::unique_ptr<MethodResult> result) { result->Success(); });
  ASSERT_TRUE(fake_.HasCallback(kChannel));
  channel_.SetMethodCallHandler(nullptr);
  EXPECT_FALSE(fake_.HasCallback(kChannel));
}

TEST_F(MethodChannelTest, NewHandlerReplacesTheOld) {
  int first = 0;
  int second = 0;
  channel_.SetMethodCallHandler([&](const MethodCall&, std::unique_ptr<MethodResult> result) {
    ++first;
    result->Success();
  });
  channel_.SetMethodCallHandler([&](const MethodCall&, std::unique_ptr<MethodResult> result) {
    ++second;
    result->Success();
  });
  fake_.Deliver(kChannel, CallBytes("x"));
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST_F(MethodChannelTest, ResultAnsweredOnAnotherThread) {
  std::thread worker;
  channel_.SetMethodCallHandler([&](const MethodCall&, std::unique_ptr<MethodResult> result) {
    worker = std::thread(
        [result = std::move(result)]() mutable { result->Success(EncodableValue("done")); });
  });
  const int delivery = fake_.Deliver(kChannel, CallBytes("background"));
  worker.join();
  EXPECT_EQ(OnlyResponse(delivery).bytes, B({0x00, 0x07, 0x04, 'd', 'o', 'n', 'e'}));
  EXPECT_EQ(fake_.References(), 0);
}

TEST_F(MethodChannelTest, ManyResultsAnsweredFromManyThreadsEachOnce) {
  constexpr int kCalls = 64;
  std::vector<std::unique_ptr<MethodResult>> results;
  channel_.SetMethodCallHandler([&](const MethodCall&, std::unique_ptr<MethodResult> result) {
    results.push_back(std::move(result));
  });
  std::vector<int> deliveries;
  for (int i = 0; i < kCalls; ++i) deliveries.push_back(fake_.Deliver(kChannel, CallBytes("n")));

  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&results, t] {
      // Every thread answers every result: exactly one answer per call may win.
      for (int i = 0; i < kCalls; ++i) results[(i + t * 16) % kCalls]->Success(EncodableValue(i));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string errors = testing::internal::GetCapturedStderr();
  results.clear();

  size_t duplicates = 0;
  for (size_t at = errors.find("Ignoring duplicate result."); at != std::string::npos;
       at = errors.find("Ignoring duplicate result.", at + 1)) {
    ++duplicates;
  }
  EXPECT_EQ(duplicates, static_cast<size_t>(3 * kCalls));
  for (int delivery : deliveries) EXPECT_EQ(fake_.ResponsesTo(delivery).size(), 1u);
  EXPECT_EQ(fake_.References(), 0);
}

TEST_F(MethodChannelTest, EngineGoingAwayWhileThreadsAnswerDropsTheRest) {
  constexpr int kCalls = 64;
  std::vector<std::unique_ptr<MethodResult>> results;
  channel_.SetMethodCallHandler([&](const MethodCall&, std::unique_ptr<MethodResult> result) {
    results.push_back(std::move(result));
  });
  std::vector<int> deliveries;
  for (int i = 0; i < kCalls; ++i) deliveries.push_back(fake_.Deliver(kChannel, CallBytes("n")));

  std::atomic<bool> go{false};
  std::thread answering([&] {
    while (!go.load()) std::this_thread::yield();
    for (auto& result : results) result->Success();
  });
  go = true;
  fake_.SetAvailable(false);
  answering.join();
  results.clear();

  for (int delivery : deliveries) EXPECT_LE(fake_.ResponsesTo(delivery).size(), 1u);
  EXPECT_EQ(fake_.References(), 0);
}

// ---- The messenger's reply function ----

TEST_F(MethodChannelTest, SecondResponseOnOneHandlePrintsTheDuplicateResponseText) {
  BinaryReply kept;
  messenger_.SetMessageHandler(
      kChannel, [&](const uint8_t*, size_t, BinaryReply reply) { kept = std::move(reply); });
  const int delivery = fake_.Deliver(kChannel, B({0x01}));
  BinaryReply copy = kept;
  const uint8_t first[] = {0x00, 0x01};
  const uint8_t second[] = {0x00, 0x02};
  kept(first, sizeof first);
  testing::internal::CaptureStderr();
  copy(second, sizeof second);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error: Response can be set only once. Ignoring duplicate response.\n");
  EXPECT_EQ(OnlyResponse(delivery).bytes, B({0x00, 0x01}));
  EXPECT_EQ(fake_.LockCount(), 2);
}

TEST_F(MethodChannelTest, ReferenceIsTakenPerMessageAndReleasedWithTheLastCopyOfItsReply) {
  BinaryReply kept;
  messenger_.SetMessageHandler(
      kChannel, [&](const uint8_t*, size_t, BinaryReply reply) { kept = std::move(reply); });
  fake_.Deliver(kChannel, B({0x01}));
  EXPECT_EQ(fake_.AddRefCount(), 1);
  BinaryReply copy = kept;
  kept = nullptr;
  EXPECT_EQ(fake_.References(), 1);
  copy = nullptr;
  EXPECT_EQ(fake_.References(), 0);
}

TEST_F(MethodChannelTest, HandlerSeesTheMessageBytes) {
  Bytes seen;
  messenger_.SetMessageHandler(kChannel, [&](const uint8_t* data, size_t size, BinaryReply reply) {
    seen.assign(data, data + size);
    reply(nullptr, 0);
  });
  const int delivery = fake_.Deliver(kChannel, B({0x07, 0x01, 'z', 0x00}));
  EXPECT_EQ(seen, B({0x07, 0x01, 'z', 0x00}));
  EXPECT_TRUE(OnlyResponse(delivery).nullData);
}

// ---- Outgoing calls ----

TEST_F(MethodChannelTest, InvokeWithoutAResultSendsTheEncodedCallWithNoReply) {
  channel_.InvokeMethod("onDeviceChanged", std::make_unique<EncodableValue>(EncodableMap{
                                               {EncodableValue("kind"), EncodableValue("usb")}}));
  const auto sent = fake_.Sent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].channel, kChannel);
  EXPECT_FALSE(sent[0].expectsReply);
  EXPECT_EQ(sent[0].bytes,
            B({0x07, 0x0f, 'o',  'n',  'D',  'e',  'v', 'i', 'c', 'e', 'C',  'h',  'a', 'n', 'g',
               'e',  'd',  0x0d, 0x01, 0x07, 0x04, 'k', 'i', 'n', 'd', 0x07, 0x03, 'u', 's', 'b'}));
}

TEST_F(MethodChannelTest, InvokeWithNullArgumentsSendsANullValue) {
  channel_.InvokeMethod("ping", nullptr);
  const auto sent = fake_.Sent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].bytes, B({0x07, 0x04, 'p', 'i', 'n', 'g', 0x00}));
}

TEST_F(MethodChannelTest, InvokeResultReceivesTheDecodedSuccess) {
  Answer answer;
  channel_.InvokeMethod("ask", nullptr, Recorder(answer));
  ASSERT_EQ(fake_.Sent().size(), 1u);
  EXPECT_TRUE(fake_.Sent()[0].expectsReply);
  ASSERT_TRUE(fake_.Reply(0, B({0x00, 0x07, 0x02, 'o', 'k'})));
  EXPECT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(answer.count, 1);
  EXPECT_EQ(answer.value, EncodableValue("ok"));
}

TEST_F(MethodChannelTest, InvokeResultReceivesTheDecodedError) {
  Answer answer;
  channel_.InvokeMethod("ask", nullptr, Recorder(answer));
  ASSERT_TRUE(fake_.Reply(0, B({0x01, 0x07, 0x01, 'E', 0x00, 0x03, 0x09, 0x00, 0x00, 0x00})));
  EXPECT_EQ(answer.kind, Answer::kError);
  EXPECT_EQ(answer.code, "E");
  EXPECT_EQ(answer.message, "");
  EXPECT_EQ(answer.details, EncodableValue(9));
}

TEST_F(MethodChannelTest, EmptyReplyIsNotImplemented) {
  Answer answer;
  channel_.InvokeMethod("ask", nullptr, Recorder(answer));
  testing::internal::CaptureStderr();
  ASSERT_TRUE(fake_.Reply(0, {}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(answer.kind, Answer::kNotImplemented);
  EXPECT_EQ(answer.count, 1);
}

TEST_F(MethodChannelTest, UndecodableReplyPrintsTheChannelAndIsNotImplemented) {
  Answer answer;
  channel_.InvokeMethod("ask", nullptr, Recorder(answer));
  testing::internal::CaptureStderr();
  ASSERT_TRUE(fake_.Reply(0, B({0x02})));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unable to decode reply to method invocation on channel com.kelvo.tarnel/test\n");
  EXPECT_EQ(answer.kind, Answer::kNotImplemented);
  EXPECT_EQ(answer.count, 1);
}

TEST_F(MethodChannelTest, HundredThousandDeepReplyIsUndecodable) {
  Answer answer;
  channel_.InvokeMethod("ask", nullptr, Recorder(answer));
  Bytes reply = B({0x00});
  for (int i = 0; i < 100000; ++i) reply.insert(reply.end(), {0x0c, 0x01});
  reply.push_back(0x00);
  testing::internal::CaptureStderr();
  ASSERT_TRUE(fake_.Reply(0, reply));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unable to decode reply to method invocation on channel com.kelvo.tarnel/test\n");
  EXPECT_EQ(answer.kind, Answer::kNotImplemented);
}

TEST_F(MethodChannelTest, RefusedSendFreesTheReplyAtOnce) {
  auto alive = std::make_shared<int>(0);
  fake_.SetSendWithReplyFails(true);
  messenger_.Send(kChannel, nullptr, 0, [alive](const uint8_t*, size_t) {});
  EXPECT_EQ(alive.use_count(), 1);
  EXPECT_TRUE(fake_.Sent().empty());
}

TEST_F(MethodChannelTest, AcceptedSendFreesTheReplyAfterItRuns) {
  auto alive = std::make_shared<int>(0);
  int calls = 0;
  messenger_.Send(kChannel, nullptr, 0, [alive, &calls](const uint8_t*, size_t) { ++calls; });
  EXPECT_EQ(alive.use_count(), 2);
  ASSERT_TRUE(fake_.Reply(0, B({0x00, 0x00})));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(alive.use_count(), 1);
}

TEST(EngineMethodResult, EmptyEncodingGoesOutAsANullPointer) {
  struct EmptyCodec : MethodCodec {
    std::unique_ptr<MethodCall> DecodeMethodCallInternal(const uint8_t*, size_t) const override {
      return nullptr;
    }
    std::unique_ptr<std::vector<uint8_t>> EncodeMethodCallInternal(
        const MethodCall&) const override {
      return std::make_unique<std::vector<uint8_t>>();
    }
    std::unique_ptr<std::vector<uint8_t>> EncodeSuccessEnvelopeInternal(
        const EncodableValue*) const override {
      return std::make_unique<std::vector<uint8_t>>();
    }
    std::unique_ptr<std::vector<uint8_t>> EncodeErrorEnvelopeInternal(
        const std::string&, const std::string&, const EncodableValue*) const override {
      return nullptr;
    }
    bool DecodeAndProcessResponseEnvelopeInternal(const uint8_t*, size_t,
                                                  MethodResult*) const override {
      return false;
    }
  };
  const EmptyCodec codec;
  std::vector<std::pair<const uint8_t*, size_t>> replies;
  {
    EngineMethodResult success(
        [&](const uint8_t* data, size_t size) { replies.emplace_back(data, size); }, &codec);
    success.Success();
    EngineMethodResult error(
        [&](const uint8_t* data, size_t size) { replies.emplace_back(data, size); }, &codec);
    error.Error("E");
  }
  ASSERT_EQ(replies.size(), 2u);
  EXPECT_EQ(replies[0].first, nullptr);
  EXPECT_EQ(replies[0].second, 0u);
  EXPECT_EQ(replies[1].first, nullptr);
  EXPECT_EQ(replies[1].second, 0u);
}

}  // namespace
