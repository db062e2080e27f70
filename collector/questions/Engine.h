// Engine is where questions are asked: the archive or the warehouse. Both give the same numbers.
//
// Thread: any.
#pragma once

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
  // later, players. The filter's segment counts for what they were seen in; `to` ends both.
  virtual Table retention(const Filter& filter) = 0;
  // How long sessions were: the day if it is asked for, seconds, sessions; in this order.
  virtual Table lengths(const Filter& filter, bool byDay) = 0;
  // One player's events in the order of their times: client_ts, received_at, category, session_id, record (JSON).
  virtual Table life(const Filter& filter, const std::string& userId, std::size_t limit) = 0;
  // Why records were refused: see Refusals.h.
  virtual Table refused(const Filter& filter, bool byDay) = 0;
};

}  // namespace collector
