// The tables of the database. For the files of this folder.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace zorvane {

struct Table {
  std::string_view name;
  std::string_view columns;
  std::string_view marks;  // of parameters, one for each column
  const char* create;
  const char* probe;
  std::string_view corrupt;  // what the log says of a table that can't be used
  std::optional<int> json;   // number of the column that holds a record, from 0
};

inline constexpr auto kTables = std::to_array<Table>({
    {"zv_events", "status, category, session_id, client_ts, event", "?, ?, ?, ?, ?",
     "CREATE TABLE IF NOT EXISTS zv_events(status CHAR(50) NOT NULL, category CHAR(50) NOT NULL, session_id CHAR(50) "
     "NOT NULL, client_ts CHAR(50) NOT NULL, event TEXT NOT NULL);",
     "SELECT status FROM zv_events LIMIT 0,1", "zv_events corrupt, recreating.", 4},
    {"zv_session", "session_id, timestamp, event", "?, ?, ?",
     "CREATE TABLE IF NOT EXISTS zv_session(session_id CHAR(50) PRIMARY KEY NOT NULL, timestamp CHAR(50) NOT NULL, "
     "event TEXT NOT NULL);",
     "SELECT session_id FROM zv_session LIMIT 0,1", "zv_session corrupt, recreating.", 2},
    {"zv_state", "key, value", "?, ?",
     "CREATE TABLE IF NOT EXISTS zv_state(key CHAR(255) PRIMARY KEY NOT NULL, value TEXT);",
     "SELECT key FROM zv_state LIMIT 0,1", "zv_state corrupt, recreating.", std::nullopt},
    {"zv_progression", "progression, tries", "?, ?",
     "CREATE TABLE IF NOT EXISTS zv_progression(progression CHAR(255) PRIMARY KEY NOT NULL, tries CHAR(255));",
     "SELECT progression FROM zv_progression LIMIT 0,1", "zv_state corrupt, recreating.", std::nullopt},
});

// Small pages keep what one event writes small: its transaction rewrites a handful of them.
inline constexpr const char* kPageSize = "PRAGMA page_size = 1024";

}  // namespace zorvane
