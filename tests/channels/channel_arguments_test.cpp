#include "channels/channel_arguments.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace {

EncodableMap Arguments() {
  return EncodableMap{
      {EncodableValue("text"), EncodableValue("h\xc3\xa9llo")},
      {EncodableValue("narrow"), EncodableValue(int32_t{-7})},
      {EncodableValue("wide"), EncodableValue(int64_t{0x123456789})},
      {EncodableValue("wideNegative"), EncodableValue(int64_t{-0x100000001})},
      {EncodableValue("flag"), EncodableValue(true)},
      {EncodableValue("nothing"), EncodableValue()},
      {EncodableValue("real"), EncodableValue(2.5)},
      {EncodableValue(int32_t{5}), EncodableValue("five")},
  };
}

TEST(GetString, ReturnsTheUtf8Bytes) { EXPECT_EQ(GetString(Arguments(), "text"), "h\xc3\xa9llo"); }

TEST(GetString, MissingKeyOrOtherAlternativeIsEmpty) {
  EXPECT_EQ(GetString(Arguments(), "absent"), "");
  EXPECT_EQ(GetString(Arguments(), "narrow"), "");
  EXPECT_EQ(GetString(Arguments(), "nothing"), "");
}

TEST(GetString, KeyWrittenAsAnIntegerOfTheSameDigitsIsNotFound) {
  EXPECT_EQ(GetString(Arguments(), "5"), "");
  EXPECT_EQ(GetInt(Arguments(), "5", -1), -1);
}

TEST(GetString, KeysCompareExactlyAsBytes) {
  EXPECT_EQ(GetString(Arguments(), "Text"), "");
  EXPECT_EQ(GetString(Arguments(), "text "), "");
}

TEST(GetWideString, ConvertsUtf8ToUtf16) {
  EXPECT_EQ(GetWideString(Arguments(), "text"), u"h\u00e9llo");
  const EncodableMap map{{EncodableValue("emoji"), EncodableValue("\xf0\x9f\x94\x92")}};
  EXPECT_EQ(GetWideString(map, "emoji"), u"\U0001F512");
}

TEST(GetWideString, InvalidUtf8IsReplacedNotRejected) {
  const EncodableMap map{{EncodableValue("bad"), EncodableValue("a\xff"
                                                                "b\xe4\xb8")}};
  EXPECT_EQ(GetWideString(map, "bad"), u"a\uFFFDb\uFFFD");
}

TEST(GetWideString, EmbeddedNulEndsTheText) {
  const EncodableMap map{{EncodableValue("nul"), EncodableValue(std::string("ab\0cd", 5))}};
  EXPECT_EQ(GetString(map, "nul"), std::string("ab\0cd", 5));
  EXPECT_EQ(GetWideString(map, "nul"), u"ab");
}

TEST(GetWideString, LeadingNulGivesTheEmptyString) {
  const EncodableMap map{{EncodableValue("nul"), EncodableValue(std::string("\0x", 2))}};
  EXPECT_EQ(GetWideString(map, "nul"), u"");
}

TEST(GetWideString, MissingKeyOrOtherAlternativeIsEmpty) {
  EXPECT_EQ(GetWideString(Arguments(), "absent"), u"");
  EXPECT_EQ(GetWideString(Arguments(), "flag"), u"");
}

TEST(GetInt, TakesThirtyTwoBitValues) { EXPECT_EQ(GetInt(Arguments(), "narrow", 0), -7); }

TEST(GetInt, KeepsTheLowThirtyTwoBitsOfASixtyFourBitValue) {
  EXPECT_EQ(GetInt(Arguments(), "wide", 0), 0x23456789);
  // -0x100000001 is 0xFFFFFFFEFFFFFFFF: the low half is -1.
  EXPECT_EQ(GetInt(Arguments(), "wideNegative", 0), -1);
  const EncodableMap map{{EncodableValue("v"), EncodableValue(int64_t{0x80000000})}};
  EXPECT_EQ(GetInt(map, "v", 0), INT32_MIN);
}

TEST(GetInt, MissingKeyOrOtherAlternativeGivesTheDefault) {
  EXPECT_EQ(GetInt(Arguments(), "absent", 42), 42);
  EXPECT_EQ(GetInt(Arguments(), "flag", 42), 42);
  EXPECT_EQ(GetInt(Arguments(), "real", 42), 42);
  EXPECT_EQ(GetInt(Arguments(), "text", 42), 42);
  EXPECT_EQ(GetInt(Arguments(), "nothing"), 0);
}

TEST(GetInt, SixtyFourBitPlayCountIsLowBitsHereButAbsentToAThirtyTwoBitOnlyReader) {
  const EncodableMap map{{EncodableValue("playCount"), EncodableValue(int64_t{0x100000003})}};
  EXPECT_EQ(GetInt(map, "playCount", 1), 3);
  // A reader that accepts the 32-bit alternative only, as the overlay's does, sees no value.
  const EncodableValue& stored = map.at(EncodableValue("playCount"));
  EXPECT_EQ(std::get_if<int32_t>(&stored), nullptr);
}

TEST(GetInt64, TakesSixtyFourBitValues) {
  EXPECT_EQ(GetInt64(Arguments(), "wide", 0), 0x123456789);
  EXPECT_EQ(GetInt64(Arguments(), "wideNegative", 0), -0x100000001);
}

TEST(GetInt64, SignExtendsThirtyTwoBitValues) {
  EXPECT_EQ(GetInt64(Arguments(), "narrow", 0), -7);
  const EncodableMap map{{EncodableValue("v"), EncodableValue(INT32_MIN)}};
  EXPECT_EQ(GetInt64(map, "v", 0), int64_t{INT32_MIN});
}

TEST(GetInt64, MissingKeyOrOtherAlternativeGivesTheDefault) {
  EXPECT_EQ(GetInt64(Arguments(), "absent", -9), -9);
  EXPECT_EQ(GetInt64(Arguments(), "flag", -9), -9);
  EXPECT_EQ(GetInt64(Arguments(), "real", -9), -9);
  EXPECT_EQ(GetInt64(Arguments(), "nothing"), 0);
}

TEST(GetBool, TakesBoolOnly) {
  EXPECT_TRUE(GetBool(Arguments(), "flag", false));
  EXPECT_FALSE(GetBool(Arguments(), "narrow", false));
  EXPECT_TRUE(GetBool(Arguments(), "narrow", true));
  EXPECT_TRUE(GetBool(Arguments(), "text", true));
  EXPECT_FALSE(GetBool(Arguments(), "absent"));
}

TEST(GetBool, FalseValueWinsOverATrueDefault) {
  const EncodableMap map{{EncodableValue("flag"), EncodableValue(false)}};
  EXPECT_FALSE(GetBool(map, "flag", true));
}

}  // namespace
