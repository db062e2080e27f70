#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "store/Repeat.h"
#include "store/ZVStore.h"

namespace zorvane {

namespace {

// The television keeps its state in the user defaults, for its database doesn't outlive the process.
void persist(const char* key, ZVText value) {
  if (platform().television) ZVStore::setUserDefaultsStateWithKey(key, value);
  else ZVStore::setDbStateWithKey(key, value);
}

// A read that fails for once must not pass for a new installation, whose sessions are counted from 1.
std::optional<ZVStore::KeyValues> read(const std::string& sql, std::string_view key, std::string_view value) {
  const auto rows = repeated([&] { return ZVStore::executeQuerySyncWithSql(sql); },
                             [](const auto& result) { return !result.has_value(); });
  if (!rows) return std::nullopt;
  ZVStore::KeyValues values;
  for (const ZVStore::Row& row : *rows)
    if (row.find(key) != nullptr && row.find(value) != nullptr)
      values.insert_or_assign(*row.find(key), *row.find(value));
  return values;
}

}  // namespace

std::optional<ZVStore::KeyValues> ZVStore::readDbState() { return read("SELECT * FROM zv_state;", "key", "value"); }
std::optional<ZVStore::KeyValues> ZVStore::readProgressionTries() {
  return read("SELECT * FROM zv_progression;", "progression", "tries");
}

bool ZVStore::setDbStateWithKey(const std::string& key, ZVText value) {
  if (!value.present()) return executeQuerySyncWithSql("DELETE FROM zv_state WHERE key = ?;", {key}).has_value();
  return executeQuerySyncWithSql("INSERT OR REPLACE INTO zv_state (key, value) VALUES(?, ?);",
                                 {key, std::string(value.view())}, true)
      .has_value();
}

void ZVStore::setUserDefaultsStateWithKey(const std::string& key, ZVText value) {
  if (value.present()) platform().userDefaults->setString(key, value.view());
  else platform().userDefaults->removeKey(key);
}

void ZVStore::persistStateDimension01WithValue(ZVText value) { persist("dimension01", value); }
void ZVStore::persistStateDimension02WithValue(ZVText value) { persist("dimension02", value); }
void ZVStore::persistStateDimension03WithValue(ZVText value) { persist("dimension03", value); }
void ZVStore::persistStateSessionNumWithValue(ZVText value) { persist("session_num", value); }
void ZVStore::persistStateTransactionNumWithValue(ZVText value) { persist("transaction_num", value); }

void ZVStore::persistStateCachedConfigWithValue(ZVText value) {
  if (platform().television) ZVLogger::d(0, "Trying to cache config init data on TVos - cannot. Skipping.");
  else setDbStateWithKey("sdk_config_cached", value);
}

void ZVStore::persistStateRandomUserId(ZVText value) {
  setUserDefaultsStateWithKey("zv_testflight_user_id", value);
  platform().userDefaults->synchronize();
}

void ZVStore::persistProgressionTries(ZVText tries, ZVText progressionId) {
  if (platform().television) {
    ZVLogger::d(0, "Trying to persistProgressionTries on TVos - cannot. Skipping.");
    return;
  }
  executeQuerySyncWithSql("INSERT OR REPLACE INTO zv_progression (progression, tries) VALUES(?, ?);",
                          {std::string(progressionId.view()), std::string(tries.view())});
}

void ZVStore::clearStoredProgressionTriesForProgressionId(ZVText progressionId) {
  if (platform().television) {
    ZVLogger::d(0, "Trying to clearStoredProgressionTriesForProgressionId on TVos - cannot. Skipping.");
    return;
  }
  executeQuerySyncWithSql("DELETE FROM zv_progression WHERE progression = ?;", {std::string(progressionId.view())});
}

}  // namespace zorvane
