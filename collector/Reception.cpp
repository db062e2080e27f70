#include "collector/Reception.h"

#include <fmt/format.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <ctime>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "collector/Route.h"
#include "collector/api/Problem.h"
#include "collector/base/Json.h"
#include "collector/base/Text.h"
#include "collector/console/Console.h"
#include "collector/intake/Answers.h"
#include "collector/visits/Account.h"

namespace collector {

namespace {

constexpr std::size_t kIntakeThreads = 2;
constexpr std::size_t kApiThreads = 2;
constexpr int kFailed = 503;                           // the front sends no such answer to a game
constexpr std::size_t kRoom = std::size_t{96} << 20U;  // for what games sent, until it is answered
constexpr auto kNoRoom = "there is no memory for it now";
constexpr auto kJson = "application/json";

front::Response refusal(int status, const char* reason) {
  return {status, kJson, reasonsView({reason}), {}, Account{.refusal = reason}};
}

// Of a request that was looked into.
Account accountOf(const Intake::Outcome& outcome) {
  if (outcome.status == 401) return {.refusal = "the signature is wrong"};
  if (outcome.status == 413) return {.refusal = "the body is too large"};
  if (!outcome.content) return {.refusal = outcome.status < 400 ? "" : "the request can't be read"};
  const Content& content = *outcome.content;
  return {content.text.size(), content.rows.size(), content.rejectedCount, content.problem};
}

// The front closes the connection: the game sends it again.
front::Response notKept(Counters& counters, const char* why) {
  ++counters.notKept;
  return {kFailed, kJson, "", {}, Account{.refusal = why}};
}

std::size_t sizeOf(const Content& content) { return content.text.size() + content.rows.size() * sizeof(Row); }

Call callOf(std::string_view kind, std::string game, front::Request request) {
  const auto field = [&](const char* name) { return std::string(request.head.field(name)); };
  return {kind,
          std::move(game),
          request.head.target,
          field("Authorization"),
          field("Content-Encoding"),
          field("Content-Type"),
          std::move(request.body)};
}

front::Response readiness(const std::string& trouble) {
  if (trouble.empty()) return {200, kJson, R"({"ready":true})"};
  front::Response response{kFailed, kJson, fmt::format(R"({{"ready":false,"why":{}}})", quotedJson(trouble))};
  response.mayFail = true;  // those who ask are no games
  return response;
}

// A hash stands in the URL as it is, but some clients encode it.
bool isHash(std::string_view sent, std::string_view hash) { return sent == hash || percentDecoded(sent) == hash; }

}  // namespace

struct Reception::Threads {
  boost::asio::thread_pool intake{kIntakeThreads};
  boost::asio::thread_pool api{kApiThreads};
  boost::asio::thread_pool quick{1};  // behind slow questions the collector would pass for being away

  boost::asio::thread_pool& of(Purpose purpose, const front::Head& head) {
    if (purpose == Purpose::metrics || (purpose == Purpose::api && Api::isQuick(head))) return quick;
    return purpose == Purpose::api ? api : intake;
  }
};

Reception::Reception(Parts parts)
    : parts_(std::move(parts)),
      intake_([this](std::string_view game) { return parts_.games.secretOf(game); }),
      room_(std::make_shared<Room>(kRoom)),
      threads_(std::make_unique<Threads>()) {}

Reception::~Reception() {
  threads_->intake.join();
  threads_->api.join();
  threads_->quick.join();
}

front::Handler::Admission Reception::admit(const front::Head& head) {
  const auto route = routeOf(head);
  if (!route) return refusal(404, "there is nothing here");
  if (route->purpose == Purpose::api) {
    if (auto refused = parts_.api.refusalOf(head)) return std::move(*refused);
    return Api::mostBytes(head);
  }
  if (route->purpose == Purpose::metrics)
    if (const auto refused = parts_.access.refusal(head, Level::reading)) return problem(*refused);
  if (route->purpose != Purpose::init && route->purpose != Purpose::events) return std::size_t{0};
  if (parts_.games.secretOf(route->game)) return Intake::kMaxSent;
  ++parts_.counters.unknownGames;
  return refusal(401, "the game is unknown");
}

void Reception::handle(front::Request request, Done done) {
  auto route = routeOf(request.head).value();
  const bool isReport = route.purpose == Purpose::init || route.purpose == Purpose::events;
  const bool takesTime = isReport || route.purpose == Purpose::api || route.purpose == Purpose::metrics;
  if (!takesTime) return done(others(request));  // behind slow questions it would pass for being away
  auto taking = std::make_shared<Room::Part>(room_);
  if (isReport && !taking->resize(request.body.size())) return done(notKept(parts_.counters, kNoRoom));
  auto& threads = threads_->of(route.purpose, request.head);
  auto work = [this, route = std::move(route), isReport, taking = std::move(taking), request = std::move(request),
               done = std::move(done)]() mutable {
    try {
      if (route.purpose == Purpose::events)
        takeEvents(std::move(route.game), std::move(request), std::move(taking), done);
      else if (route.purpose == Purpose::init)
        takeInit(std::move(route.game), std::move(request), std::move(taking), done);
      else done(others(request));
    } catch (const std::exception& failure) {
      parts_.log.write(failure.what());
      done(isReport ? std::nullopt : front::Answer(problem(kFailed, failure.what())));
    }
  };
  boost::asio::post(threads, std::move(work));
}

void Reception::takeEvents(std::string game, front::Request request, Taking taking, const Done& done) {
  auto outcome = intake_.takeEvents(callOf("events", std::move(game), std::move(request)), std::time(nullptr));
  front::Response response{outcome.status, kJson, std::move(outcome.json)};
  response.account = accountOf(outcome);
  keep(std::move(outcome), std::move(response), std::move(taking), done);
}

void Reception::takeInit(std::string game, front::Request request, Taking taking, const Done& done) {
  const std::string target = request.head.target;
  auto outcome = intake_.takeInit(callOf("init", std::move(game), std::move(request)), std::time(nullptr));
  front::Response response{outcome.status, kJson, std::move(outcome.json)};
  if (outcome.status == 200) response = initAnswer(*outcome.content, target);
  response.account = accountOf(outcome);
  ++parts_.counters.inits;
  if (outcome.status == 200) outcome.content->rows.clear();  // it is no event
  keep(std::move(outcome), std::move(response), std::move(taking), done);
}

// An answer lets the game forget its events, so it waits for the disk.
void Reception::keep(Intake::Outcome outcome, front::Response response, Taking taking, const Done& done) {
  count(outcome);
  const bool hasContent = outcome.content && (!outcome.content->rows.empty() || !outcome.content->rejected.empty() ||
                                              !outcome.content->problem.empty() || !outcome.content->notes.empty());
  if (!hasContent) return done(std::move(response));
  if (!taking->resize(sizeOf(*outcome.content))) return done(notKept(parts_.counters, kNoRoom));
  const std::shared_ptr<const Taken> content = std::move(outcome.content);
  auto kept = [&counters = parts_.counters, &hub = parts_.hub, done, content, taking = std::move(taking),
               response = std::move(response)](bool isKept) mutable {
    done(isKept ? std::move(response) : notKept(counters, "it can't be kept"));
    if (isKept) hub.add(*content);
  };
  parts_.archive.keep(content, std::move(kept));
}

void Reception::count(const Intake::Outcome& outcome) {
  Counters& counters = parts_.counters;
  if (outcome.status == 401) ++counters.badSignatures;
  if (outcome.status == 413) ++counters.tooLarge;
  if (!outcome.content) return;
  const Content& taken = *outcome.content;
  if (!taken.problem.empty()) ++counters.unreadable;
  counters.events += static_cast<std::int64_t>(taken.rows.size());
  counters.refusedRecords += static_cast<std::int64_t>(taken.rejectedCount);
  counters.bytesSent += static_cast<std::int64_t>(taken.bytes);
  counters.bytesInflated += static_cast<std::int64_t>(taken.text.size());
}

front::Response Reception::initAnswer(const Taken& taken, std::string_view target) const {
  const Row& row = taken.rows.front();
  const auto configurations = parts_.configurations.inForce(taken.game);
  const auto given = configurations
                         ? configurations->forPlayer({textOf(row, Column::userId), textOf(row, Column::platform),
                                                      textOf(row, Column::build), taken.receivedAt})
                         : Configurations::Given();
  if (!configurations || isHash(queryValue(target, "configs_hash"), given.hash))
    return {200, kJson, fmt::format(R"({{"server_ts":{}}})", taken.receivedAt)};
  return {201, kJson, fmt::format(R"({{"server_ts":{},{}}})", taken.receivedAt, given.members)};
}

front::Answer Reception::others(const front::Request& request) const {
  const auto route = routeOf(request.head).value();
  constexpr auto kText = "text/plain; charset=utf-8";
  switch (route.purpose) {
    case Purpose::api: return parts_.api.answer(request);
    case Purpose::health: return front::Response{200, kText, "ok\n"};
    case Purpose::ready: return readiness(parts_.trouble());
    case Purpose::metrics: return front::Response{200, "text/plain; version=0.0.4", parts_.metrics()};
    case Purpose::console: return consoleAnswer(request.head);
    case Purpose::init:
    case Purpose::events: break;
  }
  return std::nullopt;  // reports have ways of their own
}

}  // namespace collector
