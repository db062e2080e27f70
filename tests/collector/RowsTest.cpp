#include "collector/records/Rows.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collector/Records.h"

namespace collector {
namespace {

std::string shown(const Cell& cell) {
  if (const auto* const text = std::get_if<std::string_view>(&cell)) return fmt::format("\"{}\"", *text);
  if (const auto* const whole = std::get_if<std::int64_t>(&cell)) return fmt::format("{}", *whole);
  const auto number = fmt::format("{}", std::get<double>(cell));
  return number.find_first_of(".e") == std::string::npos ? number + ".0" : number;
}

// The columns that hold something, but for those that every event fills.
std::string cellsBeyond(const Row& common, const Row& row) {
  std::string cells;
  for (std::size_t at = 0; at < kColumnCount; ++at) {
    if (row.cells[at].index() == 0 || row.cells[at] == common.cells[at]) continue;
    cells += fmt::format("{}{}={}", cells.empty() ? "" : " ", kColumns[at].name, shown(row.cells[at]));
  }
  return cells;
}

Row rowOfText(const std::string& text, Texts& texts) {
  const auto parsed = parseJson(text);
  Findings findings;
  const auto members = readRecord(parsed.document, text.size(), findings);
  EXPECT_TRUE(findings.good) << text << fmt::format(" {}", fmt::join(findings.reasons, " "));
  return findings.good ? rowOf(members, text, texts) : Row{};
}

TEST(Rows, HoldWhatQuestionsAskFor) {
  struct Case {
    std::string record, cells;
  };
  const auto plain = record("user", "");
  Texts common(plain);
  const auto beside = rowOfText(plain, common);
  EXPECT_EQ(cellsBeyond({}, beside),
            fmt::format("category=\"user\" event_uuid=\"{}\" client_ts=1700000000 user_id=\"u\" session_id=\"\" "
                        "session_num=1 platform=\"linux\" os_version=\"linux 6\" manufacturer=\"m\" device=\"x\" "
                        "sdk_version=\"linux 1\" build=\"\" connection_type=\"wifi\"",
                        kUuid));
  for (const auto& [text, cells] : std::vector<Case>{
           {record("user", R"("install":true,"ios_app_version":"1.2","engine_version":"unity 5","ab_id":"a",)"
                           R"("ab_variant_id":"b","custom_01":"x","custom_03":"\/y")"),
            "engine_version=\"unity 5\" app_version=\"1.2\" ab_id=\"a\" ab_variant_id=\"b\" custom_01=\"x\" "
            "custom_03=\"/y\" install=1"},
           {record("session_end", R"("length":7)"), "category=\"session_end\" length=7"},
           {record("business", R"("event_id":"boosts:gold","currency":"EUR\n","amount":99,"transaction_num":3,)"
                               R"("cart_type":"end")"),
            "category=\"business\" event_id=\"boosts:gold\" currency=\"EUR\" amount=99.0 item_type=\"boosts\" "
            "item_id=\"gold\" cart_type=\"end\" transaction_num=3"},
           {record("resource", R"("event_id":"Sink:gems:boost:speed","amount":-2.5)"),
            "category=\"resource\" event_id=\"Sink:gems:boost:speed\" currency=\"gems\" amount=-2.5 "
            "item_type=\"boost\" item_id=\"speed\" flow=\"Sink\""},
           {record("progression", R"("event_id":"Complete:w\u0020:2","attempt_num":3,"score":-5)"),
            "category=\"progression\" event_id=\"Complete:w :2\" status=\"Complete\" progression01=\"w \" "
            "progression02=\"2\" attempt_num=3 score=-5.0"},
           {record("design", R"("event_id":"a:b:c:d:e","value":1,"custom_fields":{ "k" : "\/" , "n" : 0.1 })"),
            "category=\"design\" custom_fields=\"{\"k\":\"/\",\"n\":0.1}\" event_id=\"a:b:c:d:e\" part1=\"a\" "
            "part2=\"b\" part3=\"c\" part4=\"d\" part5=\"e\" value=1.0"},
           {record("design", R"("event_id":"a")"), "category=\"design\" event_id=\"a\" part1=\"a\""},
           {record("error", R"("severity":"info","message":"\ud83d\ude00")"),
            "category=\"error\" severity=\"info\" message=\"\U0001F600\""},
           {record("ads", R"("ad_sdk_name":"s","ad_placement":"p","ad_type":"video","ad_action":"failed_show",)"
                          R"("ad_fail_show_reason":"no_fill","ad_duration":-9)"),
            "category=\"ads\" ad_network=\"s\" ad_placement=\"p\" ad_type=\"video\" ad_action=\"failed_show\" "
            "ad_fail_reason=\"no_fill\" ad_duration=-9"},
           {record("impression", R"("ad_network_name":"max\u2028","ad_network_version":"1",)"
                                 R"("impression_data":{"publisher_revenue":9,"revenue":0.25,"currency":"USD"})"),
            "category=\"impression\" value=0.25 currency=\"USD\" ad_network=\"max\""},
           {record("impression", R"("ad_network_name":"max","ad_network_version":"1",)"
                                 R"("impression_data":{"publisher_revenue":9,"revenue":"0.25","currency":7})"),
            "category=\"impression\" value=9.0 ad_network=\"max\""},
       }) {
    Texts texts(text);
    const auto row = rowOfText(text, texts);
    EXPECT_EQ(cellsBeyond(beside, row), cells);
    EXPECT_EQ(row.record, text);
  }
}

TEST(Rows, BorrowFromTheBodyWhatStandsThere) {
  const auto text = record("error", R"("severity":"info","message":"as it stands")");
  Texts texts(text);
  const auto row = rowOfText(text, texts);
  const auto message = std::get<std::string_view>(row[Column::message]);
  EXPECT_TRUE(message.data() > text.data() && message.data() < text.data() + text.size());
  EXPECT_EQ(message, "as it stands");
}

}  // namespace
}  // namespace collector
