#include <gmock/gmock.h>
#include <sys/stat.h>

#include <zorvane/Zorvane.h>

#include <filesystem>
#include <fstream>

#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::Contains;
using testing::SizeIs;

// A session of a game that has declared its currencies and logs at info level.
class Builders : public testing::Test {
 protected:
  Builders() {
    Zorvane::configureAvailableResourceCurrencies({"gems"});
    Zorvane::configureAvailableResourceItemTypes({"boost"});
    game.start();
    Zorvane::setEnabledInfoLog(true);
  }

  // What `report` stored, from the category on; "" when it was nothing. Its summary is in the log.
  std::string recordOf(const std::function<void()>& report) {
    game.settle();
    game.query("DELETE FROM zv_events");
    game.log.clear();
    report();
    game.settle();
    const auto rows = game.query("SELECT event FROM zv_events");
    if (rows.empty()) return {};
    const std::string& event = *rows.at(0).find("event");
    return event.substr(event.find(R"("category")"));
  }

  void expect(const std::function<void()>& report, const std::string& record, const std::string& summary) {
    EXPECT_EQ(recordOf(report), record + "}");
    EXPECT_EQ(game.log.count("Add "), 1U);
    EXPECT_THAT(game.log.lines(), Contains("Info/ZV/Analytics: Add " + summary));
  }

  Game game;
};

TEST_F(Builders, WriteTheFieldsOfTheirKindAndASummary) {
  using Z = Zorvane;
  const auto flow = [](ZVResourceFlowType type, double amount) {
    return [=] { Z::addResourceEventWithFlowType(type, "gems", amount, "boost", "speed"); };
  };
  const std::string business =
      R"("category":"business","event_id":"pack:small","currency":"USD","amount":199,"transaction_num":)";
  expect([] { Z::addBusinessEventWithCurrency("USD", 199, "pack", "small", "shop", "the receipt"); },
         business + R"(1,"cart_type":"shop","receipt_info":{"receipt":"the receipt","store":"apple"})",
         "BUSINESS event: {currency:USD, amount:199, itemType:pack, itemId:small, cartType:shop, receipt:#RECEIPT#}");
  expect([] { Z::addBusinessEventWithCurrency("USD", 199, "pack", "small", "", false); }, business + "2",
         "BUSINESS event: {currency:USD, amount:199, itemType:pack, itemId:small, cartType:, receipt:(null)}");
  expect(flow(ZVResourceFlowType::source, 0.1),
         R"("category":"resource","event_id":"Source:gems:boost:speed","amount":0.1)",
         "RESOURCE event: {currency:gems, amount:0.1, itemType:boost, itemId:speed}");
  expect(flow(ZVResourceFlowType::sink, 10), R"("category":"resource","event_id":"Sink:gems:boost:speed","amount":-10)",
         "RESOURCE event: {currency:gems, amount:-10, itemType:boost, itemId:speed}");
  expect(flow(ZVResourceFlowType::sink, 16777217),  // single precision has no such number
         R"("category":"resource","event_id":"Sink:gems:boost:speed","amount":-16777216)",
         "RESOURCE event: {currency:gems, amount:-16777216, itemType:boost, itemId:speed}");
  expect([] { Z::addProgressionEventWithProgressionStatus(ZVProgressionStatus::start, "w", "l", "r", 9); },
         R"("category":"progression","event_id":"Start:w:l:r")",
         "PROGRESSION event: {status:Start, progression01:w, progression02:l, progression03:r, score:9, "
         "attempt:(null)}");
  expect([] { Z::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, "w", "", nullptr, 9); },
         R"("category":"progression","event_id":"Fail:w","score":9)",
         "PROGRESSION event: {status:Fail, progression01:w, progression02:, progression03:(null), score:9, "
         "attempt:(null)}");
  expect([] { Z::addDesignEventWithEventId("a:b"); }, R"("category":"design","event_id":"a:b","value":0)",
         "DESIGN event: {eventId:a:b}");
  expect([&] { game.onQueue([] { ZVEvents::addDesignEventWithEventId("a:b", std::nullopt, {}, false); }); },
         R"("category":"design","event_id":"a:b")", "DESIGN event: {eventId:a:b, value:(null)}");
  expect([] { Z::addErrorEventWithSeverity(ZVErrorSeverity::warning, "0123456789abcdef"); },
         R"("category":"error","severity":"warning","message":"0123456789abcdef")",
         "ERROR event: {severity:warning, message:0123456789abcde}");
  expect([] { Z::addErrorEventWithSeverity(ZVErrorSeverity::debug, nullptr); },
         R"("category":"error","severity":"debug","message":"")", "ERROR event: {severity:debug, message:(null)}");
  expect(
      [] {
        Z::addImpressionIronSourceEventWithAdNetworkVersion("1.2", {{"revenue", 0.25}, {"by", ZVMap{{"a", 1}}}});
      },
      R"("category":"impression","ad_network_name":"ironsource","ad_network_version":"1.2",)"
      R"("impression_data":{"revenue":0.25,"by":{"a":1}})",
      "IMPRESSION event: {ad_network_name:ironsource, impression_data:#impressionData}");
}

TEST_F(Builders, KeepOfAnAdWhatItsActionAndTypeCallFor) {
  using Z = Zorvane;
  const auto expectAd = [&](const std::function<void()>& report, const std::string& type, const std::string& action,
                            const std::string& kept, const std::string& reason, const std::string& duration) {
    expect(report,
           R"("category":"ads","ad_sdk_name":"sdk","ad_placement":"main","ad_type":")" + type + R"(","ad_action":")" +
               action + '"' + kept,
           "AD event: {ad_sdk_name:sdk, ad_placement:main, ad_type:" + type + ", ad_action:" + action +
               ", ad_fail_show_reason:" + reason + ", ad_duration:" + duration + "}");
  };
  for (const auto& [type, name, kept] : {std::tuple{ZVAdType::video, "video", R"(,"ad_duration":1500)"},
                                         {ZVAdType::rewardedVideo, "rewarded_video", R"(,"ad_duration":1500)"},
                                         {ZVAdType::interstitial, "interstitial", ""}})
    expectAd([=] { Z::addAdEventWithAction(ZVAdAction::show, type, "sdk", "main", 1500); }, name, "show", kept,
             "(null)", "1500");
  const auto failing = [](ZVAdAction action, ZVAdError reason) {
    return [=] { Z::addAdEventWithAction(action, ZVAdType::video, "sdk", "main", reason); };
  };
  expectAd([] { Z::addAdEventWithAction(ZVAdAction::clicked, ZVAdType::video, "sdk", "main"); }, "video", "clicked", "",
           "(null)", "0");
  expectAd(failing(ZVAdAction::failedShow, ZVAdError::noFill), "video", "failed_show",
           R"(,"ad_fail_show_reason":"no_fill")", "no_fill", "0");
  expectAd(failing(ZVAdAction::show, ZVAdError::noFill), "video", "show", "", "no_fill", "0");
  expectAd(failing(ZVAdAction::failedShow, ZVAdError{7}), "video", "failed_show", "", "(null)", "0");
}

TEST_F(Builders, CountTriesPerPathUntilACompleteAcrossRuns) {
  const auto report = [](ZVProgressionStatus status, const char* path) {
    Zorvane::addProgressionEventWithProgressionStatus(status, "w", path, nullptr);
  };
  report(ZVProgressionStatus::start, "l");
  report(ZVProgressionStatus::fail, "l");
  report(ZVProgressionStatus::fail, "other");
  game.settle();
  game.restart();
  game.start();
  report(ZVProgressionStatus::fail, "l");
  report(ZVProgressionStatus::complete, "l");
  report(ZVProgressionStatus::complete, "l");
  game.settle();
  std::vector<std::string> tries;
  for (const ZVMap& event : game.stored("progression"))
    tries.push_back(shown(event, "event_id") + " " + shown(event, "attempt_num"));
  EXPECT_THAT(tries, testing::IsSupersetOf({"Fail:w:l (none)", "Complete:w:l 3", "Complete:w:l 1"}));
  EXPECT_THAT(game.query("SELECT * FROM zv_progression"), SizeIs(1)) << "the other path's";
}

TEST_F(Builders, TakeTheCallsFieldsTheGlobalOnesOrBoth) {
  Zorvane::setGlobalCustomEventFields({{"a", 2}, {"b", 3}});
  const std::string plain = R"("category":"error","severity":"info","message":"m")";
  const auto report = [](const ZVMap& fields, bool merge) {
    return [=] { Zorvane::addErrorEventWithSeverity(ZVErrorSeverity::info, "m", fields, merge); };
  };
  EXPECT_EQ(recordOf(report({{"a", 1}}, true)), plain + R"(,"custom_fields":{"a":1,"b":3}})");
  EXPECT_EQ(recordOf(report({{"a", 1}}, false)), plain + R"(,"custom_fields":{"a":1}})");
  EXPECT_EQ(recordOf(report({}, false)), plain + R"(,"custom_fields":{"a":2,"b":3}})");
  Zorvane::setGlobalCustomEventFields({});
  EXPECT_EQ(recordOf(report({}, true)), plain + "}");
}

TEST_F(Builders, ReportEveryKindsRefusalAndMoveNoCounter) {
  using Z = Zorvane;
  const std::vector<std::pair<std::function<void()>, std::string>> refusals{
      {[] { Z::addBusinessEventWithCurrency("usd", 1, "a", "b", "c", nullptr); }, "business invalid_currency currency"},
      {[] { Z::addResourceEventWithFlowType(ZVResourceFlowType{3}, "gems", 1, "boost", "b"); },
       "resource invalid_flow_type flow_type"},
      {[] { Z::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, "", "b", ""); },
       "progression wrong_progression_order (none)"},
      {[] { Z::addErrorEventWithSeverity(ZVErrorSeverity{9}, "m"); }, "error invalid_severity severity"},
      {[] { Z::addAdEventWithAction(ZVAdAction::show, ZVAdType::video, "sdk", "", 5); },
       "ad invalid_string ad_placement"},
      {[] { Z::addImpressionMaxEventWithAdNetworkVersion("1", {}); },
       "impression impression_data_null impression_data"}};
  for (const auto& [report, reported] : refusals) {
    const auto before = game.collector.requests().size();
    EXPECT_EQ(recordOf(report), "") << reported;
    ASSERT_TRUE(game.collector.waitForRequests(before + 1)) << reported;
    const ZVMap error = game.sdkErrors().back();
    EXPECT_EQ(shown(error, "error_area") + ' ' + shown(error, "error_action") + ' ' + shown(error, "error_parameter"),
              reported);
  }
  game.onQueue([] { EXPECT_EQ(ZVState::getTransactionNum(), 0); });
}

TEST_F(Builders, FetchAReceiptOrDropThePurchase) {
  using Place = std::optional<std::string>;
  const auto buy = [] { Zorvane::addBusinessEventWithCurrency("USD", 1, "pack", "small", "shop", true); };
  const std::string failed = "Could not add business event: Could not get app store receipt";
  const std::string folder = game.platform.folder.path(), path = folder + "/receipt", secret = folder + "/secret";
  std::ofstream(path + ".empty").flush();
  std::ofstream(path + ".long") << std::string(512 * 1024 + 1, 'x');
  ASSERT_EQ(mkfifo((path + ".pipe").c_str(), 0600), 0);
  std::ofstream(secret) << "receipt";
  std::filesystem::permissions(secret, std::filesystem::perms::none);
  const bool isRoot = std::ifstream(secret).good();
  const auto at = [&](const Place& place) {
    game.platform.device->change([&](auto&, auto& application) { application.receiptPath = place; });
  };
  const auto refuses = [&](const Place& place, const std::string& because) {
    at(place);
    EXPECT_EQ(recordOf(buy), "") << place.value_or("none");
    EXPECT_EQ(game.log.count(failed + because), 1U) << place.value_or("none");
    EXPECT_EQ(game.log.count("Error/"), 0U) << place.value_or("none");
  };
  for (const Place& place : {Place(), Place(""), Place(path), Place(secret + "/within"), Place(std::string(5000, 'l'))})
    refuses(place, " - File path was not found!");
  for (const std::string& place : {path + ".empty", path + ".long", path + ".pipe", folder, isRoot ? folder : secret})
    refuses(place, " - File path found, but reading the receipt data to base64 failed.");
  EXPECT_TRUE(game.log.contains("Business event: Retrieving app store receipt for business event."));
  at(path);
  std::ofstream(path) << std::string(60, '\xFB');  // longer than a line of wrapped base64
  std::string encoded;
  for (int four = 0; four < 20; ++four) encoded += R"(+\/v7)";
  EXPECT_THAT(recordOf(buy), testing::HasSubstr(R"("receipt_info":{"receipt":")" + encoded + '"'));
  game.platform.device->change([&](auto& device, auto&) { device.foundationVersion = 993; });
  EXPECT_EQ(recordOf(buy), "");
  EXPECT_TRUE(game.log.contains(failed + " automatically as OS version is iOS6.1 or lower."));
}

}  // namespace
