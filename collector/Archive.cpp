#include "collector/Archive.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <ctime>

namespace collector {

namespace {

constexpr int kBusyMilliseconds = 5'000;
constexpr std::size_t kMaxListedBytes = std::size_t{16} << 20U;
constexpr int kSchemaVersion = 1;

// An answer lets the game delete its events, so a commit is on the disk before it returns.
constexpr auto kSettings = "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;";

constexpr auto kSchema = R"(
  BEGIN IMMEDIATE;
  CREATE TABLE IF NOT EXISTS requests(id INTEGER PRIMARY KEY, received_at INTEGER, kind TEXT, game_key TEXT,
    status INTEGER, signature TEXT, compressed INTEGER, bytes INTEGER, inflated INTEGER);
  CREATE TABLE IF NOT EXISTS inits(request_id INTEGER PRIMARY KEY REFERENCES requests, body TEXT);
  CREATE TABLE IF NOT EXISTS events(id INTEGER PRIMARY KEY AUTOINCREMENT, request_id INTEGER REFERENCES requests,
    category TEXT, event_uuid TEXT, session_id TEXT, user_id TEXT, client_ts INTEGER, record TEXT);
  CREATE TABLE IF NOT EXISTS rejected(id INTEGER PRIMARY KEY, request_id INTEGER REFERENCES requests, position INTEGER,
    reasons TEXT, record TEXT);
  CREATE INDEX IF NOT EXISTS events_by_uuid ON events(event_uuid);
  CREATE INDEX IF NOT EXISTS events_by_request ON events(request_id);
  CREATE INDEX IF NOT EXISTS rejected_by_request ON rejected(request_id);
  PRAGMA user_version = 1;
  COMMIT;)";

// One statement, run step by step.
class Statement {
 public:
  Statement(sqlite3* database, const char* sql) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &raw, nullptr) != SQLITE_OK) failed_ = true;
    statement_.reset(raw);
  }

  template <class... Values>
  Statement& bind(const Values&... values) {
    (bindNext(values), ...);
    return *this;
  }
  // True while there is a row.
  bool step() {
    const int result = failed_ ? SQLITE_ERROR : sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) failed_ = true;
    return result == SQLITE_ROW;
  }
  bool run() {
    step();
    sqlite3_reset(statement_.get());
    next_ = 1;
    return !failed_;
  }
  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] std::int64_t integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }
  [[nodiscard]] std::string text(int column) const {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    return bytes == nullptr
               ? std::string()
               : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)));
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };

  void bindNext(std::int64_t value) { note(sqlite3_bind_int64(statement_.get(), next_++, value)); }
  void bindNext(std::string_view value) {  // borrowed: the caller's text outlives the run
    const char* const bytes = value.data() == nullptr ? "" : value.data();
    note(sqlite3_bind_text64(statement_.get(), next_++, bytes, value.size(), SQLITE_STATIC, SQLITE_UTF8));
  }
  template <class Value>
  void bindNext(const std::optional<Value>& value) {
    if (value) bindNext(*value);
    else note(sqlite3_bind_null(statement_.get(), next_++));
  }
  void note(int result) { failed_ = failed_ || result != SQLITE_OK; }

  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  int next_ = 1;
  bool failed_ = false;
};

bool execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// Undone at the end of the scope unless it was committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* database) : database_(database), open_(execute(database, "BEGIN IMMEDIATE")) {}
  ~Transaction() {
    if (open_) execute(database_, "ROLLBACK");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  [[nodiscard]] bool isOpen() const { return open_; }
  bool commit() {
    const bool done = execute(database_, "COMMIT");
    open_ = !done;
    return done;
  }

 private:
  sqlite3* const database_;
  bool open_;
};

std::int64_t whole(std::size_t number) { return static_cast<std::int64_t>(number); }

std::optional<std::string_view> signatureWord(std::optional<bool> good) {
  if (!good) return std::nullopt;
  return *good ? "good" : "bad";
}

}  // namespace

std::unique_ptr<Archive> Archive::open(const std::string& path, std::string& problem) {
  sqlite3* database = nullptr;
  const int result = sqlite3_open(path.c_str(), &database);
  std::unique_ptr<Archive> archive(new Archive(database));  // a failed opening leaves a handle, too
  if (result != SQLITE_OK) {
    problem = fmt::format("{} can't be opened: {}", path, sqlite3_errstr(result));
    return nullptr;
  }
  sqlite3_busy_timeout(database, kBusyMilliseconds);
  if (archive->prepareSchema(problem)) return archive;
  problem = fmt::format("{} can't be used: {}", path, problem);
  return nullptr;
}

Archive::~Archive() { sqlite3_close_v2(database_); }

bool Archive::prepareSchema(std::string& problem) {
  Statement probe(database_, "SELECT user_version, (SELECT count(*) FROM sqlite_master) FROM pragma_user_version");
  const bool readable = probe.step();
  const auto version = readable ? probe.integer(0) : 0;
  const bool foreign = readable && version != kSchemaVersion && (version != 0 || probe.integer(1) != 0);
  if (foreign) problem = "it is no archive of this collector";
  if (!readable) problem = sqlite3_errmsg(database_);
  if (foreign || !readable) return false;
  probe.run();
  if (execute(database_, kSettings) && execute(database_, kSchema)) return true;
  problem = sqlite3_errmsg(database_);
  return false;
}

bool Archive::keep(const Exchange& exchange) {
  const std::scoped_lock lock(guard_);
  Transaction transaction(database_);
  return transaction.isOpen() && insert(exchange) && transaction.commit();
}

bool Archive::insert(const Exchange& exchange) {
  Statement request(database_,
                    "INSERT INTO requests(received_at, kind, game_key, status, signature, compressed, bytes, inflated) "
                    "VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
  request.bind(std::int64_t{std::time(nullptr)}, exchange.kind, exchange.gameKey, std::int64_t{exchange.status},
               signatureWord(exchange.signatureGood), std::int64_t{exchange.compressed}, whole(exchange.bytes),
               whole(exchange.inflated));
  if (!request.run()) return false;
  const std::int64_t id = sqlite3_last_insert_rowid(database_);

  Statement init(database_, "INSERT INTO inits(request_id, body) VALUES(?, ?)");
  if (!exchange.initBody.empty() && !init.bind(id, exchange.initBody).run()) return false;

  Statement taken(database_,
                  "INSERT INTO events(request_id, category, event_uuid, session_id, user_id, client_ts, record) "
                  "VALUES(?, ?, ?, ?, ?, ?, ?)");
  for (const auto& each : exchange.taken)
    if (!taken.bind(id, each.category, each.eventUuid, each.sessionId, each.userId, each.clientTs, each.record).run())
      return false;

  Statement rejected(database_, "INSERT INTO rejected(request_id, position, reasons, record) VALUES(?, ?, ?, ?)");
  for (const auto& each : exchange.rejected)
    if (!rejected.bind(id, whole(each.index), std::string_view(each.reasons), each.record).run()) return false;
  return true;
}

std::optional<ArchiveSummary> Archive::summary() {
  const std::scoped_lock lock(guard_);
  ArchiveSummary summary;
  Statement totals(database_,
                   "SELECT count(*), ifnull(sum(signature = 'good'), 0), ifnull(sum(signature = 'bad'), 0), "
                   "ifnull(sum(bytes), 0), ifnull(sum(inflated), 0), (SELECT count(*) FROM inits), "
                   "(SELECT count(*) FROM events), (SELECT count(*) FROM rejected), "
                   "(SELECT count(event_uuid) - count(DISTINCT event_uuid) FROM events) FROM requests");
  if (!totals.step()) return std::nullopt;
  int column = 0;
  for (auto* const total :
       {&summary.requests, &summary.goodSignatures, &summary.badSignatures, &summary.bytesSent, &summary.bytesInflated,
        &summary.inits, &summary.events, &summary.rejected, &summary.duplicates})
    *total = totals.integer(column++);

  Statement categories(database_, "SELECT category, count(*) FROM events GROUP BY category");
  while (categories.step()) summary.categories.emplace(categories.text(0), categories.integer(1));

  Statement games(database_,
                  "SELECT game_key, count(*), sum((SELECT count(*) FROM inits WHERE request_id = r.id)), "
                  "sum((SELECT count(*) FROM events WHERE request_id = r.id)), "
                  "sum((SELECT count(*) FROM rejected WHERE request_id = r.id)) FROM requests r "
                  "WHERE signature = 'good' GROUP BY game_key");
  while (games.step())
    summary.games[games.text(0)] = {games.integer(1), games.integer(2), games.integer(3), games.integer(4)};
  if (categories.failed() || games.failed()) return std::nullopt;
  return summary;
}

std::optional<std::vector<ArchivedEvent>> Archive::eventsAfter(std::int64_t id, std::int64_t limit) {
  const std::scoped_lock lock(guard_);
  Statement rows(database_,
                 "SELECT e.id, r.received_at, r.game_key, e.category, e.record FROM events e "
                 "JOIN requests r ON r.id = e.request_id WHERE e.id > ? ORDER BY e.id LIMIT ?");
  rows.bind(id, limit);
  std::vector<ArchivedEvent> events;
  for (std::size_t bytes = 0; bytes < kMaxListedBytes && rows.step(); bytes += events.back().record.size())
    events.push_back({rows.integer(0), rows.integer(1), rows.text(2), rows.text(3), rows.text(4)});
  if (rows.failed()) return std::nullopt;
  return events;
}

}  // namespace collector
