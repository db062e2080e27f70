#include "collector/archive/Tallies.h"

#include <algorithm>
#include <string_view>

#include "collector/archive/Measure.h"

namespace collector {

namespace {

// What a record adds up to, in its own unit.
std::int64_t unitsOf(const NewEvent& event, std::string_view category) {
  return event.measure.value_or(0) / partsOf(category);
}

template <class Kind>
void addTo(std::vector<Kind>& all, const Kind& one) {
  if (!all.empty() && all.back().key() == one.key()) all.back().add(one);
  else all.push_back(one);
}

// One for each key, in their order, which is the one of the table. What came first stays first.
template <class Kind>
void join(std::vector<Kind>& all) {
  std::ranges::stable_sort(all, [](const Kind& one, const Kind& other) { return one.key() < other.key(); });
  std::vector<Kind> joined;
  joined.reserve(all.size());
  for (const Kind& one : all) addTo(joined, one);
  all.swap(joined);
}

}  // namespace

// Day 0 is that of records without a time: it says nothing of when a player came first.
void Tallies::Presence::add(const Presence& other) {
  if (firstDay == 0 || (other.firstDay != 0 && other.firstDay < firstDay)) firstDay = other.firstDay;
  lastDay = std::max(lastDay, other.lastDay);
}

void Tallies::Activity::add(const Activity& other) {
  events += other.events;
  sessions += other.sessions;
  ended += other.ended;
  seconds += other.seconds;
}

void Tallies::Spending::add(const Spending& other) {
  purchases += other.purchases;
  amount += other.amount;
  firstDay = std::min(firstDay, other.firstDay);
}

void Tallies::Session::add(const Session& other) {
  first = std::min(first, other.first);
  last = std::max(last, other.last);
  events += other.events;
  if (other.length) length = other.length;
}

Tallies::Tallies(sqlite3* database)
    : widenPlayer_(database,
                   "UPDATE players SET first_day = iif(?2 > 0 AND (first_day = 0 OR first_day > ?2), ?2, first_day), "
                   "last_day = max(last_day, ?3) WHERE id = ?1 AND ((?2 > 0 AND (first_day = 0 OR first_day > ?2)) OR "
                   "last_day < ?3)"),
      addDay_(database,
              "INSERT INTO player_days(game, day, player, segment, events, sessions, ended, seconds) "
              "VALUES(?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET events = events + excluded.events, sessions = "
              "sessions + excluded.sessions, ended = ended + excluded.ended, seconds = seconds + excluded.seconds"),
      addSpending_(database,
                   "INSERT INTO spending(player, currency, purchases, amount, first_day) VALUES(?, ?, ?, ?, ?) ON "
                   "CONFLICT DO UPDATE SET purchases = purchases + excluded.purchases, amount = amount + "
                   "excluded.amount, first_day = min(first_day, excluded.first_day)"),
      addSession_(database,
                  "INSERT INTO sessions(player, session, segment, first_ts, last_ts, length, events) VALUES(?, ?, ?, "
                  "?, ?, ?, ?) ON CONFLICT DO UPDATE SET first_ts = min(first_ts, excluded.first_ts), last_ts = "
                  "max(last_ts, excluded.last_ts), length = ifnull(excluded.length, length), events = events + "
                  "excluded.events") {}

void Tallies::add(const NewEvent& event) {
  const auto* category = std::get_if<std::string_view>(&event.row[Column::category]);
  const bool begins = category != nullptr && *category == "user";
  const bool ends = category != nullptr && *category == "session_end";
  const std::int64_t length = ends ? unitsOf(event, *category) : 0;

  addTo(players_, {event.player, event.day, event.day});
  addTo(days_, {event.game, event.day, event.player, event.segment, 1, begins ? 1 : 0, ends ? 1 : 0, length});
  if (!event.session) return;
  addTo(sessions_, {event.player, *event.session, event.segment, event.clientTs, event.clientTs, 1,
                    ends ? std::optional(length) : std::nullopt});
}

void Tallies::addPurchase(const NewEvent& event, std::int64_t currency) {
  addTo(spending_, {event.player, currency, 1, unitsOf(event, "business"), event.day});
}

void Tallies::write() {
  join(players_);
  join(days_);
  join(spending_);
  join(sessions_);
  for (const auto& each : players_) widenPlayer_.with(each.player, each.firstDay, each.lastDay).run();
  for (const auto& each : days_)
    addDay_.with(each.game, each.day, each.player, each.segment, each.events, each.sessions, each.ended, each.seconds)
        .run();
  for (const auto& each : spending_)
    addSpending_.with(each.player, each.currency, each.purchases, each.amount, each.firstDay).run();
  for (const auto& each : sessions_)
    addSession_.with(each.player, Bytes(each.session), each.segment, each.first, each.last, each.length, each.events)
        .run();
  forget();
}

void Tallies::forget() {
  players_.clear();
  days_.clear();
  spending_.clear();
  sessions_.clear();
}

}  // namespace collector
