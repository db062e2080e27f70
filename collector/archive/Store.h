// Store is the archive: one SQLite file with all that was taken. The promise behind an answer of success is kept here.
//
// Thread:   any. Writing takes turns on a thread of its own; each reader has a connection of its own, so neither waits
//           for the other.
// Lifetime: in the end what is waiting is still written. The file may be opened again after a kill, with all that was
//           answered.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "collector/archive/Readers.h"
#include "collector/archive/Sql.h"
#include "collector/archive/Taken.h"
#include "collector/archive/WriteAheadLog.h"
#include "collector/archive/Writer.h"

namespace collector {

// Keeps a second collector from a file: both would be right, but numbers that one has in mind the other has changed.
// Who only reads, and who erases a player, needs none. It ends with the process, however that ends.
class Occupation {
 public:
  explicit Occupation(const std::string& path);
  ~Occupation();
  Occupation(const Occupation&) = delete;
  Occupation& operator=(const Occupation&) = delete;

 private:
  const int file_;
};

class Store {
 public:
  enum class Use {
    alone,   // as the collector's; others are kept out
    beside,  // to change something in an archive that a collector may have in use
  };

  // Makes the file, which is its owner's alone, or brings it up to date. Throws SqlFailure with what is wrong: then a
  // file that is none of ours is as it was.
  explicit Store(const std::string& path, Use use = Use::alone, Writer::Watch watch = {});
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // All of it or, when `done` hears false, nothing.
  void keep(std::shared_ptr<const Taken> taken, Writer::Done done) { writer_.keep(std::move(taken), std::move(done)); }
  void write(Writer::Task task, Writer::Done done) { writer_.run(std::move(task), std::move(done)); }
  bool writeNow(const Writer::Task& task);  // the same, waiting for its end; not from the writer's thread

  // Moves the log into the file, so that nothing that was deleted is left in it. False when somebody reads for too
  // long.
  bool emptyLog() { return log_.empty().empty(); }

  // Runs `use` with a connection that sees one state of the file throughout. What `use` throws is passed on.
  void read(const std::function<void(sqlite3* database)>& use) { readers_.read(use); }
  Readers& readers() { return readers_; }

  [[nodiscard]] Writer::Health health() { return writer_.health(); }

 private:
  const std::unique_ptr<Occupation> occupation_;
  const Database database_;  // the writer's
  WriteAheadLog log_;
  Readers readers_;
  Writer writer_;
};

}  // namespace collector
