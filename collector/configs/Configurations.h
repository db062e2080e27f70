// The remote configurations and experiments of one game, as they are edited: a JSON object, described in
// docs/configurations.md.
//
//   {"configurations": [{"key": "speed", "value": "7", "start_ts": null, "end_ts": null,
//                        "platforms": ["ios"], "builds": ["1.4"], "share": 50}],
//    "experiments": [{"id": "prices", "start_ts": null, "end_ts": null, "platforms": [], "builds": [], "share": 100,
//                     "groups": [{"id": "low", "weight": 1, "configurations": [{"key": "price", "value": "99"}]}]}]}
//
// Who belongs to a share or to a group depends on the player's id alone, so that every collector finds the same.
//
// Thread: any; values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace collector {

// Seconds since 1970; in force between them, an absent side is open.
struct Window {
  std::optional<std::int64_t> start, end;
};

struct Conditions {
  std::vector<std::string> platforms;  // none: all
  std::vector<std::string> builds;
  std::int64_t share = 100;  // percent of the players
};

struct Configuration {
  std::string key;
  std::string value;  // JSON
  Window window;      // the game itself looks whether now lies in it
  Conditions conditions;
};

struct ExperimentGroup {
  std::string id;  // ab_variant_id
  std::int64_t weight = 1;
  std::vector<Configuration> configurations;  // in force before the others
};

struct Experiment {
  std::string id;  // ab_id
  Window window;
  Conditions conditions;
  std::vector<ExperimentGroup> groups;
};

// Who asks, and when.
struct Asker {
  std::string_view userId;  // without one, there are no shares and no groups
  std::string_view platform;
  std::string_view build;
  std::int64_t now = 0;
};

struct Configurations {
  std::vector<Configuration> configurations;
  std::vector<Experiment> experiments;

  // Or what is wrong with the document: the path of a member, and what it may be.
  static std::variant<Configurations, std::string> read(std::string_view document);

  struct Given {
    std::string hash;     // of the rest, the same on every collector; "" where there is nothing to give
    std::string members;  // of the answer to an init call: "configs":[...],"configs_hash":"...",...
  };
  // What a player gets.
  [[nodiscard]] Given forPlayer(const Asker& asker) const;
};

}  // namespace collector
