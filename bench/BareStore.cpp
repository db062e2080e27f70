#include "bench/BareStore.h"

#include <sqlite3.h>

#include <initializer_list>
#include <stdexcept>

#include "bench/Game.h"
#include "store/ZVStore.h"

using namespace zorvane;

namespace {

constexpr const char* kBegin = "BEGIN;";
constexpr const char* kCommit = "COMMIT";
constexpr const char* kInsertEvent =
    "INSERT INTO zv_events (status, category, session_id, client_ts, event) VALUES(?, ?, ?, ?, ?);";
constexpr const char* kReplaceSession =
    "INSERT OR REPLACE INTO zv_session(session_id, timestamp, event) VALUES(?, ?, ?);";

// What the library's database answers to a query, column after column of its first row.
std::vector<std::string> askLibrary(const std::string& sql, std::initializer_list<const char*> columns) {
  std::vector<std::string> texts;
  game::onWorkQueue([&] {
    const auto rows = ZVStore::executeQuerySyncWithSql(sql);
    if (!rows || rows->empty()) return;
    for (const char* column : columns)
      if (const std::string* text = rows->front().find(column)) texts.push_back(*text);
  });
  if (texts.size() != columns.size()) throw std::runtime_error("the library's database does not answer: " + sql);
  return texts;
}

std::string setting(const char* name) {
  return std::string("PRAGMA ") + name + " = " + askLibrary(std::string("PRAGMA ") + name, {name}).front();
}

std::string table(const std::string& name) {
  return askLibrary("SELECT sql FROM sqlite_master WHERE name = '" + name + "'", {"sql"}).front();
}

}  // namespace

void BareStore::Closer::operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
void BareStore::Finalizer::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

BareStore::BareStore(const std::string& file)
    : event_(askLibrary("SELECT * FROM zv_events WHERE category = 'design' LIMIT 1",
                        {"status", "category", "session_id", "client_ts", "event"})),
      session_(askLibrary("SELECT * FROM zv_session", {"session_id", "timestamp", "event"})) {
  sqlite3* handle = nullptr;
  const int opened = sqlite3_open((game::directory() + "/" + file).c_str(), &handle);
  database_.reset(handle);
  if (opened != SQLITE_OK) throw std::runtime_error("no bare database");
  for (const char* name : {"page_size", "journal_mode", "synchronous", "wal_autocheckpoint"})
    execute(setting(name).c_str());
  for (const std::string name : {"zv_events", "zv_session"}) {
    execute(("DROP TABLE IF EXISTS " + name).c_str());
    execute(table(name).c_str());
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
