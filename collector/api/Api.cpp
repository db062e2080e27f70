#include "collector/api/Api.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "collector/api/Problem.h"
#include "collector/api/Refusals.h"
#include "collector/archive/Upkeep.h"
#include "collector/base/Json.h"
#include "collector/configs/Follower.h"
#include "collector/questions/Questions.h"
#include "collector/warehouse/Erasure.h"

namespace collector {

namespace {

constexpr auto kJson = "application/json";
constexpr std::string_view kQuestion = "/api/questions/";
constexpr std::size_t kMaxDocument = std::size_t{256} << 10U;  // of configurations
constexpr std::size_t kMaxQuick = std::size_t{4} << 10U;       // anybody may send that
constexpr std::int64_t kMostListed = 1000;
constexpr std::int64_t kMostSeconds = 99'999'999'999;
constexpr auto kForWarehouse = std::chrono::seconds(10);  // to erase a player there; then it is pending

std::string_view pathOf(std::string_view target) { return target.substr(0, target.find('?')); }

bool isAt(const Api::Route& route, std::string_view path) {
  return route.path.ends_with('/') ? path.starts_with(route.path) : path == route.path;
}

const Api::Route* routeOf(std::string_view method, std::string_view path) {
  const auto all = Api::routes();
  const auto found =
      std::ranges::find_if(all, [&](const Api::Route& each) { return each.method == method && isAt(each, path); });
  return found != all.end() ? &*found : nullptr;
}

// The methods that there are for a path; "": it is unknown.
std::string methodsOf(std::string_view path) {
  std::string methods;
  for (const Api::Route& each : Api::routes())
    if (isAt(each, path)) methods += fmt::format("{}{}", methods.empty() ? "" : ", ", each.method);
  return methods;
}

front::Response json(std::string body, int status = 200) { return {status, kJson, std::move(body)}; }

// Absent where a listener hasn't heard anything yet, or says what no event of ours has.
std::optional<std::uint64_t> eventNumber(std::string_view text) {
  std::uint64_t number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, failure] = std::from_chars(text.data(), last, number);
  return failure == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

std::string versionMembers(const ConfigurationVersion& each) {
  return fmt::format(R"("version":{},"at":{},"author":{},"note":{})", each.version, each.at, quotedJson(each.author),
                     quotedJson(each.note));
}

std::string versionJson(const ConfigurationVersion& each) {
  return fmt::format(R"({{{},"document":{}}})", versionMembers(each), each.document.empty() ? "{}" : each.document);
}

}  // namespace

std::span<const Api::Route> Api::routes() {
  static constexpr auto kRoutes = std::to_array<Route>({
      {"GET", "/api/session", Level::none, &Api::showSession, true},
      {"POST", "/api/session", Level::none, &Api::signIn, true},
      {"DELETE", "/api/session", Level::none, &Api::signOut, true},
      {"GET", "/api/status", Level::reading, &Api::showStatus, true},
      {"GET", "/api/live", Level::reading, &Api::listen, true},
      {"GET", "/api/games", Level::reading, &Api::listGames},
      {"GET", "/api/questions", Level::reading, &Api::listQuestions},
      {"GET", kQuestion, Level::reading, &Api::answerQuestion},
      {"GET", "/api/refused", Level::reading, &Api::listRefused},
      {"GET", "/api/notes", Level::reading, &Api::listNotes},
      {"GET", "/api/visits/refused", Level::reading, &Api::listRefusedVisits},
      {"DELETE", "/api/player", Level::editing, &Api::erase},
      {"GET", "/api/configurations", Level::reading, &Api::readConfigurations},
      {"PUT", "/api/configurations", Level::editing, &Api::saveConfigurations},
      {"GET", "/api/configurations/versions", Level::reading, &Api::listVersions},
      {"POST", "/api/configurations/restore", Level::editing, &Api::restoreConfigurations},
      {"GET", "/api/configurations/preview", Level::reading, &Api::previewConfigurations},
      {"GET", "/api/configurations/all", Level::reading, &Api::allConfigurations},
  });
  return kRoutes;
}

bool Api::isQuick(const front::Head& head) {
  const Route* const route = routeOf(head.method, pathOf(head.target));
  return route != nullptr && route->isQuick;
}

std::size_t Api::mostBytes(const front::Head& head) { return isQuick(head) ? kMaxQuick : kMaxDocument; }

std::optional<front::Response> Api::refusalOf(const front::Head& head) const {
  const auto path = pathOf(head.target);
  const Route* const route = routeOf(head.method, path);
  if (const auto refused = parts_.access.refusal(head, route != nullptr ? route->level : Level::reading))
    return problem(*refused);
  if (route != nullptr) return std::nullopt;
  const std::string methods = methodsOf(path);
  if (methods.empty()) return problem(404, "there is nothing here");
  auto answer = problem(405, fmt::format("there is {} here", methods));
  answer.fields.push_back({"Allow", methods});
  return answer;
}

front::Response Api::answer(const front::Request& request) const {
  if (auto refused = refusalOf(request.head)) return std::move(*refused);
  const Route* const route = routeOf(request.head.method, pathOf(request.head.target));
  try {
    Parameters parameters(request.head.target);
    return (this->*route->answer)(request, parameters);
  } catch (const Refused& refused) {
    return problem(refused.status(), refused.what());
  } catch (const BadQuestion& bad) {
    return problem(400, bad.what());
  } catch (const WarehouseFailure& failure) {
    throw std::runtime_error(fmt::format("the warehouse can't be asked: {}", failure.what()));
  }
}

std::string Api::knownGame(Parameters& parameters) const {
  std::string game = parameters.takeNeeded("game");
  if (!parts_.games.secretOf(game)) throw Refused(404, "game: there is none with this key");
  return game;
}

front::Response Api::showSession(const front::Request& request, Parameters& parameters) const {
  parameters.expectNoOthers();
  return parts_.session.show(request.head);
}

front::Response Api::signIn(const front::Request& request, Parameters& parameters) const {
  parameters.expectNoOthers();
  return parts_.session.signIn(request);
}

front::Response Api::signOut(const front::Request& request, Parameters& parameters) const {
  parameters.expectNoOthers();
  return parts_.session.signOut(request.head);
}

front::Response Api::showStatus(const front::Request&, Parameters& parameters) const {
  parameters.expectNoOthers();
  return json(parts_.status());
}

front::Response Api::listen(const front::Request& request, Parameters& parameters) const {
  Hub::Wish wish{knownGame(parameters)};
  std::string userId = parameters.take("user_id"), sessionId = parameters.take("session_id");
  parameters.expectNoOthers();
  wish.interest = Interest(std::move(userId), std::move(sessionId));
  wish.behind = eventNumber(request.head.field("Last-Event-ID"));
  front::Response response{200, "text/event-stream", ""};
  response.fields = {{"Cache-Control", "no-store"}, {"X-Accel-Buffering", "no"}};  // the latter for nginx
  parts_.hub.expectErased(lastErasure(parts_.archive));
  response.stream = parts_.hub.listen(std::move(wish));
  return response;
}

front::Response Api::listGames(const front::Request&, Parameters& parameters) const {
  parameters.expectNoOthers();
  return json(joinedJson('[', parts_.games.all(), ']', [](const Game& each) {
    return fmt::format(R"({{"key":{},"name":{}}})", quotedJson(each.key), quotedJson(each.name));
  }));
}

front::Response Api::listQuestions(const front::Request&, Parameters& parameters) const {
  parameters.expectNoOthers();
  return json(joinedJson('[', questions(), ']', [](const Question& each) {
    const auto takes = joinedJson('[', each.takes, ']', [](const Parameter& one) {
      return fmt::format(R"({{"name":{},"says":{}}})", quotedJson(one.name), quotedJson(one.says));
    });
    return fmt::format(R"({{"name":{},"says":{},"takes":{}}})", quotedJson(each.name), quotedJson(each.says), takes);
  }));
}

front::Response Api::answerQuestion(const front::Request& request, Parameters& parameters) const {
  const Question* const question = findQuestion(pathOf(request.head.target).substr(kQuestion.size()));
  if (question == nullptr) throw Refused(404, "there is no such question; see /api/questions");
  const std::string form = parameters.take("form", "json");
  if (form != "json" && form != "csv") throw Refused(400, "form: it must be json or csv");
  auto asked = parameters.rest();
  asked["game"] = knownGame(parameters);
  const Table table = ask(parts_.engine, *question, asked);
  return form == "csv" ? front::Response{200, "text/csv; charset=utf-8", asCsv(table)} : json(asJson(table));
}

front::Response Api::listRefused(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::int64_t limit = parameters.takeWhole("limit", 100, 1, kMostListed);
  parameters.expectNoOthers();
  return json(refusedJson(parts_.archive, game, limit));
}

front::Response Api::listNotes(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::int64_t limit = parameters.takeWhole("limit", 100, 1, kMostListed);
  parameters.expectNoOthers();
  return json(notesJson(parts_.archive, game, limit));
}

front::Response Api::listRefusedVisits(const front::Request&, Parameters& parameters) const {
  const std::int64_t limit = parameters.takeWhole("limit", 100, 1, RefusedVisits::kKept);
  parameters.expectNoOthers();
  const auto visits = parts_.refusedVisits.latest(static_cast<std::size_t>(limit));
  return json(joinedJson('[', visits, ']', [](const RefusedVisit& each) {
    return fmt::format(R"({{"at":{},"address":{},"method":{},"path":{},"game":{},"status":{},"why":{}}})", each.at,
                       quotedJson(each.address), quotedJson(each.method), quotedJson(each.path), quotedJson(each.game),
                       each.status, quotedJson(each.why));
  }));
}

front::Response Api::erase(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::string userId = parameters.takeNeeded("user_id");
  parameters.expectNoOthers();
  const auto erased = collector::erase(parts_.archive, game, userId, kForWarehouse);
  if (!erased) throw std::runtime_error("a player can't be erased from the archive");
  parts_.hub.forget(game, userId, erased->number);
  return json(fmt::format(R"({{"events":{},"pending":{}}})", erased->events, erased->isPending),
              erased->isPending ? 202 : 200);
}

front::Response Api::readConfigurations(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::int64_t version = parameters.takeWhole("version", 0, 0, INT64_MAX);
  parameters.expectNoOthers();
  if (version == 0) return json(versionJson(parts_.configurations.current(game)));
  const auto found = parts_.configurations.find(game, version);
  if (!found) throw Refused(404, "version: the game has none with this number");
  return json(versionJson(*found));
}

void Api::expectToBeHome() const {
  if (!parts_.configurationsHome.empty())
    throw Refused(409, "configurations are edited at their home, " + parts_.configurationsHome);
}

front::Response Api::keepVersion(const std::string& game, ConfigurationVersion next, std::int64_t before) const {
  const auto outcome = parts_.configurations.save(game, std::move(next), before);
  if (!outcome.wrong.empty()) throw Refused(400, outcome.wrong);
  if (outcome.saved == ConfigurationStore::Saved::outdated)
    throw Refused(409, "version: there is a newer one than that which was edited");
  if (outcome.saved != ConfigurationStore::Saved::yes) throw std::runtime_error("configurations can't be kept");
  return json(fmt::format(R"({{"version":{}}})", outcome.version));
}

front::Response Api::saveConfigurations(const front::Request& request, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::int64_t before = parameters.takeWhole("version", -1, 0, INT64_MAX);
  ConfigurationVersion next{0, std::time(nullptr), parameters.takeNeeded("author"), parameters.take("note"),
                            request.body};
  parameters.expectNoOthers();
  expectToBeHome();
  return keepVersion(game, std::move(next), before);
}

front::Response Api::restoreConfigurations(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::int64_t version = parameters.takeWhole("version", -1, 1, INT64_MAX);
  const std::string author = parameters.takeNeeded("author");
  const std::string note = parameters.take("note", fmt::format("Version {} again", version));
  const std::int64_t before =
      parameters.takeWhole("current", parts_.configurations.current(game).version, 0, INT64_MAX);
  parameters.expectNoOthers();
  expectToBeHome();
  auto old = parts_.configurations.find(game, version);
  if (!old || old->document.empty()) throw Refused(404, "version: the game has none with this number");
  return keepVersion(game, {0, std::time(nullptr), author, note, std::move(old->document)}, before);
}

front::Response Api::listVersions(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::int64_t limit = parameters.takeWhole("limit", 100, 1, kMostListed);
  parameters.expectNoOthers();
  return json(joinedJson('[', parts_.configurations.history(game, limit), ']',
                         [](const auto& each) { return fmt::format("{{{}}}", versionMembers(each)); }));
}

front::Response Api::previewConfigurations(const front::Request&, Parameters& parameters) const {
  const std::string game = knownGame(parameters);
  const std::string userId = parameters.takeNeeded("user_id"), platform = parameters.take("platform"),
                    build = parameters.take("build");
  const std::int64_t now = parameters.takeWhole("at", std::time(nullptr), 0, kMostSeconds);
  parameters.expectNoOthers();
  const auto configurations = parts_.configurations.inForce(game);
  const auto given =
      configurations ? configurations->forPlayer({userId, platform, build, now}) : Configurations().forPlayer({});
  return json(fmt::format("{{{}}}", given.members));
}

front::Response Api::allConfigurations(const front::Request&, Parameters& parameters) const {
  const std::string revision = parameters.take("unless");
  parameters.expectNoOthers();
  return json(homeAnswer(parts_.configurations, revision));
}

}  // namespace collector
