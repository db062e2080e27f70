#include "collector/archive/Migration.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "collector/archive/FirstVersion.h"
#include "collector/archive/Schema.h"
#include "collector/archive/Sql.h"

namespace collector {

namespace {

// What makes the next version out of one. The last thing that it does is to say so in the file.
struct Step {
  std::int64_t version;
  void (*next)(sqlite3* database);
};
constexpr auto kSteps = std::to_array<Step>({{0, makeTables}, {1, moveFirstVersion}});

std::int64_t wholeOf(sqlite3* database, std::string_view sql) {
  Statement statement(database, sql);
  statement.step();
  return statement.integer(0);
}

std::int64_t versionOf(sqlite3* database) { return wholeOf(database, "PRAGMA user_version"); }

// Each version has had a table of events, and nothing that is empty has a version.
bool isArchive(sqlite3* database, std::int64_t version) {
  const std::int64_t tables = wholeOf(database, "SELECT count(*) FROM sqlite_master");
  if (version == 0) return tables == 0;
  return wholeOf(database,
                 "SELECT count(*) FROM sqlite_master WHERE name = 'rejected' OR name = 'first_rejected' AND type = "
                 "'table'") > 0;
}

}  // namespace

void checkVersion(sqlite3* database) {
  const std::int64_t version = versionOf(database);
  if (version > kSchemaVersion)
    throw SqlFailure(fmt::format("it is of version {}, which a later collector made; this one knows up to version {}",
                                 version, kSchemaVersion));
  if (!isArchive(database, version)) throw SqlFailure("it is no archive of this collector");
}

bool isUpToDate(sqlite3* database) { return versionOf(database) == kSchemaVersion; }

void bringUpToDate(sqlite3* database) {
  for (auto version = versionOf(database); version < kSchemaVersion; version = versionOf(database))
    std::ranges::find(kSteps, version, &Step::version)->next(database);
}

}  // namespace collector
