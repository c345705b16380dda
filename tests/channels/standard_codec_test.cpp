#include "answer_recorder.h"
#include "channels/standard_codec.h"

#include <any>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "channels/byte_streams.h"
#include "channels/method_call.h"
#include "channels/method_result.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes B(std::initializer_list<int> values) {
  Bytes bytes;
  for (int v : values) bytes.push_back(static_cast<uint8_t>(v));
  return bytes;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

const StandardCodecSerializer& Serializer() { return StandardCodecSerializer::GetInstance(); }
const StandardMethodCodec& Codec() { return StandardMethodCodec::GetInstance(); }

Bytes Encode(const EncodableValue& value) {
  Bytes bytes;
  ByteBufferStreamWriter stream(&bytes);
  Serializer().WriteValue(value, &stream);
  return bytes;
}

EncodableValue Decode(const Bytes& bytes) {
  ByteBufferStreamReader stream(bytes.data(), bytes.size());
  return Serializer().ReadValue(&stream);
}

// Nested lists, `depth` of them, the innermost empty.
Bytes NestedLists(size_t depth) {
  Bytes bytes;
  for (size_t i = 0; i + 1 < depth; ++i) bytes.insert(bytes.end(), {0x0c, 0x01});
  bytes.insert(bytes.end(), {0x0c, 0x00});
  return bytes;
}

EncodableValue NestedListValue(size_t depth) {
  EncodableValue value = EncodableList{};
  for (size_t i = 1; i < depth; ++i) value = EncodableList{value};
  return value;
}

bool DecodeEnvelope(const Bytes& bytes, Answer& answer) {
  auto result = Recorder(answer);
  return Codec().DecodeAndProcessResponseEnvelope(bytes.data(), bytes.size(), result.get());
}

// ---- Golden messages, written byte by byte from the published format ----

const Bytes kGetIdleSecondsCall =
    B({0x07, 0x0e, 'g', 'e', 't', 'I', 'd', 'l', 'e', 'S', 'e', 'c', 'o', 'n', 'd', 's', 0x00});

TEST(StandardCodecGolden, MethodCallWithNullArguments) {
  const auto encoded = Codec().EncodeMethodCall(MethodCall("getIdleSeconds", nullptr));
  EXPECT_EQ(*encoded, kGetIdleSecondsCall);

  const auto call = Codec().DecodeMethodCall(kGetIdleSecondsCall);
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(call->method_name(), "getIdleSeconds");
  ASSERT_NE(call->arguments(), nullptr);
  EXPECT_TRUE(call->arguments()->IsNull());
}

TEST(StandardCodecGolden, MethodCallWithAMapArgument) {
  const Bytes golden =
      B({0x07, 0x03, 's', 'e', 't', 0x0d, 0x01, 0x07, 0x01, 'a', 0x03, 0x01, 0x00, 0x00, 0x00});
  const auto encoded = Codec().EncodeMethodCall(
      MethodCall("set", std::make_unique<EncodableValue>(EncodableMap{{EncodableValue("a"), 1}})));
  EXPECT_EQ(*encoded, golden);
}

TEST(StandardCodecGolden, SuccessEnvelopeWithInt64) {
  // 5000000000 = 0x12A05F200
  const Bytes golden = B({0x00, 0x04, 0x00, 0xf2, 0x05, 0x2a, 0x01, 0x00, 0x00, 0x00});
  const EncodableValue value(int64_t{5000000000});
  EXPECT_EQ(*Codec().EncodeSuccessEnvelope(&value), golden);

  Answer answer;
  ASSERT_TRUE(DecodeEnvelope(golden, answer));
  EXPECT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(answer.value, value);
}

TEST(StandardCodecGolden, SuccessWithNoValueIsANull) {
  EXPECT_EQ(*Codec().EncodeSuccessEnvelope(), B({0x00, 0x00}));
  Answer answer;
  ASSERT_TRUE(DecodeEnvelope(B({0x00, 0x00}), answer));
  EXPECT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_FALSE(answer.value.has_value());
}

TEST(StandardCodecGolden, ErrorWithAnEmptyMessageIsEncodedWithANullMessage) {
  const Bytes golden =
      B({0x01, 0x07, 0x0c, 'I', 'N', 'V', 'A', 'L', 'I', 'D', '_', 'A', 'R', 'G', 'S', 0x00, 0x00});
  EXPECT_EQ(*Codec().EncodeErrorEnvelope("INVALID_ARGS"), golden);
  EXPECT_EQ(*Codec().EncodeErrorEnvelope("INVALID_ARGS", ""), golden);
}

TEST(StandardCodecGolden, DecodingAnErrorWithANullMessageGivesAnEmptyMessageAgain) {
  const Bytes golden = B({0x01, 0x07, 0x01, 'E', 0x00, 0x00});
  Answer answer;
  ASSERT_TRUE(DecodeEnvelope(golden, answer));
  EXPECT_EQ(answer.kind, Answer::kError);
  EXPECT_EQ(answer.code, "E");
  EXPECT_EQ(answer.message, "");
  EXPECT_FALSE(answer.details.has_value());
}

TEST(StandardCodecGolden, ErrorWithMessageAndDetails) {
  const Bytes golden = Cat({B({0x01, 0x07, 0x0c}), Text("INVALID_ARGS"), B({0x07, 0x11}),
                            Text("Invalid arguments"), B({0x03, 0x2a, 0x00, 0x00, 0x00})});
  const EncodableValue details(42);
  EXPECT_EQ(*Codec().EncodeErrorEnvelope("INVALID_ARGS", "Invalid arguments", &details), golden);

  Answer answer;
  ASSERT_TRUE(DecodeEnvelope(golden, answer));
  EXPECT_EQ(answer.code, "INVALID_ARGS");
  EXPECT_EQ(answer.message, "Invalid arguments");
  EXPECT_EQ(answer.details, details);
}

TEST(StandardCodecGolden, MapWithOneStringKey) {
  const Bytes golden = B({0x0d, 0x01, 0x07, 0x01, 'a', 0x03, 0x01, 0x00, 0x00, 0x00});
  const EncodableValue value(EncodableMap{{EncodableValue("a"), EncodableValue(1)}});
  EXPECT_EQ(Encode(value), golden);
  EXPECT_EQ(Decode(golden), value);
}

// ---- Every wire type, both ways ----

struct WireCase {
  const char* name;
  EncodableValue value;
  Bytes golden;
};

std::vector<WireCase> WireCases() {
  return {
      {"null", EncodableValue(), B({0x00})},
      {"true", EncodableValue(true), B({0x01})},
      {"false", EncodableValue(false), B({0x02})},
      {"int32", EncodableValue(int32_t{-2}), B({0x03, 0xfe, 0xff, 0xff, 0xff})},
      {"int32 max", EncodableValue(std::numeric_limits<int32_t>::max()),
       B({0x03, 0xff, 0xff, 0xff, 0x7f})},
      {"int64", EncodableValue(int64_t{-2}),
       B({0x04, 0xfe, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})},
      // 1.5 = 0x3FF8000000000000, after seven bytes of padding.
      {"float64", EncodableValue(1.5),
       B({0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xf8, 0x3f})},
      {"string", EncodableValue("h\xc3\xa9"), B({0x07, 0x03, 'h', 0xc3, 0xa9})},
      {"empty string", EncodableValue(""), B({0x07, 0x00})},
      {"uint8 list", EncodableValue(std::vector<uint8_t>{1, 2, 255}),
       B({0x08, 0x03, 0x01, 0x02, 0xff})},
      {"int32 list", EncodableValue(std::vector<int32_t>{1, -1}),
       B({0x09, 0x02, 0, 0, 0x01, 0, 0, 0, 0xff, 0xff, 0xff, 0xff})},
      {"int64 list", EncodableValue(std::vector<int64_t>{-2}),
       B({0x0a, 0x01, 0, 0, 0, 0, 0, 0, 0xfe, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})},
      // -2.0 = 0xC000000000000000
      {"float64 list", EncodableValue(std::vector<double>{-2.0}),
       B({0x0b, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xc0})},
      {"list", EncodableValue(EncodableList{EncodableValue(), EncodableValue("a")}),
       B({0x0c, 0x02, 0x00, 0x07, 0x01, 'a'})},
      {"map", EncodableValue(EncodableMap{{EncodableValue("k"), EncodableValue(true)}}),
       B({0x0d, 0x01, 0x07, 0x01, 'k', 0x01})},
      // 1.0f = 0x3F800000, -2.0f = 0xC0000000
      {"float32 list", EncodableValue(std::vector<float>{1.0f, -2.0f}),
       B({0x0e, 0x02, 0, 0, 0, 0, 0x80, 0x3f, 0, 0, 0, 0xc0})},
      // The padding is there even when no element follows it.
      {"empty float64 list", EncodableValue(std::vector<double>{}),
       B({0x0b, 0x00, 0, 0, 0, 0, 0, 0})},
  };
}

TEST(StandardCodecWireTypes, EveryTypeEncodesToItsPublishedBytes) {
  for (const WireCase& c : WireCases()) {
    EXPECT_EQ(Encode(c.value), c.golden) << c.name;
  }
}

TEST(StandardCodecWireTypes, EveryTypeDecodesFromItsPublishedBytes) {
  for (const WireCase& c : WireCases()) {
    EXPECT_EQ(Decode(c.golden), c.value) << c.name;
  }
}

TEST(StandardCodecWireTypes, NestedValueRoundTrips) {
  const EncodableValue value(EncodableMap{
      {EncodableValue("logs"),
       EncodableList{EncodableMap{{EncodableValue("t"), EncodableValue(int64_t{1} << 40)},
                                  {EncodableValue("x"), EncodableValue(0.25)}},
                     EncodableValue(std::vector<int32_t>{7, 8, 9})}},
      {EncodableValue(int32_t{3}), EncodableValue(std::vector<float>{0.5f})},
      {EncodableValue(), EncodableValue(false)},
  });
  EXPECT_EQ(Decode(Encode(value)), value);
}

// ---- Sizes: one, three and five bytes ----

struct SizeCase {
  size_t size;
  Bytes prefix;
};

const SizeCase kSizeCases[] = {
    {0, B({0x00})},
    {253, B({0xfd})},
    {254, B({0xfe, 0xfe, 0x00})},
    {65535, B({0xfe, 0xff, 0xff})},
    {65536, B({0xff, 0x00, 0x00, 0x01, 0x00})},
    {70000, B({0xff, 0x70, 0x11, 0x01, 0x00})},
};

TEST(StandardCodecSizes, StringLengthTakesOneThreeOrFiveBytes) {
  for (const SizeCase& c : kSizeCases) {
    const std::string text(c.size, 'q');
    const Bytes golden = Cat({B({0x07}), c.prefix, Text(text)});
    EXPECT_EQ(Encode(EncodableValue(text)), golden) << c.size;
    EXPECT_EQ(Decode(golden), EncodableValue(text)) << c.size;
  }
}

TEST(StandardCodecSizes, ListCountTakesOneThreeOrFiveBytes) {
  for (const SizeCase& c : kSizeCases) {
    const EncodableList list(c.size, EncodableValue(true));
    const Bytes golden = Cat({B({0x0c}), c.prefix, Bytes(c.size, 0x01)});
    EXPECT_EQ(Encode(EncodableValue(list)), golden) << c.size;
    EXPECT_EQ(Decode(golden), EncodableValue(list)) << c.size;
  }
}

TEST(StandardCodecSizes, ByteListLengthTakesOneThreeOrFiveBytes) {
  for (const SizeCase& c : kSizeCases) {
    const std::vector<uint8_t> bytes(c.size, 0x5a);
    const Bytes golden = Cat({B({0x08}), c.prefix, bytes});
    EXPECT_EQ(Encode(EncodableValue(bytes)), golden) << c.size;
    EXPECT_EQ(Decode(golden), EncodableValue(bytes)) << c.size;
  }
}

TEST(StandardCodecSizes, DecoderAcceptsALongFormForASmallSize) {
  EXPECT_EQ(Decode(B({0x07, 0xfe, 0x01, 0x00, 'z'})), EncodableValue("z"));
  EXPECT_EQ(Decode(B({0x07, 0xff, 0x01, 0x00, 0x00, 0x00, 'z'})), EncodableValue("z"));
}

// ---- Alignment is counted from the start of the message ----

TEST(StandardCodecAlignment, Float64AfterAOneBytePrefix) {
  const Bytes golden = B({0x00, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xf8, 0x3f});
  const EncodableValue value(1.5);
  EXPECT_EQ(*Codec().EncodeSuccessEnvelope(&value), golden);
  Answer answer;
  ASSERT_TRUE(DecodeEnvelope(golden, answer));
  EXPECT_EQ(answer.value, value);
}

TEST(StandardCodecAlignment, Float64AfterAOneLetterMethodName) {
  // Name takes bytes 0-2, the type byte 3, padding 4-7, the number 8-15.
  const Bytes golden = B({0x07, 0x01, 'm', 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xf8, 0x3f});
  const auto encoded =
      Codec().EncodeMethodCall(MethodCall("m", std::make_unique<EncodableValue>(1.5)));
  EXPECT_EQ(*encoded, golden);
  const auto call = Codec().DecodeMethodCall(golden);
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(*call->arguments(), EncodableValue(1.5));
}

TEST(StandardCodecAlignment, Float64AfterAFiveLetterMethodNameNeedsNoPadding) {
  // Name takes bytes 0-6, the type byte 7, the number 8-15.
  const Bytes golden = B({0x07, 0x05, 'a', 'b', 'c', 'd', 'e', 0x06, 0, 0, 0, 0, 0, 0, 0xf8, 0x3f});
  const auto encoded =
      Codec().EncodeMethodCall(MethodCall("abcde", std::make_unique<EncodableValue>(1.5)));
  EXPECT_EQ(*encoded, golden);
}

TEST(StandardCodecAlignment, Float64AfterMethodNamesOfEveryLengthUpToSixteen) {
  for (size_t length = 0; length <= 16; ++length) {
    const std::string name(length, 'n');
    const auto encoded =
        Codec().EncodeMethodCall(MethodCall(name, std::make_unique<EncodableValue>(-0.75)));
    const size_t typeAt = 2 + length;
    ASSERT_EQ((*encoded)[typeAt], 0x06) << length;
    const size_t numberAt = encoded->size() - 8;
    EXPECT_EQ(numberAt % 8, 0u) << length;
    EXPECT_LT(numberAt - (typeAt + 1), 8u) << length;
    for (size_t i = typeAt + 1; i < numberAt; ++i) EXPECT_EQ((*encoded)[i], 0) << length;
    const auto call = Codec().DecodeMethodCall(*encoded);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(*call->arguments(), EncodableValue(-0.75)) << length;
  }
}

TEST(StandardCodecAlignment, Int32ListAfterAnEnvelopeByte) {
  // Envelope 0, type 1, size 2, padding 3, elements 4-11.
  const Bytes golden = B({0x00, 0x09, 0x02, 0x00, 0x01, 0, 0, 0, 0x02, 0, 0, 0});
  const EncodableValue value(std::vector<int32_t>{1, 2});
  EXPECT_EQ(*Codec().EncodeSuccessEnvelope(&value), golden);
}

TEST(StandardCodecAlignment, Float64InsideAList) {
  const Bytes golden = B({0x0c, 0x01, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xf8, 0x3f});
  const EncodableValue value(EncodableList{EncodableValue(1.5)});
  EXPECT_EQ(Encode(value), golden);
  EXPECT_EQ(Decode(golden), value);
}

TEST(StandardCodecAlignment, CountedFromTheMessageStartNotTheAddress) {
  const Bytes golden = B({0x07, 0x01, 'm', 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xf8, 0x3f});
  for (size_t shift = 1; shift < 8; ++shift) {
    Bytes shifted(shift, 0xee);
    shifted.insert(shifted.end(), golden.begin(), golden.end());
    const auto call = Codec().DecodeMethodCall(shifted.data() + shift, golden.size());
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(*call->arguments(), EncodableValue(1.5)) << shift;
  }
}

// ---- The failure table, byte for byte on standard error ----

TEST(StandardCodecFailures, ReadPastTheEndPrintsAndAByteReadsAsZero) {
  ByteBufferStreamReader stream(nullptr, 0);
  testing::internal::CaptureStderr();
  const uint8_t byte = stream.ReadByte();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n");
  EXPECT_EQ(byte, 0);
}

TEST(StandardCodecFailures, ReadOfSeveralBytesPastTheEndLeavesTheTargetUnchanged) {
  const Bytes two = B({0x11, 0x22});
  ByteBufferStreamReader stream(two.data(), two.size());
  uint8_t target[4] = {0xaa, 0xaa, 0xaa, 0xaa};
  testing::internal::CaptureStderr();
  stream.ReadBytes(target, 4);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n");
  EXPECT_EQ(Bytes(target, target + 4), B({0xaa, 0xaa, 0xaa, 0xaa}));
  // Nothing was consumed.
  EXPECT_EQ(stream.ReadByte(), 0x11);
}

TEST(StandardCodecFailures, TruncatedNumberReadsAsZeroAndDecodingGoesOn) {
  const Bytes bytes = B({0x03, 0x01, 0x02});
  ByteBufferStreamReader stream(bytes.data(), bytes.size());
  testing::internal::CaptureStderr();
  const EncodableValue first = Serializer().ReadValue(&stream);
  const EncodableValue second = Serializer().ReadValue(&stream);
  const EncodableValue third = Serializer().ReadValue(&stream);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n");
  EXPECT_EQ(first, EncodableValue(int32_t{0}));
  EXPECT_EQ(second, EncodableValue(true));
  EXPECT_EQ(third, EncodableValue(false));
}

TEST(StandardCodecFailures, TruncatedSizePrefixReadsAsZero) {
  testing::internal::CaptureStderr();
  const EncodableValue value = Decode(B({0x07, 0xfe, 0x05}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n");
  EXPECT_EQ(value, EncodableValue(""));
}

TEST(StandardCodecFailures, UnknownTypeByteDecodesAsNullWithItsNumber) {
  const Bytes message = B({0x07, 0x01, 'm', 0x05});
  testing::internal::CaptureStderr();
  const auto call = Codec().DecodeMethodCall(message);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unknown type in StandardCodecSerializer::ReadValueOfType: 5\n");
  ASSERT_NE(call, nullptr);
  EXPECT_TRUE(call->arguments()->IsNull());

  testing::internal::CaptureStderr();
  const EncodableValue value = Decode(B({0xc8}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unknown type in StandardCodecSerializer::ReadValueOfType: 200\n");
  EXPECT_TRUE(value.IsNull());
}

TEST(StandardCodecFailures, CustomValueGoesOutAsANullAndTheRestStaysReadable) {
  const EncodableValue value(
      EncodableList{EncodableValue(CustomEncodableValue(std::any(3))), EncodableValue(7)});
  testing::internal::CaptureStderr();
  const Bytes bytes = Encode(value);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unhandled custom type in StandardCodecSerializer::WriteValue. Custom types require "
            "codec extensions.\n");
  EXPECT_EQ(bytes, B({0x0c, 0x02, 0x00, 0x03, 0x07, 0x00, 0x00, 0x00}));
  EXPECT_EQ(Decode(bytes), EncodableValue(EncodableList{EncodableValue(), EncodableValue(7)}));
}

TEST(StandardCodecFailures, FirstValueOfACallThatIsNotAStringYieldsNoCall) {
  testing::internal::CaptureStderr();
  const auto call = Codec().DecodeMethodCall(B({0x03, 0x01, 0x00, 0x00, 0x00, 0x00}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid method call; method name is not a string.\n");
  EXPECT_EQ(call, nullptr);
}

TEST(StandardCodecFailures, ZeroByteMessageReadsPastTheEndThenHasNoName) {
  testing::internal::CaptureStderr();
  const auto call = Codec().DecodeMethodCall(nullptr, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n"
            "Invalid method call; method name is not a string.\n");
  EXPECT_EQ(call, nullptr);
}

TEST(StandardCodecFailures, CallWithOnlyANameHasNullArguments) {
  testing::internal::CaptureStderr();
  const auto call = Codec().DecodeMethodCall(B({0x07, 0x01, 'm'}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid read in StandardCodecByteStreamReader\n");
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(call->method_name(), "m");
  ASSERT_NE(call->arguments(), nullptr);
  EXPECT_TRUE(call->arguments()->IsNull());
}

// ---- Response envelopes that don't decode ----

TEST(StandardCodecEnvelopes, UnknownEnvelopeByteFails) {
  Answer answer;
  EXPECT_FALSE(DecodeEnvelope(B({0x02, 0x00}), answer));
  EXPECT_EQ(answer.count, 0);
}

TEST(StandardCodecEnvelopes, ErrorWhoseCodeIsNotTextFails) {
  Answer answer;
  EXPECT_FALSE(DecodeEnvelope(B({0x01, 0x00, 0x00, 0x00}), answer));
  EXPECT_FALSE(DecodeEnvelope(B({0x01, 0x07, 0x01, 'E', 0x01, 0x00}), answer));
  EXPECT_EQ(answer.count, 0);
}

TEST(StandardCodecEnvelopes, SuccessWithAValueAnswersWithThatValue) {
  Answer answer;
  ASSERT_TRUE(DecodeEnvelope(B({0x00, 0x07, 0x02, 'o', 'k'}), answer));
  EXPECT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(answer.count, 1);
  EXPECT_EQ(answer.value, EncodableValue("ok"));
}

// ---- Bounds: no message can exhaust the stack or the memory ----

TEST(StandardCodecBounds, NestingAtTheLimitDecodes) {
  const Bytes message =
      Cat({B({0x07, 0x01, 'm'}), NestedLists(static_cast<size_t>(kMaxDecodeDepth))});
  const auto call = Codec().DecodeMethodCall(message);
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(*call->arguments(), NestedListValue(static_cast<size_t>(kMaxDecodeDepth)));
}

TEST(StandardCodecBounds, NestingOneBeyondTheLimitIsUndecodable) {
  const Bytes message =
      Cat({B({0x07, 0x01, 'm'}), NestedLists(static_cast<size_t>(kMaxDecodeDepth) + 1)});
  testing::internal::CaptureStderr();
  const auto call = Codec().DecodeMethodCall(message);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(call, nullptr);
}

TEST(StandardCodecBounds, HundredThousandNestedListsDoNotCrash) {
  const Bytes message = Cat({B({0x07, 0x01, 'm'}), NestedLists(100000)});
  EXPECT_EQ(Codec().DecodeMethodCall(message), nullptr);
}

TEST(StandardCodecBounds, HundredThousandNestedMapsDoNotCrash) {
  Bytes message = B({0x07, 0x01, 'm'});
  for (int i = 0; i < 100000; ++i) message.insert(message.end(), {0x0d, 0x01, 0x00});
  message.insert(message.end(), {0x0d, 0x00});
  EXPECT_EQ(Codec().DecodeMethodCall(message), nullptr);
}

TEST(StandardCodecBounds, DeepResponseEnvelopeFailsToDecode) {
  const Bytes envelope = Cat({B({0x00}), NestedLists(100000)});
  Answer answer;
  EXPECT_FALSE(DecodeEnvelope(envelope, answer));
  EXPECT_EQ(answer.count, 0);
}

TEST(StandardCodecBounds, DeepValueReadByTheSerializerAloneIsNull) {
  EXPECT_TRUE(Decode(NestedLists(5000)).IsNull());
  EXPECT_EQ(Decode(NestedLists(10)), NestedListValue(10));
}

TEST(StandardCodecBounds, StringClaimingMoreThanTheMessageHoldsIsUndecodable) {
  const Bytes message = B({0x07, 0x01, 'm', 0x07, 0xff, 0xff, 0xff, 0xff, 0xff, 'a', 'b'});
  testing::internal::CaptureStderr();
  const auto call = Codec().DecodeMethodCall(message);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(call, nullptr);
}

TEST(StandardCodecBounds, ListAnnouncingMoreElementsThanBytesLeftIsUndecodable) {
  EXPECT_EQ(Codec().DecodeMethodCall(B({0x07, 0x01, 'm', 0x0c, 0x02, 0x00})), nullptr);
  EXPECT_EQ(Codec().DecodeMethodCall(B({0x07, 0x01, 'm', 0x0c, 0xff, 0xff, 0xff, 0xff, 0xff})),
            nullptr);
  EXPECT_EQ(Codec().DecodeMethodCall(B({0x07, 0x01, 'm', 0x0d, 0x02, 0x00, 0x00, 0x00})), nullptr);
  const auto exact = Codec().DecodeMethodCall(B({0x07, 0x01, 'm', 0x0c, 0x02, 0x00, 0x00}));
  ASSERT_NE(exact, nullptr);
  EXPECT_EQ(*exact->arguments(), EncodableValue(EncodableList{EncodableValue(), EncodableValue()}));
}

TEST(StandardCodecBounds, InnerListCannotSpendBytesPromisedToItsOuterList) {
  // The outer list's two remaining elements own two of the three bytes that follow, so the
  // inner list's three elements can't fit, though three bytes are left.
  EXPECT_EQ(
      Codec().DecodeMethodCall(B({0x07, 0x01, 'm', 0x0c, 0x03, 0x0c, 0x03, 0x00, 0x00, 0x00})),
      nullptr);
  const auto fits =
      Codec().DecodeMethodCall(B({0x07, 0x01, 'm', 0x0c, 0x03, 0x0c, 0x01, 0x00, 0x00, 0x00}));
  ASSERT_NE(fits, nullptr);
  EXPECT_EQ(*fits->arguments(), EncodableValue(EncodableList{EncodableList{EncodableValue()},
                                                             EncodableValue(), EncodableValue()}));
}

TEST(StandardCodecBounds, TypedListClaimingMoreThanTheMessageHoldsIsUndecodable) {
  Answer answer;
  EXPECT_FALSE(DecodeEnvelope(B({0x00, 0x0a, 0xff, 0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0}), answer));
  EXPECT_FALSE(DecodeEnvelope(B({0x00, 0x09, 0x02, 0x00, 0x01, 0x00, 0x00, 0x00}), answer));
  EXPECT_EQ(answer.count, 0);
}

// ---- Codec instances ----

class TaggingSerializer : public StandardCodecSerializer {
 public:
  static constexpr uint8_t kTagType = 128;

  void WriteValue(const EncodableValue& value, ByteStreamWriter* stream) const override {
    if (const auto* custom = std::get_if<CustomEncodableValue>(&value)) {
      const auto& tag = std::any_cast<const std::string&>(static_cast<const std::any&>(*custom));
      stream->WriteByte(kTagType);
      StandardCodecSerializer::WriteValue(EncodableValue(tag), stream);
      return;
    }
    StandardCodecSerializer::WriteValue(value, stream);
  }

 protected:
  EncodableValue ReadValueOfType(uint8_t type, ByteStreamReader* stream) const override {
    if (type != kTagType) return StandardCodecSerializer::ReadValueOfType(type, stream);
    const EncodableValue text = ReadValue(stream);
    return CustomEncodableValue(std::any(std::get<std::string>(text)));
  }
};

TEST(StandardMethodCodecInstances, NullSerializerMeansTheDefaultOne) {
  EXPECT_EQ(&StandardMethodCodec::GetInstance(),
            &StandardMethodCodec::GetInstance(&StandardCodecSerializer::GetInstance()));
  EXPECT_EQ(&StandardMethodCodec::GetInstance(nullptr), &StandardMethodCodec::GetInstance());
}

TEST(StandardMethodCodecInstances, OneCodecPerSerializer) {
  static const TaggingSerializer serializer;
  const StandardMethodCodec& codec = StandardMethodCodec::GetInstance(&serializer);
  EXPECT_NE(&codec, &StandardMethodCodec::GetInstance());
  EXPECT_EQ(&codec, &StandardMethodCodec::GetInstance(&serializer));

  const EncodableValue tagged(EncodableList{
      EncodableValue(CustomEncodableValue(std::any(std::string("t")))), EncodableValue(1)});
  const auto message =
      codec.EncodeMethodCall(MethodCall("x", std::make_unique<EncodableValue>(tagged)));
  EXPECT_EQ(*message,
            B({0x07, 0x01, 'x', 0x0c, 0x02, 0x80, 0x07, 0x01, 't', 0x03, 0x01, 0x00, 0x00, 0x00}));
  const auto call = codec.DecodeMethodCall(*message);
  ASSERT_NE(call, nullptr);
  const auto& list = std::get<EncodableList>(*call->arguments());
  ASSERT_EQ(list.size(), 2u);
  const auto& custom = std::get<CustomEncodableValue>(list[0]);
  EXPECT_EQ(std::any_cast<std::string>(static_cast<const std::any&>(custom)), "t");
}

TEST(StandardMethodCodecInstances, ExtensionReadingNestedValuesIsStillBounded) {
  static const TaggingSerializer serializer;
  Bytes message = B({0x07, 0x01, 'x'});
  for (int i = 0; i < 100000; ++i) message.insert(message.end(), {0x0c, 0x01});
  message.push_back(0x00);
  EXPECT_EQ(StandardMethodCodec::GetInstance(&serializer).DecodeMethodCall(message), nullptr);
}

}  // namespace
