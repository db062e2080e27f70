// The database that is open, and what was found out about the disk that it is on. For the files of this folder.
//
// Thread: the work queue; while a crash is handled, the thread that does.
#pragma once

#include <memory>
#include <string>

struct sqlite3;

namespace zorvane {

struct Database {
  struct Closer {
    void operator()(sqlite3* handle) const noexcept;
  };
  std::unique_ptr<sqlite3, Closer> handle;
  std::string path;
  bool fullDiskIsKnown = false;  // and has been warned of
  bool reserveIsLent = false;    // in part or whole, until the run of the queue is over
};

}  // namespace zorvane
