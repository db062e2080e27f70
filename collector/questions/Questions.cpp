#include "collector/questions/Questions.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

#include "collector/archive/Schema.h"
#include "collector/base/Text.h"
#include "collector/questions/Experiments.h"
#include "collector/questions/FieldCount.h"
#include "collector/questions/Levels.h"
#include "collector/questions/RowsAsked.h"

namespace collector {

namespace {

// Days as dates.
Table dated(Table table) {
  for (std::size_t column = 0; column < table.columns.size(); ++column) {
    const std::string& name = table.columns[column];
    if (name != "day" && name != "first_day" && name != "last_day") continue;
    for (Line& row : table.rows) row[column] = dateOf(wholeOf(row[column]));
  }
  return table;
}

constexpr std::size_t kMostOfLines = 100'000;  // of days or lengths: numbers alone

Table overview(Engine& engine, const Filter& filter, const Own& own) {
  return isSet(own, "whole") ? engine.whole(filter) : engine.days(filter);
}

constexpr auto kPercents = std::to_array({10, 25, 50, 75, 90, 99});

// How many, their mean, and percentiles by the nearest rank: the least length that this share of the sessions doesn't
// exceed. Of rows that end in seconds and sessions.
Line spreadOf(std::span<const Line> lengths) {
  std::int64_t sessions = 0;
  double seconds = 0;
  for (const Line& row : lengths) {
    sessions += wholeOf(row.back());
    seconds += numberOf(row.end()[-2]) * static_cast<double>(wholeOf(row.back()));
  }
  Line spread{sessions, ratio(seconds, static_cast<double>(sessions))};
  for (const int percent : kPercents) {
    const std::int64_t rank = (sessions * percent + 99) / 100;
    std::int64_t seen = 0;
    Value at;
    for (const Line& row : lengths) {
      if (seen >= rank) break;
      seen += wholeOf(row.back());
      at = row.end()[-2];
    }
    spread.push_back(at);
  }
  return spread;
}

Table sessionLengths(Engine& engine, const Filter& filter, const Own& own) {
  const bool byDay = isSet(own, "daily");
  // All of them: a rank is one of the whole.
  const Table lengths = engine.lengths(filter, byDay);
  Table table{{"sessions", "mean"}, {}};
  for (const int percent : kPercents) table.columns.push_back(fmt::format("percent{}", percent));
  if (!byDay) {
    table.rows.push_back(spreadOf(lengths.rows));
    return table;
  }
  table.columns.insert(table.columns.begin(), "day");
  for (auto from = lengths.rows.begin(); from != lengths.rows.end();) {
    const auto to = std::find_if(from, lengths.rows.end(), [&](const Line& row) { return row[0] != from->at(0); });
    Line& row = table.rows.emplace_back(spreadOf({from, to}));
    row.insert(row.begin(), from->at(0));
    from = to;
  }
  return table;
}

// A share of those who were there on the first day itself.
Table retention(Engine& engine, const Filter& filter, const Own&) {
  Table table = engine.retention(filter);
  table.columns.emplace_back("share");
  std::int64_t day = -1;
  double cohort = 0;
  for (Line& row : table.rows) {
    if (wholeOf(row[0]) != day) cohort = wholeOf(row[1]) == 0 ? numberOf(row[2]) : 0;
    day = wholeOf(row[0]);
    row.push_back(ratio(numberOf(row[2]), cohort));
  }
  return table;
}

Table eventsOfAll(Engine& engine, const Filter& filter, const Own& own) {
  const auto by = columnsOf(own, "by", {Column::category}, withSegments({Column::category}));
  return countWithin(engine, filter, {.by = by, .byDay = isSet(own, "daily"), .sums = {Sum::events, Sum::players}});
}

Table revenue(Engine& engine, const Filter& filter, const Own& own) {
  const auto by = columnsOf(own, "by", {Column::currency},
                            withSegments({Column::currency, Column::itemType, Column::itemId, Column::cartType}));
  return countWithin(engine, filter,
                     {.category = "business",
                      .by = by,
                      .byDay = isSet(own, "daily"),
                      .sums = {Sum::events, Sum::players, Sum::total}});
}

// Who earned or spent isn't the sum of both. Counted for currencies alone: it takes as long as all the rest.
void addPlayers(Engine& engine, const Filter& filter, const Query& query, Table& table) {
  std::map<std::string, Value> players;
  for (const Line& row : countWithin(engine, filter, query).rows) players[textOf(row[0])] = row[2];
  table.columns.emplace_back("players");
  for (Line& row : table.rows) row.push_back(players[textOf(row[0])]);
}

// A row for each currency, or what it is split by: both flows side by side.
Table economy(Engine& engine, const Filter& filter, const Own& own) {
  const auto by =
      columnsOf(own, "by", {Column::currency}, withSegments({Column::currency, Column::itemType, Column::itemId}));
  const Query query{
      .category = "resource", .by = by, .byDay = isSet(own, "daily"), .sums = {Sum::events, Sum::players, Sum::total}};
  Query byFlow = query;
  byFlow.by.push_back(Column::flow);
  const Table found = countWithin(engine, filter, byFlow);
  const std::size_t names = query.by.size() + (query.byDay ? 1 : 0);
  struct Flows {
    std::array<std::int64_t, 2> events{}, players{};  // sources, sinks
    std::array<double, 2> totals{};
  };
  std::map<Line, Flows> byName;
  for (const Line& row : found.rows) {
    Flows& flows = byName[Line(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(names))];
    const std::size_t flow = textOf(row[names]) == "Source" ? 0 : 1;
    flows.events[flow] = wholeOf(row[names + 1]);
    flows.players[flow] = wholeOf(row[names + 2]);
    flows.totals[flow] = numberOf(row[names + 3]);
  }
  Table table{{found.columns.begin(), found.columns.begin() + static_cast<std::ptrdiff_t>(names)}, {}, found.isCut};
  for (const char* column : {"sources", "players_earning", "earned", "sinks", "players_spending", "spent", "balance"})
    table.columns.emplace_back(column);
  for (const auto& [name, flows] : byName) {
    Line& row = table.rows.emplace_back(name);
    const auto& [earned, spent] = flows.totals;
    row.insert(row.end(), {flows.events[0], flows.players[0], earned, flows.events[1], flows.players[1],
                           spent == 0 ? 0.0 : -spent, earned + spent});
  }
  if (!query.byDay && query.by == std::vector{Column::currency}) addPlayers(engine, filter, query, table);
  return table;
}

constexpr std::string_view kField = "field:";

// One branch of the tree of event ids: what stands below `under`, part by part.
Table designs(Engine& engine, const Filter& filter, const Own& own) {
  Query query{.category = "design",
              .byDay = isSet(own, "daily"),
              .sums = {Sum::events, Sum::players, Sum::valued, Sum::total, Sum::least, Sum::most},
              .where = branchOf(own)};
  query.by = {below(query.where)};
  const auto by = own.find("by");
  if (by != own.end() && by->second == kField) throw BadQuestion("by: field:NAME takes the name of a custom field");
  if (by != own.end() && by->second.starts_with(kField))
    return cut(countByField(engine, filter, query, by->second.substr(kField.size())), kMostRows);
  for (const Column column : columnsOf(own, "by", {}, withSegments())) query.by.push_back(column);
  return countWithin(engine, filter, query);
}

Table values(Engine& engine, const Filter& filter, const Own& own) {
  return engine.spread(filter, {.category = "design", .sums = {}, .where = branchOf(own)});
}

Table errors(Engine& engine, const Filter& filter, const Own& own) {
  const auto by =
      columnsOf(own, "by", {Column::severity, Column::message}, withSegments({Column::severity, Column::message}));
  return countWithin(
      engine, filter,
      {.category = "error", .by = by, .byDay = isSet(own, "daily"), .sums = {Sum::events, Sum::players}});
}

Table ads(Engine& engine, const Filter& filter, const Own& own) {
  const std::vector<Column> all = {Column::adNetwork, Column::adPlacement, Column::adType, Column::adAction};
  auto allowed = all;
  allowed.push_back(Column::adFailReason);
  return countWithin(engine, filter,
                     {.category = "ads",
                      .by = columnsOf(own, "by", all, withSegments(allowed)),
                      .byDay = isSet(own, "daily"),
                      .sums = {Sum::events, Sum::players}});
}

Table impressions(Engine& engine, const Filter& filter, const Own& own) {
  const std::vector<Column> all = {Column::adNetwork, Column::currency};
  return countWithin(engine, filter,
                     {.category = "impression",
                      .by = columnsOf(own, "by", all, withSegments(all)),
                      .byDay = isSet(own, "daily"),
                      .sums = {Sum::events, Sum::players, Sum::total}});
}

Table refused(Engine& engine, const Filter& filter, const Own& own) {
  if (!filter.segment.empty())
    throw BadQuestion("refused: takes no filter but the days, for what such a record says is in doubt");
  return engine.refused(filter, isSet(own, "daily"));
}

Table player(Engine& engine, const Filter& filter, const Own& own) {
  const auto user = own.find("user_id");
  if (user == own.end() || user->second.empty()) throw BadQuestion("user_id: it is missing");
  const std::size_t limit = limitOf(own, 1'000);
  return cut(engine.life(filter, user->second, limit + 1), limit);
}

Table builds(Engine& engine, const Filter& filter, const Own&) { return engine.builds(filter); }

Table segments(Engine& engine, const Filter& filter, const Own& own) {
  return cut(engine.segments(filter, columnsOf(own, "by", withSegments(), withSegments())), kMostRows);
}

Table players(Engine& engine, const Filter& filter, const Own& own) {
  constexpr std::size_t kUsual = 100;
  const std::size_t limit = limitOf(own, kUsual);
  const auto starts = own.find("starts");
  return cut(engine.players(filter, starts != own.end() ? starts->second : "", limit + 1), limit);
}

Table firstPurchases(Engine& engine, const Filter& filter, const Own&) { return engine.firstPurchases(filter); }

Table hours(Engine& engine, const Filter& filter, const Own&) {
  constexpr std::int64_t kMostDays = 31;
  if (filter.to - filter.from >= kMostDays) throw BadQuestion(fmt::format("hours: of at most {} days", kMostDays));
  return engine.hours(filter);
}

const Parameter kDaily = {"daily", "yes: a row for each day"};
const Parameter kBy = {"by", "what to split by, with commas between: columns of the question, or of the filter"};

}  // namespace

std::span<const Parameter> commonParameters() {
  static constexpr auto kAll = std::to_array<Parameter>({{"game", "its key"},
                                                         {"from", "the first UTC day, such as 2026-11-22"},
                                                         {"to", "the last one"},
                                                         {"platform", "in these records alone"},
                                                         {"build", "the same"},
                                                         {"ab_id", "the same"},
                                                         {"ab_variant_id", "the same"},
                                                         {"custom_01", "the same"},
                                                         {"custom_02", "the same"},
                                                         {"custom_03", "the same"}});
  return kAll;
}

std::span<const Question> questions() {
  static const std::vector<Question> all = {
      {"overview",
       "players, new players, sessions, ended ones and their seconds, day by day",
       {{"whole", "yes: one row for all days together"}},
       overview},
      {"events",
       "events by category; those without a time of their own count for 1970-01-01",
       {kBy, kDaily},
       eventsOfAll},
      {"sessions", "how long sessions were", {kDaily}, sessionLengths},
      {"retention", "of the players first seen on a day, how many were there so many days later", {}, retention},
      {"revenue", "purchases and payers; the total in the currency's smallest unit", {kBy, kDaily}, revenue},
      {"levels", "starts, fails and completions, time, and where players end, level by level", {kDaily}, answerLevels},
      {"economy", "what flows in and out of each currency, and the balance of both", {kBy, kDaily}, economy},
      {"designs",
       "the tree of event ids: counts and values below a branch",
       {{"under", "the branch, such as level:boss"},
        {"by", "what to split by, with commas between: columns of the filter; or field:NAME, a custom field"},
        kDaily},
       designs},
      {"values",
       "how values spread: at most 20 bins",
       {{"under", "the branch of the tree of event ids, such as level:boss"}},
       values},
      {"errors", "errors by severity and message", {kBy, kDaily}, errors},
      {"ads", "ads by network, placement, type and action", {kBy, kDaily}, ads},
      {"impressions", "impressions and their revenue by network and currency", {kBy, kDaily}, impressions},
      {"refused", "why records were refused; days are those of their arrival", {kDaily}, refused},
      {"player",
       "the life of one player, event by event",
       {{"user_id", "who"}, {"limit", "how many events, the earliest first; 1000 unless it is given"}},
       player},
      {"players",
       "players who began a session, and on which days",
       {{"starts", "the beginning of their ids"}, {"limit", "how many, in the order of ids; 100 unless it is given"}},
       players},
      {"first_purchases",
       "of the players first seen in the time, how many days later they first bought",
       {},
       firstPurchases},
      {"hours", "players, sessions and events, hour by hour; of at most 31 days", {}, hours},
      {"builds", "the builds there were, each with its first and last day", {}, builds},
      {"segments", "what the filters can be set to, those of most players first", {kBy}, segments},
      {"rows", "the events behind a number, the newest first", parametersOfRows(), answerRows},
      {"groups", "the groups of experiments side by side; those of the most sessions", {}, answerGroups},
  };
  return all;
}

const Question* findQuestion(std::string_view name) {
  const auto all = questions();
  const auto found = std::ranges::find(all, name, &Question::name);
  return found != all.end() ? &*found : nullptr;
}

Table ask(Engine& engine, const Question& question, const std::map<std::string, std::string>& parameters) {
  Filter filter;
  Own own;
  bool hasFrom = false, hasTo = false;
  for (const auto& [name, value] : parameters) {
    const auto column = std::ranges::find(kSegmentColumns, name, nameOf);
    if (name == "game") {
      filter.game = value;
    } else if (name == "from") {
      hasFrom = true;
      filter.from = dayOf(name, value);
    } else if (name == "to") {
      hasTo = true;
      filter.to = dayOf(name, value);
    } else if (column != kSegmentColumns.end()) {
      filter.segment[*column] = value;
    } else if (std::ranges::find(question.takes, name, &Parameter::name) != question.takes.end()) {
      own[name] = value;
    } else {
      throw BadQuestion(fmt::format("{}: {} takes no such parameter", prefixOf(name, kMaxQuoted), question.name));
    }
  }
  if (filter.game.empty()) throw BadQuestion("game: it is missing");
  if (!hasFrom || !hasTo) throw BadQuestion(fmt::format("{}: it is missing", hasFrom ? "to" : "from"));
  if (filter.from > filter.to) throw BadQuestion("from: it is later than to");
  return dated(cut(question.answer(engine, filter, own), kMostOfLines));
}

std::int64_t dayOf(const std::string& name, const std::string& date) {
  int year = 0;
  unsigned month = 0, day = 0;
  const char* const end = date.data() + date.size();
  const auto number = [&](const char* from, auto& into, char after) {
    const auto [rest, error] = std::from_chars(from, end, into);
    const bool good = error == std::errc() && (after == '\0' ? rest == end : rest != end && *rest == after);
    return good ? rest + (after == '\0' ? 0 : 1) : nullptr;
  };
  const char* at = number(date.data(), year, '-');
  if (at != nullptr) at = number(at, month, '-');
  if (at != nullptr) at = number(at, day, '\0');
  const std::chrono::year_month_day found{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
  const bool isDay = at != nullptr && found.ok() && year >= 1970 && year <= 9999;
  const std::int64_t days = isDay ? std::chrono::sys_days(found).time_since_epoch().count() : 0;
  if (!isDay || dateOf(days) != date)
    throw BadQuestion(fmt::format("{}: it must be a day from 1970-01-01 to 9999-12-31, such as 2026-11-22", name));
  return days;
}

}  // namespace collector
