// BareStore is SQLite alone, doing what storing one event asks of it: the same two statements in one transaction, with
// the tables, the settings and the texts of the library's own database.
//
// Thread:   one.
// Lifetime: its file goes with the game's directory.
#pragma once

#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

class BareStore {
 public:
  // `file`: in the game's directory, made again. The game has stored an event, whose texts and tables it takes.
  explicit BareStore(const std::string& file);

  void storeEvent();          // both statements prepared each time, as their texts come
  void storeEventPrepared();  // both prepared once

 private:
  struct Closer {
    void operator()(sqlite3* database) const noexcept;
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;
  using Row = std::vector<std::string>;

  void execute(const char* sql);
  Statement prepare(const char* sql);
  void step(sqlite3_stmt* statement);
  void insert(sqlite3_stmt* statement, const Row& row);

  Row event_;
  Row session_;
  std::unique_ptr<sqlite3, Closer> database_;
  Statement begin_;
  Statement commit_;
  Statement insertEvent_;
  Statement replaceSession_;
};
