#include "store/ZVStore.h"

#include <sqlite3.h>

#include <utility>

#include "platform/FolderLock.h"
#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "state/ZVState.h"

namespace zorvane {

namespace {

constinit SharedInstance<ZVStore> shared;

constexpr std::int64_t kMiB = std::int64_t{1024} * 1024;

}  // namespace

ZVStore::ZVStore() {
  // The television's storage may be wiped at any time, so there the database lives in memory.
  const bool inMemory = ZVState::isTVos();
  dbPath = inMemory ? "file::memory:" : applicationDataDirectory() + "/zorvane.sqlite";
  maxDbSizeBytesBeforeTrim = inMemory ? 2 * kMiB : 5 * kMiB;
  maxDbSizeBytes = inMemory ? 2 * kMiB + kMiB / 2 : 6 * kMiB;
}

ZVStore::~ZVStore() = default;

void ZVStore::Closer::operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }

ZVStore& ZVStore::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVStore> ZVStore::setSharedInstance(std::unique_ptr<ZVStore> instance) {
  return shared.exchange(std::move(instance));
}

sqlite3* ZVStore::getDatabase() { return sharedInstance().database.get(); }

const std::string* ZVStore::Row::find(std::string_view column) const {
  for (const auto& [name, text] : columns_)
    if (name == column) return &text;
  return nullptr;
}

std::string ZVStore::Row::textOf(std::string_view column) const {
  const std::string* text = find(column);
  return text != nullptr ? *text : std::string();
}

}  // namespace zorvane
