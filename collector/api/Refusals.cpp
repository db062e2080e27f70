#include "collector/api/Refusals.h"

#include <fmt/format.h>

#include <vector>

#include "collector/base/Json.h"

namespace collector {

namespace {

template <class View>
std::string rowsJson(Store& archive, const char* sql, const std::string& game, std::int64_t limit, View view) {
  std::vector<std::string> rows;
  archive.read([&](sqlite3* database) {
    Statement statement(database, sql);
    statement.with(std::string_view(game), limit);
    while (statement.step()) rows.push_back(view(statement));
  });
  return joinedJson('[', rows, ']', [](const std::string& each) { return each; });
}

}  // namespace

std::string refusedJson(Store& archive, const std::string& game, std::int64_t limit) {
  return rowsJson(
      archive,
      "SELECT received_at, position, reasons, record FROM rejected WHERE game = (SELECT id FROM games WHERE "
      "key = ?) ORDER BY id DESC LIMIT ?",
      game, limit, [](const Statement& row) {
        return fmt::format(R"({{"received_at":{},"index":{},"reasons":{},"record":{}}})", row.integer(0),
                           row.integer(1), row.text(2), quotedJson(row.text(3)));
      });
}

std::string notesJson(Store& archive, const std::string& game, std::int64_t limit) {
  return rowsJson(archive,
                  "SELECT note, times, first_at, last_at FROM notes WHERE game = (SELECT id FROM games WHERE key = ?) "
                  "ORDER BY times DESC, note LIMIT ?",
                  game, limit, [](const Statement& row) {
                    return fmt::format(R"({{"note":{},"times":{},"first_at":{},"last_at":{}}})",
                                       quotedJson(row.text(0)), row.integer(1), row.integer(2), row.integer(3));
                  });
}

}  // namespace collector
