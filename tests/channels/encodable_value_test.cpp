#include "channels/encodable_value.h"

#include <any>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(EncodableValue, AlternativesKeepTheirFixedIndices) {
  EXPECT_EQ(EncodableValue().index(), 0u);
  EXPECT_EQ(EncodableValue(true).index(), 1u);
  EXPECT_EQ(EncodableValue(int32_t{7}).index(), 2u);
  EXPECT_EQ(EncodableValue(int64_t{7}).index(), 3u);
  EXPECT_EQ(EncodableValue(7.5).index(), 4u);
  EXPECT_EQ(EncodableValue(std::string("x")).index(), 5u);
  EXPECT_EQ(EncodableValue(std::vector<uint8_t>{1}).index(), 6u);
  EXPECT_EQ(EncodableValue(std::vector<int32_t>{1}).index(), 7u);
  EXPECT_EQ(EncodableValue(std::vector<int64_t>{1}).index(), 8u);
  EXPECT_EQ(EncodableValue(std::vector<double>{1}).index(), 9u);
  EXPECT_EQ(EncodableValue(EncodableList{}).index(), 10u);
  EXPECT_EQ(EncodableValue(EncodableMap{}).index(), 11u);
  EXPECT_EQ(EncodableValue(CustomEncodableValue(std::any(1))).index(), 12u);
  EXPECT_EQ(EncodableValue(std::vector<float>{1}).index(), 13u);
}

TEST(EncodableValue, NoContentIsTheNullAlternative) {
  const EncodableValue value;
  EXPECT_TRUE(value.IsNull());
  EXPECT_TRUE(std::holds_alternative<std::monostate>(value));
  EXPECT_FALSE(EncodableValue(false).IsNull());
}

TEST(EncodableValue, TextLiteralBecomesAStringNotABool) {
  const EncodableValue value("abc");
  ASSERT_TRUE(std::holds_alternative<std::string>(value));
  EXPECT_EQ(std::get<std::string>(value), "abc");
  EncodableValue assigned;
  assigned = "def";
  EXPECT_EQ(std::get<std::string>(assigned), "def");
}

TEST(EncodableValue, CopiesAreDeep) {
  EncodableValue original(EncodableMap{{EncodableValue("list"), EncodableList{EncodableValue(1)}}});
  EncodableValue copy = original;
  auto& list = std::get<EncodableList>(std::get<EncodableMap>(copy)[EncodableValue("list")]);
  list.push_back(EncodableValue(2));
  const auto& originalList =
      std::get<EncodableList>(std::get<EncodableMap>(original).at(EncodableValue("list")));
  EXPECT_EQ(originalList.size(), 1u);
  EXPECT_NE(original, copy);
}

TEST(EncodableMapOrdering, AlternativeIndexComesBeforeTheValue) {
  EncodableMap map;
  map[EncodableValue("a")] = EncodableValue(1);
  map[EncodableValue(int64_t{-100})] = EncodableValue(2);
  map[EncodableValue(int32_t{100})] = EncodableValue(3);
  map[EncodableValue(true)] = EncodableValue(4);
  map[EncodableValue()] = EncodableValue(5);
  map[EncodableValue(EncodableList{})] = EncodableValue(6);

  std::vector<size_t> indices;
  for (const auto& [key, value] : map) indices.push_back(key.index());
  EXPECT_EQ(indices, (std::vector<size_t>{0, 1, 2, 3, 5, 10}));
}

TEST(EncodableMapOrdering, SameAlternativeOrdersByValue) {
  EXPECT_LT(EncodableValue(int32_t{-5}), EncodableValue(int32_t{3}));
  EXPECT_LT(EncodableValue(false), EncodableValue(true));
  EXPECT_LT(EncodableValue("abc"), EncodableValue("abd"));
  EXPECT_LT(EncodableValue("ab"), EncodableValue("abc"));
  // Strings order by their bytes as unsigned: a UTF-8 lead byte sorts after ASCII.
  EXPECT_LT(EncodableValue("z"), EncodableValue("\xc3\xa9"));
  EXPECT_LT(EncodableValue(EncodableList{EncodableValue(1)}),
            EncodableValue(EncodableList{EncodableValue(1), EncodableValue(0)}));
  EXPECT_LT(EncodableValue(std::vector<int32_t>{1, 2}), EncodableValue(std::vector<int32_t>{1, 3}));
}

TEST(EncodableMapOrdering, ThirtyTwoAndSixtyFourBitIntegersAreDifferentKeys) {
  EncodableMap map;
  map[EncodableValue(int32_t{1})] = EncodableValue("narrow");
  map[EncodableValue(int64_t{1})] = EncodableValue("wide");
  EXPECT_EQ(map.size(), 2u);
  EXPECT_NE(EncodableValue(int32_t{1}), EncodableValue(int64_t{1}));
  // The 32-bit alternative has the lower index, whatever the values.
  EXPECT_LT(EncodableValue(int32_t{1000}), EncodableValue(int64_t{-1000}));
}

TEST(EncodableMapOrdering, StringKeyIsNotFoundUnderAnIntegerKeyOfTheSameDigits) {
  EncodableMap map{{EncodableValue(int32_t{5}), EncodableValue("five")}};
  EXPECT_EQ(map.find(EncodableValue("5")), map.end());
  EXPECT_NE(map.find(EncodableValue(int32_t{5})), map.end());
}

TEST(EncodableMapOrdering, MapsCompareEntryByEntry) {
  const EncodableMap small{{EncodableValue("a"), EncodableValue(1)}};
  const EncodableMap larger{{EncodableValue("a"), EncodableValue(2)}};
  const EncodableMap longer{{EncodableValue("a"), EncodableValue(1)},
                            {EncodableValue("b"), EncodableValue(0)}};
  EXPECT_LT(EncodableValue(small), EncodableValue(larger));
  EXPECT_LT(EncodableValue(small), EncodableValue(longer));
  EXPECT_EQ(EncodableValue(small), EncodableValue(EncodableMap(small)));
  EXPECT_TRUE(small < larger);
  EXPECT_TRUE(small == EncodableMap(small));
}

TEST(EncodableMapOrdering, NanKeysKeepTheMapOrdered) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EncodableMap map;
  for (double key : {nan, 1.0, -inf, inf, -0.0, 0.0, -nan, nan}) {
    map[EncodableValue(key)] = EncodableValue(true);
  }
  // Seven distinct representations; the repeated NaN is found again.
  EXPECT_EQ(map.size(), 7u);
  EXPECT_NE(map.find(EncodableValue(nan)), map.end());
  std::vector<double> keys;
  for (const auto& [key, value] : map) keys.push_back(std::get<double>(key));
  EXPECT_TRUE(std::isnan(keys.front()) && std::signbit(keys.front()));
  EXPECT_EQ(keys[1], -inf);
  EXPECT_TRUE(keys[2] == 0.0 && std::signbit(keys[2]));
  EXPECT_TRUE(keys[3] == 0.0 && !std::signbit(keys[3]));
  EXPECT_EQ(keys[4], 1.0);
  EXPECT_EQ(keys[5], inf);
  EXPECT_TRUE(std::isnan(keys.back()) && !std::signbit(keys.back()));
}

TEST(EncodableValue, CustomValuesAreAllEquivalent) {
  const EncodableValue a(CustomEncodableValue(std::any(1)));
  const EncodableValue b(CustomEncodableValue(std::any(std::string("x"))));
  EXPECT_EQ(a, b);
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_LT(EncodableValue(EncodableMap{}), a);
  EXPECT_EQ(std::get<CustomEncodableValue>(b).type(), typeid(std::string));
}

}  // namespace
