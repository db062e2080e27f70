#include "collector/Service.h"

#include <fmt/format.h>

#include <atomic>
#include <ctime>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "collector/Metrics.h"
#include "collector/Readiness.h"
#include "collector/Reception.h"
#include "collector/Route.h"
#include "collector/Status.h"
#include "collector/archive/Retention.h"
#include "collector/base/Files.h"
#include "collector/base/Json.h"
#include "collector/configs/Follower.h"
#include "collector/questions/ArchiveEngine.h"
#include "collector/questions/WarehouseEngine.h"
#include "collector/visits/Visits.h"
#include "collector/warehouse/Credentials.h"
#include "collector/warehouse/Erasure.h"
#include "collector/warehouse/Settling.h"
#include "collector/warehouse/Shipper.h"

namespace collector {

namespace {

std::string tokenFrom(const std::string& path) {
  if (path.empty()) return "";
  std::string token = firstLineOf(contentOf(path));
  if (token.empty()) throw std::runtime_error(path + " holds no token in its first line");
  return token;
}

Access accessOf(const Options& options) {
  return Access({tokenFrom(options.readingTokenFile), tokenFrom(options.editingTokenFile)}, options.isExposed());
}

constexpr auto kImport = "import";  // the author's name

// The file holds a document for each game key. It counts once: edits since then outlive a restart, until the file
// changes.
void importConfigurations(const std::string& path, ConfigurationStore& configurations) {
  const std::string text = contentOf(path);
  const auto parsed = parseJson(text);
  if (!parsed.failure.empty() || !parsed.document.IsObject())
    throw std::runtime_error(fmt::format("{}: {}", path, parsed.failure.empty() ? "it is no object" : parsed.failure));
  for (const auto& member : parsed.document.GetObject()) {
    const std::string game(textOf(member.name)), document = jsonText(member.value);
    const auto current = configurations.current(game);
    const auto imported = configurations.lastBy(game, kImport);
    if (current.document == document || (imported && imported->document == document)) continue;
    const auto outcome = configurations.save(game, {0, std::time(nullptr), kImport, path, document}, current.version);
    if (!outcome.wrong.empty()) throw std::runtime_error(fmt::format("{}: {}: {}", path, game, outcome.wrong));
    if (outcome.saved != ConfigurationStore::Saved::yes) throw std::runtime_error(path + ": it can't be kept");
  }
}

// With the log of what was written last, which may be the larger one.
std::uint64_t sizeOfArchive(const std::string& path) {
  std::uint64_t bytes = 0;
  for (const char* behind : {"", "-wal"}) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(path + behind, missing);
    if (!missing) bytes += size;
  }
  return bytes;
}

Follower::Home homeOf(const Options& options) {
  return {options.configurationsHome, tokenFrom(options.configurationsTokenFile), options.configurationsCaFile};
}

std::optional<std::uint64_t> freeBytesBy(const std::string& path) {
  std::error_code failed;
  const auto space = std::filesystem::space(std::filesystem::absolute(path).parent_path(), failed);
  return failed ? std::nullopt : std::optional<std::uint64_t>(space.available);
}

std::string said(const std::string& failure) {
  return failure.empty() ? "The archive can be written again"
                         : fmt::format("The archive can't be written, so games keep their events: {}", failure);
}

// Archive and warehouse as what questions are asked of, and what an erasure has to reach.
struct Beyond {
  Beyond(const Options& options, Store& archive, Log& log)
      : warehouse(warehouseAddress(options.warehouse, options.warehouseCredentialsFile)),
        shipper(archive, warehouseAddress(options.warehouse, options.warehouseCredentialsFile),
                [&log](const std::string& line) { log.write(line); }, {}),
        settler(warehouseAddress(options.warehouse, options.warehouseCredentialsFile)),
        engine(warehouse, &archive.readers()) {}

  ClickHouse warehouse;
  Shipper shipper;
  Settler settler;
  WarehouseEngine engine;
};

}  // namespace

struct Service::Parts {
  Parts(const Options& options, Log& log)
      : games(options.gamesFile.empty() ? Games(options.games) : Games(options.gamesFile)),
        access(accessOf(options)),
        visits({options.quiet, options.logAddresses, [this](const front::Visit& visit) { return gameOf(visit); }}, log),
        databaseFile(options.databaseFile),
        archive(databaseFile, Store::Use::alone, [&log](const std::string& failure) { log.write(said(failure)); }),
        readiness(archive),
        configurations(archive),
        archiveEngine(archive.readers()),
        session(access),
        api({archive, engine(options, log), configurations, games, access, session, hub, visits.refused(),
             [this] { return watched(statusJson); }, options.configurationsHome}),
        reception({archive, configurations, games, api, access, hub, counters, log,
                   [this] { return watched(metricsText); }, [this] { return readiness.trouble(); }}),
        journal(log) {
    hub.expectErased(lastErasure(archive));
    if (!options.configsFile.empty()) importConfigurations(options.configsFile, configurations);
    if (!options.configurationsHome.empty())
      follower.emplace(homeOf(options), archive, configurations, [&log](std::string_view line) { log.write(line); });
    if (options.keepDays == 0) return;
    Retention::Rule rule;
    rule.days = options.keepDays;
    if (beyond) rule.last = handedOn;
    retention.emplace(archive, std::move(rule));
  }

  Engine& engine(const Options& options, Log& log) {
    if (options.warehouse.empty()) return archiveEngine;
    beyond.emplace(options, archive, log);
    return beyond->engine;
  }

  // In the form that `view` makes of it.
  std::string watched(std::string (*view)(const Watched& watched)) {
    const auto lag = beyond ? std::optional(beyond->shipper.lag()) : std::nullopt;
    const auto confirmed = follower ? follower->confirmedAt() : std::nullopt;
    return view({counters, visits.numbers(), archive.health(), sizeOfArchive(databaseFile), freeBytesBy(databaseFile),
                 journal.lost(), tally.load(), lag ? &*lag : nullptr,
                 confirmed ? std::optional(std::time(nullptr) - *confirmed) : std::nullopt, since});
  }

  [[nodiscard]] std::string gameOf(const front::Visit& visit) const {
    auto route = routeOf(visit.method, visit.target);
    return route && games.secretOf(route->game) ? std::move(route->game) : std::string();
  }

  const std::int64_t since = std::time(nullptr);
  Games games;
  Access access;
  Visits visits;
  const std::string databaseFile;
  // Both before the archive, which may still have something to say to them.
  Counters counters;
  Hub hub;
  Store archive;
  Readiness readiness;
  ConfigurationStore configurations;
  std::optional<Follower> follower;
  ArchiveEngine archiveEngine;
  std::optional<Beyond> beyond;
  std::atomic<const front::Tally*> tally{nullptr};
  Session session;
  Api api;
  Reception reception;
  Log& journal;
  std::optional<Retention> retention;
};

Service::Service(const Options& options, Log& log) : parts_(std::make_unique<Parts>(options, log)) {}

Service::~Service() = default;

front::Handler& Service::handler() { return parts_->reception; }

void Service::note(const front::Visit& visit) { parts_->visits.note(visit); }

void Service::watch(const front::Tally& tally) { parts_->tally = &tally; }

std::string Service::reloadGames() { return parts_->games.reload(); }

}  // namespace collector
