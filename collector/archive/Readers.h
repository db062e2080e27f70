// Readers lends connections that only read an archive's file, one for each who reads at a time.
//
// Thread: any.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "collector/archive/Sql.h"

namespace collector {

class Readers {
 public:
  explicit Readers(std::string path) : path_(std::move(path)) {}

  // Runs `use` with a connection that sees one state of the file throughout. What `use` throws is passed on.
  void read(const std::function<void(sqlite3* database)>& use);

 private:
  const std::string path_;
  std::mutex guard_;
  std::vector<Database> idle_;  // guarded by guard_
};

}  // namespace collector
