#include "collector/records/Rules.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "collector/Records.h"
#include "collector/base/Text.h"

namespace collector {
namespace {

Findings findingsOf(const std::string& text) {
  const auto parsed = parseJson(text);
  EXPECT_EQ(parsed.failure, "") << text;
  Findings findings;
  readRecord(parsed.document, text.size(), findings);
  return findings;
}

std::string joined(const std::vector<std::string>& lines) { return fmt::format("{}", fmt::join(lines, "\n")); }

std::string repeated(std::string_view text, int times) {
  std::string whole;
  for (int time = 0; time < times; ++time) whole += text;
  return whole;
}

// What the protocol's document says of fields: kind, name, and then the type and when they come.
struct Documented {
  std::string type, when;
};
using Document = std::map<std::string, std::map<std::string, Documented>>;

std::vector<std::string> namesIn(const std::string& cell) {
  static const std::regex kQuoted("`([a-z0-9_]+)`");
  std::vector<std::string> names;
  for (std::sregex_iterator at(cell.begin(), cell.end(), kQuoted), end; at != end; ++at) names.push_back((*at)[1]);
  return names;
}

std::string trimmed(std::string_view cell) {
  cell.remove_prefix(std::min(cell.find_first_not_of(' '), cell.size()));
  return std::string(cell.substr(0, cell.find_last_not_of(' ') + 1));
}

Document readDocument() {
  static const std::map<std::string, std::string> kSections = {{"## Init", "init"},
                                                               {"### Fields of every record but SDK errors", "common"},
                                                               {"### Fields of each category", "category"},
                                                               {"## SDK errors", "sdk_error"}};
  Document document;
  std::ifstream file(ZORVANE_WIRE_PROTOCOL);
  std::string kind;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) kind = kSections.contains(line) ? kSections.at(line) : "";
    if (!line.starts_with("| ") || kind.empty()) continue;
    auto cells = splitAt(line, '|');
    if (cells.size() == 6) {  // with a column of categories, empty where the one above goes on
      if (const auto names = namesIn(std::string(cells[1])); !names.empty()) kind = names.front();
      cells.erase(cells.begin() + 1);
    }
    for (const auto& name : namesIn(std::string(cells[1])))
      document[kind][name] = {trimmed(cells[2]), trimmed(cells[3])};
  }
  return document;
}

TEST(Fields, AreThoseOfTheProtocolsDocument) {
  const auto document = readDocument();
  const auto& common = document.at("common");
  std::vector<RecordKind> kinds(recordKinds().begin(), recordKinds().end());
  kinds.push_back(initKind());
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.category);
    const bool hasCommon = kind.category != "init" && kind.category != "sdk_error";
    auto expected = document.at(std::string(kind.category));
    if (hasCommon) expected.insert(common.begin(), common.end());
    for (const auto& field : kind.fields) {
      const auto found = expected.find(std::string(field.name));
      ASSERT_NE(found, expected.end()) << field.name << " is not documented";
      auto [type, when] = found->second;
      if (type.starts_with("as in events")) type = common.at(found->first).type;
      const auto shape = describe(field.shape);
      const bool isSame =
          type.starts_with(shape) && (type == shape || std::strchr(",:; ", type[shape.size()]) != nullptr);
      EXPECT_TRUE(isSame || field.need == Need::never) << field.name << " is " << shape << ", not " << type;
      EXPECT_EQ(when.starts_with("always"), field.need == Need::always) << field.name;
      EXPECT_EQ(when == "never", field.need == Need::never) << field.name;
      expected.erase(found);
    }
    for (const auto& [name, rest] : expected) ADD_FAILURE() << name << " is documented, but no field";
  }
  EXPECT_EQ(document.size(), kinds.size() + 1);
}

TEST(Fields, FillColumnsOfTheirType) {
  for (const auto& kind : recordKinds()) {
    std::set<Column> filled;
    const auto fill = [&](Column column, std::string_view name) {
      EXPECT_TRUE(filled.insert(column).second) << kind.category << ' ' << name << ": its column is filled twice";
    };
    for (const auto& field : kind.fields) {
      for (const auto part : field.parts) fill(part, field.name);
      if (field.column == Column::count) continue;
      fill(field.column, field.name);
      const auto column = kColumns[static_cast<std::size_t>(field.column)];
      const bool isWhole = field.shape.type == Type::whole || field.shape.type == Type::yes;
      const bool isNumber = isWhole || field.shape.type == Type::number;
      EXPECT_TRUE(column.kind == Kind::text    ? !isNumber
                  : column.kind == Kind::whole ? isWhole
                                               : isNumber)
          << kind.category << ' ' << field.name << " in " << column.name;
      EXPECT_TRUE(field.parts.empty() || std::cmp_equal(field.parts.size(), field.shape.max)) << field.name;
    }
  }
}

TEST(Rules, SayWhatIsWrongWhatWasThereAndWhatWouldBeRight) {
  const auto custom = [](const std::string& fields) {
    return record("design", R"("event_id":"a","custom_fields":)" + fields);
  };
  const auto ad = [](const std::string& own) {
    return record("ads", R"("ad_sdk_name":"s","ad_placement":"p",)" + own);
  };
  struct Case {
    std::string record, reasons;
  };
  for (const auto& [record, reasons] : std::vector<Case>{
           {"7", "the record is not an object but 7"},
           {"[]", "the record is not an object but a list"},
           {"{}",
            "category: is missing; it is one of user, session_end, business, resource, progression, design, "
            "error, ads, impression or sdk_error"},
           {record("desgin", ""),
            "category: \"desgin\" is not one of user, session_end, business, resource, "
            "progression, design, error, ads, impression or sdk_error"},
           {replaced(kDesign, R"("v":2,)", ""), "v: is missing; it is the number 2"},
           {replaced(kDesign, R"("v":2)", R"("v":"2")"), "v: \"2\" is not the number 2"},
           {replaced(kDesign, R"("v":2)", R"("v":2,"v":2)"), "v: is there twice"},
           {replaced(kDesign, R"("platform":"linux")", R"("platform":"")"),
            "platform: \"\" is not text of 1 to 64 characters"},
           {replaced(kDesign, "0a1b", "0A1b"),
            "event_uuid: \"0A1b2c3d-0000-4000-8000-00000000000f\" is not a UUID in lower case"},
           {replaced(kDesign, "1700000000", "1700000000.5"),
            "client_ts: 1700000000.5 is not a whole number from 1 to 99999999999"},
           {replaced(kDesign, "\"wifi\"", "\"lan\""),
            "connection_type: \"lan\" is not one of \"\", offline, wifi or wwan"},
           {record("design", R"("event_id":"a","jailbroken":false)"), "jailbroken: false is not true"},
           {record("design", R"("event_id":"a:b:c:d:e:f")"),
            "event_id: \"a:b:c:d:e:f\" is not 1 to 5 parts with : between them"},
           {record("design", R"("event_id":"a:b#c")"),
            "event_id: part 2, \"b#c\", is not 1 to 64 letters, digits, white space or -_.()!?"},
           {record("design", R"("event_id":null)"), "event_id: null is not 1 to 5 parts with : between them"},
           {custom("{}"), "custom_fields: an object of 0 members is not an object of 1 to 50 fields"},
           {custom(R"({"a":1,"my key":2})"), "custom_fields: the name \"my key\" is not 1 to 64 letters, digits or _"},
           {custom(R"({"a":[]})"),
            "custom_fields: \"a\": a list is not a number, true, false or text of 1 to 256 "
            "characters"},
           {custom("{\"a\":\"" + std::string(257, 'x') + "\"}"),
            "custom_fields: \"a\": \"" + std::string(40, 'x') +
                "...\" (257 characters) is not a number, true, false or "
                "text of 1 to 256 characters"},
           {record("session_end", R"("length":-1)"), "length: -1 is not a whole number from 0"},
           {record("business", R"("event_id":"t:i","currency":"Eur","amount":1.5,"transaction_num":1)"),
            "currency: \"Eur\" is not three capital letters, such as USD\namount: 1.5 is not a whole number from 0"},
           {record("business", R"("event_id":"t:i","currency":"EUR","amount":1,"transaction_num":1,"receipt_info":{})"),
            "receipt_info: an object of 0 members is not an object of \"receipt\", a text, and \"store\", which is "
            "apple"},
           {record("resource", R"("event_id":"Gain:g:t:i","amount":10)"),
            "event_id: \"Gain:g:t:i\" is not Source or Sink and 3 parts with : between them"},
           {record("resource", R"("event_id":"Sink:g:t:i","amount":10)"),
            "amount: 10 is not below 0, as that of a Sink is"},
           {record("resource", R"("event_id":"Source:g:t:i","amount":0)"),
            "amount: 0 is not above 0, as that of a Source is"},
           {record("progression", R"("event_id":"Complete:w")"),
            "attempt_num: is missing; it is a whole number where event_id is Complete"},
           {record("progression", R"("event_id":"Start:w","score":1,"attempt_num":1)"),
            "score: only where event_id is Complete or Fail, not Start\n"
            "attempt_num: only where event_id is Complete, not Start"},
           {ad(R"("ad_type":"banner","ad_action":"show","ad_duration":1)"),
            "ad_duration: only where ad_type is video or rewarded_video, not banner"},
           {ad(R"("ad_type":"video","ad_action":"show","ad_fail_show_reason":"offline")"),
            "ad_fail_show_reason: only where ad_action is failed_show, not show"},
           {record("impression", R"("ad_network_name":"admob","ad_network_version":"1.2.3.4.5")"),
            "ad_network_version: \"1.2.3.4.5\" is not a version of one to four numbers, such as 1.2.3"},
           {replaced(kTrouble, "\"sql\"", "\"squeal\""),
            "error_area: \"squeal\" is not one of 21 words, such as business"},
           {replaced(kTrouble, "\"v\":2", "\"v\":2,\"user_id\":\"u\""), "user_id: must not be sent with sdk_error"},
           {replaced(kDesign, "\"u\"", '"' + std::string(kMaxRecordBytes, 'u') + '"'),
            fmt::format("the record has {} bytes, and {} are allowed", kDesign.size() - 1 + kMaxRecordBytes,
                        kMaxRecordBytes)},
       })
    EXPECT_EQ(joined(findingsOf(record).reasons), reasons) << record.substr(0, 1000);
}

TEST(Rules, DrawTheLineWhereTheProtocolDoes) {
  const auto word = [](std::string_view name, const std::string& text) {
    return fmt::format(R"("{}":"{}")", name, text);
  };
  const auto smile = [](int times) { return repeated("\U0001F600", times); };  // two characters each
  struct Case {
    std::string category, others, good, bad;
  };
  const std::string business = R"("event_id":"t:i","amount":0,"transaction_num":1,)";
  const std::string bought = R"("event_id":"t:i","currency":"EUR","transaction_num":1,)";
  const std::string network = R"("ad_network_version":"1",)";
  for (const auto& [category, others, good, bad] : std::vector<Case>{
           {"design", "", word("event_id", std::string(64, 'a') + "\\n"), word("event_id", std::string(65, 'a'))},
           {"design", "", word("event_id", "a\\u00a0:b.(!)?:c:d:e"), word("event_id", "a::c")},
           {"design", R"("event_id":"a",)", word("custom_01", smile(16)), word("custom_01", smile(16) + "x")},
           {"design", R"("event_id":"a",)", R"("value":18446744073709551615)", R"("value":"1")"},
           {"design", R"("event_id":"a",)", word("ios_att", "denied"), word("ios_att", "")},
           {"design", R"("event_id":"a",)", word("ios_app_version", ""), word("ios_app_version", "0.0.0")},
           {"design", R"("event_id":"a",)", R"("custom_fields":{"k\u2029":")" + smile(128) + "\"}",
            R"("custom_fields":{"k\n\n":1})"},
           {"error", R"("severity":"info",)", word("message", smile(4096)), word("message", smile(4096) + "x")},
           {"business", business, word("currency", "USD\\r\\n"), word("currency", "USD\\n\\n")},
           {"business", bought, R"("amount":9223372036854775807)", R"("amount":9223372036854775808)"},
           {"business", bought + R"("amount":1,)", word("cart_type", std::string(32, 'c')), word("cart_type", "")},
           {"resource", R"("event_id":"Sink:g:t:i",)", R"("amount":-1e-300)", R"("amount":-0.0)"},
           {"progression", R"("event_id":"Fail:a:b:c",)", R"("score":-9223372036854775808)", R"("score":1.5)"},
           {"progression", R"("attempt_num":1,)", word("event_id", "Complete:a:b:c"), word("event_id", "Complete")},
           {"impression", network, word("ad_network_name", "max\\u0085"), word("ad_network_name", "Max")},
           {"impression", R"("ad_network_name":"max",)", word("ad_network_version", "..12345."),
            word("ad_network_version", "123456")},
           {"session_end", "", R"("length":0)", R"("length":-0.5)"},
       }) {
    EXPECT_EQ(joined(findingsOf(record(category, others + good)).reasons), "") << good;
    const auto refused = findingsOf(record(category, others + bad));
    EXPECT_FALSE(refused.good) << bad;
    EXPECT_EQ(refused.reasons.size(), 1U) << bad;
  }
}

TEST(Rules, PointOutWhatIsOddAndTakeIt) {
  struct Case {
    std::string record, notes;
  };
  for (const auto& [record, notes] : std::vector<Case>{
           {kDesign, ""},
           {record("design", R"("event_id":"a","valeu":{"a":[1]},"x\n":1)"),
            "design: \"valeu\" is no field that is known\ndesign: \"x\\n\" is no field that is known"},
           {replaced(kTrouble, "\"v\":2", "\"v\":2,\"later\":null"), "sdk_error: \"later\" is no field that is known"},
           {replaced(kDesign, "\"linux\"", "\"Steam OS\""),
            "platform: \"Steam OS\" is not a word in lower case, such as linux"},
           {replaced(kDesign, "\"m\"", "\"valve-corp. 2_x\""), ""},
       }) {
    const auto findings = findingsOf(record);
    EXPECT_TRUE(findings.good) << joined(findings.reasons);
    EXPECT_EQ(joined(findings.notes), notes);
  }
}

}  // namespace
}  // namespace collector
