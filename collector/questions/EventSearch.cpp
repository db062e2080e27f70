#include "collector/questions/EventSearch.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "collector/archive/Sql.h"
#include "collector/archive/Uuid.h"
#include "collector/questions/Selection.h"

namespace collector {

namespace {

// What leads to events: all of one player and one second are found together.
struct Moment {
  std::int64_t time, player;
  [[nodiscard]] auto key() const { return std::pair(time, player); }
  bool operator==(const Moment&) const = default;
};

// Keeps the moments of the newest events, as many events as are asked for and those of the same second as the last.
class Newest {
 public:
  explicit Newest(std::size_t most) : most_(most) {}

  void add(Moment moment) {
    if (moment.time < earliest_) return;
    moments_.push_back(moment);
    if (moments_.size() == tidyAt_) tidy();
  }
  // Each once, the newest first.
  std::vector<Moment> taken() {
    tidy();
    std::ranges::sort(moments_, std::greater(), &Moment::key);
    moments_.erase(std::unique(moments_.begin(), moments_.end()), moments_.end());
    return std::move(moments_);
  }

 private:
  void tidy() {
    if (moments_.size() > most_) {
      const auto last = moments_.begin() + static_cast<std::ptrdiff_t>(most_) - 1;
      std::ranges::nth_element(moments_, last, std::greater(), &Moment::time);
      earliest_ = last->time;
      std::erase_if(moments_, [&](const Moment& each) { return each.time < earliest_; });
    }
    tidyAt_ = std::max(tidyAt_, 2 * moments_.size());
  }

  const std::size_t most_;
  std::vector<Moment> moments_;
  std::int64_t earliest_ = std::numeric_limits<std::int64_t>::min();
  std::size_t tidyAt_ = 8'192;
};

struct Found {
  std::int64_t time;
  Uuid uuid;
  std::int64_t event;
  [[nodiscard]] auto key() const { return std::pair(time, uuid); }
};

// A player's events of some time, as far as they are selected; `session` if one is asked for.
class Finder {
 public:
  Finder(sqlite3* database, const Selection& selection, const std::optional<Uuid>& session = {})
      : selection_(selection),
        session_(session),
        events_(database,
                "SELECT id, client_ts, uuid, topic, segment, session FROM events WHERE player = ? AND client_ts "
                "BETWEEN ? AND ?") {}

  void find(std::int64_t player, std::int64_t from, std::int64_t to, std::vector<Found>& found) {
    for (events_.with(player, from, to); events_.step();) {
      if (!selection_.has(static_cast<std::uint32_t>(events_.integer(3)),
                          static_cast<std::uint32_t>(events_.integer(4))))
        continue;
      if (session_ && !std::ranges::equal(events_.bytes(5), *session_)) continue;
      Found& event = found.emplace_back(Found{events_.integer(1), {}, events_.integer(0)});
      std::ranges::copy(events_.bytes(2).first(event.uuid.size()), event.uuid.begin());
    }
    events_.reset();
  }

 private:
  const Selection& selection_;
  const std::optional<Uuid> session_;
  Statement events_;
};

// Those that a search names, or who had the session that it names.
std::vector<std::int64_t> playersOf(sqlite3* database, const Filter& filter, const Search& search) {
  std::string sql = "SELECT id FROM players WHERE game = (SELECT id FROM games WHERE key = ?1) AND user_id = ?2";
  if (!search.userId)
    sql =
        "SELECT p.id FROM sessions s JOIN players p ON p.id = s.player WHERE s.session = ?2 AND p.game = (SELECT id "
        "FROM "
        "games WHERE key = ?1)";
  Statement rows(database, sql);
  rows.bind(1, std::string_view(filter.game));
  const auto session = uuidOf(search.sessionId.value_or(""));
  if (search.userId) rows.bind(2, std::string_view(*search.userId));
  else rows.bind(2, session ? Bytes(*session) : Bytes());
  std::vector<std::int64_t> players;
  while (rows.step()) players.push_back(rows.integer(0));
  return players;
}

std::vector<Found> eventsOf(sqlite3* database, const Filter& filter, const Search& search) {
  const Selection selection(database, filter, search.where);
  std::vector<Found> found;
  if (search.userId || search.sessionId) {
    Finder finder(database, selection, search.sessionId ? uuidOf(*search.sessionId) : std::nullopt);
    for (const std::int64_t player : playersOf(database, filter, search))
      finder.find(player, selection.from(), selection.to(), found);
  } else {
    Newest newest(search.limit);
    selection.forEach([&](const Figure& figure) { newest.add({figure.clientTs, figure.player}); });
    Finder finder(database, selection);
    for (const Moment& moment : newest.taken()) finder.find(moment.player, moment.time, moment.time, found);
  }
  std::ranges::sort(found, std::greater(), &Found::key);
  if (found.size() > search.limit) found.resize(search.limit);
  return found;
}

}  // namespace

Table findRows(sqlite3* database, const Filter& filter, const Search& search) {
  Table table{
      {"client_ts", "received_at", "category", "user_id", "session_id", "platform", "build", "record"}, {}, false};
  Statement read(
      database,
      "SELECT e.client_ts, e.received_at, (SELECT text FROM names WHERE id = t.category), (SELECT user_id "
      "FROM players WHERE id = e.player), e.session, (SELECT text FROM names WHERE id = s.platform), (SELECT "
      "text FROM names WHERE id = s.build), e.record FROM events e JOIN topics t ON t.id = e.topic JOIN "
      "segments s ON s.id = e.segment WHERE e.id = ?");
  std::size_t bytes = 0;
  for (const Found& each : eventsOf(database, filter, search)) {
    if (table.isCut) break;
    read.with(each.event).step();
    const auto text = [&](int column) { return std::string(read.text(column)); };
    table.rows.push_back(
        {read.integer(0), read.integer(1), text(2), text(3), uuidText(read.bytes(4)), text(5), text(6), text(7)});
    bytes += read.text(7).size();
    table.isCut = bytes > kMostBytes;
    read.reset();
  }
  return table;
}

std::vector<FieldsOfEvent> findFields(sqlite3* database, const Filter& filter, const Query& query) {
  auto where = query.where;
  where[Column::category] = query.category;
  const Selection selection(database, filter, where, query.by);
  std::vector<Moment> moments;
  std::size_t count = 0;
  selection.forEach([&](const Figure& figure) {
    if (++count <= query.limit) moments.push_back({figure.clientTs, figure.player});
  });
  std::ranges::sort(moments, {}, &Moment::key);
  moments.erase(std::unique(moments.begin(), moments.end()), moments.end());
  Statement events(database,
                   "SELECT topic, segment, measure, custom_fields FROM events WHERE player = ? AND client_ts = ?");
  std::vector<FieldsOfEvent> found;
  for (const Moment& moment : moments) {
    for (events.with(moment.player, moment.time); events.step();) {
      const auto topic = static_cast<std::uint32_t>(events.integer(0));
      if (!selection.has(topic, static_cast<std::uint32_t>(events.integer(1)))) continue;
      found.push_back({moment.time / kSecondsADay, selection.topics().find(topic)->front(), std::string(events.text(3)),
                       moment.player, events.isNothing(2) ? std::nullopt : std::optional(events.integer(2))});
    }
    events.reset();
  }
  return found;
}

}  // namespace collector
