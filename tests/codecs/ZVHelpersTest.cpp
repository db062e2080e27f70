#include "codecs/ZVHelpers.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "codecs/json.h"
#include "codecs/json_written.h"
#include "values/Fields.h"

using namespace zorvane;

namespace {

using namespace std::string_literals;

ZVValue nested(std::size_t depth) {
  ZVValue value = ZVValue::Array{};
  for (std::size_t level = 1; level < depth; ++level) value = ZVValue::Array{std::move(value)};
  return value;
}

std::string brackets(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

// What is read, and what is refused, shows against a second parser: torture/fuzz/json.cpp.
TEST(Json, WritesCompactTextInTheOrderOfTheMap) {
  const ZVMap map{{"z/\"\n", "a/b\\ \x01 \xC3\xA9"},
                  {"a", ZVValue::Array{nullptr, true, false, -5, 1.5, ZVMap{}}},
                  {"", ZVValue::Array{}},
                  {"whole", 1700000000.0},
                  {"big", std::numeric_limits<std::int64_t>::min()}};
  EXPECT_EQ(ZVHelpers::jsonStringWithObject(map), R"({"z\/\"\n":"a\/b\\ \u0001 )"
                                                  "\xC3\xA9"
                                                  R"(","a":[null,true,false,-5,1.5,{}],"":[],)"
                                                  R"("whole":1700000000,"big":-9223372036854775808})");
}

TEST(Json, RefusesWhatItCannotExpress) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const ZVValue& value :
       {ZVValue("text"), ZVValue(1), ZVValue(), ZVValue(ZVMap{{"k", std::nan("")}}), ZVValue(ZVValue::Array{-infinity}),
        ZVValue(ZVMap{{"k", "bad \xC3"}}), ZVValue(ZVMap{{"bad \xED\xA0\x80", 1}})})
    EXPECT_EQ(ZVHelpers::jsonStringWithObject(value), std::nullopt);
}

TEST(Json, SurvivesDepth) {
  EXPECT_EQ(ZVHelpers::jsonStringWithObject(nested(512)), brackets(512));
  EXPECT_EQ(ZVHelpers::dictionaryWithJsonString(brackets(512)), nested(512));
  EXPECT_EQ(ZVHelpers::jsonStringWithObject(nested(513)), std::nullopt);
  EXPECT_EQ(ZVHelpers::dictionaryWithJsonString(brackets(513)), std::nullopt);
  EXPECT_EQ(ZVHelpers::dictionaryWithJsonString(std::string(5'000'000, '[')), std::nullopt);
}

TEST(Json, TakesOnlySoManyValuesFromOutside) {
  constexpr std::size_t kMost = 131'072;
  const auto list = [](std::size_t values) {
    std::string text = "[";
    for (std::size_t i = 0; i < values; ++i) text += "0,";
    text.back() = ']';
    return text;
  };
  const std::string pairs = R"({"a":[],"a":{},"a":)";
  EXPECT_TRUE(ZVHelpers::dictionaryWithJsonData(list(kMost)));
  EXPECT_FALSE(ZVHelpers::dictionaryWithJsonData(list(kMost + 1)));
  EXPECT_TRUE(ZVHelpers::dictionaryWithJsonData(pairs + list(kMost - 6) + "}")) << "keys count as well";
  EXPECT_FALSE(ZVHelpers::dictionaryWithJsonData(pairs + list(kMost - 5) + "}"));
  EXPECT_TRUE(ZVHelpers::dictionaryWithJsonString(list(kMost + 1))) << "what the library stored itself";
}

TEST(JsonWritten, IsWhatTheLibraryWouldWriteToTheLetter) {
  constexpr NumberRule kRule{"ts", [](double number) { return number > 0; }};
  const auto keys = [](int count) {
    std::string json = "{";
    for (int i = 0; i < count; ++i) json += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ',';
    return json + R"("ts":1})";
  };
  const auto deep = [](int levels) { return R"({"a":)" + brackets(levels - 1) + "}"; };
  ZVMap all{{"ts", 17}, {"big", 1e300}, {"small", -2.5e-7}, {"none", nullptr}, {"e\xC3\xA9/\"", true}};
  all.set("nested",
          ZVValue::Array{false, ZVMap{{"ts", "0"}, {"empty", ZVMap{}}}, ZVValue::Array{}, "\xF0\x9F\x98\x80"});
  for (int code = 0; code < 0x80; ++code) all.set("text", textField(all, "text") + static_cast<char>(code));
  for (const std::string& json : {writeJson(all).value_or(""), "{}"s, keys(63), deep(511)}) {
    EXPECT_EQ(writeJson(readJson(json).value_or(nullptr)), json);
    EXPECT_TRUE(isWrittenJson(json, 511, kRule)) << json;
  }
  // That it refuses whatever else another would write: torture/fuzz/json.cpp.
  for (const std::string& json :
       {R"({"ts":0})"s, R"({"ts":"1"})"s, R"({"ts":{}})"s, R"({"ts":null,"a":1})"s, R"({"a":1,"a":2})"s,
        R"({"a":{"b":1,"c":2,"b":3}})"s, "[{}]"s, "{"s, R"({"a":1}})"s, R"({"a" :1})"s, R"({"a":"/"})"s,
        R"({"a":"\u0041"})"s, R"({"a":1.0})"s, R"({"a":1e400})"s, keys(64), deep(512), "{}\0"s})
    EXPECT_FALSE(isWrittenJson(json, 511, kRule)) << json;
}

TEST(Gzip, StopsAtABound) {
  constexpr std::size_t kBound = std::size_t{16} << 20;
  EXPECT_EQ(ZVHelpers::gzipDeflateWithData(*ZVHelpers::gzipEnflateWithData(std::string(kBound, 'x')))->size(), kBound);
  for (const std::size_t more : {kBound + 1, 2 * kBound})
    EXPECT_EQ(ZVHelpers::gzipDeflateWithData(*ZVHelpers::gzipEnflateWithData(std::string(more, 'x'))), std::nullopt);
}

TEST(DigestsAndCiphers, AgreeWithKnownAnswers) {
  EXPECT_EQ(ZVHelpers::stringToMd5("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(ZVHelpers::stringToMd5("abc\0def"s), ZVHelpers::stringToMd5("abc"));
  EXPECT_NE(ZVHelpers::dataToMd5("abc\0def"s), ZVHelpers::dataToMd5("abc"));
  EXPECT_EQ(ZVHelpers::sha256HashForData("abc"), "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0=");
  EXPECT_EQ(ZVHelpers::hmacWithKey("key\0more"s, "The quick brown fox jumps over the lazy dog"),
            "97yD9DBThCSxMpjmqm+xQ+9NWaFJRhdZl0edvC0aPNg=");
  EXPECT_EQ(ZVHelpers::hmacWithKey("", ""), "thNnmggU2ex3L5XXeMNfxf8Wl8STcVZTxscSFEKSxa0=");
  EXPECT_EQ(ZVHelpers::encryptString("attack at dawn", "0123456789abcdef0123456789abcdef"), "N2ZtrVvp1ur4f38y3L9wSQ==");
}

TEST(Uuid, IsRandomAndCanonical) {
  const std::string lower = ZVHelpers::generateUUID();
  EXPECT_THAT(lower, testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  EXPECT_THAT(ZVHelpers::generateUpperUUID(), testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
  EXPECT_NE(lower, ZVHelpers::generateUUID());
}

TEST(StringMatch, FollowsTheDialectOfThePatterns) {
  using Case = std::tuple<std::string, std::string, bool>;
  for (const auto& [text, pattern, matches] :
       {// Nothing matches in an empty text, and anywhere in others. "(" is no pattern at all.
        Case{"", "^$", false}, Case{"xaby", "ab", true}, Case{"AB", "ab", false}, Case{"a", "(", false},
        // "$" stands before a final line terminator, of any kind.
        Case{"abc\n", "^abc$", true}, Case{"abc\r\n", "^abc$", true}, Case{"abc\xE2\x80\xA8", "^abc$", true},
        Case{"abc\nd", "^abc$", false}, Case{"abc\n\n", "^abc$", false}, Case{"a\r", "^a\r$", true},
        Case{"a\n\r", "^a\n$", true}, Case{"a\r\n", "^[a\r]+$", true}, Case{"\r\n", "^\\s\\s$", true},
        Case{"a\r$", "^[$a]\r\\$$", true}, Case{"a\r\n", "^a\r$", false}, Case{"\r\n", "^\\s$", false},
        // The ideographic space is white space; characters count, not bytes; "++" is possessive.
        Case{"\xE3\x80\x80", "^\\s$", true}, Case{"\xC3\xA9\xF0\x9F\x98\x80", "^.{2}$", true},
        Case{"a\0b"s, "^a.b$", true}, Case{"a\xFF", "a", false}, Case{"aaa", "^a++a", false}})
    EXPECT_EQ(ZVHelpers::stringMatchWithString(text, pattern), matches) << testing::PrintToString(text) << pattern;
  EXPECT_FALSE(ZVHelpers::stringMatchWithString(nullptr, "a*"));
}

TEST(StringMatch, EndsOnHostileText) {
  EXPECT_FALSE(ZVHelpers::stringMatchWithString(std::string(10'000, 'a'), "^(a|aa)+b$"));
  EXPECT_FALSE(ZVHelpers::stringMatchWithString(std::string(10'000'000, 'a'), "^[a-z]{1,64}$"));
}

TEST(StringMatch, WorksOnManyThreadsAndPatterns) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([] {
      for (int round = 0; round < 300; ++round) {
        const std::string number = std::to_string(round % 100);  // more patterns than are kept
        EXPECT_TRUE(ZVHelpers::stringMatchWithString(number, "^" + number + "$"));
        EXPECT_FALSE(ZVHelpers::stringMatchWithString(number + "x", "^" + number + "$"));
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(UrlQuery, EscapesValuesAndSortsPairs) {
  EXPECT_EQ(ZVHelpers::querystringWithDictionary({{"b", "x y"}, {"A", "1"}, {"c", 2}}), "A=1&b=x%20y");
  EXPECT_EQ(ZVHelpers::querystringWithDictionary({{"k y", ""}, {"K", "b"}, {"k", "C"}}), "k y=&K=b&k=C");
  EXPECT_EQ(ZVHelpers::querystringWithDictionary({}), "");
  EXPECT_EQ(ZVHelpers::escapeValueForURLParameter(" !*'();:@&=+$,/?%#[]\"<>\\`{}|"),
            "%20%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%22%3C%3E%5C%60%7B%7D%7C");
  EXPECT_EQ(ZVHelpers::escapeValueForURLParameter("aZ09-._~^\n\xC3\xA9"), "aZ09-._~^\n%C3%A9");
}

}  // namespace
