#include "collector/archive/Readers.h"

#include <utility>

namespace collector {

namespace {

constexpr std::size_t kMostIdle = 4;

}  // namespace

void Readers::read(const std::function<void(sqlite3* database)>& use) {
  Database reader;
  {
    const std::scoped_lock lock(guard_);
    if (!idle_.empty()) {
      reader = std::move(idle_.back());
      idle_.pop_back();
    }
  }
  if (!reader) reader = openDatabase(path_, OpenFor::reading);
  execute(reader.get(), "BEGIN");
  use(reader.get());  // a connection that failed is not used again
  execute(reader.get(), "COMMIT");
  const std::scoped_lock lock(guard_);
  if (idle_.size() < kMostIdle) idle_.push_back(std::move(reader));
}

}  // namespace collector
