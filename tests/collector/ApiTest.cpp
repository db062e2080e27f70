// The API as a client sees it, and what docs/api.yaml says of it.
#include "collector/api/Api.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <yaml-cpp/yaml.h>

#include <chrono>
#include <ctime>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "collector/ArchiveOf.h"
#include "collector/Records.h"
#include "collector/api/Access.h"
#include "collector/api/Pass.h"
#include "collector/base/Text.h"
#include "collector/configs/ConfigurationStore.h"
#include "collector/games/Games.h"
#include "collector/questions/ArchiveEngine.h"
#include "collector/questions/Questions.h"

namespace collector {
namespace {

using namespace std::chrono_literals;
using namespace testing;

const std::string kGame = std::string("game=") + ArchiveOf::kGame;

struct Asked {
  explicit Asked(const std::string& home = "", Access::Tokens tokens = {})
      : access(std::move(tokens), false),
        api({archive.store, engine, configurations, games, access, session, hub, visits, [] { return "{}"; }, home}) {}

  front::Response ask(std::string method, std::string target, std::string body = "", std::string token = "") const {
    front::Request request{{std::move(method), std::move(target), {{"Host", "localhost:1"}}}, std::move(body)};
    if (!token.empty()) request.head.fields.push_back({"Authorization", "Bearer " + token});
    return api.answer(request);
  }
  // As a browser does: with a cookie, and the page that it is from.
  front::Response browse(std::string method, std::string target, const std::string& cookie, const std::string& origin,
                         std::string body = "", const std::string& from = "192.0.2.1", bool isSecure = false) const {
    front::Head head{std::move(method), std::move(target), {{"Host", "localhost:1"}, {"Cookie", cookie}}, from};
    head.isSecure = isSecure;
    if (!origin.empty()) head.fields.push_back({"Origin", origin});
    return api.answer({std::move(head), std::move(body)});
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
  Hub hub;
  Access access;
  Session session{access};
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
      const auto security = operation.second["security"];
      const bool isOpen = security && security.size() == 0, edits = security && !isOpen && security[0]["editing"];
      described.insert(fmt::format("{} {}{}{}", method, name, edits ? " edits" : "", isOpen ? " for all" : ""));
    }
  for (const auto& route : Api::routes())
    routed.insert(fmt::format("{} {}{}{}", route.method, route.path, route.level == Level::editing ? " edits" : "",
                              route.level == Level::none ? " for all" : ""));
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
        if (parameter["in"].as<std::string>() == "header") continue;
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

// What a browser keeps of an answer.
std::string cookieOf(const front::Response& answer) {
  for (const auto& field : answer.fields)
    if (field.name == "Set-Cookie") return field.value;
  return "";
}

std::string passOf(const front::Response& answer) {
  const auto cookie = cookieOf(answer);
  return cookie.substr(0, cookie.find(';'));
}

TEST(SigningIn, GivesACookieForWhatTheTokenMay) {
  const Asked asked("", {"read", "edit"});
  const std::string own = "http://localhost:1";
  const auto signIn = [&](const std::string& token) {
    return asked.browse("POST", "/api/session", "", own, fmt::format(R"({{"token":"{}"}})", token));
  };
  const auto reading = signIn("read"), editing = signIn("edit");
  EXPECT_EQ(reading.body, R"({"level":"reading","needed":true})");
  EXPECT_EQ(editing.body, R"({"level":"editing","needed":true})");
  EXPECT_THAT(cookieOf(editing), AllOf(StartsWith("zorvane_session=editing."),
                                       EndsWith("; Path=/; Max-Age=43200; HttpOnly; SameSite=Strict")));
  EXPECT_EQ(cookieOf(editing).find("edit;"), std::string::npos);
  EXPECT_EQ(signIn("").status, 400);
  EXPECT_EQ(signIn("rea").status, 401);
  EXPECT_EQ(asked.browse("POST", "/api/session", "", own, "[]").status, 400);
  EXPECT_EQ(asked.browse("POST", "/api/session", "", "http://evil.localhost:1", R"({"token":"read"})").status, 403);
  EXPECT_THAT(cookieOf(asked.browse("POST", "/api/session", "", own, R"({"token":"read"})", "192.0.2.1", true)),
              EndsWith("; SameSite=Strict; Secure"));
  EXPECT_THAT(cookieOf(asked.browse("DELETE", "/api/session", passOf(editing), own)),
              StartsWith("zorvane_session=; Path=/; Max-Age=0; "));

  const auto save = "/api/configurations?" + kGame + "&version=0&author=a";
  const auto read = passOf(reading), edit = passOf(editing);
  auto forged = read;
  forged.replace(forged.find("reading"), 7, "editing");
  auto longer = edit;
  ++longer[longer.find('.') + 1];
  struct Case {
    std::string method, target, cookie, origin;
    int status;
  };
  for (const auto& [method, target, cookie, origin, status] : std::vector<Case>{
           {"GET", "/api/games", read, "", 200},
           {"GET", "/api/games", "a=b; " + edit + "; c=d", "", 200},
           {"GET", "/api/games", "zorvane_session=x; " + read, "", 200},
           {"GET", "/api/games", "", "", 401},
           {"GET", "/api/games", "x" + read, "", 401},
           {"GET", "/api/games", "zorvane_session=reading..", "", 401},
           {"GET", "/api/games", read + "x", "", 401},
           {"GET", "/api/games", forged, "", 401},
           {"GET", "/api/games", longer, "", 401},
           {"PUT", save, read, own, 403},
           {"PUT", save, edit, "", 403},
           {"PUT", save, edit, "null", 403},
           {"PUT", save, edit, "http://localhost:2", 403},
           {"PUT", save, edit, "http://evil.example", 403},
           {"PUT", save, edit, own, 200},
       })
    EXPECT_EQ(asked.browse(method, target, cookie, origin, "{}").status, status) << method << cookie << ' ' << origin;
  const auto level = [](const Asked& of, const std::string& cookie) {
    return of.browse("GET", "/api/session", cookie, "").body;
  };
  EXPECT_EQ(level(asked, edit), editing.body);
  EXPECT_EQ(level(asked, ""), R"({"level":"none","needed":true})");
  EXPECT_EQ(level(Asked(), ""), R"({"level":"editing","needed":false})");
  EXPECT_EQ(level(Asked("", {"read", "edit"}), edit), editing.body) << "after a restart";
  EXPECT_EQ(level(Asked("", {"read", "other"}), edit), R"({"level":"none","needed":true})");
}

TEST(SigningIn, EndsAfterSomeHours) {
  const Access access({"read", ""}, false);
  const auto now = std::time(nullptr);
  for (const auto& [since, status] : {std::pair(kPassSeconds - 60, 0), std::pair(kPassSeconds, 401)}) {
    const auto cookie = fmt::format("zorvane_session={}", access.passFor("read", now - since).value());
    const auto refusal = access.refusal({"GET", "/", {{"Cookie", cookie}}}, Level::reading);
    EXPECT_EQ(refusal ? refusal->status : 0, status);
  }
  for (std::size_t each = 0; each <= Tries::kMost; ++each) {
    const auto old = access.passFor("read", now - kPassSeconds - static_cast<std::int64_t>(each)).value();
    const auto refusal = access.refusal({"GET", "/", {{"Cookie", "zorvane_session=" + old}}}, Level::reading);
    EXPECT_EQ(refusal ? refusal->status : 0, 401) << "an old one is no guess";
  }
  EXPECT_FALSE(access.passFor("", now));
}

const auto kPausesAMinute = Contains(AllOf(testing::Field(&front::Field::name, "Retry-After"),
                                           testing::Field(&front::Field::value, AnyOf("60", "59", "58"))));

TEST(Tokens, AreGuessedSoOftenAMinute) {
  const Asked asked("", {"read", ""});
  const auto signIn = [&](const std::string& token, const std::string& from) {
    return asked.browse("POST", "/api/session", "", "", fmt::format(R"({{"token":"{}"}})", token), from);
  };
  const auto bring = [&](const std::string& token, const std::string& from, const std::string& path = "/api/games") {
    front::Head head{"GET", path, {{"Host", "h"}, {"Authorization", "Bearer " + token}}, from};
    return asked.api.answer({std::move(head), ""});
  };
  const std::string proxy = "192.0.2.1", guesser = "2001:db8::1";
  for (std::size_t each = 0; each < 2 * Tries::kMost; ++each) {
    EXPECT_EQ(signIn("read", proxy).status, 200) << "who is right isn't counted";
    EXPECT_EQ(bring("outdated", proxy).status, 401) << "it is no guess again";
    EXPECT_EQ(asked.browse("GET", "/api/games", "", "", "", proxy).status, 401) << "nor is nothing at all";
  }
  EXPECT_EQ(bring("read", proxy).status, 200);

  const auto pass = passOf(signIn("read", guesser));
  for (std::size_t each = 0; each < Tries::kMost; ++each) {  // in each way in which one could be found
    const auto token = fmt::format("x{}", each), from = fmt::format("2001:db8::{}", each);
    const auto answer =
        each % 3 == 0 ? signIn(token, from) : bring(token, from, each % 3 == 1 ? "/api/games" : "/api/session");
    if (each % 3 == 2) EXPECT_THAT(answer.body, HasSubstr(R"("level":"none")"));
    else EXPECT_EQ(answer.status, 401);
  }
  for (const auto& answer : {signIn("read", guesser), bring("read", guesser), bring("read", guesser, "/api/session"),
                             signIn("x0", guesser)}) {
    EXPECT_EQ(answer.status, 429);
    EXPECT_THAT(answer.fields, kPausesAMinute);
    EXPECT_EQ(YAML::Load(answer.body)["title"].as<std::string>(), "Too Many Requests");
  }
  EXPECT_EQ(signIn("read", "2001:db8:0:1::1").status, 200) << "another network";
  EXPECT_EQ(asked.browse("GET", "/api/games", pass, "", "", guesser).status, 200) << "who has signed in goes on";
  std::string passes;
  for (std::size_t each = 0; each <= Tries::kMost; ++each)
    passes += fmt::format("{}=reading.9999999999.x{}; ", Access::kCookie, each);
  EXPECT_EQ(asked.browse("GET", "/api/games", passes + pass, "", "", guesser).status, 429) << "many in one request";
}

TEST(Tokens, MayBeTriedAgainAfterAMinute) {
  Tries tries;
  Tries::Clock::time_point now{};
  const auto pause = [&](std::size_t each, bool isRight = false) {
    return tries.pause("a", std::to_string(each), isRight, now);
  };
  for (std::size_t each = 0; each < Tries::kMost; ++each) EXPECT_FALSE(pause(each));
  now += 59s;
  EXPECT_EQ(pause(0), 1s);
  EXPECT_EQ(pause(0, true), 1s);
  now += 1s;
  EXPECT_FALSE(pause(0));
  for (std::size_t each = 1; each < Tries::kMost; ++each) EXPECT_FALSE(pause(each));
  EXPECT_EQ(pause(0), 60s);
  for (std::size_t each = 0; each < Tries::kKnown; ++each) tries.pause(fmt::format("b{}", each), "x", false, now);
  EXPECT_FALSE(pause(0)) << "who was wrong longest ago is forgotten";
}

TEST(TheApi, StreamsWhatArrives) {
  Asked asked;
  const auto listen = [&](const std::string& more) { return asked.ask("GET", "/api/live?" + kGame + more); };
  const auto answer = listen("&user_id=u&session_id=s");
  EXPECT_EQ(answer.type, "text/event-stream");
  ASSERT_TRUE(answer.stream);
  EXPECT_THAT(answer.stream->take().bytes, StartsWith(":"));
  EXPECT_EQ(asked.say("GET", "/api/live?game=x"), "404 game: there is none with this key");
  EXPECT_EQ(asked.ask("HEAD", "/api/live?" + kGame).status, 405);

  asked.hub.add(Taken{ArchiveOf::kGame, 5, {}, {{0, "[]", R"({"user_id":"u"})"}, {1, "[]", "1"}}, {}, ""});
  EXPECT_EQ(asked.ask("DELETE", "/api/player?user_id=u&" + kGame).status, 200);
  const auto again = listen("").stream;
  std::string heard;
  for (const auto end = std::chrono::steady_clock::now() + 30s;
       heard.find("event: ") == std::string::npos && std::chrono::steady_clock::now() < end; std::this_thread::yield())
    heard += again->take().bytes;
  EXPECT_THAT(heard, AllOf(HasSubstr(R"("index":1,)"), Not(HasSubstr(R"("index":0,)"))))
      << "who is erased is forgotten";
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
