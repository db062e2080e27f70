#include "collector/questions/ArchiveEngine.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/archive/Uuid.h"
#include "collector/questions/EventCount.h"
#include "collector/questions/EventSearch.h"
#include "collector/questions/FirstPurchases.h"
#include "collector/questions/GroupSquares.h"
#include "collector/questions/HourCount.h"
#include "collector/questions/MeasureCount.h"
#include "collector/questions/Progress.h"
#include "collector/questions/Refusals.h"
#include "collector/questions/Sums.h"

namespace collector {

namespace {

enum class Reading { whole, text, uuid };

}  // namespace

// SQL with what is bound to it, and how its columns are read.
class ArchiveEngine::Question {
 public:
  explicit Question(const Filter& filter) : filter_(filter) {}

  // A mark for a value.
  template <class Kind>
  std::string mark(const Kind& value) {
    values_.emplace_back(value);
    return fmt::format("?{}", values_.size());
  }
  std::string game() { return "(SELECT id FROM games WHERE key = " + mark(filter_.game) + ")"; }
  std::string name(const std::string& text) { return "(SELECT id FROM names WHERE text = " + mark(text) + ")"; }
  std::string between(const char* day) {
    return fmt::format("{} BETWEEN {} AND {}", day, mark(filter_.from), mark(filter_.to));
  }
  // " AND ...", or nothing where all segments count.
  std::string ofSegments(const char* segment) {
    if (filter_.segment.empty()) return "";
    std::string sql = fmt::format(" AND {} IN (SELECT id FROM segments WHERE game = {}", segment, game());
    for (const auto& [column, text] : filter_.segment) sql += fmt::format(" AND {} = {}", nameOf(column), name(text));
    return sql + ")";
  }
  void reads(std::string column, Reading reading) {
    table_.columns.push_back(std::move(column));
    readings_.push_back(reading);
  }

  Table ask(Readers& archive, const std::string& sql) {
    archive.read([&](sqlite3* database) {
      Statement statement(database, sql);
      for (std::size_t at = 0; at < values_.size(); ++at)
        std::visit([&](const auto& value) { bind(statement, static_cast<int>(at) + 1, value); }, values_[at]);
      while (!table_.isCut && statement.step()) {
        table_.rows.push_back(rowOf(statement));
        table_.isCut = bytes_ > kMostBytes;
      }
    });
    return std::move(table_);
  }

 private:
  static void bind(Statement& statement, int parameter, std::int64_t value) { statement.bind(parameter, value); }
  static void bind(Statement& statement, int parameter, const std::string& value) {
    statement.bind(parameter, std::string_view(value));
  }
  [[nodiscard]] std::vector<Value> rowOf(const Statement& statement) {
    std::vector<Value> row;
    for (const Reading reading : readings_) {
      const int column = static_cast<int>(row.size());
      if (reading == Reading::text) bytes_ += statement.text(column).size();
      if (reading == Reading::whole) row.emplace_back(statement.integer(column));
      else if (reading == Reading::text) row.emplace_back(std::string(statement.text(column)));
      else row.emplace_back(uuidText(statement.bytes(column)));
    }
    return row;
  }

  const Filter& filter_;
  std::vector<std::variant<std::int64_t, std::string>> values_;
  std::vector<Reading> readings_;
  std::size_t bytes_ = 0;  // of texts in the table
  Table table_;
};

template <class Count>
auto ArchiveEngine::read(Count count) {
  decltype(count(nullptr)) answer;
  archive_.read([&](sqlite3* database) { answer = count(database); });
  return answer;
}

Table ArchiveEngine::events(const Filter& filter, const Query& query) {
  return read([&](sqlite3* database) { return countEvents(database, filter, query); });
}

namespace {

constexpr auto kActivity =
    "count(DISTINCT player) AS players, sum(sessions) AS sessions, sum(ended) AS ended, sum(seconds) AS seconds FROM "
    "player_days WHERE";

}  // namespace

Table ArchiveEngine::days(const Filter& filter) {
  Question question(filter);
  for (const char* column : {"day", "players", "new_players", "sessions", "ended", "seconds"})
    question.reads(column, Reading::whole);
  const std::string active = fmt::format("SELECT day, {} game = {} AND {}{} GROUP BY day", kActivity, question.game(),
                                         question.between("day"), question.ofSegments("segment"));
  const std::string fresh = fmt::format(
      "SELECT d.day AS day, count(DISTINCT d.player) AS players FROM players p JOIN player_days d ON d.game = p.game "
      "AND d.day = p.first_day AND d.player = p.id WHERE p.game = {} AND {}{} GROUP BY d.day",
      question.game(), question.between("p.first_day"), question.ofSegments("d.segment"));
  return question.ask(archive_,
                      fmt::format("SELECT a.day, a.players, ifnull(f.players, 0), a.sessions, a.ended, a.seconds FROM "
                                  "({}) a LEFT JOIN ({}) f ON f.day = a.day ORDER BY a.day",
                                  active, fresh));
}

Table ArchiveEngine::whole(const Filter& filter) {
  Question question(filter);
  for (const char* column : {"players", "new_players", "sessions", "ended", "seconds"})
    question.reads(column, Reading::whole);
  const std::string active = fmt::format("SELECT {} game = {} AND {}{}", kActivity, question.game(),
                                         question.between("day"), question.ofSegments("segment"));
  const std::string fresh = fmt::format(
      "SELECT count(DISTINCT d.player) FROM players p JOIN player_days d ON d.game = p.game AND d.day = "
      "p.first_day AND d.player = p.id WHERE p.game = {} AND {}{}",
      question.game(), question.between("p.first_day"), question.ofSegments("d.segment"));
  return question.ask(archive_, fmt::format("SELECT players, ({}), ifnull(sessions, 0), ifnull(ended, 0), "
                                            "ifnull(seconds, 0) FROM ({})",
                                            fresh, active));
}

Table ArchiveEngine::retention(const Filter& filter) {
  Question question(filter);
  for (const char* column : {"first_day", "days_later", "players"}) question.reads(column, Reading::whole);
  const auto firstDays = question.between("p.first_day");
  std::string cohort;
  if (!filter.segment.empty())
    cohort = fmt::format(
        " AND d.player IN (SELECT d.player FROM players p JOIN player_days d ON d.game = p.game AND d.day = "
        "p.first_day AND d.player = p.id WHERE p.game = {} AND {}{})",
        question.game(), firstDays, question.ofSegments("d.segment"));
  return question.ask(
      archive_,
      fmt::format("SELECT p.first_day, d.day - p.first_day AS later, count(DISTINCT d.player) FROM player_days "
                  "d CROSS JOIN players p ON p.id = d.player WHERE d.game = {} AND {} AND {} AND d.day >= "
                  "p.first_day{} GROUP BY p.first_day, later ORDER BY p.first_day, later",
                  question.game(), question.between("d.day"), firstDays, cohort));
}

Table ArchiveEngine::lengths(const Filter& filter, bool byDay) {
  constexpr auto kCategory = "session_end";
  Table table{{"seconds", "sessions"}, {}};
  if (byDay) table.columns.insert(table.columns.begin(), "day");
  archive_.read([&](sqlite3* database) {
    for (const auto& [of, sessions] : countMeasures(database, filter, kCategory, byDay)) {
      auto& row = table.rows.emplace_back();
      if (byDay) row.emplace_back(of.day);
      row.insert(row.end(), {unitsOf(of.measure, partsOf(kCategory)), sessions});
    }
  });
  return table;
}

Table ArchiveEngine::life(const Filter& filter, const std::string& userId, std::size_t limit) {
  Question question(filter);
  question.reads("client_ts", Reading::whole);
  question.reads("received_at", Reading::whole);
  question.reads("category", Reading::text);
  question.reads("session_id", Reading::uuid);
  question.reads("record", Reading::text);
  return question.ask(
      archive_,
      fmt::format("SELECT e.client_ts, e.received_at, (SELECT n.text FROM topics t JOIN names n ON n.id = t.category "
                  "WHERE t.id = e.topic), e.session, e.record FROM events e WHERE "
                  "e.player = (SELECT id FROM players WHERE game = {} AND user_id = {}) AND {}{} ORDER BY e.client_ts, "
                  "e.uuid LIMIT {}",
                  question.game(), question.mark(userId), question.between("e.client_ts / 86400"),
                  question.ofSegments("e.segment"), limit));
}

Table ArchiveEngine::rows(const Filter& filter, const Search& search) {
  return read([&](sqlite3* database) { return findRows(database, filter, search); });
}

Table ArchiveEngine::builds(const Filter& filter) {
  Question question(filter);
  question.reads("build", Reading::text);
  for (const char* column : {"first_day", "last_day", "players"}) question.reads(column, Reading::whole);
  return question.ask(
      archive_,
      fmt::format(
          "SELECT (SELECT text FROM names WHERE id = s.build) AS build, min(d.day) AS first_day, max(d.day), "
          "count(DISTINCT d.player) FROM player_days d JOIN segments s ON s.id = d.segment WHERE d.game = {} AND "
          "{}{} GROUP BY s.build ORDER BY first_day, build",
          question.game(), question.between("d.day"), question.ofSegments("d.segment")));
}

Table ArchiveEngine::segments(const Filter& filter, const std::vector<Column>& by) {
  Question question(filter);
  std::string texts, groups, order = "players DESC";
  for (const Column column : by) {
    question.reads(std::string(nameOf(column)), Reading::text);
    texts += fmt::format("(SELECT text FROM names WHERE id = s.{0}) AS {0}, ", nameOf(column));
    groups += fmt::format("{}s.{}", groups.empty() ? " GROUP BY " : ", ", nameOf(column));
    order += fmt::format(", {}", nameOf(column));
  }
  question.reads("players", Reading::whole);
  return question.ask(
      archive_, fmt::format("SELECT {}count(DISTINCT d.player) AS players FROM player_days d JOIN segments s ON "
                            "s.id = d.segment WHERE d.game = {} AND {}{}{} ORDER BY {} LIMIT {}",
                            texts, question.game(), question.between("d.day"), question.ofSegments("d.segment"), groups,
                            order, kMostRows + 1));
}

Table ArchiveEngine::players(const Filter& filter, const std::string& starts, std::size_t limit) {
  Question question(filter);
  question.reads("user_id", Reading::text);
  for (const char* column : {"first_day", "last_day"}) question.reads(column, Reading::whole);
  std::string begins;
  if (!starts.empty()) {
    std::string behind = starts;  // all that begin so
    ++behind.back();
    begins = fmt::format(" AND p.user_id >= {} AND p.user_id < {}", question.mark(starts), question.mark(behind));
  }
  return question.ask(
      archive_,
      fmt::format("SELECT p.user_id, min(d.day), max(d.day) FROM player_days d CROSS JOIN players p ON p.id = d.player "
                  "WHERE d.game = {} AND {}{} AND d.sessions > 0{} GROUP BY p.id ORDER BY p.user_id LIMIT {}",
                  question.game(), question.between("d.day"), question.ofSegments("d.segment"), begins, limit));
}

Table ArchiveEngine::firstPurchases(const Filter& filter) {
  return read([&](sqlite3* database) { return countFirstPurchases(database, filter); });
}

Table ArchiveEngine::hours(const Filter& filter) {
  return read([&](sqlite3* database) { return countHours(database, filter); });
}

Table ArchiveEngine::totals(const Filter& filter, const Query& query) {
  return read([&](sqlite3* database) { return countTotals(database, filter, query); });
}

Table ArchiveEngine::progress(const Filter& filter, bool byDay) {
  return read([&](sqlite3* database) { return countProgress(database, filter, byDay); });
}

Table ArchiveEngine::squares(const Filter& filter) {
  return read([&](sqlite3* database) { return sumSquares(database, filter); });
}

Table ArchiveEngine::spread(const Filter& filter, const Query& query) {
  return read([&](sqlite3* database) { return countSpread(database, filter, query); });
}

std::optional<std::vector<FieldsOfEvent>> ArchiveEngine::fields(const Filter& filter, const Query& query) {
  return read([&](sqlite3* database) { return findFields(database, filter, query); });
}

Table ArchiveEngine::refused(const Filter& filter, bool byDay) { return refusals(archive_, filter, byDay); }

}  // namespace collector
