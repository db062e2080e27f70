// The log that SQLite writes ahead of the archive's file. Here it is put on the disk, and moved into the file from time
// to time, so that the one that writes waits for neither.
//
// Thread:   sync() of one at a time, empty() of any; moving has a thread of its own.
// Lifetime: of the connection that writes, or shorter. The file must be in use by then.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "collector/archive/Sql.h"

namespace collector {

class WriteAheadLog {
 public:
  // Throws SqlFailure when the log can't be opened.
  WriteAheadLog(const std::string& path, sqlite3* writer);
  ~WriteAheadLog();
  WriteAheadLog(const WriteAheadLog&) = delete;
  WriteAheadLog& operator=(const WriteAheadLog&) = delete;

  // Puts all that was committed on the disk. What went wrong, or nothing.
  std::string sync();
  // Moves all of it into the file and leaves it without a byte; waits for readers for some seconds. What went wrong, or
  // nothing.
  std::string empty();

 private:
  void work();
  [[nodiscard]] bool isMovingDue() const;
  static int onCommit(void* log, sqlite3* writer, const char* name, int pages);

  sqlite3* const writer_;
  const Database mover_;  // guarded by moving_
  const int file_;
  bool isDoubtful_ = false;  // what couldn't be synced once may be taken for synced afterwards
  std::mutex moving_;
  std::mutex guard_;
  std::condition_variable grown_;
  int pages_ = 0;           // of the log; guarded by guard_, and so is what follows
  int moved_ = 0;           // how many it had when moving began last
  bool isRestDue_ = false;  // the writer is to move what is left
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace collector
