#include "collector/questions/EventsOnce.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "collector/warehouse/Literals.h"
#include "collector/warehouse/Settling.h"

namespace collector {

namespace {

constexpr char kMark = '\f';  // no literal holds it unescaped
constexpr int kTries = 3;

using Parts = std::set<std::string>;

std::string fromOf(std::string_view conditions, const Parts& settled) {
  if (settled.empty()) return fmt::format("FROM events FINAL WHERE {}", conditions);
  std::string names;
  for (const std::string& name : settled) names += fmt::format("{}{}", names.empty() ? "" : ", ", literal(name));
  return fmt::format(
      "FROM (SELECT * FROM events WHERE _part IN ({0}) AND {1} UNION ALL SELECT * FROM events FINAL WHERE _part NOT IN "
      "({0}) AND {1}) WHERE 1",
      names, conditions);
}

std::string completed(std::string_view sql, const Parts& settled) {
  std::string whole;
  for (auto mark = sql.find(kMark); mark != std::string_view::npos; mark = sql.find(kMark)) {
    const auto end = sql.find(kMark, mark + 1);
    whole += sql.substr(0, mark);
    whole += fromOf(sql.substr(mark + 1, end - mark - 1), settled);
    sql.remove_prefix(end + 1);
  }
  return whole.append(sql);
}

}  // namespace

std::string eachOnce(std::string_view conditions) { return fmt::format("{0}{1}{0}", kMark, conditions); }

// A part may be replaced or get company while the question is on its way: then that may have missed some events, or
// seen them twice. Others that settle meanwhile change nothing.
std::string EventsOnce::run(const std::string& sql) const {
  if (sql.find(kMark) == std::string::npos) return warehouse_.run(sql);
  Parts settled = settledParts(warehouse_);
  for (int each = 0; each < kTries && !settled.empty(); ++each) {
    std::string answer = warehouse_.run(completed(sql, settled));
    Parts now = settledParts(warehouse_);
    if (std::ranges::includes(now, settled)) return answer;
    settled = std::move(now);
  }
  return warehouse_.run(completed(sql, {}));
}

}  // namespace collector
