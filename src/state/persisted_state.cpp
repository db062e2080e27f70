#include <array>
#include <utility>

#include "codecs/json.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "state/Records.h"
#include "store/ZVStore.h"
#include "values/Text.h"

namespace zorvane {

namespace {

struct StoredDimension {
  std::string_view key;
  std::string_view shownName;
  void (*persist)(ZVText);
};
constexpr auto kStoredDimensions = std::to_array<StoredDimension>({
    {"dimension01", "Dimension01", ZVStore::persistStateDimension01WithValue},
    {"dimension02", "Dimension02", ZVStore::persistStateDimension02WithValue},
    {"dimension03", "Dimension03", ZVStore::persistStateDimension03WithValue},
});

// What is stored goes out with every event: what an older version, or damage, left there must not make it unwritable.
constexpr std::size_t kMaxConfigBytes = std::size_t{512} * 1024;  // above what an init answer may become
constexpr std::size_t kMaxUserIdLength = 64;

// What an earlier run left, as it was read.
struct Persisted {
  std::array<std::optional<std::string>, 3> dimensions;
  bool newInstall = false;
  bool useIdfv = false;
  std::int64_t sessionNum = 0;
  std::int64_t transactionNum = 0;
};

using KeyValues = ZVStore::KeyValues;

std::optional<std::string> valueOf(const KeyValues& values, std::string_view key) {
  const auto found = values.find(key);
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

// The configuration of an earlier run. For another player its hash is dropped, so the collector sends all of it again.
std::optional<ZVMap> cachedConfig(const std::optional<std::string>& json) {
  if (!json || json->size() > kMaxConfigBytes) return std::nullopt;
  auto parsed = readJson(*json);
  if (!parsed || parsed->ifMap() == nullptr) return std::nullopt;
  ZVMap config = *parsed->ifMap();
  const auto lastUsed = ZVState::getLastUsedIdentifier();
  const std::string current = ZVState::getUserId();  // becomes the last one used
  if (lastUsed && *lastUsed != current) {
    ZVLogger::w(0, "New identifier spotted compared to last one used, clearing cached configs hash!!");
    config.erase("configs_hash");
  }
  return config;
}

std::optional<Persisted> readDatabase() {
  ZVLogger::d(0, "Platform is iOS - retrieving persisted states from local SQLite db");
  const auto stored = ZVStore::readDbState();
  const auto tries = ZVStore::readProgressionTries();
  if (!stored || !tries) return std::nullopt;
  const KeyValues& values = *stored;
  Persisted persisted;
  for (std::size_t i = 0; i < kStoredDimensions.size(); ++i)
    persisted.dimensions[i] = valueOf(values, kStoredDimensions[i].key);
  // The first run of an installation is the one that finds no such key and can write it.
  const auto newInstall = valueOf(values, "new_install");
  persisted.newInstall = newInstall ? booleanReading(*newInstall) : ZVStore::setDbStateWithKey("new_install", "NO");
  persisted.useIdfv = booleanReading(valueOf(values, "use_idfv").value_or(""));
  persisted.sessionNum = integerOfText(valueOf(values, "session_num").value_or(""));
  persisted.transactionNum = integerOfText(valueOf(values, "transaction_num").value_or(""));
  if (const auto config = valueOf(values, "sdk_config_cached")) state().sdkConfig.adoptCached(cachedConfig(config));
  ZVState::adoptConfigIds(ZVState::getSdkConfig());
  for (const auto& [progression, count] : *tries) state().progressionTries[progression] = integerOfText(count);
  return persisted;
}

std::optional<Persisted> readUserDefaults() {
  ZVLogger::d(0, "Platform is TVos - retrieving persisted states from local NSUserDefaults");
  const ZVUserDefaults& defaults = *platform().userDefaults;
  Persisted persisted;
  for (std::size_t i = 0; i < kStoredDimensions.size(); ++i)
    persisted.dimensions[i] = defaults.stringForKey(kStoredDimensions[i].key);
  persisted.sessionNum = integerOfText(defaults.stringForKey("session_num").value_or(""));
  persisted.transactionNum = integerOfText(defaults.stringForKey("transaction_num").value_or(""));
  return persisted;
}

void adoptRandomUserId() {
  auto randomUserId = platform().userDefaults->stringForKey("zv_testflight_user_id");
  if (!randomUserId || utf16Length(*randomUserId).value_or(kMaxUserIdLength + 1) > kMaxUserIdLength) return;
  ZVLogger::d(0, "Randomly generated user_id found in persisted cache: {}", *randomUserId);
  state().identity.adoptRandom(*std::move(randomUserId));
}

// What the game set before initialisation wins and is written back.
void adoptDimensions(const Persisted& persisted) {
  auto& current = state().configuration.dimensions;
  for (std::size_t i = 0; i < current.size(); ++i) {
    if (current[i]) {
      kStoredDimensions[i].persist(current[i]);
    } else if (persisted.dimensions[i]) {
      current[i] = persisted.dimensions[i];
      ZVLogger::d(0, "{} found in persisted cache: {}", kStoredDimensions[i].shownName, *current[i]);
    }
  }
}

void adoptInstallation(const Persisted& persisted) {
  state().session.setFirstOfInstallation(persisted.newInstall);
  Identity& identity = state().identity;
  identity.preferIdfv((persisted.newInstall && ZVStore::setDbStateWithKey("use_idfv", "YES")) || persisted.useIdfv);
  if (identity.prefersIdfv()) ZVLogger::d(0, "Using idfv as user_id.");
}

void adoptNumber(CountedNumber& number, std::int64_t persisted, void (*persist)(ZVText), std::string_view name) {
  if (number.adopt(persisted)) ZVLogger::d(0, "{} found in persisted cache.", name);
  else persist(std::to_string(number.value()));
}

}  // namespace

bool ZVState::ensurePersistedStates() {
  const std::optional<Persisted> persisted = platform().television ? readUserDefaults() : readDatabase();
  if (!persisted) {
    ZVLogger::w(0, "Could not read the persisted state from the event database");
    return false;
  }
  adoptRandomUserId();
  adoptDimensions(*persisted);
  adoptInstallation(*persisted);
  adoptNumber(state().session.number, persisted->sessionNum, ZVStore::persistStateSessionNumWithValue, "session_num");
  adoptNumber(state().session.transactions, persisted->transactionNum, ZVStore::persistStateTransactionNumWithValue,
              "transaction_num");
  return true;
}

}  // namespace zorvane
