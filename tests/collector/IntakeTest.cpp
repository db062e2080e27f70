#include "collector/intake/Intake.h"
#include "collector/intake/Room.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codecs/ZVHelpers.h"
#include "collector/Records.h"
#include "collector/base/Json.h"
#include "collector/base/Signature.h"

using zorvane::ZVHelpers;

namespace collector {
namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;
constexpr std::int64_t kNow = 1'700'000'123;

const std::string kGame = "game";
const std::string kSecret = "secret";

std::string gzip(const std::string& text) { return ZVHelpers::gzipEnflateWithData(text).value_or(""); }

Call callOf(std::string body, std::string encoding = "") {
  Call call;
  call.kind = "events";
  call.gameKey = kGame;
  call.target = "/remote_configs/v1/init?interval_seconds=0&configs_hash=";
  call.authorization = signatureOf(body, kSecret);
  call.contentEncoding = std::move(encoding);
  call.contentType = "application/json";
  call.body = std::move(body);
  return call;
}

Intake intake() {
  return Intake([](std::string_view game) { return game == kGame ? std::optional(kSecret) : std::nullopt; });
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string whole;
  whole.reserve(text.size() * times);
  for (std::size_t time = 0; time < times; ++time) whole += text;
  return whole;
}
std::string list(std::string_view element, std::size_t times) {
  auto elements = repeated(std::string(element) + ',', times);
  elements.back() = ']';
  return '[' + elements;
}

TEST(Elements, AreThoseOfTheListWithTheirText) {
  struct Case {
    std::string text, elements;  // or what is wrong
  };
  const auto deep = [](std::size_t levels) { return repeated("[", levels) + repeated("]", levels); };
  const std::string kTooDeep = "the body is refused: it is nested too deep";
  for (const auto& [text, elements] : std::vector<Case>{
           {"[]", ""},
           {" \n[ ]\t", ""},
           {R"([{"a":[1]} , "x\"]" ,[[ ]],-0.5e1,null])", R"({"a":[1]}|"x\"]"|[[ ]]|-0.5e1|null|)"},
           {"{}", "the body is not a list of records"},
           {"", "the body is not a list of records"},
           {"[", "the body is not JSON: A value is missing. (byte 1)"},
           {"[1,]", "1|the body is not JSON: A value is missing. (byte 3)"},
           {"[,1]", "the body is not JSON: A value is missing. (byte 1)"},
           {"[1 2]", "1|the body is not JSON: A comma or ] is missing. (byte 3)"},
           {"[1", "1|the body is not JSON: A comma or ] is missing. (byte 2)"},
           {"[1]]", "1|the body is not JSON: It goes on behind its end. (byte 3)"},
           {std::string("[1\0]", 4), "1|the body is not JSON: A comma or ] is missing. (byte 2)"},
           {"[\"a", "the body is not JSON: Missing a closing quotation mark in string. (byte 3)"},
           {"[\"a\tb\"]", "the body is not JSON: Invalid escape character in string. (byte 3)"},
           {"[\"\xC0\x80\"]", "the body is not JSON: Invalid encoding in string. (byte 2)"},
           {R"(["\ud83d\ude00"])", R"("\ud83d\ude00"|)"},
           {R"(["\udc00"])", "the body is refused: it holds half a surrogate pair"},
           {"[1e-999,1e308]", "1e-999|1e308|"},
           {"[1e309]", "the body is refused: it holds a number that is too large"},
           {deep(512), deep(511) + '|'},
           {deep(513), kTooDeep},
           {list(list("1", 599'999), 1), list("1", 599'999) + '|'},
           {list(list("1", 600'000), 1), "the body is refused: it holds a record of too many values"},
       }) {
    std::string found;
    found +=
        forEachElement(text, [&](const JsonValue&, std::string_view element) { found.append(element).append("|"); });
    EXPECT_TRUE(found == elements) << text.substr(0, 100) << ": " << found.substr(0, 200);
  }
}

TEST(Intake, TakesWhatIsGoodAndSaysWhichIsNot) {
  const auto batch = fmt::format("[{},{}, {} ,{}]", kDesign, replaced(kDesign, "\"v\":2", "\"v\":3"), kTrouble,
                                 replaced(kDesign, "\"v\":2", "\"v\":2,\"odd\":1"));
  for (const bool compressed : {false, true}) {
    const auto sent = compressed ? gzip(batch) : batch;
    const auto outcome = intake().takeEvents(callOf(sent, compressed ? "gzip" : ""), kNow);
    EXPECT_EQ(outcome.status, 400);
    EXPECT_EQ(outcome.json, R"([{"index":1,"reasons":["v: 3 is not the number 2"]}])");
    ASSERT_TRUE(outcome.content);
    const auto& taken = *outcome.content;
    EXPECT_EQ(taken.game, kGame);
    EXPECT_EQ(taken.receivedAt, kNow);
    EXPECT_EQ(taken.bytes, sent.size());
    EXPECT_EQ(taken.text, batch);
    ASSERT_EQ(taken.rows.size(), 3U);
    EXPECT_EQ(taken.rows[1].record, kTrouble);
    EXPECT_EQ(std::get<std::string_view>(taken.rows[2][Column::userId]), "u");
    ASSERT_EQ(taken.rejected.size(), 1U);
    EXPECT_EQ(taken.rejected[0].record, replaced(kDesign, "\"v\":2", "\"v\":3"));
    EXPECT_EQ(taken.notes, (std::map<std::string, std::size_t>{{"design: \"odd\" is no field that is known", 1}}));
  }
}

TEST(Intake, KeepsLittleOfWhatIsRefused) {
  const auto tiny = intake().takeEvents(callOf(gzip(list("{}", 2'600'000)), "gzip"), kNow);
  EXPECT_EQ(tiny.status, 400);
  EXPECT_EQ(tiny.content->rejectedCount, 2'600'000U);
  EXPECT_EQ(tiny.content->rejected.size(), Content::kMaxRejected);
  EXPECT_EQ(parseJson(tiny.json).document.Size(), Content::kMaxRejected);
  EXPECT_EQ(tiny.content->rejected.back().position, Content::kMaxRejected - 1);

  const auto large = intake().takeEvents(callOf(list("{\"x\":\"" + repeated("\u20AC", 5000) + "\"}", 1)), kNow);
  EXPECT_EQ(large.content->rejected.front().record.size(), 4095U) << "no character is cut";

  std::string odd;
  for (int each = 0; each < 30'000; ++each) odd += fmt::format(",\"odd{}\":1", each);
  const auto record = replaced(kDesign, "\"v\":2", "\"v\":2" + odd);
  EXPECT_LE(intake().takeEvents(callOf(list(record, 10)), kNow).content->notes.size(), Content::kMaxNotes);
}

TEST(Intake, GivesUpABodyThatCannotBeReadToItsEnd) {
  struct Case {
    const char* name;
    Call call;
    int status;
    const char* problem;  // null: nothing is handed on
  };
  const auto member = gzip(list(kDesign, 2));
  const auto with = [](Call call, std::string Call::*field, std::string value) {
    call.*field = std::move(value);
    return call;
  };
  const auto spaces = std::string(Intake::kMaxInflated, ' ');
  const std::vector<Case> cases = {
      {"unsigned", with(callOf("[]"), &Call::authorization, ""), 401, nullptr},
      {"signed for another body", with(callOf("[]"), &Call::body, "[ ]"), 401, nullptr},
      {"signed when inflated", with(callOf("[]", "gzip"), &Call::body, gzip("[]")), 401, nullptr},
      {"unknown game", with(callOf("[]"), &Call::gameKey, "other"), 401, nullptr},
      {"8 MiB as sent", callOf("[" + spaces.substr(0, 8 * kMebibyte - 2) + "]"), 200, ""},
      {"over 8 MiB as sent", callOf("[" + spaces.substr(0, 8 * kMebibyte - 1) + "]"), 413, nullptr},
      {"16 MiB inflated", callOf(gzip("[" + spaces.substr(2) + "]"), "gzip"), 200, ""},
      {"over 16 MiB inflated", callOf(gzip("[" + spaces.substr(1) + "]"), "gzip"), 413, nullptr},
      {"cut short", callOf(member.substr(0, member.size() - 1), "gzip"), 400, "the body is not one gzip member"},
      {"two members", callOf(member + member, "gzip"), 400, "the body is not one gzip member"},
      {"another encoding", callOf("[]", "br"), 400, "Content-Encoding: is not gzip"},
      {"no list", callOf(kDesign), 400, "the body is not a list of records"},
      {"cut short behind good and bad records", callOf('[' + kDesign + ",{}," + kDesign), 400,
       "the body is not JSON: A comma or ] is missing."},
  };
  for (const auto& [name, call, status, problem] : cases) {
    const auto outcome = intake().takeEvents(call, kNow);
    EXPECT_EQ(outcome.status, status) << name;
    ASSERT_EQ(outcome.content != nullptr, problem != nullptr) << name;
    EXPECT_EQ(outcome.json.find("reasons") != std::string::npos, status != 200) << name << ' ' << outcome.json;
    if (problem == nullptr) continue;
    EXPECT_TRUE(outcome.content->problem.starts_with(problem)) << name << ' ' << outcome.content->problem;
    EXPECT_TRUE(outcome.content->rows.empty() && outcome.content->rejected.empty()) << name;
    EXPECT_EQ(outcome.content->rejectedCount, 0U) << name;
  }
}

TEST(Intake, ReadsAnInitCall) {
  const auto good = intake().takeInit(callOf(gzip(kInit), "gzip"), kNow);
  EXPECT_EQ(good.status, 200) << good.json;
  ASSERT_EQ(good.content->rows.size(), 1U);
  const auto& row = good.content->rows.front();
  EXPECT_EQ(row[Column::platform], Cell(std::string_view("linux")));
  EXPECT_EQ(row[Column::sessionNum], Cell(std::int64_t{0}));
  EXPECT_EQ(row[Column::category], Cell());
  const auto calls = [](const std::string& body) {
    auto call = callOf(gzip(body), "gzip");
    call.target = "/remote_configs/v1/init?interval_seconds=1";
    return call;
  };
  for (const auto& [call, reasons] : {
           std::pair(callOf(kInit), R"(["the body of an init call is not compressed"])"),
           std::pair(calls(kInit), R"(["interval_seconds: is not 0","configs_hash: is missing"])"),
           std::pair(callOf(gzip(replaced(kInit, "\"build\":\"\",", "")), "gzip"),
                     R"(["build: is missing; it is text"])"),
           std::pair(callOf(gzip("[]"), "gzip"), R"(["the body is not an object"])"),
       }) {
    const auto refused = intake().takeInit(call, kNow);
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.json, fmt::format(R"({{"reasons":{}}})", reasons));
    EXPECT_TRUE(refused.content->rows.empty());
  }
}

TEST(RoomTest, IsForAllTogetherAndAlwaysForOneAlone) {
  const auto room = std::make_shared<Room>(10);
  Room::Part one(room);
  EXPECT_TRUE(one.resize(11));
  {
    Room::Part other(room);
    EXPECT_FALSE(other.resize(1));
    EXPECT_TRUE(one.resize(6));
    EXPECT_TRUE(other.resize(4));
    EXPECT_FALSE(other.resize(5));
    EXPECT_FALSE(one.resize(7));
    EXPECT_EQ(room->taken(), 10U) << "as before";
  }
  EXPECT_TRUE(one.resize(10));
}

}  // namespace
}  // namespace collector
