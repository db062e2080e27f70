#include "collector/questions/WarehouseSql.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "collector/archive/Schema.h"
#include "collector/questions/EventsOnce.h"
#include "collector/records/Fields.h"
#include "collector/warehouse/Literals.h"

namespace collector {

namespace {

constexpr std::int64_t kPart = 1'000'000'000;

}  // namespace

std::int64_t wholeIn(std::string_view text) {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

Wide wideIn(std::string_view text) {
  constexpr int kTen = 10;
  Wide number = 0;
  for (const char digit : text) number = number * kTen + (digit - '0');
  return number;
}

std::vector<std::vector<std::string>> rowsOf(std::string_view answer) {
  std::vector<std::vector<std::string>> rows;
  while (!answer.empty()) {
    const auto end = answer.find('\n');
    auto line = answer.substr(0, end);
    answer.remove_prefix(end == std::string_view::npos ? answer.size() : end + 1);
    auto& row = rows.emplace_back();
    for (auto tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t')) {
      row.push_back(withoutEscapes(line.substr(0, tab)));
      line.remove_prefix(tab + 1);
    }
    row.push_back(withoutEscapes(line));
  }
  return rows;
}

std::string conditions(const std::map<Column, std::string>& texts) {
  std::string sql;
  for (const auto& [column, text] : texts) sql += fmt::format(" AND {} = {}", nameOf(column), literal(text));
  return sql;
}

std::string kinds(const Filter& filter, std::initializer_list<std::string_view> categories) {
  std::string sql;
  const auto add = [&](std::string_view category) {
    sql += fmt::format("{}sipHash64({}, {})", sql.empty() ? "" : ", ", literal(filter.game), literal(category));
  };
  if (categories.begin()->empty()) std::ranges::for_each(recordKinds(), add, &RecordKind::category);
  else std::ranges::for_each(categories, add);
  return fmt::format("kind IN ({})", sql);
}

// The time is a part of the key, the day is not.
std::string within(const Filter& filter) {
  return fmt::format("client_ts >= {} AND client_ts < {}{}", filter.from * kSecondsADay, (filter.to + 1) * kSecondsADay,
                     conditions(filter.segment));
}

std::string eventsOf(const Filter& filter, std::initializer_list<std::string_view> categories) {
  return eachOnce(fmt::format("{} AND {}", kinds(filter, categories), within(filter)));
}

std::string askedForTotal() { return fmt::format("sum(intDiv(measure, {0})), sum(measure % {0})", kPart); }

Wide totalOf(std::int64_t high, std::int64_t low) { return Wide{high} * kPart + low; }

}  // namespace collector
