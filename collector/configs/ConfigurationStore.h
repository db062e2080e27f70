// Every version of each game's configurations, kept in the archive; the last one is in force.
//
// Thread:   any. What is in force is in memory, so that answering a game waits for nothing.
// Lifetime: shorter than the archive's.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/archive/Store.h"
#include "collector/configs/Configurations.h"

namespace collector {

struct ConfigurationVersion {
  std::int64_t version = 0;  // 0: there is none
  std::int64_t at = 0;       // seconds since 1970
  std::string author;
  std::string note;
  std::string document;  // JSON; "": from this version on the game has none
};

// What is in force, by game.
using AllConfigurations = std::map<std::string, ConfigurationVersion, std::less<>>;

class ConfigurationStore {
 public:
  explicit ConfigurationStore(Store& archive);

  // Null where a game has none.
  [[nodiscard]] std::shared_ptr<const Configurations> inForce(std::string_view game);
  [[nodiscard]] ConfigurationVersion current(std::string_view game);
  [[nodiscard]] AllConfigurations all();
  // Of the documents in force: the same where they are the same.
  [[nodiscard]] std::string revision();

  [[nodiscard]] std::optional<ConfigurationVersion> find(std::string_view game, std::int64_t version);
  [[nodiscard]] std::optional<ConfigurationVersion> lastBy(std::string_view game, std::string_view author);
  // Newest first, without documents.
  [[nodiscard]] std::vector<ConfigurationVersion> history(std::string_view game, std::int64_t limit);

  enum class Saved { yes, outdated, notKept };
  struct Outcome {
    Saved saved = Saved::notKept;
    std::string wrong;  // with the document; then nothing was tried
    std::int64_t version = 0;
  };
  // `before`: the version that the author had before them. Another one meanwhile makes theirs outdated.
  Outcome save(std::string_view game, ConfigurationVersion next, std::int64_t before);

  // Puts in force what another collector has, as new versions here. What is wrong with it, "" when nothing is; what is
  // in force for those games stays.
  std::string adopt(const AllConfigurations& others);

 private:
  struct InForce {
    ConfigurationVersion version;
    std::shared_ptr<const Configurations> content;
  };
  void load();
  Outcome write(std::string_view game, ConfigurationVersion next, std::optional<std::int64_t> before);
  void putInForce(std::string_view game, InForce next);

  Store& archive_;
  std::mutex guard_;
  std::map<std::string, InForce, std::less<>> inForce_;  // guarded by guard_
  std::string revision_;                                 // guarded by guard_; "": not worked out yet
};

}  // namespace collector
