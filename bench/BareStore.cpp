#include "bench/BareStore.h"

#include <sqlite3.h>

#include <stdexcept>

#include "bench/Game.h"

namespace {

constexpr const char* kBegin = "BEGIN;";
constexpr const char* kCommit = "COMMIT";
constexpr const char* kInsertEvent =
    "INSERT INTO zv_events (status, category, session_id, client_ts, event) VALUES(?, ?, ?, ?, ?);";
constexpr const char* kReplaceSession =
    "INSERT OR REPLACE INTO zv_session(session_id, timestamp, event) VALUES(?, ?, ?);";

// What a database answers to a query: the first row, each column's text.
std::vector<std::string> ask(sqlite3* database, const std::string& sql) {
  std::vector<std::string> texts;
  const auto take = [](void* into, int columns, char** values, char**) {
    for (int column = 0; column < columns; ++column)
      static_cast<std::vector<std::string>*>(into)->emplace_back(values[column] != nullptr ? values[column] : "");
    return 1;  // one row is enough
  };
  sqlite3_exec(database, sql.c_str(), take, &texts, nullptr);
  if (texts.empty()) throw std::runtime_error("the library's database does not answer: " + sql);
  return texts;
}

sqlite3* opened(const std::string& file) {
  sqlite3* handle = nullptr;
  if (sqlite3_open((game::directory() + "/" + file).c_str(), &handle) != SQLITE_OK)
    throw std::runtime_error("can't open " + file);
  return handle;
}

}  // namespace

void BareStore::Closer::operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
void BareStore::Finalizer::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

BareStore::BareStore(const std::string& file) : database_(opened(file)) {
  const std::unique_ptr<sqlite3, Closer> library(opened("zorvane.sqlite"));
  event_ = ask(library.get(),
               "SELECT status, category, session_id, client_ts, event FROM zv_events WHERE category = 'design'");
  session_ = ask(library.get(), "SELECT session_id, timestamp, event FROM zv_session");
  execute(("PRAGMA page_size = " + ask(library.get(), "PRAGMA page_size").front()).c_str());
  execute(("PRAGMA journal_mode = " + ask(library.get(), "PRAGMA journal_mode").front()).c_str());
  execute("PRAGMA synchronous = NORMAL");  // this and the next are the library's connection's, not its file's
  execute("PRAGMA wal_autocheckpoint = 1000");
  for (const std::string name : {"zv_events", "zv_session"}) {
    execute(("DROP TABLE IF EXISTS " + name).c_str());
    execute(ask(library.get(), "SELECT sql FROM sqlite_master WHERE name = '" + name + "'").front().c_str());
  }
  begin_ = prepare(kBegin);
  commit_ = prepare(kCommit);
  insertEvent_ = prepare(kInsertEvent);
  replaceSession_ = prepare(kReplaceSession);
}

void BareStore::storeEvent() {
  execute(kBegin);
  insert(prepare(kInsertEvent).get(), event_);
  insert(prepare(kReplaceSession).get(), session_);
  execute(kCommit);
}

void BareStore::storeEventPrepared() {
  step(begin_.get());
  insert(insertEvent_.get(), event_);
  insert(replaceSession_.get(), session_);
  step(commit_.get());
}

void BareStore::execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    throw std::runtime_error(sqlite3_errmsg(database_.get()));
}

BareStore::Statement BareStore::prepare(const char* sql) {
  sqlite3_stmt* handle = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql, -1, &handle, nullptr) != SQLITE_OK)
    throw std::runtime_error(sqlite3_errmsg(database_.get()));
  return Statement(handle);
}

void BareStore::step(sqlite3_stmt* statement) {
  if (sqlite3_step(statement) != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(database_.get()));
  sqlite3_reset(statement);
}

void BareStore::insert(sqlite3_stmt* statement, const Row& row) {
  int index = 0;
  for (const std::string& text : row)
    sqlite3_bind_text(statement, ++index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  step(statement);
}
