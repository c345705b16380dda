#include "frames/frames.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using frames::Bytes;
using frames::CallArgument;
using frames::DecodeError;
using frames::Frame;
using frames::FrameReader;

Bytes B(std::initializer_list<int> values) {
  Bytes bytes;
  for (int v : values) bytes.push_back(static_cast<uint8_t>(v));
  return bytes;
}

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Decodes a complete frame (length prefix included) through the stream reader, insisting that
// it is exactly one frame.
std::optional<Frame> DecodeWhole(const Bytes& bytes, DecodeError* error = nullptr) {
  FrameReader reader;
  reader.Append(bytes);
  Frame frame;
  const FrameReader::Status status = reader.Next(frame);
  if (error) *error = reader.error();
  if (status != FrameReader::Status::kFrame) return std::nullopt;
  EXPECT_EQ(reader.buffered(), 0u);
  return frame;
}

DecodeError ErrorOf(const Bytes& bytes) {
  DecodeError error = DecodeError::kNone;
  EXPECT_FALSE(DecodeWhole(bytes, &error).has_value());
  return error;
}

// Every kind, with fields chosen so that byte order and sign mistakes show.
std::vector<std::pair<Frame, Bytes>> Goldens() {
  frames::Call call;
  call.id = 3;
  call.exportName = "f";
  call.arguments = {CallArgument::Int(-1), CallArgument::Buffer(B({9, 8})),
                    CallArgument::String(u"\u00e9")};
  return {
      {frames::Message{0x01020304, "ab", B({0xff})},
       B({0x0a, 0, 0, 0, 1, 0x04, 0x03, 0x02, 0x01, 2, 0, 'a', 'b', 0xff})},
      {frames::Response{7, Text("hi")}, B({7, 0, 0, 0, 2, 7, 0, 0, 0, 'h', 'i'})},
      {frames::Response{7, {}}, B({5, 0, 0, 0, 2, 7, 0, 0, 0})},
      {frames::NativeMessage{0, "c", B({1, 2})},
       B({0x0a, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 'c', 1, 2})},
      {frames::NativeReply{0x80000001, B({0})}, B({6, 0, 0, 0, 4, 1, 0, 0, 0x80, 0})},
      {frames::Event{"registrar", "P"},
       B({0x0d, 0, 0, 0, 5, 9, 0, 'r', 'e', 'g', 'i', 's', 't', 'r', 'a', 'r', 'P'})},
      {frames::WindowMessage{1, 0x8001, 0x0102030405060708ull, ~0ull, B({0xaa})},
       B({0x1a, 0, 0, 0, 6, 1, 0,    0,    0,    0x01, 0x80, 0,    0,    8,    7,
          6,    5, 4, 3, 2, 1, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xaa})},
      {frames::WindowResult{2, -2},
       B({0x0d, 0, 0, 0, 7, 2, 0, 0, 0, 0xfe, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})},
      {call, B({0x20, 0,    0,    0,    8, 3, 0, 0, 0, 1, 0, 'f', 3, 1, 0xff, 0xff, 0xff, 0xff,
                0xff, 0xff, 0xff, 0xff, 2, 2, 0, 0, 0, 9, 8, 3,   2, 0, 0,    0,    0xe9, 0})},
      {frames::CallResult{4, true, 5, {B({1}), {}}},
       B({0x16, 0, 0, 0, 9, 4, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0})},
      {frames::CallResult{4, false, 0, {}}, B({5, 0, 0, 0, 9, 4, 0, 0, 0})},
  };
}

TEST(FrameEncode, EveryKindMatchesItsHandWrittenBytes) {
  for (const auto& [frame, bytes] : Goldens()) {
    SCOPED_TRACE(frames::Describe(frame));
    const std::optional<Bytes> encoded = frames::Encode(frame);
    ASSERT_TRUE(encoded.has_value());
    EXPECT_EQ(*encoded, bytes);
  }
}

TEST(FrameDecode, EveryKindDecodesFromItsHandWrittenBytes) {
  for (const auto& [frame, bytes] : Goldens()) {
    SCOPED_TRACE(frames::Describe(frame));
    const std::optional<Frame> decoded = DecodeWhole(bytes);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, frame);
  }
}

TEST(FrameRoundTrip, EveryKindSurvivesEncodeAndDecode) {
  Bytes large(100000);
  for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<uint8_t>(i * 7);
  frames::Call call{
      0xffffffffu,
      "StandinHostReverse",
      {CallArgument::Buffer(large), CallArgument::Int(INT64_MIN),
       CallArgument::String(u"h\u00e9llo \u2713 \U0001F512"), CallArgument::Buffer({})}};
  const std::vector<Frame> all = {
      frames::Message{1, "com.kelvo.tarnel/system_commands", large},
      frames::Message{2, "", {}},
      frames::Response{3, large},
      frames::NativeMessage{0, "com.kelvo.tarnel/device_monitor", Text("x")},
      frames::NativeReply{9, {}},
      frames::Event{"engine-created", "a\nb\nc"},
      frames::Event{"fonts-reloaded", ""},
      frames::WindowMessage{5, 0xffffffffu, 0, 0, {}},
      frames::WindowResult{6, INT64_MAX},
      call,
      frames::Call{8, "NoArguments", {}},
      frames::CallResult{7, true, -1, {large, {}, B({0})}},
      frames::CallResult{7, true, 0, {}},
  };
  for (const Frame& frame : all) {
    SCOPED_TRACE(frames::Describe(frame));
    const std::optional<Bytes> encoded = frames::Encode(frame);
    ASSERT_TRUE(encoded.has_value());
    const std::optional<Frame> decoded = DecodeWhole(*encoded);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, frame);
  }
}

TEST(FrameKinds, AlternativeIndexIsTheKindNumber) {
  EXPECT_EQ(frames::KindOf(frames::Message{}), frames::Kind::kMessage);
  EXPECT_EQ(frames::KindOf(frames::Event{}), frames::Kind::kEvent);
  EXPECT_EQ(frames::KindOf(frames::CallResult{}), frames::Kind::kCallResult);
}

TEST(FrameKinds, OnlyOneFourSixAndEightComeFromTheDriver) {
  for (int kind = 1; kind <= 9; ++kind) {
    const bool fromDriver = kind == 1 || kind == 4 || kind == 6 || kind == 8;
    EXPECT_EQ(frames::IsDriverKind(static_cast<frames::Kind>(kind)), fromDriver) << kind;
  }
}

TEST(FrameEncode, RefusesANameLongerThanSixteenBits) {
  EXPECT_FALSE(frames::Encode(frames::Message{1, std::string(65536, 'x'), {}}).has_value());
  EXPECT_TRUE(frames::Encode(frames::Message{1, std::string(65535, 'x'), {}}).has_value());
  EXPECT_FALSE(frames::Encode(frames::Event{std::string(70000, 'e'), ""}).has_value());
}

TEST(FrameEncode, RefusesMoreThanFourArguments) {
  frames::Call call{1, "f", std::vector<CallArgument>(5, CallArgument::Int(1))};
  EXPECT_FALSE(frames::Encode(call).has_value());
  call.arguments.pop_back();
  EXPECT_TRUE(frames::Encode(call).has_value());
}

TEST(FrameEncode, RefusesAFrameAboveTheLengthBound) {
  EXPECT_FALSE(frames::Encode(frames::Response{1, Bytes(frames::kMaxFrameLength)}).has_value());
  EXPECT_TRUE(frames::Encode(frames::Response{1, Bytes(frames::kMaxFrameLength - 5)}).has_value());
}

TEST(FrameDecode, ZeroLengthIsRejected) {
  EXPECT_EQ(ErrorOf(B({0, 0, 0, 0})), DecodeError::kBadLength);
}

TEST(FrameDecode, LengthAboveTheBoundIsRejectedBeforeTheBodyArrives) {
  EXPECT_EQ(ErrorOf(B({0xff, 0xff, 0xff, 0xff})), DecodeError::kBadLength);
  const uint32_t over = frames::kMaxFrameLength + 1;
  EXPECT_EQ(ErrorOf(B({static_cast<int>(over & 0xff), static_cast<int>((over >> 8) & 0xff),
                       static_cast<int>((over >> 16) & 0xff), static_cast<int>(over >> 24), 1})),
            DecodeError::kBadLength);
}

TEST(FrameDecode, UnknownKindsAreRejectedAsSoonAsTheKindByteArrives) {
  EXPECT_EQ(ErrorOf(B({1, 0, 0, 0, 0})), DecodeError::kUnknownKind);
  EXPECT_EQ(ErrorOf(B({1, 0, 0, 0, 10})), DecodeError::kUnknownKind);
  // Announces 100 bytes but only the kind is there: the kind alone is enough to refuse.
  EXPECT_EQ(ErrorOf(B({100, 0, 0, 0, 0xee})), DecodeError::kUnknownKind);
}

TEST(FrameDecode, TruncatedFixedFieldsAreRejected) {
  EXPECT_EQ(ErrorOf(B({3, 0, 0, 0, 1, 1, 2})), DecodeError::kTruncated);     // id
  EXPECT_EQ(ErrorOf(B({4, 0, 0, 0, 2, 1, 2, 3})), DecodeError::kTruncated);  // id
  EXPECT_EQ(ErrorOf(B({2, 0, 0, 0, 5, 9})), DecodeError::kTruncated);        // name size
  EXPECT_EQ(ErrorOf(B({9, 0, 0, 0, 6, 1, 0, 0, 0, 2, 0, 0, 0})), DecodeError::kTruncated);
  EXPECT_EQ(ErrorOf(B({12, 0, 0, 0, 7, 1, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7})), DecodeError::kTruncated);
}

TEST(FrameDecode, NameLongerThanTheFrameIsRejected) {
  // Kind 1, id 1, a name of 5 bytes of which only 2 are in the frame.
  EXPECT_EQ(ErrorOf(B({9, 0, 0, 0, 1, 1, 0, 0, 0, 5, 0, 'a', 'b'})), DecodeError::kTruncated);
  // Kind 3 likewise, and an event.
  EXPECT_EQ(ErrorOf(B({8, 0, 0, 0, 3, 0, 0, 0, 0, 3, 0, 'a'})), DecodeError::kTruncated);
  EXPECT_EQ(ErrorOf(B({4, 0, 0, 0, 5, 2, 0, 'e'})), DecodeError::kTruncated);
}

TEST(FrameDecode, BytesAfterAWindowResultAreRejected) {
  EXPECT_EQ(ErrorOf(B({14, 0, 0, 0, 7, 1, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9})),
            DecodeError::kTrailingBytes);
}

TEST(FrameDecode, CallWithMoreThanFourArgumentsIsRejected) {
  EXPECT_EQ(ErrorOf(B({9, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 5})), DecodeError::kTooManyArguments);
}

TEST(FrameDecode, CallWithAnUnknownArgumentTagIsRejected) {
  EXPECT_EQ(ErrorOf(B({18, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 1, 4, 0, 0, 0, 0, 0, 0, 0, 0})),
            DecodeError::kUnknownArgumentTag);
}

TEST(FrameDecode, CallWithOddUtf16LengthIsRejected) {
  EXPECT_EQ(ErrorOf(B({15, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 1, 3, 1, 0, 0, 0, 'x'})),
            DecodeError::kOddStringLength);
}

TEST(FrameDecode, CallWithFewerArgumentsThanItsCountIsRejected) {
  // Count 2, one integer argument present.
  EXPECT_EQ(ErrorOf(B({18, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 2, 1, 1, 0, 0, 0, 0, 0, 0, 0})),
            DecodeError::kTruncated);
  // A buffer that claims more bytes than are left.
  EXPECT_EQ(ErrorOf(B({14, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 1, 2, 9, 0, 0, 0})),
            DecodeError::kTruncated);
}

TEST(FrameDecode, BytesAfterTheLastCallArgumentAreRejected) {
  EXPECT_EQ(ErrorOf(B({10, 0, 0, 0, 8, 1, 0, 0, 0, 1, 0, 'f', 0, 0xcc})),
            DecodeError::kTrailingBytes);
}

TEST(FrameDecode, CallResultWithACutResultOrBufferIsRejected) {
  EXPECT_EQ(ErrorOf(B({8, 0, 0, 0, 9, 1, 0, 0, 0, 1, 2, 3})), DecodeError::kTruncated);
  EXPECT_EQ(ErrorOf(B({16, 0, 0, 0, 9, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0})),
            DecodeError::kTruncated);
  EXPECT_EQ(ErrorOf(B({18, 0, 0, 0, 9, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 'x'})),
            DecodeError::kTruncated);
}

TEST(FrameDecodeBody, RejectsAnEmptyBody) {
  DecodeError error = DecodeError::kNone;
  EXPECT_FALSE(frames::DecodeBody({}, &error).has_value());
  EXPECT_EQ(error, DecodeError::kBadLength);
}

TEST(FrameReader, FramesSplitIntoSingleBytesComeOutWholeAndInOrder) {
  const auto goldens = Goldens();
  Bytes stream;
  for (const auto& [frame, bytes] : goldens)
    stream.insert(stream.end(), bytes.begin(), bytes.end());

  FrameReader reader;
  std::vector<Frame> seen;
  for (uint8_t byte : stream) {
    reader.Append({&byte, 1});
    Frame frame;
    FrameReader::Status status;
    while ((status = reader.Next(frame)) == FrameReader::Status::kFrame) seen.push_back(frame);
    ASSERT_EQ(status, FrameReader::Status::kNeedMore);
  }
  ASSERT_EQ(seen.size(), goldens.size());
  for (size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i], goldens[i].first) << i;
  EXPECT_EQ(reader.buffered(), 0u);
}

TEST(FrameReader, SeveralFramesInOneReadComeOutOneByOne) {
  const Bytes stream = Concat({*frames::Encode(frames::Response{1, Text("a")}),
                               *frames::Encode(frames::Response{2, Text("b")}), B({9, 0})});
  FrameReader reader;
  reader.Append(stream);
  Frame frame;
  ASSERT_EQ(reader.Next(frame), FrameReader::Status::kFrame);
  EXPECT_EQ(frame, Frame(frames::Response{1, Text("a")}));
  ASSERT_EQ(reader.Next(frame), FrameReader::Status::kFrame);
  EXPECT_EQ(frame, Frame(frames::Response{2, Text("b")}));
  EXPECT_EQ(reader.Next(frame), FrameReader::Status::kNeedMore);
  EXPECT_EQ(reader.buffered(), 2u);
}

TEST(FrameReader, AnIncompleteFrameWaitsForMore) {
  const Bytes whole = *frames::Encode(frames::Message{5, "ch", Text("payload")});
  FrameReader reader;
  reader.Append({whole.data(), whole.size() - 1});
  Frame frame;
  EXPECT_EQ(reader.Next(frame), FrameReader::Status::kNeedMore);
  reader.Append({whole.data() + whole.size() - 1, 1});
  ASSERT_EQ(reader.Next(frame), FrameReader::Status::kFrame);
  EXPECT_EQ(frame, Frame(frames::Message{5, "ch", Text("payload")}));
}

TEST(FrameReader, MalformedStreamStaysMalformed) {
  FrameReader reader;
  reader.Append(B({1, 0, 0, 0, 42}));
  Frame frame;
  EXPECT_EQ(reader.Next(frame), FrameReader::Status::kMalformed);
  EXPECT_EQ(reader.error(), DecodeError::kUnknownKind);
  reader.Append(*frames::Encode(frames::Response{1, {}}));
  EXPECT_EQ(reader.Next(frame), FrameReader::Status::kMalformed);
}

TEST(FrameReader, AGoodFrameBeforeABadOneIsStillDelivered) {
  FrameReader reader;
  reader.Append(Concat({*frames::Encode(frames::NativeReply{3, Text("ok")}), B({0, 0, 0, 0})}));
  Frame frame;
  ASSERT_EQ(reader.Next(frame), FrameReader::Status::kFrame);
  EXPECT_EQ(frame, Frame(frames::NativeReply{3, Text("ok")}));
  EXPECT_EQ(reader.Next(frame), FrameReader::Status::kMalformed);
  EXPECT_EQ(reader.error(), DecodeError::kBadLength);
}

TEST(FrameReader, ALongStreamDoesNotKeepConsumedBytes) {
  const Bytes one = *frames::Encode(frames::Response{1, Bytes(1000, 0x55)});
  FrameReader reader;
  Frame frame;
  for (int i = 0; i < 1000; ++i) {
    reader.Append({one.data(), 600});
    ASSERT_EQ(reader.Next(frame), FrameReader::Status::kNeedMore);
    reader.Append({one.data() + 600, one.size() - 600});
    ASSERT_EQ(reader.Next(frame), FrameReader::Status::kFrame);
  }
  EXPECT_EQ(reader.buffered(), 0u);
}

TEST(FrameDescribe, NamesTheKindAndTheEvent) {
  EXPECT_EQ(frames::Describe(frames::Event{"handler-set", "echo"}),
            "kind 5 event handler-set [echo]");
  EXPECT_EQ(frames::Describe(frames::Response{4, Text("xy")}), "kind 2 id 4 payload 2 bytes");
}

}  // namespace
