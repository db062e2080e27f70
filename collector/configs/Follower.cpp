#include "collector/configs/Follower.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "collector/base/Json.h"
#include "collector/base/Text.h"

namespace collector {

namespace {

constexpr auto kFact = "configurations_confirmed_at";
constexpr std::int64_t kBetweenWrites = 60;  // a synced write each time would cost more than it tells
constexpr std::size_t kMaxQuoted = 200;

std::int64_t wholeMember(const JsonValue& object, std::string_view name) {
  const auto* const value = findMember(object, name);
  return value != nullptr && value->IsInt64() ? value->GetInt64() : 0;
}

AllConfigurations gamesOf(const JsonValue& list) {
  AllConfigurations all;
  for (const auto& each : list.GetArray()) {
    const auto game = each.IsObject() ? textMember(each, "game") : std::string_view();
    if (game.empty() || textMember(each, "document").empty()) throw std::runtime_error("the answer can't be read");
    all[std::string(game)] = {0, wholeMember(each, "at"), std::string(textMember(each, "author")),
                              std::string(textMember(each, "note")), std::string(textMember(each, "document"))};
  }
  return all;
}

}  // namespace

std::string homeAnswer(ConfigurationStore& configurations, std::string_view revisionOfFollower) {
  const std::string revision = configurations.revision();
  if (revision == revisionOfFollower) return fmt::format(R"({{"revision":"{}"}})", revision);
  return fmt::format(R"({{"revision":"{}","games":{}}})", revision,
                     joinedJson('[', configurations.all(), ']', [](const auto& each) {
                       const auto& [game, version] = each;
                       return fmt::format(R"({{"game":{},"version":{},"at":{},"author":{},"note":{},"document":{}}})",
                                          quotedJson(game), version.version, version.at, quotedJson(version.author),
                                          quotedJson(version.note), quotedJson(version.document));
                     }));
}

Follower::Follower(Home home, Store& archive, ConfigurationStore& configurations,
                   std::function<void(std::string_view)> log)
    : home_(std::move(home)),
      archive_(archive),
      configurations_(configurations),
      log_(std::move(log)),
      client_(HttpAddress::read(home_.url), home_.caFile) {
  archive_.read([&](sqlite3* database) {
    Statement known(database, "SELECT CAST(value AS INTEGER) FROM facts WHERE name = ?");
    if (known.with(std::string_view(kFact)).step()) confirmedAt_ = known.integer(0);
  });
  thread_ = std::thread([this] { work(); });
}

Follower::~Follower() {
  {
    const std::scoped_lock lock(guard_);
    ending_ = true;
  }
  ended_.notify_one();
  client_.giveUp();
  thread_.join();
}

std::optional<std::int64_t> Follower::confirmedAt() {
  const std::scoped_lock lock(guard_);
  return confirmedAt_;
}

void Follower::work() {
  do {
    std::string trouble;
    try {
      ask();
    } catch (const std::exception& failure) {
      trouble = failure.what();
    }
    const std::scoped_lock lock(guard_);
    if (ending_ || trouble == trouble_) continue;
    log_(trouble.empty() ? fmt::format("The configurations are those of {} again", home_.url)
                         : fmt::format("The configurations stay; {}: {}", home_.url, printable(trouble)));
    trouble_ = trouble;
  } while (pause());
}

void Follower::ask() {
  HttpRequest request{.target = "/api/configurations/all?unless=" + configurations_.revision(), .limit = home_.limit};
  if (!home_.token.empty()) request.fields.push_back("Authorization: Bearer " + home_.token);
  const auto answer = client_.ask(request);
  if (answer.status != 200)
    throw std::runtime_error(fmt::format("status {}: {}", answer.status, prefixOf(answer.body, kMaxQuoted)));
  const auto parsed = parseJson(answer.body);
  if (!parsed.failure.empty() || !parsed.document.IsObject() || textMember(parsed.document, "revision").empty())
    throw std::runtime_error("the answer can't be read");
  if (const auto* const games = findMember(parsed.document, "games"); games != nullptr) {
    if (!games->IsArray()) throw std::runtime_error("the answer can't be read");
    if (const auto wrong = configurations_.adopt(gamesOf(*games)); !wrong.empty()) throw std::runtime_error(wrong);
  } else if (textMember(parsed.document, "revision") != configurations_.revision()) {
    throw std::runtime_error("the answer has no games");
  }
  confirm(std::time(nullptr));
}

void Follower::confirm(std::int64_t now) {
  {
    const std::scoped_lock lock(guard_);
    confirmedAt_ = now;
  }
  if (now - writtenAt_ < kBetweenWrites) return;
  const bool kept = archive_.writeNow([&](sqlite3* database) {
    Statement(database, "INSERT OR REPLACE INTO facts(name, value) VALUES(?, ?)")
        .with(std::string_view(kFact), std::to_string(now))
        .run();
  });
  if (kept) writtenAt_ = now;
}

bool Follower::pause() {
  std::unique_lock lock(guard_);
  return !ended_.wait_for(lock, home_.between, [&] { return ending_; });
}

}  // namespace collector
