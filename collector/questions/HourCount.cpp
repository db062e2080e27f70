#include "collector/questions/HourCount.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "collector/questions/Selection.h"
#include "collector/questions/Sums.h"

namespace collector {

namespace {

constexpr std::int64_t kSecondsAnHour = 3'600, kHoursADay = 24;

struct Hour {
  Players players;
  std::int64_t sessions = 0, events = 0;
};

}  // namespace

Table countHours(sqlite3* database, const Filter& filter) {
  const Selection selection(database, filter, {}, {Column::category});
  std::vector<Hour> hours(static_cast<std::size_t>((filter.to - filter.from + 1) * kHoursADay));
  selection.forEach([&](const Figure& figure) {
    Hour& hour = hours[static_cast<std::size_t>((figure.clientTs - selection.from()) / kSecondsAnHour)];
    ++hour.events;
    if (selection.topics().find(figure.topic)->front() == "user") ++hour.sessions;
    if (figure.player > 0) hour.players.see(figure.player);
  });
  Table table{{"day", "hour", "players", "sessions", "events"}, {}};
  for (std::size_t at = 0; at < hours.size(); ++at) {
    if (hours[at].events == 0) continue;
    const auto hour = static_cast<std::int64_t>(at);
    table.rows.push_back({filter.from + hour / kHoursADay, hour % kHoursADay, hours[at].players.count(),
                          hours[at].sessions, hours[at].events});
  }
  return table;
}

}  // namespace collector
