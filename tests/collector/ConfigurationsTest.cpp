// What a player gets, how it is edited, and how collectors agree on it.
#include "collector/configs/Configurations.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "collector/ArchiveOf.h"
#include "collector/client/HttpClient.h"
#include "collector/configs/ConfigurationStore.h"
#include "collector/configs/Follower.h"
#include "support/LoopbackServer.h"

namespace collector {
namespace {

using namespace testing;
using namespace std::chrono_literals;

const std::string kGame = ArchiveOf::kGame;

Configurations read(const std::string& document) { return std::get<Configurations>(Configurations::read(document)); }

TEST(ADocument, IsRefusedWithThePathOfWhatIsWrong) {
  const auto one = [](const std::string& members) {
    return R"({"configurations":[{"key":"k","value":1)" + members + "}]}";
  };
  const auto experiment = [](const std::string& members) { return R"({"experiments":[{"id":"e")" + members + "}]}"; };
  const std::string kFirst = "document.configurations[0]", kExperiment = "document.experiments[0]";
  const std::string kTime = "it must be whole seconds since 1970, or null";
  struct Case {
    std::string document, wrong;
  };
  for (const auto& [document, wrong] : std::vector<Case>{
           {"{}", ""},
           {one(R"(,"start_ts":null,"end_ts":99999999999,"platforms":[],"builds":["1"],"share":0)"), ""},
           {experiment(R"(,"start_ts":1,"end_ts":2,"groups":[{"id":"a"},{"id":"b","weight":0}])"), ""},
           {"[]", "document: it must be an object"},
           {"{", "the body is not JSON: Missing a name for object member. (byte 1)"},
           {R"({"configs":[]})", "document.configs: it is unknown; there are configurations, experiments"},
           {R"({"experiments":[],"experiments":[]})", "document.experiments: it is there twice"},
           {R"({"configurations":{}})", "document.configurations: it must be a list"},
           {R"({"configurations":[7]})", kFirst + ": it must be an object"},
           {R"({"configurations":[{"value":1}]})", kFirst + ".key: it must be text of 1 to 64 bytes"},
           {R"({"configurations":[{"key":"k","value":null}]})", kFirst + ".value: it is missing; any JSON but null"},
           {one(R"(,"share":101)"), kFirst + ".share: it must be a whole number from 0 to 100"},
           {one(R"(,"share":"5")"), kFirst + ".share: it must be a whole number from 0 to 100"},
           {one(R"(,"platforms":["a",1])"), kFirst + ".platforms[1]: it must be text"},
           {one(R"(,"start_ts":1.5)"), kFirst + ".start_ts: " + kTime},
           {one(R"(,"end_ts":-1)"), kFirst + ".end_ts: " + kTime},
           {one(R"(,"start_ts":5,"end_ts":5)"), kFirst + ".end_ts: it must be later than start_ts"},
           {experiment(""), kExperiment + ".groups: at least one group must have a weight above 0"},
           {experiment(R"(,"groups":[{"id":"a"},{"id":"a"}])"), kExperiment + ".groups[1].id: another one has it"},
           {experiment(R"(,"groups":[{"id":"a","configurations":[{"key":"k","value":1,"share":5}]}])"),
            kExperiment + ".groups[0].configurations[0].share: it is unknown; there are end_ts, key, start_ts, value"},
           {R"({"experiments":[{"id":"e","groups":[{"id":"a"}]},{"id":"e","groups":[{"id":"a"}]}]})",
            "document.experiments[1].id: another one has it"},
           {one(R"(,"value2":")" + std::string(70, 'x') + "\""),
            kFirst + ".value2: it is unknown; there are builds, end_ts, key, platforms, share, start_ts, value"},
           {R"({"configurations":[{"key":"k","value":")" + std::string(102'500, '/') + "\"}]}",
            "document: what one player gets must have at most 204800 bytes"},
       }) {
    const auto found = Configurations::read(document);
    const auto* const said = std::get_if<std::string>(&found);
    EXPECT_EQ(said != nullptr ? *said : "", wrong) << document.substr(0, 200);
  }
}

TEST(ADocument, OfTheGuideIsGood) {
  std::ifstream file(ZORVANE_CONFIGURATIONS_GUIDE);
  const std::string guide{std::istreambuf_iterator<char>(file), {}};
  const auto begin = guide.find("```json\n") + 8;
  const auto all = Configurations::read(guide.substr(begin, guide.find("```", begin) - begin));
  ASSERT_TRUE(std::holds_alternative<Configurations>(all)) << std::get<std::string>(all);
  EXPECT_EQ(std::get<Configurations>(all).experiments.at(0).groups.size(), 3U);
}

const std::string kExperiments =
    R"({"configurations":[{"key":"speed","value":7,"share":50}],"experiments":[)"
    R"({"id":"prices","groups":[{"id":"low","weight":1},{"id":"high","weight":3},{"id":"none","weight":0}]}]})";

std::string groupOf(const Configurations& all, const std::string& userId) {
  const auto members = all.forPlayer({userId, "", "", 0}).members;
  const auto at = members.find("ab_variant_id\":\"");
  return at == std::string::npos ? "" : members.substr(at + 16, members.find('"', at + 16) - at - 16);
}

// Worked out by another program: who is in a group today has to stay there with any later collector.
TEST(APlayer, StaysInTheGroupAndTheShareThatTheIdGives) {
  const auto all = read(kExperiments);
  struct Case {
    std::string userId, group;
    bool isInShare;
  };
  for (const auto& [userId, group, isInShare] :
       std::vector<Case>{{"a", "low", true},
                         {"b", "high", true},
                         {"c", "high", false},
                         {"d", "high", false},
                         {"player-1", "low", false},
                         {"0a1b2c3d-0000-4000-8000-00000000000f", "low", false},
                         {"Ž", "high", true}}) {
    EXPECT_EQ(groupOf(all, userId), group) << userId;
    EXPECT_EQ(all.forPlayer({userId, "", "", 0}).members.find("speed") != std::string::npos, isInShare) << userId;
  }
}

TEST(Groups, AreAsLargeAsTheirWeightsAndIndependentOfEachOtherAndOfShares) {
  const auto prices = read(kExperiments);
  const auto colours = read(
      R"({"experiments":[{"id":"colours","share":40,"groups":[{"id":"red","weight":1},{"id":"blue","weight":1}]}]})");
  std::map<std::string, int> counts;
  constexpr int kPlayers = 10'000;
  for (int player = 0; player < kPlayers; ++player) {
    const std::string userId = fmt::format("player-{}", player);
    const std::string price = groupOf(prices, userId), colour = groupOf(colours, userId);
    ++counts[price];
    if (prices.forPlayer({userId, "", "", 0}).members.find("speed") != std::string::npos)
      ++counts[price + " in the share"];
    ++counts["of colours: " + colour];
    ++counts[price + " " + colour];
  }
  struct Case {
    const char* of;
    double share;
  };
  // Four standard deviations and more.
  for (const auto& [of, share] :
       {Case{"low", 0.25}, Case{"high", 0.75}, Case{"none", 0}, Case{"of colours: ", 0.6}, Case{"of colours: red", 0.2},
        Case{"of colours: blue", 0.2}, Case{"low red", 0.05}, Case{"low blue", 0.05}, Case{"high red", 0.15},
        Case{"high blue", 0.15}, Case{"low in the share", 0.125}, Case{"high in the share", 0.375}})
    EXPECT_NEAR(counts[of], share * kPlayers, share == 0 ? 0 : 220) << of;
}

TEST(WhatAPlayerGets, DependsOnBuildPlatformTimeAndGroup) {
  const auto all =
      read(R"({"configurations":[{"key":"a","value":"1"},{"key":"b","value":{"c":[1]},"platforms":["ios","linux"],
      "builds":["2"],"start_ts":5,"end_ts":9},{"key":"never","value":1,"share":0}],
      "experiments":[{"id":"past","end_ts":100,"groups":[{"id":"x"}]},
                     {"id":"now","start_ts":100,"end_ts":200,"groups":[{"id":"y","configurations":[{"key":"a","value":"2"}]}]}]})");
  const std::string kA = R"({"key":"a","value":"1","start_ts":null,"end_ts":null})";
  const std::string kB = R"({"key":"b","value":{"c":[1]},"start_ts":5,"end_ts":9})";
  struct Case {
    Asker asker;
    std::string members;
  };
  for (const auto& [asker, members] : std::vector<Case>{
           {{"u", "ios", "1", 50}, "\"configs\":[" + kA + R"(],"ab_id":"past","ab_variant_id":"x",)"},
           {{"u", "linux", "2", 100}, "\"configs\":[" + kA + "," + kB + "],"},
           {{"u", "windows", "2", 101},
            "\"configs\":[" + kA +
                R"(,{"key":"a","value":"2","start_ts":null,"end_ts":null}],"ab_id":"now","ab_variant_id":"y",)"},
           {{"u", "windows", "2", 200}, "\"configs\":[" + kA + "],"},
           {{"", "ios", "1", 150}, "\"configs\":[" + kA + "],"},
       }) {
    const auto given = all.forPlayer(asker);
    EXPECT_EQ(given.members, fmt::format(R"({}"configs_hash":"{}")", members, given.hash));
    EXPECT_EQ(given.hash.size(), 32U);
  }
  EXPECT_EQ(all.forPlayer({"u", "", "", 300}).hash, all.forPlayer({"w", "", "", 400}).hash);
  EXPECT_NE(all.forPlayer({"u", "", "", 300}).hash, all.forPlayer({"u", "", "", 150}).hash);
  EXPECT_EQ(Configurations().forPlayer({"u", "", "", 1}).members, R"("configs":[],"configs_hash":"")");
}

ConfigurationVersion version(const std::string& document) { return {0, 77, "anna", "why", document}; }

TEST(Versions, AreKeptInTheirOrderAndAnOutdatedOneIsRefused) {
  ArchiveOf archive;
  ConfigurationStore configurations(archive.store);
  EXPECT_EQ(configurations.current(kGame).version, 0);
  EXPECT_EQ(configurations.save(kGame, version("{}"), 0).version, 1);
  EXPECT_EQ(configurations.save("other", version("{}"), 0).version, 2);
  EXPECT_EQ(configurations.save(kGame, version(kExperiments), 0).saved, ConfigurationStore::Saved::outdated);
  EXPECT_EQ(configurations.save(kGame, version("7"), 1).wrong, "document: it must be an object");
  const auto revision = configurations.revision();
  EXPECT_EQ(configurations.save(kGame, version(kExperiments), 1).version, 3);
  EXPECT_NE(configurations.revision(), revision);
  EXPECT_EQ(configurations.find(kGame, 1)->document, "{}");
  EXPECT_FALSE(configurations.find(kGame, 2));
  ConfigurationStore again(archive.store);
  EXPECT_EQ(again.current(kGame).document, kExperiments);
  EXPECT_EQ(again.revision(), configurations.revision());
  const auto history = again.history(kGame, 10);
  ASSERT_EQ(history.size(), 2U);
  EXPECT_EQ(history[0].version, 3);
  EXPECT_EQ(history[1].author, "anna");
}

TEST(Versions, SavedAtOnceNeverPutAnOlderOneInForce) {
  ArchiveOf archive;
  ConfigurationStore configurations(archive.store);
  configurations.save(kGame, version("{}"), 0);
  std::atomic<bool> isOver = false;
  std::thread observer([&] {
    for (std::int64_t last = 0; !isOver;) {
      const auto seen = configurations.current(kGame).version;
      EXPECT_GE(seen, last);
      last = seen;
    }
  });
  std::vector<std::thread> authors;
  for (int author = 0; author < 4; ++author)
    authors.emplace_back([&, author] {
      for (int edit = 0; edit < 150; ++edit) {
        const auto document = fmt::format(R"({{"configurations":[{{"key":"k","value":"{}.{}"}}]}})", author, edit);
        // As the archive has it: what is in force may be on its way.
        configurations.save(kGame, version(document), configurations.history(kGame, 1).at(0).version);
      }
    });
  for (auto& author : authors) author.join();
  isOver = true;
  observer.join();
  EXPECT_EQ(configurations.inForce(kGame)->forPlayer({"u", "", "", 0}).hash,
            ConfigurationStore(archive.store).inForce(kGame)->forPlayer({"u", "", "", 0}).hash);
}

// A home that answers followers, and collectors that follow it.
struct Followed {
  std::string answered() { return homeAnswer(home, ""); }
  Follower follow(ConfigurationStore& configurations, Store& store) {
    return Follower({server.url(""), "secret", server.caFile(), 20ms, 1h}, store, configurations,
                    [this](std::string_view line) { log += fmt::format("{}\n", line); });
  }
  static bool eventually(const std::function<bool()>& isSo) {
    for (const auto end = std::chrono::steady_clock::now() + 60s; std::chrono::steady_clock::now() < end;) {
      if (isSo()) return true;
      std::this_thread::sleep_for(5ms);
    }
    return false;
  }

  LoopbackServer server;
  ArchiveOf archive;
  ConfigurationStore home{archive.store};
  ArchiveOf elsewhere;
  std::string log;  // once the follower is gone
};

TEST(AFollower, GivesEachPlayerWhatTheHomeGives) {
  Followed all;
  all.home.save(kGame, version("{\n  \"configurations\": [{\"key\":\"\\u0041\",\"value\":1.0}]\n}"), 0);
  all.home.save("ended", version("{}"), 0);
  ConfigurationStore configurations(all.elsewhere.store);
  configurations.save(kGame, version("{}"), 0);
  configurations.save("own", version(kExperiments), 0);
  all.server.answer("/api", {.body = all.answered()});
  {
    const Follower follower = all.follow(configurations, all.elsewhere.store);
    ASSERT_TRUE(Followed::eventually([&] { return configurations.revision() == all.home.revision(); })) << all.log;
    EXPECT_EQ(configurations.inForce("own"), nullptr);
    EXPECT_EQ(configurations.current(kGame).author, "anna");
    EXPECT_EQ(configurations.history(kGame, 9).size(), 2U) << "what was here before is still in the history";
    EXPECT_EQ(configurations.inForce(kGame)->forPlayer({"u", "", "", 0}).hash,
              all.home.inForce(kGame)->forPlayer({"u", "", "", 0}).hash);
    all.server.answerOnly("/api", {.body = homeAnswer(all.home, configurations.revision())});
    const auto known = all.server.requests().size();
    ASSERT_TRUE(all.server.waitForRequests(known + 2, 60s));
  }
  const auto last = all.server.requests().back();
  EXPECT_EQ(last.target, "/api/configurations/all?unless=" + all.home.revision());
  EXPECT_EQ(last.header("Authorization"), "Bearer secret");
  EXPECT_EQ(all.log, "");
}

TEST(AFollower, ServesWhatItKnowsWhileTheHomeIsAwayAndSaysSoOnce) {
  Followed all;
  all.home.save(kGame, version(kExperiments), 0);
  all.server.answer("/api", {.body = all.answered()});
  std::int64_t confirmed = 0;
  {
    ConfigurationStore configurations(all.elsewhere.store);
    Follower follower = all.follow(configurations, all.elsewhere.store);
    ASSERT_TRUE(Followed::eventually([&] { return follower.confirmedAt().has_value(); }));
    confirmed = *follower.confirmedAt();
    struct Case {
      int status;
      std::string body;
    };
    for (const auto& [status, body] : {Case{401, "no\n"}, Case{200, "{}"}, Case{200, "["},
                                       Case{200, R"({"revision":"x"})"}, Case{200, R"({"revision":"x","games":[{}]})"},
                                       Case{200, R"({"revision":"x","games":[{"game":"g","document":"7"},)"
                                                 R"({"game":")" +
                                                     kGame + R"(","document":"[]"}]})"}}) {
      all.server.answerOnly("/api", {.status = status, .body = body});
      const auto known = all.server.requests().size();
      ASSERT_TRUE(all.server.waitForRequests(known + 3, 60s));
      EXPECT_EQ(configurations.current(kGame).document, kExperiments) << body;
    }
  }
  EXPECT_THAT(all.log, HasSubstr("The configurations stay; " + all.server.url("") + ": status 401: no?\n"));
  EXPECT_THAT(all.log, HasSubstr(": document: it must be an object"));
  EXPECT_THAT(all.log, Not(HasSubstr("again")));
  all.log.clear();
  all.server.hang();
  {
    ConfigurationStore configurations(all.elsewhere.store);
    EXPECT_EQ(configurations.revision(), all.home.revision());
    const auto known = all.server.requests().size();
    Follower follower = all.follow(configurations, all.elsewhere.store);
    EXPECT_GE(follower.confirmedAt().value_or(0), confirmed - 60);
    ASSERT_TRUE(all.server.waitForRequests(known + 1, 60s));
  }  // an answer that doesn't come keeps nobody from stopping
}

TEST(AFollower, TrustsTheHomesCertificateAlone) {
  LoopbackServer server(LoopbackServer::Security::tls, "IP:127.0.0.1");
  server.answer("/base/x", {.body = "hello"});
  const HttpRequest request{.target = "/x", .limit = 30s};
  HttpClient good(HttpAddress::read(server.url("/base/")), server.caFile());
  EXPECT_EQ(good.ask(request).body, "hello");
  HttpClient strange(HttpAddress::read(server.url("")));
  EXPECT_THROW(strange.ask(request), HttpFailure);
  LoopbackServer other(LoopbackServer::Security::tls, "DNS:elsewhere.example");
  HttpClient misnamed(HttpAddress::read(other.url("")), other.caFile());
  EXPECT_THROW(misnamed.ask(request), HttpFailure);
  server.hang();
  EXPECT_THROW(good.ask({.target = "/x", .limit = 100ms}), HttpFailure);
  good.giveUp();
  EXPECT_THROW(good.ask(request), HttpFailure);
}

TEST(AnAddress, IsAUrlOfAHost) {
  struct Case {
    std::string url, shown;  // "": it is none
  };
  for (const auto& [url, shown] : std::vector<Case>{{"http://a", "plain a 80 "},
                                                    {"https://a.b/", "tls a.b 443 "},
                                                    {"https://[::1]:8443/x/", "tls ::1 8443 /x"},
                                                    {"http://[::1]", "plain ::1 80 "},
                                                    {"http://a:1/x/y", "plain a 1 /x/y"},
                                                    {"a:1", ""},
                                                    {"ftp://a", ""},
                                                    {"http://", ""},
                                                    {"http://:80", ""},
                                                    {"http://a:", ""},
                                                    {"http://a:8x", ""},
                                                    {"http://a b", ""},
                                                    {"http://u@a", ""},
                                                    {"http://a/?q", ""}}) {
    std::string found;
    try {
      const auto address = HttpAddress::read(url);
      found =
          fmt::format("{} {} {} {}", address.isSecure ? "tls" : "plain", address.host, address.port, address.prefix);
    } catch (const HttpFailure&) {
      found.clear();
    }
    EXPECT_EQ(found, shown) << url;
  }
}

}  // namespace
}  // namespace collector
