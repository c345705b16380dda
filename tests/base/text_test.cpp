#include "base/text.h"

#include <gtest/gtest.h>

TEST(WideToUtf8, EmptyInputGivesEmpty) { EXPECT_EQ(WideToUtf8(u""), ""); }

TEST(WideToUtf8, EncodesOneTwoThreeAndFourByteSequences) {
  EXPECT_EQ(WideToUtf8(u"A\u00e9\u4e2d\U0001F600"), "A\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80");
}

TEST(WideToUtf8, UnpairedHighSurrogateFailsTheWholeConversion) {
  const std::u16string text = {u'a', char16_t(0xD800), u'b'};
  EXPECT_EQ(WideToUtf8(text), "");
}

TEST(WideToUtf8, LoneLowSurrogateFailsTheWholeConversion) {
  const std::u16string text = {char16_t(0xDC00)};
  EXPECT_EQ(WideToUtf8(text), "");
}

TEST(WideToUtf8, HighSurrogateAtTheEndFails) {
  const std::u16string text = {u'x', char16_t(0xDBFF)};
  EXPECT_EQ(WideToUtf8(text), "");
}

TEST(Utf8ToWide, DecodesValidText) {
  EXPECT_EQ(Utf8ToWide("A\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80"), u"A\u00e9\u4e2d\U0001F600");
}

TEST(Utf8ToWide, InvalidLeadByteBecomesOneReplacement) {
  EXPECT_EQ(Utf8ToWide("a\xff"
                       "b"),
            u"a\uFFFDb");
}

TEST(Utf8ToWide, TruncatedSequenceBecomesOneReplacementAndTheNextByteStays) {
  EXPECT_EQ(Utf8ToWide("\xe4\xb8"
                       "A"),
            u"\uFFFDA");
}

TEST(Utf8ToWide, OverlongTwoByteLeadIsReplacedBytewise) {
  EXPECT_EQ(Utf8ToWide("\xc0\xaf"), u"\uFFFD\uFFFD");
}

TEST(Utf8ToWide, EncodedSurrogateIsOneReplacementForLeadAndFirstContinuation) {
  EXPECT_EQ(Utf8ToWide("\xed\xa0\x80"), u"\uFFFD\uFFFD");
}

TEST(Utf8ToWide, OverlongThreeByteFormIsReplacedAfterItsSecondByte) {
  EXPECT_EQ(Utf8ToWide("\xe0\x80\x80"), u"\uFFFD\uFFFD");
}

TEST(Utf8ToWide, BeyondTheLastCodePointLeavesTheDeciderUnconsumed) {
  EXPECT_EQ(Utf8ToWide("\xf4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD");
}

TEST(Utf8ToWide, LastCodePointDecodes) { EXPECT_EQ(Utf8ToWide("\xf4\x8f\xbf\xbf"), u"\U0010FFFF"); }

TEST(Utf8ToWide, SequenceTooLongForTheRestTakesTheRestAsOneReplacement) {
  EXPECT_EQ(Utf8ToWide("x\xe4"
                       "A"),
            u"x\uFFFD");
}

TEST(Utf8ToWide, SequenceCutAtTheEndIsOneReplacement) {
  EXPECT_EQ(Utf8ToWide("ok\xf0\x9f\x98"), u"ok\uFFFD");
}

TEST(FoldCase, FoldsOnlyAsciiCapitals) {
  EXPECT_EQ(FoldCase(u"ABC xyz \u00c9\u0130"), u"abc xyz \u00c9\u0130");
}

TEST(EqualsFolded, IgnoresAsciiCaseOnly) {
  EXPECT_TRUE(EqualsFolded(u"--Native-Lock-Screen", u"--native-lock-screen"));
  EXPECT_FALSE(EqualsFolded(u"\u00c9", u"\u00e9"));
  EXPECT_FALSE(EqualsFolded(u"abc", u"abcd"));
}

TEST(StartsWithFolded, NeedsTheWholePrefix) {
  EXPECT_TRUE(StartsWithFolded(u"--OPTION=value", u"--option="));
  EXPECT_FALSE(StartsWithFolded(u"--opt", u"--option="));
}
