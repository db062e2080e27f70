#include "collector/configs/ConfigurationStore.h"

#include <fmt/format.h>

#include <utility>
#include <variant>

#include "collector/configs/Digest.h"

namespace collector {

namespace {

std::int64_t lastVersion(sqlite3* archive, std::string_view game) {
  Statement last(archive, "SELECT max(version) FROM configurations WHERE game = ?");
  last.with(game).step();
  return last.integer(0);  // 0 where there is none
}

// Null for "", or with what is wrong.
std::shared_ptr<const Configurations> contentOf(const std::string& document, std::string& wrong) {
  if (document.empty()) return nullptr;
  auto read = Configurations::read(document);
  if (auto* content = std::get_if<Configurations>(&read))
    return std::make_shared<const Configurations>(std::move(*content));
  wrong = std::get<std::string>(read);
  return nullptr;
}

constexpr auto kOfVersions = "version, at, author, note";

ConfigurationVersion versionOf(const Statement& row) {
  return {row.integer(0), row.integer(1), std::string(row.text(2)), std::string(row.text(3)), ""};
}

std::optional<ConfigurationVersion> one(Store& archive, const char* which, std::string_view game, auto value) {
  std::optional<ConfigurationVersion> found;
  archive.read([&](sqlite3* database) {
    Statement row(database,
                  fmt::format("SELECT {}, document FROM configurations WHERE game = ? AND {}", kOfVersions, which));
    if (!row.with(game, value).step()) return;
    found = versionOf(row);
    found->document = row.text(4);
  });
  return found;
}

}  // namespace

ConfigurationStore::ConfigurationStore(Store& archive) : archive_(archive) { load(); }

void ConfigurationStore::load() {
  archive_.read([&](sqlite3* archive) {
    Statement last(archive, fmt::format("SELECT {}, document, game FROM configurations WHERE version IN (SELECT "
                                        "max(version) FROM configurations GROUP BY game)",
                                        kOfVersions));
    while (last.step()) {
      auto version = versionOf(last);
      version.document = last.text(4);
      std::string wrong;
      auto content = contentOf(version.document, wrong);
      putInForce(last.text(5), {std::move(version), std::move(content)});
    }
  });
}

// Two that save at once come here in any order; the archive has put their versions in one.
void ConfigurationStore::putInForce(std::string_view game, InForce next) {
  const std::scoped_lock lock(guard_);
  InForce& known = inForce_[std::string(game)];
  if (known.version.version < next.version.version) known = std::move(next);
  revision_.clear();
}

std::shared_ptr<const Configurations> ConfigurationStore::inForce(std::string_view game) {
  const std::scoped_lock lock(guard_);
  const auto found = inForce_.find(game);
  return found != inForce_.end() ? found->second.content : nullptr;
}

ConfigurationVersion ConfigurationStore::current(std::string_view game) {
  const std::scoped_lock lock(guard_);
  const auto found = inForce_.find(game);
  return found != inForce_.end() ? found->second.version : ConfigurationVersion();
}

AllConfigurations ConfigurationStore::all() {
  const std::scoped_lock lock(guard_);
  AllConfigurations all;
  for (const auto& [game, each] : inForce_)
    if (!each.version.document.empty()) all.emplace(game, each.version);
  return all;
}

std::string ConfigurationStore::revision() {
  const std::scoped_lock lock(guard_);
  if (!revision_.empty()) return revision_;
  std::string documents;
  for (const auto& [game, each] : inForce_)
    if (!each.version.document.empty())
      documents += fmt::format("{} {} {}\n", game, each.version.document.size(), each.version.document);
  return revision_ = digestText(documents);
}

std::optional<ConfigurationVersion> ConfigurationStore::find(std::string_view game, std::int64_t version) {
  return one(archive_, "version = ?", game, version);
}

std::optional<ConfigurationVersion> ConfigurationStore::lastBy(std::string_view game, std::string_view author) {
  return one(archive_, "author = ? ORDER BY version DESC LIMIT 1", game, author);
}

std::vector<ConfigurationVersion> ConfigurationStore::history(std::string_view game, std::int64_t limit) {
  std::vector<ConfigurationVersion> versions;
  archive_.read([&](sqlite3* archive) {
    Statement rows(archive, fmt::format("SELECT {} FROM configurations WHERE game = ? ORDER BY version DESC LIMIT ?",
                                        kOfVersions));
    rows.with(game, limit);
    while (rows.step()) versions.push_back(versionOf(rows));
  });
  return versions;
}

ConfigurationStore::Outcome ConfigurationStore::save(std::string_view game, ConfigurationVersion next,
                                                     std::int64_t before) {
  if (next.document.empty()) return {Saved::notKept, "document: it is empty", 0};
  return write(game, std::move(next), before);
}

std::string ConfigurationStore::adopt(const AllConfigurations& others) {
  auto wanted = others;
  for (const auto& [game, gone] : all()) wanted.try_emplace(game, ConfigurationVersion());
  std::string troubles;
  for (const auto& [game, other] : wanted) {
    if (current(game).document == other.document) continue;
    const Outcome outcome = write(game, other, std::nullopt);
    if (outcome.saved != Saved::yes)
      troubles += fmt::format("{}{}: {}", troubles.empty() ? "" : "; ", game,
                              outcome.wrong.empty() ? "the archive can't keep it" : outcome.wrong);
  }
  return troubles;
}

ConfigurationStore::Outcome ConfigurationStore::write(std::string_view game, ConfigurationVersion next,
                                                      std::optional<std::int64_t> before) {
  Outcome outcome;
  auto content = contentOf(next.document, outcome.wrong);
  if (!outcome.wrong.empty()) return outcome;
  bool isOutdated = false;
  const bool kept = archive_.writeNow([&](sqlite3* archive) {
    isOutdated = before && lastVersion(archive, game) != *before;
    if (isOutdated) return;
    Statement(archive, "INSERT INTO configurations(game, at, author, note, document) VALUES(?, ?, ?, ?, ?)")
        .with(game, next.at, std::string_view(next.author), std::string_view(next.note),
              std::string_view(next.document))
        .run();
    outcome.version = next.version = lastVersion(archive, game);
  });
  outcome.saved = !kept ? Saved::notKept : isOutdated ? Saved::outdated : Saved::yes;
  if (outcome.saved == Saved::yes) putInForce(game, {std::move(next), std::move(content)});
  return outcome;
}

}  // namespace collector
