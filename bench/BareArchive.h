// BareArchive is the least that keeping events takes: each body is inflated and parsed, and what stands in its records
// goes into one table of SQLite's, a column for each field that questions are asked about. It judges nothing, and
// answers nobody.
//
// Thread: one.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

class BareArchive {
 public:
  enum class Repeats { kept, refused };  // refused: with an index of event_uuid, by which they are known

  BareArchive(const std::string& file, Repeats repeats);

  // Bodies as they were sent, compressed. One transaction, on disk when this returns.
  void keep(std::span<const std::string_view> bodies);
  [[nodiscard]] std::int64_t events() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const noexcept;
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  void execute(const std::string& sql);
  void insert(std::string_view body);

  std::unique_ptr<sqlite3, Closer> database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> insert_;
  std::string room_;  // to inflate into
};

// Reads every row of the collector's events once, as a question without an index or small tables would. How many.
std::int64_t scanEvents(const std::string& archive);
