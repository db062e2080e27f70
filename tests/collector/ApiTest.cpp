// The API as a client sees it, and what docs/api.yaml says of it.
#include "collector/api/Api.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <yaml-cpp/yaml.h>

#include <set>
#include <string>
#include <vector>

#include "collector/ArchiveOf.h"
#include "collector/Records.h"
#include "collector/api/Access.h"
#include "collector/base/Text.h"
#include "collector/configs/ConfigurationStore.h"
#include "collector/games/Games.h"
#include "collector/questions/ArchiveEngine.h"
#include "collector/questions/Questions.h"

namespace collector {
namespace {

using namespace testing;

const std::string kGame = std::string("game=") + ArchiveOf::kGame;

struct Asked {
  explicit Asked(const std::string& home = "", Access::Tokens tokens = {})
      : access(std::move(tokens), false), api({archive.store, engine, configurations, games, access, visits, home}) {}

  front::Response ask(std::string method, std::string target, std::string body = "", std::string token = "") const {
    front::Request request{{std::move(method), std::move(target), {{"Host", "localhost:1"}}}, std::move(body)};
    if (!token.empty()) request.head.fields.push_back({"Authorization", "Bearer " + token});
    return api.answer(request);
  }
  // "200 BODY", of a problem "400 DETAIL".
  std::string say(const std::string& method, const std::string& target, const std::string& body = "") const {
    auto answer = ask(method, target, body);
    if (answer.status == 200) return "200 " + answer.body;
    EXPECT_EQ(answer.type, "application/problem+json");
    const auto problem = YAML::Load(answer.body);
    EXPECT_EQ(problem["status"].as<int>(), answer.status);
    EXPECT_EQ(problem["type"].as<std::string>(), "about:blank");
    EXPECT_NE(problem["title"].as<std::string>(), "");
    return fmt::format("{} {}", answer.status, problem["detail"].as<std::string>());
  }

  ArchiveOf archive;
  ArchiveEngine engine{archive.store.readers()};
  ConfigurationStore configurations{archive.store};
  Games games{std::vector<Game>{{ArchiveOf::kGame, ArchiveOf::kSecret, "A \"game\""}}};
  RefusedVisits visits;
  Access access;
  Api api;
};

using Names = std::set<std::string>;

YAML::Node resolved(const YAML::Node& description, const YAML::Node& parameter) {
  if (!parameter["$ref"]) return parameter;
  YAML::Node node = YAML::Clone(description);
  const auto reference = parameter["$ref"].as<std::string>().substr(2);
  for (const auto part : splitAt(reference, '/')) node.reset(node[std::string(part)]);
  return node;
}

TEST(TheDescription, NamesEveryRouteAndItsToken) {
  const auto description = YAML::LoadFile(ZORVANE_API_DESCRIPTION);
  Names described, routed;
  for (const auto& path : description["paths"])
    for (const auto& operation : path.second) {
      auto name = path.first.as<std::string>();
      if (name.ends_with("{question}")) name.resize(name.size() - 10);
      auto method = operation.first.as<std::string>();
      std::transform(method.begin(), method.end(), method.begin(), [](unsigned char c) { return std::toupper(c); });
      const bool edits = operation.second["security"] && operation.second["security"][0]["editing"];
      described.insert(fmt::format("{} {}{}", method, name, edits ? " edits" : ""));
    }
  for (const auto& route : Api::routes())
    routed.insert(fmt::format("{} {}{}", route.method, route.path, route.level == Level::editing ? " edits" : ""));
  EXPECT_EQ(described, routed);
}

TEST(TheDescription, NamesEveryParameterOfEveryQuestion) {
  const auto description = YAML::LoadFile(ZORVANE_API_DESCRIPTION);
  const auto operation = description["paths"]["/api/questions/{question}"]["get"];
  Names describedNames, common;
  std::map<std::string, Names> own;
  for (const auto& each : operation["parameters"]) {
    const auto parameter = resolved(description, each);
    const auto name = parameter["name"].as<std::string>();
    if (name == "question") {
      for (const auto& question : parameter["schema"]["enum"]) describedNames.insert(question.as<std::string>());
    } else if (const auto of = parameter["x-questions"]) {
      for (const auto& question : of) own[question.as<std::string>()].insert(name);
    } else {
      common.insert(name);
    }
  }
  Names names, taken{"form"};
  for (const auto& each : commonParameters()) taken.emplace(each.name);
  EXPECT_EQ(common, taken);
  for (const Question& question : questions()) {
    names.emplace(question.name);
    Names takes;
    for (const auto& each : question.takes) takes.emplace(each.name);
    EXPECT_EQ(own[std::string(question.name)], takes) << question.name;
  }
  EXPECT_EQ(describedNames, names);
}

// What isn't described is refused, and what is described isn't.
TEST(TheDescription, NamesEveryParameterOfTheRest) {
  const Asked asked;
  const auto description = YAML::LoadFile(ZORVANE_API_DESCRIPTION);
  for (const auto& path : description["paths"])
    for (const auto& operation : path.second) {
      const auto name = path.first.as<std::string>();
      if (name.ends_with("{question}")) continue;
      auto method = operation.first.as<std::string>();
      std::transform(method.begin(), method.end(), method.begin(), [](unsigned char c) { return std::toupper(c); });
      std::string query = "unheard=1";
      for (const auto& each : operation.second["parameters"]) {
        const auto parameter = resolved(description, each);
        const auto parameterName = parameter["name"].as<std::string>();
        query += fmt::format("&{}={}", parameterName, parameterName == "game" ? ArchiveOf::kGame : "1");
      }
      EXPECT_EQ(asked.say(method, name + "?" + query), "400 unheard: there is no such parameter here") << query;
    }
}

TEST(TheApi, RefusesWhatIsNotThere) {
  struct Case {
    std::string method, target, answer;
  };
  const Asked asked;
  for (const auto& [method, target, answer] : std::vector<Case>{
           {"GET", "/api/games", R"(200 [{"key":"0123456789abcdef0123456789ABCDEF","name":"A \"game\""}])"},
           {"GET", "/api/", "404 there is nothing here"},
           {"GET", "/api/games/x", "404 there is nothing here"},
           {"POST", "/api/games", "405 there is GET here"},
           {"DELETE", "/api/configurations?x", "405 there is GET, PUT here"},
           {"GET", "/api/configurations/restore", "405 there is POST here"},
           {"GET", "/api/games?x=1", "400 x: there is no such parameter here"},
           {"GET", "/api/refused", "400 game: it is missing"},
           {"GET", "/api/refused?game=x", "404 game: there is none with this key"},
           {"GET", "/api/refused?" + kGame + "&limit=0", "400 limit: it must be a whole number from 1 to 1000"},
           {"GET", "/api/refused?" + kGame + "&limit=1&limit=1", "400 limit: it is there twice"},
           {"GET", "/api/refused?" + kGame + "&a=%FF", "400 a parameter is not UTF-8"},
           {"GET", "/api/questions/none?" + kGame, "404 there is no such question; see /api/questions"},
           {"GET", "/api/questions/of/events?" + kGame, "404 there is no such question; see /api/questions"},
           {"GET", "/api/questions/events?game=x&from=2026-01-01&to=2026-01-02",
            "404 game: there is none with this key"},
           {"GET", "/api/questions/events?" + kGame, "400 from: it is missing"},
           {"GET", "/api/questions/events?form=xml&" + kGame, "400 form: it must be json or csv"},
           {"DELETE", "/api/player?" + kGame, "400 user_id: it is missing"},
       })
    EXPECT_EQ(asked.say(method, target), answer) << method << ' ' << target;
  const auto answer = asked.ask("PATCH", "/api/configurations");
  ASSERT_EQ(answer.fields.size(), 1U);
  EXPECT_EQ(answer.fields[0].name + ": " + answer.fields[0].value, "Allow: GET, PUT");
}

TEST(TheApi, TakesATokenForReadingAndOneForEditing) {
  const Asked asked("", {"read", "edit"});
  const auto save = "/api/configurations?" + kGame + "&version=0&author=a";
  struct Case {
    std::string method, target, token;
    int status;
  };
  for (const auto& [method, target, token, status] :
       {Case{"GET", "/api/games", "", 401}, Case{"GET", "/api/games", "wrong", 401},
        Case{"GET", "/api/games", "read", 200}, Case{"GET", "/api/games", "edit", 200},
        Case{"GET", "/api/nothing", "", 401}, Case{"PUT", save, "read", 403}, Case{"PUT", save, "rea", 401},
        Case{"PUT", save, "edit", 200}}) {
    const auto answer = asked.ask(method, target, "{}", token);
    EXPECT_EQ(answer.status, status) << method << ' ' << token;
    EXPECT_EQ(answer.fields.size(), status == 401 ? 1U : 0U);
  }
}

// Any page can have a browser on this machine ask: under its own name, or across, as simple requests are sent.
TEST(TheApi, WithoutTokensAnswersThisMachineAndItsPagesAlone) {
  const Access open({}, false), exposed({}, true);
  using Fields = std::vector<front::Field>;
  const Fields here = {{"Host", "localhost:8080"}};
  const auto with = [&](front::Field field) { return Fields{here[0], std::move(field)}; };
  struct Case {
    Fields fields;
    bool isForwarded, isAnswered;
  };
  for (const auto& [fields, isForwarded, isAnswered] : std::vector<Case>{
           {here, false, true},
           {here, true, false},
           {{{"Host", "127.0.0.1"}}, false, true},
           {{{"Host", "[::1]:1"}}, false, true},
           {{{"Host", "localhost.example.com"}}, false, false},
           {{{"Host", "localhost:80.example.com"}}, false, false},
           {{}, false, false},
           {with({"Origin", "http://localhost:8080"}), false, true},
           {with({"Origin", "http://localhost"}), false, false},
           {with({"Origin", "https://example.com"}), false, false},
           {with({"Origin", "null"}), false, false},
       }) {
    const front::Head head{"POST", "/api/configurations/restore", fields, "127.0.0.1", isForwarded};
    for (const auto level : {Level::reading, Level::editing}) {
      EXPECT_EQ(!open.refusal(head, level), isAnswered) << fields.size();
      EXPECT_TRUE(exposed.refusal(head, level));
    }
  }
}

TEST(TheApi, EditsConfigurationsWithTheirHistory) {
  const Asked asked;
  const auto path = [](const std::string& rest) { return "/api/configurations" + rest; };
  const auto save = [&](int version, const std::string& document) {
    return asked.say("PUT", path(fmt::format("?{}&version={}&author=anna&note=first%20one", kGame, version)), document);
  };
  const std::string kOne =
      R"({"configurations": [{"key":"k","value":1}],"experiments":[{"id":"e","groups":[{"id":"g"}]}]})";
  EXPECT_EQ(asked.say("GET", path("?" + kGame)), R"(200 {"version":0,"at":0,"author":"","note":"","document":{}})");
  EXPECT_EQ(save(0, kOne), R"(200 {"version":1})");
  EXPECT_EQ(save(0, kOne), "409 version: there is a newer one than that which was edited");
  EXPECT_EQ(save(1, "[]"), "400 document: it must be an object");
  EXPECT_EQ(save(1, ""), "400 document: it is empty");
  EXPECT_EQ(save(1, "{}"), R"(200 {"version":2})");
  EXPECT_EQ(asked.say("POST", path("/restore?" + kGame + "&version=1&author=ben&current=1")),
            "409 version: there is a newer one than that which was edited");
  EXPECT_EQ(asked.say("POST", path("/restore?" + kGame + "&version=1&author=ben&current=2")), R"(200 {"version":3})");
  EXPECT_EQ(asked.say("POST", path("/restore?" + kGame + "&version=9&author=ben")),
            "404 version: the game has none with this number");
  EXPECT_THAT(asked.say("GET", path("?" + kGame)),
              AllOf(HasSubstr(R"("author":"ben","note":"Version 1 again")"), HasSubstr("\"document\":" + kOne)));
  EXPECT_THAT(asked.say("GET", path("?version=2&" + kGame)), HasSubstr(R"("note":"first one","document":{})"));
  EXPECT_THAT(asked.say("GET", path("/versions?limit=2&" + kGame)),
              AllOf(HasSubstr(R"([{"version":3,)"), HasSubstr(R"({"version":2,)"), Not(HasSubstr("document"))));
  EXPECT_THAT(
      asked.say("GET", path("/preview?user_id=u&" + kGame)),
      StartsWith(
          R"(200 {"configs":[{"key":"k","value":1,"start_ts":null,"end_ts":null}],"ab_id":"e","ab_variant_id":"g","configs_hash":)"));
  const auto all = YAML::Load(asked.ask("GET", path("/all")).body);
  EXPECT_EQ(all["games"][0]["document"].as<std::string>(), kOne);
  const auto revision = all["revision"].as<std::string>();
  EXPECT_EQ(asked.say("GET", path("/all?unless=" + revision)), fmt::format(R"(200 {{"revision":"{}"}})", revision));
}

TEST(TheApi, SendsEditorsToTheHome) {
  const Asked asked("https://home:8443");
  for (const auto& [method, path] : {std::pair("PUT", ""), std::pair("POST", "/restore")})
    EXPECT_EQ(asked.say(method, fmt::format("/api/configurations{}?{}&version=1&author=a", path, kGame), "{}"),
              "409 configurations are edited at their home, https://home:8443");
}

TEST(TheApi, TellsWhatWasRefusedAndWhatWasPointedOut) {
  Asked asked;
  const auto bad = [](const std::string& currency) {
    return record("business",
                  fmt::format(R"("event_id":"a:b","currency":"{}","amount":1,"transaction_num":1)", currency));
  };
  asked.archive.take('[' + bad("Eur") + ',' + bad("usd") + ",{}," + replaced(kDesign, "{", "{\"extra\":1,") + ']', 100);
  asked.archive.take('[' + bad("x") + ']', 200);
  const auto days = "&from=1970-01-01&to=1970-01-01&" + kGame;
  EXPECT_THAT(
      asked.say("GET", "/api/questions/refused?daily=yes" + days),
      HasSubstr(R"([["1970-01-01","currency: \"…\" is not three capital letters, such as USD",3],["1970-01-01",)"));
  EXPECT_THAT(asked.say("GET", "/api/questions/refused?daily=no&from=1970-01-02&to=1970-01-03&" + kGame),
              HasSubstr(R"("rows":[])"));
  EXPECT_THAT(asked.say("GET", "/api/questions/refused?platform=linux" + days), StartsWith("400 refused: "));
  EXPECT_THAT(asked.say("GET", "/api/refused?limit=2&" + kGame),
              AllOf(StartsWith(R"(200 [{"received_at":200,"index":0,"reasons":["currency: \"x\" is not)"),
                    HasSubstr(R"({"received_at":100,"index":2,)"), Not(HasSubstr("usd"))));
  EXPECT_THAT(asked.say("GET", "/api/notes?" + kGame),
              AllOf(HasSubstr("extra"), HasSubstr(R"("times":1,"first_at":100)")));
  EXPECT_EQ(asked.say("DELETE", "/api/player?user_id=u&" + kGame), R"(200 {"events":1,"pending":false})");
}

}  // namespace
}  // namespace collector
