#include "store/ZVStore.h"

#include <sqlite3.h>

#include <utility>

#include "platform/FolderLock.h"
#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "store/Database.h"

namespace zorvane {

namespace {

constinit SharedInstance<ZVStore> shared;

constexpr std::int64_t kMiB = std::int64_t{1024} * 1024;

}  // namespace

ZVStore::ZVStore() : database(std::make_unique<Database>()) {
  // The television's storage may be wiped at any time, so there the database lives in memory.
  const bool inMemory = platform().television;
  database->path = inMemory ? "file::memory:" : applicationDataDirectory() + "/zorvane.sqlite";
  maxDbSizeBytesBeforeTrim = inMemory ? 2 * kMiB : 5 * kMiB;
  maxDbSizeBytes = inMemory ? 2 * kMiB + kMiB / 2 : 6 * kMiB;
}

ZVStore::~ZVStore() = default;

// With a statement left, it would stay open.
void Database::Closer::operator()(sqlite3* database) const noexcept {
  while (sqlite3_stmt* const kept = sqlite3_next_stmt(database, nullptr)) sqlite3_finalize(kept);
  sqlite3_close_v2(database);
}

ZVStore& ZVStore::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVStore> ZVStore::setSharedInstance(std::unique_ptr<ZVStore> instance) {
  return shared.exchange(std::move(instance));
}

sqlite3* ZVStore::getDatabase() { return sharedInstance().database->handle.get(); }

}  // namespace zorvane
