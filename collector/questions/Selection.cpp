#include "collector/questions/Selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "collector/archive/Sql.h"

namespace collector {

namespace {

Conditions together(Conditions one, const Conditions& other) {
  one.insert(other.begin(), other.end());
  return one;
}

}  // namespace

bool isOf(const Combinations& combinations, Column column) {
  return std::ranges::find(combinations.columns, column) != combinations.columns.end();
}

Chosen::Chosen(sqlite3* database, const Combinations& combinations, const std::string& game, Conditions conditions,
               const std::vector<Column>& by) {
  std::string sql = "SELECT id", where = " WHERE game = (SELECT id FROM games WHERE key = ?1)";
  for (const Column column : by)
    if (isOf(combinations, column)) sql += fmt::format(", (SELECT text FROM names WHERE id = {})", nameOf(column));
  std::erase_if(conditions, [&](const auto& each) { return !isOf(combinations, each.first); });
  int parameter = 1;
  for (const auto& [column, text] : conditions)
    where += fmt::format(" AND {} = (SELECT id FROM names WHERE text = ?{})", nameOf(column), ++parameter);
  Statement rows(database, fmt::format("{} FROM {}{}", sql, combinations.table, where));
  rows.bind(parameter = 1, std::string_view(game));
  for (const auto& each : conditions) rows.bind(++parameter, std::string_view(each.second));
  while (rows.step()) {
    const auto id = static_cast<std::size_t>(rows.integer(0));
    if (id >= byId_.size()) byId_.resize(id + 1);
    Texts& texts = texts_.emplace_back();
    byId_[id] = &texts;
    for (int column = 1; column < rows.columns(); ++column) texts.emplace_back(rows.text(column));
  }
}

std::vector<std::pair<const Texts*, std::uint32_t>> Chosen::all() const {
  std::vector<std::pair<const Texts*, std::uint32_t>> all;
  for (std::uint32_t id = 0; id < byId_.size(); ++id)
    if (byId_[id] != nullptr) all.emplace_back(byId_[id], id);
  return all;
}

Selection::Selection(sqlite3* database, const Filter& filter, const Conditions& where, const std::vector<Column>& by)
    : database_(database),
      filter_(filter),
      topics_(database, kCombinations[0], filter.game, where, by),
      segments_(database, kCombinations[1], filter.game, together(where, filter.segment), by) {}

}  // namespace collector
