#include "collector/Configs.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

#include "collector/Json.h"

namespace collector {

namespace {

constexpr auto kTexts = std::to_array<std::string_view>({"configs_hash", "ab_id", "ab_variant_id"});
constexpr auto kTimes = std::to_array<std::string_view>({"start_ts", "end_ts"});

bool isTime(const JsonValue* value) { return value != nullptr && (value->IsNull() || value->IsInt64()); }

bool isEntry(const JsonValue& entry) {
  return entry.IsObject() && !textMember(entry, "key").empty() && findMember(entry, "value") != nullptr &&
         std::all_of(kTimes.begin(), kTimes.end(), [&](auto name) { return isTime(findMember(entry, name)); });
}

bool isGame(const JsonValue& game) {
  if (!game.IsObject()) return false;
  const auto* const entries = findMember(game, "configs");
  if (entries == nullptr || !entries->IsArray() || !std::all_of(entries->Begin(), entries->End(), isEntry))
    return false;
  return std::all_of(kTexts.begin(), kTexts.end(), [&](auto name) {
    const auto* const value = findMember(game, name);
    return value != nullptr && value->IsString();
  });
}

GameConfigs readGame(const JsonValue& game) {
  auto members = fmt::format(R"("configs":{})", jsonText(*findMember(game, "configs")));
  for (const auto name : kTexts) members += fmt::format(R"(,"{}":{})", name, jsonText(*findMember(game, name)));
  return {std::string(textMember(game, "configs_hash")), std::move(members)};
}

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return file.good() && content.good() ? std::optional(content.str()) : std::nullopt;
}

}  // namespace

std::optional<Configs> Configs::load(const std::string& path, std::string& problem) {
  const auto content = readFile(path);
  if (!content) {
    problem = fmt::format("{} can't be read", path);
    return std::nullopt;
  }
  const auto parsed = parseJson(*content);
  if (!parsed.failure.empty() || !parsed.document.IsObject()) {
    problem = fmt::format("{} is not a JSON object", path);
    return std::nullopt;
  }
  Configs configs;
  for (const auto& game : parsed.document.GetObject()) {
    if (!isGame(game.value)) {
      problem = fmt::format(
          "{}: game {} needs \"configs\" (a list of key, value, start_ts, end_ts), \"configs_hash\", \"ab_id\" and "
          "\"ab_variant_id\"",
          path, textOf(game.name));
      return std::nullopt;
    }
    configs.games_.emplace(textOf(game.name), readGame(game.value));
  }
  return configs;
}

const GameConfigs* Configs::find(std::string_view gameKey) const {
  const auto game = games_.find(gameKey);
  return game == games_.end() ? nullptr : &game->second;
}

}  // namespace collector
