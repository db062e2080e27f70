// What the crowd plays, what it sends, and whether its own count of it is true.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "codecs/ZVHelpers.h"
#include "crowd/History.h"
#include "crowd/Live.h"
#include "crowd/Load.h"
#include "crowd/Options.h"
#include "crowd/RecordText.h"
#include "crowd/TruthText.h"
#include "support/Game.h"
#include "system/Processes.h"

namespace {

using namespace crowd;
using namespace testing;

constexpr std::int64_t kUntil = 20'500 * kDaySeconds;  // in 2026

Settings settingsFor(const std::string& url, std::uint64_t seed = 7) {
  Settings settings;
  settings.target.endpoint = *Endpoint::parse(url);
  settings.target.game = {Game::kKey, Game::kSecret};
  settings.rules.period = {kUntil - 10 * kDaySeconds, kUntil};
  settings.players = 12;
  settings.seed = seed;
  return settings;
}

// A history that was played to its end, or what failed.
struct Played {
  explicit Played(const Settings& settings) {
    crowd::Run run;
    History(settings, run).run(truth);
    text = truthText(truth, {settings.target.game.key, settings.seed, settings.rules.period});
    failures = run.failures();
    repeated = run.counters.repeated;
    unacknowledged = run.counters.unacknowledged;
  }
  Truth truth;
  std::string text;
  std::vector<std::string> failures;
  std::int64_t repeated = 0, unacknowledged = 0;
};

std::string text(const ZVMap& record, std::string_view field) {
  const ZVValue* const value = record.find(field);
  return value != nullptr && value->ifString() != nullptr ? *value->ifString() : std::string();
}

double number(const ZVMap& record, std::string_view field) {
  const ZVValue* const value = record.find(field);
  if (value == nullptr) return 0;
  return value->ifInteger() != nullptr ? static_cast<double>(*value->ifInteger()) : *value->ifDouble();
}

std::vector<ZVMap> recordsOf(const LoopbackServer& collector) {
  std::vector<ZVMap> all;
  for (const auto& request : collector.requests(LoopbackServer::kEvents))
    for (auto& record : Game::eventsOf(request)) all.push_back(std::move(record));
  return all;
}

TEST(CrowdHistory, IsTheSameForTheSameSeedOnAnyNumberOfConnections) {
  LoopbackServer collector;
  auto settings = settingsFor(collector.url(""));
  settings.connections = 1;
  const Played first(settings);
  settings.connections = 5;
  const Played again(settings);
  EXPECT_EQ(first.text, again.text);
  EXPECT_THAT(first.failures, IsEmpty());
  EXPECT_THAT(first.truth.categories, SizeIs(Ge(8U)));
  EXPECT_NE(first.text, Played(settingsFor(collector.url(""), 8)).text);

  std::map<std::string, int> times;  // the second time, a collector knows every record
  for (const auto& record : recordsOf(collector)) ++times[text(record, "event_uuid")];
  std::size_t twice = 0;
  for (const auto& [uuid, count] : times) twice += count == 2 ? 1 : 0;
  EXPECT_EQ(static_cast<std::int64_t>(twice), first.truth.all.events + first.truth.categories.at("sdk_error"));
}

TEST(CrowdHistory, IsTakenWholeByTheCollectorAndCountedAsItWasSent) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  auto settings = settingsFor(collector.url());
  settings.players = 20;
  const Played played(settings);
  EXPECT_THAT(played.failures, IsEmpty());

  EXPECT_EQ(collector.refused(), "[]");
  EXPECT_EQ(collector.categories(), played.truth.categories);
  EXPECT_EQ(static_cast<std::size_t>(collector.metric("events_total")), collector.recordTexts().size()) << "duplicates";

  std::map<std::string, std::int64_t> revenue, levels, economy;
  std::map<std::int64_t, std::set<std::string>> players;
  for (const auto& record : collector.records("business"))
    revenue[text(record, "currency")] += *record.find("amount")->ifInteger();
  for (const auto& record : collector.records("progression")) ++levels[text(record, "event_id")];
  for (const auto& record : collector.records("resource"))
    economy[text(record, "event_id").substr(0, text(record, "event_id").find(':', 7))] +=
        *record.find("amount")->ifInteger();
  for (const auto& record : collector.records("user"))
    players[*record.find("client_ts")->ifInteger() / kDaySeconds].insert(text(record, "user_id"));
  double earned = 0;
  for (const auto& record : collector.records("impression"))
    earned += number(*record.find("impression_data")->ifMap(), "revenue");

  const Slice& all = played.truth.all;
  EXPECT_EQ(earned, static_cast<double>(all.impressions.amount) * kRevenueUnit);
  for (const auto& [currency, sum] : all.revenue) EXPECT_EQ(revenue[currency], sum.amount) << currency;
  for (const auto& [currency, flow] : all.economy) {
    EXPECT_EQ(economy["Source:" + currency], flow.source.amount) << currency;
    EXPECT_EQ(economy["Sink:" + currency], -flow.sink.amount) << currency;
  }
  for (const auto& [path, level] : played.truth.levels) {
    EXPECT_EQ(levels["Start:" + path], level.starts) << path;
    EXPECT_EQ(levels["Complete:" + path], level.completes) << path;
    EXPECT_EQ(levels["Fail:" + path], level.fails) << path;
  }
  for (const auto& [day, users] : players) EXPECT_EQ(played.truth.days.at(day).players.count(), users.size()) << day;
}

TEST(CrowdHistory, SendsWhatWasNotAnsweredAgainAndCountsItOnce) {
  LoopbackServer good;
  const Played undisturbed(settingsFor(good.url("")));
  LoopbackServer collector;
  collector.tear();
  std::thread mends([&] {
    EXPECT_TRUE(collector.waitForRequests(10));
    collector.resume();
  });
  const Played played(settingsFor(collector.url("")));
  mends.join();
  EXPECT_GT(played.repeated, 0);
  EXPECT_EQ(played.text, undisturbed.text);
}

TEST(CrowdHistory, FailsWithTheReasonOfARefusal) {
  struct Case {
    const char* path;
    LoopbackServer::Answer answer;
    const char* says;
  };
  for (const auto& [path, answer, says] :
       {Case{LoopbackServer::kEvents,
             {400, R"([{"index":0,"reasons":["amount: is not a number"]}])"},
             "a record was refused: amount: is not a number"},
        Case{LoopbackServer::kEvents, {500, "full"}, "was answered 500: full"},
        Case{LoopbackServer::kEvents, {400, R"({"reasons":[]})"}, "was answered 400"},
        Case{LoopbackServer::kInit, {401, "{}"}, "an init call was answered 401"},
        Case{LoopbackServer::kInit, {201, "[]"}, "an init call was answered 201"}}) {
    LoopbackServer collector;
    collector.answer(path, answer);
    const Played played(settingsFor(collector.url("")));
    EXPECT_THAT(played.failures, Contains(HasSubstr(says)));
    EXPECT_EQ(played.truth.all.sessions, 0) << "the start, the first record of a batch, was refused";
  }
  auto nobody = settingsFor("http://127.0.0.1:9");
  nobody.target.patience = std::chrono::seconds(1);
  EXPECT_THAT(Played(nobody).failures, Contains(HasSubstr("no answer for 1 s; the last cause: connecting: ")));
}

TEST(CrowdRequests, LookLikeTheLibrarys) {
  LoopbackServer collector(LoopbackServer::Security::tls);
  auto settings = settingsFor(collector.url(""));
  settings.target.endpoint.caFile = collector.caFile();
  settings.players = 40;
  EXPECT_THAT(Played(settings).failures, IsEmpty());
  bool plain = false;
  for (const auto& request : collector.requests()) {
    std::set<std::string> names;
    for (const auto& [name, value] : request.headers) names.insert(name);
    const bool gzipped = names.contains("Content-Encoding");
    EXPECT_EQ(names, gzipped ? (std::set<std::string>{"Authorization", "Content-Encoding", "Content-Length",
                                                      "Content-Type", "Host"})
                             : (std::set<std::string>{"Authorization", "Content-Length", "Host"}));
    EXPECT_EQ(request.header("Authorization"), zorvane::ZVHelpers::hmacWithKey(Game::kSecret, request.body));
    if (!request.target.starts_with(LoopbackServer::kEvents)) continue;
    const auto records = Game::eventsOf(request);
    ASSERT_FALSE(records.empty());
    plain |= !gzipped;
    EXPECT_EQ(text(records[0], "category") == "sdk_error", !gzipped);
    for (std::size_t each = 1; each < records.size(); ++each)
      EXPECT_GE(number(records[each], "client_ts"), number(records[each - 1], "client_ts"));
  }
  EXPECT_TRUE(plain) << "there was no SDK error";
  settings.target.endpoint.caFile.clear();
  settings.target.patience = std::chrono::seconds(0);
  EXPECT_THAT(Played(settings).failures, Contains(HasSubstr("certificate")));
}

TEST(CrowdRequests, HoldAtMost500RecordsByTimeAndSdkErrorsAlone) {
  LoopbackServer collector;
  const auto settings = settingsFor(collector.url(""));
  const auto common = std::make_shared<Common>();
  common->text = textOf(*common);
  Records records;
  for (std::int64_t each = 0; each < 1'203; ++each)
    records.push_back({common, 1 + (each * 7) % 1'203, std::to_string(each), Design{"a", {}}, {}});
  records[70].what = records[900].what = SdkError{"design", "invalid_event_id_length", "event_id", ""};
  crowd::Run run;
  Truth truth;
  EXPECT_TRUE(Delivery(settings.target, run).send(records, truth));
  EXPECT_EQ(truth.all.events, 1'201);
  EXPECT_EQ(truth.categories, (std::map<std::string, std::int64_t>{{"design", 1'201}, {"sdk_error", 2}}));
  std::vector<std::size_t> sizes;
  std::vector<double> times;
  for (const auto& request : collector.requests()) sizes.push_back(Game::eventsOf(request).size());
  for (const auto& record : recordsOf(collector))
    if (record.find("client_ts") != nullptr) times.push_back(number(record, "client_ts"));
  EXPECT_THAT(sizes, ElementsAre(1, 1, 500, 500, 201));
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

// The loopback server closes every connection; this one keeps them, for a while and without a word.
TEST(CrowdRequests, ShareConnectionsAndComeAgainWhereOneWasClosed) {
  for (const std::size_t requestsOfOne : {std::size_t{1'000'000}, std::size_t{5}}) {
    std::mutex guard;
    std::set<int> ports;
    std::size_t requests = 0;
    httplib::Server server;
    server.set_keep_alive_max_count(requestsOfOne);
    server.set_keep_alive_timeout(60);
    server.set_tcp_nodelay(true);
    server.Post(".*", [&](const httplib::Request& request, httplib::Response& response) {
      const std::scoped_lock lock(guard);
      ports.insert(request.remote_port);
      ++requests;
      response.set_content(request.path.starts_with("/v2") ? "[]" : "{}", "application/json");
    });
    const int port = server.bind_to_any_port("127.0.0.1");
    std::thread serves([&] { server.listen_after_bind(); });
    auto settings = settingsFor(fmt::format("http://127.0.0.1:{}", port));
    settings.connections = 3;
    const Played played(settings);
    server.stop();
    serves.join();
    EXPECT_THAT(played.failures, IsEmpty());
    EXPECT_GT(played.truth.all.events, 1'000);
    EXPECT_EQ(played.repeated, 0) << "a connection that was said to close was used again";
    const auto least = std::max(settings.connections, requests / requestsOfOne);
    EXPECT_THAT(ports, SizeIs(AllOf(Ge(least), Le(least + settings.connections))));
  }
}

TEST(CrowdRequests, FollowWhatTheCollectorConfigured) {
  LoopbackServer collector;
  collector.answer(LoopbackServer::kInit, {201, R"({"server_ts":1000,"configs":[
    {"key":"speed","value":"7","start_ts":null,"end_ts":null},
    {"key":"later","value":"1","start_ts":1000,"end_ts":null},
    {"key":"over","value":"1","start_ts":null,"end_ts":1000},
    {"key":"now","value":true,"start_ts":999,"end_ts":1001},
    {"key":"endless","value":"1","start_ts":null}],
    "configs_hash":"h1","ab_id":"shop","ab_variant_id":"left"})"});
  collector.answer(LoopbackServer::kInit, {200, R"({"server_ts":1000})"});
  auto settings = settingsFor(collector.url(""));
  settings.players = 1;
  settings.connections = 1;
  const Played played(settings);
  ASSERT_THAT(played.truth.all.sessions, Ge(2)) << "another seed is needed: the player has to come again";
  for (const auto& record : recordsOf(collector)) {
    if (text(record, "category") == "sdk_error") continue;
    const ZVMap& configurations = *record.find("configurations")->ifMap();
    EXPECT_EQ(configurations.size(), 2U);
    EXPECT_EQ(text(configurations, "speed"), "7");
    EXPECT_NE(configurations.find("now"), nullptr);
    EXPECT_EQ(text(record, "ab_id") + ':' + text(record, "ab_variant_id"), "shop:left");
  }
  EXPECT_THAT(played.truth.groups, ElementsAre(Key("shop:left")));
  const auto inits = collector.requests(LoopbackServer::kInit);
  EXPECT_THAT(inits[0].target, EndsWith("&configs_hash="));
  EXPECT_THAT(inits[1].target, EndsWith("&configs_hash=h1"));

  LoopbackServer silent;
  settings = settingsFor(silent.url(""));
  EXPECT_THAT(Played(settings).truth.groups, ElementsAre(Key("level_difficulty:a"), Key("level_difficulty:b")));
  settings.rules.ownExperiment = false;
  EXPECT_THAT(Played(settings).truth.groups, IsEmpty());
}

// Sessions of many players, without a collector.
Truth playedWithoutCollector(std::uint32_t players, const Rules& rules) {
  Truth truth;
  for (std::uint32_t number = 0; number < players; ++number) {
    Player player(3, number, rules);
    std::int64_t end = 0;
    while (const auto visit = player.nextVisit(end)) {
      end = visit->start + visit->seconds;
      if (end > rules.period.until) break;
      player.begin(visit->start);
      for (const auto& record : player.play(*visit, {}, visit->start)) truth.count(record);
    }
  }
  return truth;
}

TEST(CrowdModel, HasTheRetentionTheFunnelAndTheDifferencesThatItPromises) {
  Rules rules;
  rules.period = {kUntil - 32 * kDaySeconds, kUntil};
  const Truth truth = playedWithoutCollector(1'500, rules);
  const auto cameAfter = [&](std::int64_t days) {  // of those who could
    double could = 0, did = 0;
    for (const auto& [player, installed] : truth.installed) {
      if ((installed + days + 1) * kDaySeconds > kUntil) continue;
      ++could;
      const auto day = truth.days.find(installed + days);
      if (day == truth.days.end()) continue;
      const auto there = day->second.players.sorted();
      did += std::binary_search(there.begin(), there.end(), player) ? 1 : 0;
    }
    return did / could;
  };
  EXPECT_THAT(cameAfter(1), AllOf(Gt(0.34), Lt(0.50)));
  EXPECT_THAT(cameAfter(7), AllOf(Gt(0.11), Lt(0.20)));
  EXPECT_THAT(cameAfter(30), AllOf(Gt(0.01), Lt(0.14)));

  const auto sessions = [](const Slice& slice) {
    return static_cast<double>(slice.sessions) / static_cast<double>(slice.players.count());
  };
  EXPECT_GT(sessions(truth.groups.at("level_difficulty:b")), 1.1 * sessions(truth.groups.at("level_difficulty:a")));
  EXPECT_GT(truth.builds.at("1.2.0").crashes, 5 * truth.builds.at("1.0.0").crashes);
  EXPECT_EQ(truth.builds.size(), 4U);
  EXPECT_EQ(truth.platforms.size(), 4U);
  const auto& levels = truth.levels;
  EXPECT_GT(levels.at("meadow:level_01").starters.count(), levels.at("meadow:level_08").starters.count());
  EXPECT_GT(levels.at("meadow:level_08").starters.count(), levels.at("summit:level_01").starters.count());
  const Flow& gold = truth.all.economy.at("gold");
  const Flow& gems = truth.all.economy.at("gems");
  EXPECT_GT(gold.source.amount, 2 * gold.sink.amount);
  EXPECT_LT(gems.source.amount, 2 * gems.sink.amount);
  EXPECT_THAT(truth.all.payers.count(), AllOf(Ge(15U), Le(90U)));
  EXPECT_GE(truth.all.sessions, truth.all.lengths.count);  // those that crashed and never came again have no end
  EXPECT_GE(truth.all.lengths.count + truth.all.crashes, truth.all.sessions);
}

TEST(CrowdLive, GoesOnAfterAHistoryAndEndsItsSessions) {
  LoopbackServer collector;
  auto settings = settingsFor(collector.url(""));
  crowd::Run run;
  Truth truth;
  History history(settings, run);
  history.run(truth);
  const auto before = truth.all.events;
  auto players = history.takePlayers();
  ASSERT_FALSE(players.empty());
  settings.rate = 40;
  settings.seconds = std::chrono::seconds(2);
  Live(settings, run, std::move(players)).run(truth);

  EXPECT_FALSE(run.failed());
  EXPECT_GT(truth.all.events, before);
  EXPECT_GE(truth.all.lengths.count + truth.all.crashes, truth.all.sessions);
  std::set<std::string> uuids;
  for (const auto& record : recordsOf(collector)) uuids.insert(text(record, "event_uuid"));
  EXPECT_EQ(static_cast<std::int64_t>(uuids.size()), run.counters.events);
  EXPECT_EQ(run.counters.unacknowledged, 0);
}

TEST(CrowdLoad, SendsAsManyEventsAsItWasAskedForInFullBatches) {
  LoopbackServer collector;
  auto settings = settingsFor(collector.url(""));
  settings.load = 1'007;
  settings.batch = 100;
  settings.truthFile = "counted";
  crowd::Run run;
  Truth truth;
  Load load(settings, run);
  load.prepare(truth);
  const auto figures = load.run();
  EXPECT_EQ(figures.events, 1'007);
  EXPECT_EQ(figures.requests, 11);
  EXPECT_EQ(truth.all.events, 1'007);
  std::set<std::string> uuids;
  for (const auto& record : recordsOf(collector)) uuids.insert(text(record, "event_uuid"));
  EXPECT_EQ(uuids.size(), 1'007U);
}

std::variant<Settings, int> read(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "zorvane-crowd");
  return readOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CrowdOptions, TakeWhatTheyNameAndEndWithAStatusOtherwise) {
  const TemporaryFolder folder;
  std::ofstream(folder.file("game")) << "# the game\nkey:secret  its name\n";
  const auto file = folder.file("game");
  const auto all = read({"--collector", "https://[::1]:8443/", "--game-file", file.c_str(), "--until", "2026-02-28",
                         "--days", "28", "--no-own-experiment", "--seed", "18446744073709551615"});
  const auto& settings = std::get<Settings>(all);
  EXPECT_EQ(settings.target.endpoint.authority(), "[::1]:8443");
  EXPECT_TRUE(settings.target.endpoint.secure);
  EXPECT_EQ(settings.target.game.key + '/' + settings.target.game.secret, "key/secret");
  EXPECT_EQ(dateOf(settings.rules.period.from / kDaySeconds), "2026-01-31");
  EXPECT_EQ(settings.rules.period.until % kDaySeconds, 0);
  EXPECT_FALSE(settings.rules.ownExperiment);
  EXPECT_EQ(settings.seed, 18'446'744'073'709'551'615U);
  EXPECT_TRUE(settings.history);

  const std::vector<const char*> good{"--collector", "http://host", "--game", "k:s"};
  const auto with = [&](std::vector<const char*> more) {
    more.insert(more.begin(), good.begin(), good.end());
    return read(more);
  };
  EXPECT_TRUE(std::get<Settings>(with({})).history);
  EXPECT_FALSE(std::get<Settings>(with({"--rate", "5"})).history);
  EXPECT_TRUE(std::get<Settings>(with({"--rate", "5", "--days", "2"})).history);
  EXPECT_FALSE(std::get<Settings>(with({"--load", "1000"})).history);
  EXPECT_EQ(std::get<int>(read({"--help"})), 0);
  for (const auto& wrong : std::vector<std::vector<const char*>>{{"--until", "2026-02-30"},
                                                                 {"--until", "yesterday"},
                                                                 {"--rate", "5", "--load", "7"},
                                                                 {"--batch", "10"},
                                                                 {"--rate", "5", "--until", "2026-01-01"},
                                                                 {"--days", "0"},
                                                                 {"--seconds", "5"},
                                                                 {"--game-file", "nowhere"},
                                                                 {"--collector", "ftp://host"}})
    EXPECT_EQ(std::get<int>(with(wrong)), kBadUsage) << wrong[0] << ' ' << wrong[1];
  for (const char* url : {"host:80", "http://", "http://host/path", "http://host:port", "http://user@host"})
    EXPECT_FALSE(Endpoint::parse(url)) << url;
}

// The program itself, from its command line to its file.
TEST(CrowdProgram, WritesTheTruthAndItsStatusSaysWhetherAllWasTaken) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const auto run = [&](const std::string& game) {
    return ChildProcess(folder.path(),
                        {ZORVANE_CROWD, "--collector", collector.url(), "--game", game, "--players", "8", "--days", "4",
                         "--until", "2026-11-01", "--seed", "1", "--truth", folder.file("truth.json")});
  };
  ChildProcess good = run(fmt::format("{}:{}", Game::kKey, Game::kSecret));
  EXPECT_EQ(good.wait(), 0) << good.errors();
  std::ifstream file(folder.file("truth.json"));
  const std::string written((std::istreambuf_iterator<char>(file)), {});
  const auto truth = zorvane::ZVHelpers::dictionaryWithJsonString(written);
  ASSERT_TRUE(truth);
  EXPECT_EQ(number(*truth->ifMap()->find("all")->ifMap(), "players"), 8);
  EXPECT_THAT(good.output(), StartsWith(fmt::format("{} events acknowledged", collector.recordTexts().size())));
  EXPECT_EQ(number(*truth->ifMap()->find("all")->ifMap(), "sessions"), collector.metric("init_calls_total"));

  ChildProcess bad = run(fmt::format("{}:{}", Game::kKey, "wrong"));
  EXPECT_EQ(bad.wait(), 1);
  EXPECT_THAT(bad.errors(), HasSubstr("zorvane-crowd: an init call was answered 401"));
}

}  // namespace
