#include "collector/Status.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <ctime>
#include <string_view>

#include "collector/Options.h"
#include "collector/base/Json.h"

namespace collector {

namespace {

// "NAME":N of each name, with the number that stands at its place.
template <class Names, class Numbers>
std::string numbersJson(const Names& names, const Numbers& numbers) {
  std::string members;
  for (std::size_t at = 0; at < names.size(); ++at)
    members += fmt::format("{}\"{}\":{}", at == 0 ? "" : ",", names[at], numbers[at].load());
  return '{' + members + '}';
}

double inSeconds(std::chrono::microseconds time) { return static_cast<double>(time.count()) / 1e6; }

std::string intakeJson(const Counters& counters) {
  return joinedJson('{', kCounters, '}', [&](const CounterOf& each) {
    return fmt::format("\"{}\":{}", each.name, (counters.*each.counter).load());
  });
}

std::string answersJson(const Visits::Numbers& visits) {
  constexpr auto kClasses = std::to_array<std::string_view>({"none", "1xx", "2xx", "3xx", "4xx", "5xx"});
  return numbersJson(kClasses, visits.byClass);
}

std::string connectionsJson(const front::Tally& tally) {
  return fmt::format(R"({{"open":{},"accepted":{},"requests":{},"memory_bytes":{},"by_phase":{},"closed":{}}})",
                     tally.connections.load(), tally.accepted.load(), tally.requests.load(), tally.memory.load(),
                     numbersJson(front::kPhaseNames, tally.phases), numbersJson(front::kEndingNames, tally.endings));
}

std::string archiveJson(const Watched& watched) {
  const auto& health = watched.archive;
  return fmt::format(
      R"({{"writable":{},"trouble":{},"waiting":{},"last_write_seconds":{},"bytes":{},"free_bytes":{}}})",
      health.failure.empty(), quotedJson(health.failure), health.waiting, inSeconds(health.lastWrite),
      watched.archiveBytes, watched.freeBytes ? std::to_string(*watched.freeBytes) : "null");
}

std::string warehouseJson(const Shipper::Lag& lag) {
  return fmt::format(R"({{"handed_on":{},"waiting_events":{},"lag_seconds":{},"pending_erasures":{},"trouble":{}}})",
                     lag.handedOn, lag.waiting, ageOf(lag), lag.erasures, quotedJson(lag.trouble));
}

}  // namespace

std::string statusJson(const Watched& watched) {
  return fmt::format(
      R"({{"version":"{}","since":{},"uptime_seconds":{},"intake":{},"answers":{},"connections":{},"archive":{},)"
      R"("warehouse":{},"configurations_age_seconds":{},"lost_log_lines":{}}})",
      versionText(), watched.since, std::int64_t{std::time(nullptr)} - watched.since, intakeJson(watched.counters),
      answersJson(watched.visits), watched.tally != nullptr ? connectionsJson(*watched.tally) : "null",
      archiveJson(watched), watched.lag != nullptr ? warehouseJson(*watched.lag) : "null",
      watched.configurationsAge ? std::to_string(*watched.configurationsAge) : "null", watched.lostLines);
}

}  // namespace collector
