// What the library sends, the collector takes: calls at the edges of every rule, sent for real, judged and kept.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <httplib.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <zorvane/Zorvane.h>

#include "codecs/ZVHelpers.h"
#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"
#include "system/Processes.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using namespace testing;
using Doubles = std::numeric_limits<double>;
using Wholes = std::numeric_limits<std::int64_t>;

// A pattern's "$" matches before each of these where it ends the text.
const std::vector<std::string> kTerminators{"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029"};
const std::vector<std::string> kFullParts{std::string(64, 'z'), std::string(63, '!') + '\n',
                                          std::string(62, ' ') + "\r\n", std::string(63, '_') + "\u2029", "\u3000"};

std::string repeated(const std::string& text, int times) {
  std::string whole;
  for (int time = 0; time < times; ++time) whole += text;
  return whole;
}

ZVMap nested(int levels) {
  ZVMap map{{"", nullptr}};
  for (int level = 1; level < levels; ++level) map = ZVMap{{"k", std::move(map)}};
  return map;
}

void sendWhatWaits(Game& game) {
  for (int run = 0; run < 3; ++run) {
    game.settle();
    game.platform.loop->advance(10);
  }
  game.settle();
}

using Categories = std::map<std::string, std::int64_t>;

// Lets the queue send what waits; a collector takes all that was sent and keeps every byte of it.
Categories sentBy(Game& game) {
  sendWhatWaits(game);
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  httplib::Client client(collector.url());
  client.set_keep_alive(true);
  std::string records;
  for (const auto& sent : game.collector.requests()) {
    httplib::Headers headers;
    for (const auto* const name : {"Authorization", "Content-Encoding"})
      if (const auto field = sent.header(name)) headers.emplace(name, *field);
    const auto answer = client.Post(sent.target, headers, sent.body, sent.header("Content-Type").value_or(""));
    EXPECT_EQ(answer ? answer->status : 0, 200) << (answer ? answer->body : "no answer");
    if (!sent.target.starts_with(LoopbackServer::kEvents)) continue;
    const auto list =
        headers.contains("Content-Encoding") ? ZVHelpers::gzipDeflateWithData(sent.body).value_or("") : sent.body;
    records.append(records.empty() ? "" : ",").append(list, 1, list.size() - 2);
  }
  EXPECT_TRUE(fmt::to_string(fmt::join(collector.recordTexts(), ",")) == records)
      << "a record isn't kept as it was sent";
  return collector.categories();
}

TEST(WhatTheLibrarySends, IsTakenAtTheEdgesOfEveryRule) {
  Game game;
  std::vector<std::string> currencies;
  for (const auto& terminator : kTerminators) currencies.push_back("gems" + terminator);
  currencies.emplace_back(64, 'G');
  Zorvane::configureAvailableResourceCurrencies(currencies);
  Zorvane::configureAvailableResourceItemTypes({std::string(32, 't'), std::string(31, '?') + "\u2028"});
  Zorvane::configureAvailableCustomDimensions01({repeated("\U0001F600", 16), "\n"});
  Zorvane::configureUserId(repeated("\u00FC", 64));
  Zorvane::configureBuild(std::string(31, 'b') + '\n');
  Zorvane::configureEngineVersion("unity .\u2029");
  Zorvane::configureSdkVersion("air 00000.00000.00000\r\n");
  ZVMap global;
  for (int field = 0; field < 47; ++field) global.set(std::to_string(field), field % 2 == 0);
  Zorvane::setGlobalCustomEventFields(global);
  game.start();
  Zorvane::setCustomDimension01("\n");

  const auto nul = std::string("nul \0 and \u2028", 13);
  for (const auto& end : kTerminators) {
    Zorvane::addDesignEventWithEventId(std::string(64, 'a') + end, ZVMap{{std::string(64, 'K') + end, nul}});
    Zorvane::addDesignEventWithEventId("a:b:c:d:" + std::string(64, 'e') + end);
    Zorvane::addBusinessEventWithCurrency("USD" + end, Wholes::max(), "t" + end, end, std::string(31, 'c') + '\n', "");
    for (const auto& version : {end, "00000.1..22222" + end, "." + end})
      Zorvane::addImpressionEventWithAdNetworkName("ironsource" + end, version, nested(2));
    Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::sink, "gems" + end, 1.4e-45, std::string(32, 't'), end);
  }
  for (const auto& part : kFullParts) {
    Zorvane::addBusinessEventWithCurrency("USD", 0, part, part, nullptr, nullptr);
    Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::source, currencies.back(), Doubles::max(),
                                          std::string(31, '?') + "\u2028", part);
    for (const auto status : {ZVProgressionStatus::start, ZVProgressionStatus::fail, ZVProgressionStatus::complete})
      for (const std::int64_t score : {Wholes::min(), Wholes::max()})
        Zorvane::addProgressionEventWithProgressionStatus(status, part, part, part, score);
  }
  for (const double value : {Doubles::max(), Doubles::lowest(), Doubles::min(), Doubles::denorm_min(), -0.0, 0.1, 1e21,
                             1e22, 9007199254740993.0, 18446744073709551615.0, 5e-324}) {
    Zorvane::addDesignEventWithEventId(" ", value, ZVMap{{"d", value}, {"b", true}, {"i", Wholes::min()}}, true);
    Zorvane::addImpressionEventWithAdNetworkName("max", "1", ZVMap{{nul, value}});
  }
  for (const double amount : {1.0, 3.4028235e38, 7.1e-46}) {
    Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::sink, currencies.back(), amount, std::string(32, 't'),
                                          "i");
  }
  for (int action = 1; action <= 6; ++action)
    for (int type = 1; type <= 6; ++type)
      for (const std::int64_t duration : {Wholes::min(), Wholes::max()}) {
        Zorvane::addAdEventWithAction(ZVAdAction(action), ZVAdType(type), repeated("\u20AC", 32),
                                      repeated("\U0001F600", 32), duration);
        Zorvane::addAdEventWithAction(ZVAdAction(action), ZVAdType(type), "\n", nul, ZVAdError(duration % 9));
      }
  for (int severity = 1; severity <= 5; ++severity)
    for (const ZVText message : {ZVText(), ZVText(""), ZVText(nul)})
      Zorvane::addErrorEventWithSeverity(ZVErrorSeverity(severity), message);
  Zorvane::addErrorEventWithSeverity(ZVErrorSeverity::info, repeated("\U0001F600", 4096));
  Zorvane::addDesignEventWithEventId("full", ZVMap{{"k", repeated("\U0001F600", 128)}});
  Zorvane::addImpressionEventWithAdNetworkName("mopub", "1.2.3.4", nested(510));  // a list of its record: 512

  // Records of nearly 1 MiB.
  for (int each = 0; each < 3; ++each)
    Zorvane::addImpressionEventWithAdNetworkName("max", "1", ZVMap{{"d", ZVValue::Array(512'000, 1)}});
  Zorvane::addImpressionEventWithAdNetworkName("max", "1", ZVMap{{"d", std::string(1'040'000, 'x')}});

  EXPECT_THAT(sentBy(game),
              ElementsAre(Pair("ads", 144), Pair("business", 13), Pair("design", 28), Pair("error", 16),
                          Pair("impression", 40), Pair("progression", 30), Pair("resource", 16), Pair("user", 1)));
}

TEST(WhatTheLibrarySends, IsTakenWhateverTheHostAndItsFilesSay) {
  struct Case {
    const char* name;
    double clock;
    std::string fact;    // of the application and the device
    const char* stored;  // number of sessions and purchases
  };
  for (const auto& each :
       {Case{"nothing", 1'700'000'000, "", ""}, Case{"a stand-in", 1'700'000'000, "unassigned", "-7"},
        Case{"another", 1'700'000'000, "0.0.0", "9223372036854775807"},
        Case{"before 1970", -5, "\n", "-9223372036854775808"}, Case{"1970", 0, "x", "x"},
        Case{"beyond 32 bits", 1e11, std::string(70'000, 'x'), "1e3"}}) {
    SCOPED_TRACE(each.name);
    Game game;
    game.platform.clock->set(each.clock);
    game.platform.device->change([&](ZVDeviceFacts& device, ZVApplicationFacts& application) {
      application.bundleIdentifier = application.version = application.build = each.fact;
      device.vendorIdentifier = device.advertisingIdentifier = each.fact;
      device.systemVersion = device.hardwareName = each.fact;
    });
    for (const auto* const key : {"session_num", "transaction_num", "dimension02"})
      game.query(fmt::format("INSERT INTO zv_state(key, value) VALUES('{}', '{}')", key, each.stored));
    game.query(fmt::format("INSERT INTO zv_progression(progression, tries) VALUES('w', '{}')", each.stored));
    Zorvane::configureAutoDetectAppVersion(true);
    game.start();
    Zorvane::addBusinessEventWithCurrency("EUR", 1, "t", "i", nullptr, "receipt");
    Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::complete, "w", nullptr, nullptr);
    EXPECT_THAT(sentBy(game), AllOf(Contains(Key("user")), Contains(Key("business")), Contains(Key("progression"))));
  }
}

TEST(WhatTheLibrarySends, IsTakenWhenItReportsItsOwnTroubles) {
  Game game;
  game.start();
  constexpr int kCodes = 40;  // more than any of the tables has
  game.onQueue([] {
    for (int code = 1; code <= kCodes; ++code)
      for (const int category : {1 + code % 5, 1 + (code + 1) % 5})
        ZVEvents::sendSdkErrorEventWithCategory(SdkErrorCategory{category}, SdkErrorArea{1 + (code - 1) % 21},
                                                SdkErrorAction{code}, SdkErrorParameter{code},
                                                repeated("\U0001F600", 100 * code), Game::kKey, Game::kSecret);
  });
  constexpr std::size_t kActions = 35;
  // The first two: init and the session's start.
  ASSERT_TRUE(game.collector.waitForRequests(2 + 2 * kActions, std::chrono::seconds(60)));
  EXPECT_EQ(sentBy(game).at("sdk_error"), 2 * kActions);
}

TEST(WhatTheCollectorGives, ReachesTheGameAndItsRecordsAndStaysUntilItIsEdited) {
  const TemporaryFolder folder;
  std::ofstream(folder.file("configs.json")) << fmt::format(
      R"({{"{}":{{"configurations":[{{"key":"speed","value":"7"}}],"experiments":[{{"id":"prices","groups":[)"
      R"({{"id":"low","weight":0}},{{"id":"high","configurations":[{{"key":"price","value":"99"}}]}}]}}]}}}})",
      Game::kKey);
  RunningCollector collector(folder, {"--configs", folder.file("configs.json")});
  httplib::Client client(collector.url());
  Game game(
      [&](ZVPlatform& platform) { platform.collector.port = collector.url().substr(collector.url().rfind(':') + 1); });
  const auto given = [] {
    return fmt::format("{} {} {} {}", Zorvane::getRemoteConfigsValueAsString("speed", "none").value(),
                       Zorvane::getRemoteConfigsValueAsString("price", "none").value(),
                       Zorvane::getABTestingId().value_or(""), Zorvane::getABTestingVariantId().value_or(""));
  };
  const auto startAgain = [&] {
    game.restart();
    game.log.clear();
    Zorvane::configureUserId("who");  // the hash is good for one player
    game.start();
  };
  constexpr auto kHasConfigurations = "configs_hash = ";  // of an answer
  startAgain();
  EXPECT_EQ(given(), "7 99 prices high");
  EXPECT_TRUE(game.log.contains(kHasConfigurations));
  startAgain();
  EXPECT_EQ(given(), "7 99 prices high");
  EXPECT_FALSE(game.log.contains(kHasConfigurations)) << "it has them already";
  Zorvane::addDesignEventWithEventId("a");
  sendWhatWaits(game);
  EXPECT_THAT(collector.ask("events", "&by=category,ab_id,ab_variant_id&ab_variant_id=high"), SizeIs(3));

  const auto saved = client.Put(fmt::format("/api/configurations?game={}&version=1&author=test", Game::kKey),
                                R"({"configurations":[{"key":"speed","value":"8"}]})", "application/json");
  ASSERT_EQ(saved->status, 200) << saved->body;
  startAgain();
  EXPECT_EQ(given(), "8 none  ");
}

}  // namespace
