// Engine is where questions are asked: the archive or the warehouse. Both give the same numbers.
//
// Thread: any.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

namespace collector {

class Engine {
 public:
  virtual ~Engine() = default;

  // A column for the day if it is asked for, one for each of `by`, then the sums.
  virtual Table events(const Filter& filter, const Query& query) = 0;
  // By day: day, players, new players, sessions, ended sessions, seconds in those.
  virtual Table days(const Filter& filter) = 0;
  // Of all days together: players, new players, sessions, ended sessions, seconds.
  virtual Table whole(const Filter& filter) = 0;
  // Players first seen on a day of the filter, by that day and by how many days later they were seen: first day, days
  // later, players. The filter's segment counts for that first day, and they are followed wherever they go; `to` ends
  // both.
  virtual Table retention(const Filter& filter) = 0;
  // How long sessions were: the day if it is asked for, seconds, sessions; in this order.
  virtual Table lengths(const Filter& filter, bool byDay) = 0;
  // One player's events in the order of their times: client_ts, received_at, category, session_id, record (JSON).
  virtual Table life(const Filter& filter, const std::string& userId, std::size_t limit) = 0;
  // Events, the newest first, of one time in the order of their UUIDs from the last: client_ts, received_at, category,
  // user_id, session_id, platform, build, record.
  virtual Table rows(const Filter& filter, const Search& search) = 0;
  // Builds of players' records with the first and the last day of each, and how many players; in the order of those.
  virtual Table builds(const Filter& filter) = 0;
  // What players' records are split by: one column for each of `by`, which are columns of the filter, then players;
  // those of most players first.
  virtual Table segments(const Filter& filter, const std::vector<Column>& by) = 0;
  // Players whose id begins so and who began a session, with the first and the last day of that; in the order of ids.
  virtual Table players(const Filter& filter, const std::string& starts, std::size_t limit) = 0;
  // Of the players first seen on a day of the filter, how many days later they first bought: days later, players.
  virtual Table firstPurchases(const Filter& filter) = 0;
  // day, hour, players, sessions, events: hours without any are left out.
  virtual Table hours(const Filter& filter) = 0;
  // Totals of measures by player: one column for each of `by`, total, players; in this order. See Totals.h.
  virtual Table totals(const Filter& filter, const Query& query) = 0;
  // The day if it is asked for, a level of three columns, tries, their seconds, players stopped there and those who
  // left it behind: see Progress.h.
  virtual Table progress(const Filter& filter, bool byDay) = 0;
  // By experiment and group: see GroupSquares.h.
  virtual Table squares(const Filter& filter) = 0;
  // The measures of events in bins. See Histogram.h.
  virtual Table spread(const Filter& filter, const Query& query) = 0;
  // Events with the text of the query's one column and their custom fields; nothing where there are more than its
  // limit.
  virtual std::optional<std::vector<FieldsOfEvent>> fields(const Filter& filter, const Query& query) = 0;
  // Why records were refused: see Refusals.h.
  virtual Table refused(const Filter& filter, bool byDay) = 0;
};

// Counts events, and says whether there are more groups than an answer may have.
Table countWithin(Engine& engine, const Filter& filter, Query query, std::size_t most = kMostRows);

}  // namespace collector
