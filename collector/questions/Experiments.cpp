#include "collector/questions/Experiments.h"

#include <map>
#include <string>
#include <utility>

namespace collector {

namespace {

constexpr std::size_t kMostGroups = 50;  // each costs questions of its own
constexpr std::size_t kSquares = 4;      // of a player's activity

// The players who came back on the day after their first: of those whose next day lies in the time.
std::pair<std::int64_t, std::int64_t> backNextDay(const Table& retention, std::int64_t lastDay) {
  std::int64_t players = 0, back = 0;
  for (const auto& row : retention.rows) {
    if (wholeOf(row[0]) >= lastDay) continue;
    if (wholeOf(row[1]) == 0) players += wholeOf(row[2]);
    if (wholeOf(row[1]) == 1) back += wholeOf(row[2]);
  }
  return {players, back};
}

// By group and currency: the squares of what each payer paid, added up.
std::map<Line, double> squaresOfAmounts(Engine& engine, const Filter& filter) {
  std::map<Line, double> squares;
  const Query query{.category = "business", .by = {Column::abId, Column::abVariantId, Column::currency}, .sums = {}};
  for (const Line& row : engine.totals(filter, query).rows)
    squares[Line(row.begin(), row.begin() + 3)] += numberOf(row[3]) * numberOf(row[3]) * numberOf(row[4]);
  return squares;
}

// By group: the squares of what each player did.
std::map<Line, Line> squaresOfActivity(Engine& engine, const Filter& filter) {
  std::map<Line, Line> squares;
  for (const Line& row : engine.squares(filter).rows)
    squares.emplace(Line(row.begin(), row.begin() + 2), Line(row.begin() + 2, row.end()));
  return squares;
}

}  // namespace

Table answerGroups(Engine& engine, const Filter& filter, const Own&) {
  const Query query{.category = "user", .by = {Column::abId, Column::abVariantId}, .sums = {Sum::events}};
  Table table{{"ab_id", "ab_variant_id", "players", "new_players", "sessions", "ended", "seconds", "new_with_next_day",
               "back_next_day", "sessions_squares", "ended_squares", "seconds_squares", "ended_by_seconds", "currency",
               "purchases", "payers", "amount", "amount_squares"},
              {}};
  const Table all = countWithin(engine, filter, query, kMostGroups);
  table.isCut = all.isCut;
  const auto amounts = squaresOfAmounts(engine, filter);
  const auto activity = squaresOfActivity(engine, filter);
  for (const Line& found : all.rows) {
    Filter group = filter;
    group.segment[Column::abId] = textOf(found[0]);
    group.segment[Column::abVariantId] = textOf(found[1]);
    Line row = {found[0], found[1]};
    const Table whole = engine.whole(group);
    row.insert(row.end(), whole.rows.at(0).begin(), whole.rows.at(0).end());
    const auto [players, back] = backNextDay(engine.retention(group), filter.to);
    row.insert(row.end(), {players, back});
    const auto squares = activity.find({found[0], found[1]});
    if (squares != activity.end()) row.insert(row.end(), squares->second.begin(), squares->second.end());
    else row.resize(row.size() + kSquares);
    Table money = countWithin(
        engine, group,
        {.category = "business", .by = {Column::currency}, .sums = {Sum::events, Sum::players, Sum::total}});
    if (money.rows.empty()) money.rows.push_back({std::string(), std::int64_t{0}, std::int64_t{0}, Value()});
    for (const Line& each : money.rows) {
      Line& line = table.rows.emplace_back(row);
      line.insert(line.end(), each.begin(), each.end());
      const auto squared = amounts.find({found[0], found[1], each[0]});
      Value& square = line.emplace_back();
      if (squared != amounts.end()) square = squared->second;
    }
  }
  return table;
}

}  // namespace collector
