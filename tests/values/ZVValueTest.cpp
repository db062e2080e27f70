#include <gtest/gtest.h>
#include <zorvane/ZVTypes.h>

#include <limits>
#include <string>
#include <vector>

namespace {

TEST(ZVMap, KeepsTheOrderInWhichKeysWereFirstSet) {
  ZVMap map{{"b", 1}, {"a", 2}, {"b", 3}};
  map.set("c", "text");
  map.set("a", nullptr);
  std::string keys;
  for (const auto& entry : map) keys += entry.key;
  EXPECT_EQ(keys, "bac");
  EXPECT_EQ(*map.find("b"), ZVValue(3));
  EXPECT_TRUE(map.find("a")->isNull());
  EXPECT_EQ(map.find("d"), nullptr);
}

// On both sides of the size from which entries are found by an index.
TEST(ZVMap, FindsEveryEntryAfterAnyChangeAtAnySize) {
  for (const int size : {1, 31, 32, 33, 34, 200}) {
    ZVMap map;
    for (int number = 0; number < size; ++number) map.set("key" + std::to_string(number), number);
    map.set("key0", "again");
    ASSERT_EQ(map.size(), static_cast<std::size_t>(size));
    const int middle = size / 2;
    const std::string erased = "key" + std::to_string(middle);
    EXPECT_TRUE(map.erase(erased));
    EXPECT_FALSE(map.erase(erased)) << size;
    ZVMap copy = map;
    const ZVMap moved = std::move(map);
    copy.set("later", true);
    for (int number = 1; number < size; ++number) {
      const std::string key = "key" + std::to_string(number);
      for (const auto* const each : {&std::as_const(copy), &moved}) {
        const ZVValue* const found = each->find(key);
        ASSERT_EQ(found == nullptr, number == middle) << key << " of " << size;
        if (found != nullptr) {
          EXPECT_EQ(*found, ZVValue(number));
        }
      }
    }
    EXPECT_TRUE(copy.contains("later"));
    EXPECT_FALSE(moved.contains("later")) << "a copy shares nothing";
    copy.clear();
    EXPECT_FALSE(copy.contains("later"));
  }
}

TEST(ZVMap, ComparesContentWhateverTheOrder) {
  const ZVMap map{{"a", 1}, {"b", ZVValue::Array{1, "x", ZVMap{{"c", nullptr}}}}};
  EXPECT_EQ(map, (ZVMap{{"b", ZVValue::Array{1, "x", ZVMap{{"c", nullptr}}}}, {"a", 1}}));
  EXPECT_FALSE(map == (ZVMap{{"a", 1}, {"c", 2}}));
  EXPECT_FALSE(map == (ZVMap{{"a", 1}, {"b", ZVValue::Array{"x", 1}}}));
}

TEST(ZVValue, KeepsTheKindOfWhatItWasGiven) {
  const char* const absent = nullptr;
  EXPECT_NE(ZVValue("text").ifString(), nullptr) << "a literal is no boolean";
  EXPECT_TRUE(ZVValue(absent).isNull());
  EXPECT_NE(ZVValue(true).ifBool(), nullptr);
  EXPECT_NE(ZVValue(1.0).ifDouble(), nullptr);
  EXPECT_NE(ZVValue(std::numeric_limits<std::uint64_t>::max()).ifDouble(), nullptr);
  EXPECT_EQ(*ZVValue(std::numeric_limits<std::int64_t>::min()).ifInteger(), std::numeric_limits<std::int64_t>::min());
  EXPECT_FALSE(ZVValue(1) == ZVValue(true));
}

}  // namespace
