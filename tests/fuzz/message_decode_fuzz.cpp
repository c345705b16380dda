// Bytes as they may come from Dart: a method call on a channel, or the reply to a call that
// native code made. Decoded through the codec, then through a channel on the fake messenger.
// Whatever decodes must encode to bytes that decode to the same thing, and every message must
// get exactly one answer, whatever it holds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

#include "channels/binary_messenger_impl.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "sim_messenger.h"
#include "fuzz_check.h"

namespace {

using Bytes = std::vector<uint8_t>;

const std::string kChannel = "com.kelvo.tarnel/fuzz";

// The layer's complaints are expected by the million here; writing them out would only slow
// the run. Crashes and failed invariants go to the real stderr through fprintf.
class DiscardingBuffer : public std::streambuf {
 protected:
  int overflow(int c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

struct Answer {
  enum Kind { kNone, kSuccess, kError, kNotImplemented } kind = kNone;
  int count = 0;
  std::optional<EncodableValue> value;
  std::string code;
  std::string message;
  std::optional<EncodableValue> details;
};

bool operator==(const Answer& a, const Answer& b) {
  return a.kind == b.kind && a.count == b.count && a.value == b.value && a.code == b.code &&
         a.message == b.message && a.details == b.details;
}

std::unique_ptr<MethodResult> Recorder(std::shared_ptr<Answer> answer) {
  return std::make_unique<MethodResultFunctions>(
      [answer](const EncodableValue* value) {
        ++answer->count;
        answer->kind = Answer::kSuccess;
        if (value) answer->value = *value;
      },
      [answer](const std::string& code, const std::string& message, const EncodableValue* details) {
        ++answer->count;
        answer->kind = Answer::kError;
        answer->code = code;
        answer->message = message;
        if (details) answer->details = *details;
      },
      [answer] {
        ++answer->count;
        answer->kind = Answer::kNotImplemented;
      });
}

const StandardMethodCodec& Codec() { return StandardMethodCodec::GetInstance(); }

// The bytes the codec writes for an answer that it decoded.
Bytes EncodeAnswer(const Answer& answer) {
  if (answer.kind == Answer::kSuccess) {
    return *Codec().EncodeSuccessEnvelope(answer.value ? &*answer.value : nullptr);
  }
  return *Codec().EncodeErrorEnvelope(answer.code, answer.message,
                                      answer.details ? &*answer.details : nullptr);
}

std::optional<Answer> DecodeEnvelope(const uint8_t* data, size_t size) {
  auto answer = std::make_shared<Answer>();
  auto result = Recorder(answer);
  if (!Codec().DecodeAndProcessResponseEnvelope(data, size, result.get())) {
    KT_CHECK(answer->count == 0);
    return std::nullopt;
  }
  KT_CHECK(answer->count == 1);
  return *answer;
}

// Returns the decoded call's arguments, or nullopt when the bytes hold no call.
std::optional<EncodableValue> CheckCallThroughTheCodec(const uint8_t* data, size_t size) {
  const std::unique_ptr<MethodCall> call = Codec().DecodeMethodCall(data, size);
  if (!call) return std::nullopt;
  KT_CHECK(call->arguments() != nullptr);

  const auto encoded = Codec().EncodeMethodCall(*call);
  const auto again = Codec().DecodeMethodCall(*encoded);
  KT_CHECK(again != nullptr);
  KT_CHECK(again->method_name() == call->method_name());
  KT_CHECK(*again->arguments() == *call->arguments());
  // The encoding of a decoded value is canonical: a second pass changes nothing.
  KT_CHECK(*Codec().EncodeMethodCall(*again) == *encoded);
  return *call->arguments();
}

void CheckEnvelopeThroughTheCodec(const uint8_t* data, size_t size) {
  const std::optional<Answer> answer = DecodeEnvelope(data, size);
  if (!answer) return;
  KT_CHECK(answer->kind == Answer::kSuccess || answer->kind == Answer::kError);
  const Bytes encoded = EncodeAnswer(*answer);
  const std::optional<Answer> again = DecodeEnvelope(encoded.data(), encoded.size());
  KT_CHECK(again.has_value());
  KT_CHECK(*again == *answer);
  KT_CHECK(EncodeAnswer(*again) == encoded);
}

// As a call from Dart on a channel whose handler answers with the arguments it got.
void CheckCallThroughAChannel(const Bytes& message,
                              const std::optional<EncodableValue>& arguments) {
  sim::FakeMessenger fake;
  {
    BinaryMessengerImpl messenger(fake.ref());
    MethodChannel channel(&messenger, kChannel);
    int handled = 0;
    channel.SetMethodCallHandler([&](const MethodCall& call, std::unique_ptr<MethodResult> result) {
      ++handled;
      result->Success(*call.arguments());
    });
    const int delivery = fake.Deliver(kChannel, message);
    const auto responses = fake.ResponsesTo(delivery);
    KT_CHECK(responses.size() == 1);
    KT_CHECK(handled == (arguments ? 1 : 0));
    if (!arguments) {
      KT_CHECK(responses[0].nullData);
    } else {
      KT_CHECK(!responses[0].nullData);
      const std::optional<Answer> answer =
          DecodeEnvelope(responses[0].bytes.data(), responses[0].bytes.size());
      KT_CHECK(answer.has_value() && answer->kind == Answer::kSuccess);
      KT_CHECK(answer->value.value_or(EncodableValue()) == *arguments);
    }
  }
  KT_CHECK(fake.References() == 0);
  KT_CHECK(fake.RuleViolations() == 0);
  KT_CHECK(fake.StrayResponses() == 0);
}

// As Dart's reply to a call that native code made on a channel.
void CheckReplyThroughAChannel(const Bytes& reply) {
  sim::FakeMessenger fake;
  BinaryMessengerImpl messenger(fake.ref());
  MethodChannel channel(&messenger, kChannel);
  auto answer = std::make_shared<Answer>();
  channel.InvokeMethod("ask", nullptr, Recorder(answer));
  KT_CHECK(fake.Reply(0, reply));
  KT_CHECK(answer->count == 1);
  const std::optional<Answer> direct =
      reply.empty() ? std::nullopt : DecodeEnvelope(reply.data(), reply.size());
  if (direct) {
    KT_CHECK(*answer == *direct);
  } else {
    KT_CHECK(answer->kind == Answer::kNotImplemented);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static DiscardingBuffer discard;
  std::cerr.rdbuf(&discard);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes bytes(data, data + size);
  const std::optional<EncodableValue> arguments = CheckCallThroughTheCodec(data, size);
  CheckEnvelopeThroughTheCodec(data, size);
  CheckCallThroughAChannel(bytes, arguments);
  CheckReplyThroughAChannel(bytes);
  return 0;
}
