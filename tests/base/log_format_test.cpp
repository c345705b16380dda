#include "base/log_format.h"

#include <gtest/gtest.h>

TEST(FormatLogLine, UnsignedLongIsPlainDecimal) {
  EXPECT_EQ(FormatLogLine(u"Error: %lu", 1060ul), u"Error: 1060");
}

TEST(FormatLogLine, HresultIsEightUpperCaseHexDigits) {
  EXPECT_EQ(FormatLogLine(u"HRESULT: 0x%08X", static_cast<unsigned>(0x80010106)),
            u"HRESULT: 0x80010106");
  EXPECT_EQ(FormatLogLine(u"0x%08X", 0x1Fu), u"0x0000001F");
}

TEST(FormatLogLine, NegativeHresultPrintsItsThirtyTwoBits) {
  EXPECT_EQ(FormatLogLine(u"0x%08X", static_cast<long>(-2147417850L)), u"0x80010106");
}

TEST(FormatLogLine, LongModifierIsThirtyTwoBitsAsOnWindows) {
  EXPECT_EQ(FormatLogLine(u"%lu", 0x100000005ull), u"5");
  EXPECT_EQ(FormatLogLine(u"%llu", 0x100000005ull), u"4294967301");
  EXPECT_EQ(FormatLogLine(u"%I64d", -5ll), u"-5");
}

TEST(FormatLogLine, TwoDecimalsRoundToNearest) {
  EXPECT_EQ(FormatLogLine(u"ratio=%.2f", 1.5), u"ratio=1.50");
  EXPECT_EQ(FormatLogLine(u"%.2f", 2.0 / 3.0), u"0.67");
  EXPECT_EQ(FormatLogLine(u"%.2f", 0.75), u"0.75");
  EXPECT_EQ(FormatLogLine(u"%f", -1.25), u"-1.250000");
}

TEST(FormatLogLine, DpiLineReadsAsTheDriverWritesIt) {
  EXPECT_EQ(
      FormatLogLine(u"DPI scale: dpi=%u, ratio=%.2f, screen=%dx%d, scale=%.2f, window size=%u x %u",
                    144u, 1.5, 1920, 1080, 0.75, 900u, 540u),
      u"DPI scale: dpi=144, ratio=1.50, screen=1920x1080, scale=0.75, window size=900 x 540");
}

TEST(FormatLogLine, WideAndNarrowTextArguments) {
  EXPECT_EQ(FormatLogLine(u"[%s] [%S]", u"wide", "narrow"), u"[wide] [narrow]");
  EXPECT_EQ(FormatLogLine(u"%.3s|%-6s|%6s", u"abcdef", u"ab", u"cd"), u"abc|ab    |    cd");
}

TEST(FormatLogLine, NullTextPrintsNull) {
  EXPECT_EQ(FormatLogLine(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)");
}

TEST(FormatLogLine, PointerIsSixteenUpperCaseHexDigits) {
  EXPECT_EQ(FormatLogLine(u"hwnd=%p", reinterpret_cast<const void*>(0x1a2b)),
            u"hwnd=0000000000001A2B");
}

TEST(FormatLogLine, WidthFlagsAndPrecisionOfIntegers) {
  EXPECT_EQ(FormatLogLine(u"[%5d][%-5d][%05d][%+d][% d][%.3d]", 42, 42, -42, 7, 7, 5),
            u"[   42][42   ][-0042][+7][ 7][005]");
  EXPECT_EQ(FormatLogLine(u"[%#x][%#o][%x]", 255u, 8u, 0u), u"[0xff][010][0]");
  EXPECT_EQ(FormatLogLine(u"[%*d]", 4, 9), u"[   9]");
}

TEST(FormatLogLine, ZeroWithZeroPrecisionPrintsNothing) {
  EXPECT_EQ(FormatLogLine(u"[%.0d]", 0), u"[]");
}

TEST(FormatLogLine, PercentAndCharacter) { EXPECT_EQ(FormatLogLine(u"100%% %c", u'x'), u"100% x"); }

TEST(FormatLogLine, MinimumSignedValue) {
  EXPECT_EQ(FormatLogLine(u"%d", static_cast<int>(-2147483647 - 1)), u"-2147483648");
  EXPECT_EQ(FormatLogLine(u"%lld", static_cast<long long>(INT64_MIN)), u"-9223372036854775808");
}

TEST(FormatLogLine, MissingArgumentsReadAsZero) { EXPECT_EQ(FormatLogLine(u"%d %s"), u"0 (null)"); }

TEST(FormatLogLine, ResultIsCutToTheBufferOf256) {
  const std::u16string longText(300, u'x');
  const std::u16string line = FormatLogLine(u"%s!", longText.c_str());
  EXPECT_EQ(line.size(), kLogLineCapacity - 1);
  EXPECT_EQ(line, std::u16string(255, u'x'));
}

TEST(FormatLogLine, FixedTextLongerThanTheBufferIsCutToo) {
  const std::u16string format(400, u'y');
  EXPECT_EQ(FormatLogLine(format).size(), 255u);
}
