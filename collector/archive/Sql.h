// SQLite as the archive uses it: what fails is thrown, so that a transaction is whole or undone.
//
// Thread: a database and its statements belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace collector {

class SqlFailure : public std::runtime_error {
 public:
  explicit SqlFailure(const std::string& what) : std::runtime_error(what) {}
};

struct CloseDatabase {
  void operator()(sqlite3* database) const noexcept;
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

enum class OpenFor { writing, reading };
Database openDatabase(const std::string& path, OpenFor purpose);

void execute(sqlite3* database, const std::string& sql);

using Bytes = std::span<const std::uint8_t>;

// One statement, prepared once and run as often as needed. Texts and bytes are borrowed until its run ends.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  void bind(int parameter, std::int64_t value);
  void bind(int parameter, double value);
  void bind(int parameter, std::string_view value);
  void bind(int parameter, Bytes value);
  void bindNothing(int parameter);
  template <class Value>
  void bind(int parameter, const std::optional<Value>& value) {
    if (value) bind(parameter, *value);
    else bindNothing(parameter);
  }
  template <class... Values>
  Statement& with(const Values&... values) {
    int parameter = 0;
    (bind(++parameter, values), ...);
    return *this;
  }

  bool step();         // true while there is a row
  void reset();        // so that it can be bound and run again
  std::int64_t run();  // to its end; the number of rows changed

  [[nodiscard]] int columns() const;
  [[nodiscard]] bool isNothing(int column) const;
  [[nodiscard]] std::int64_t integer(int column) const;
  [[nodiscard]] double number(int column) const;
  [[nodiscard]] std::string_view text(int column) const;  // until the next step
  [[nodiscard]] Bytes bytes(int column) const;            // the same

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  void check(int result) const;

  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// Undone at the end of the scope unless it was committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  sqlite3* const database_;
  bool open_ = true;
};

}  // namespace collector
