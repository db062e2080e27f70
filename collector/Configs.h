// The remote configurations that games are answered with, read from one JSON file:
//   {"GAME KEY": {"configs": [{"key": "k", "value": "v", "start_ts": null, "end_ts": null}],
//                 "configs_hash": "h", "ab_id": "a", "ab_variant_id": "b"}}
//
// Thread:   any, once loaded; nothing changes afterwards.
// Lifetime: as long as the collector that answers with them.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace collector {

struct GameConfigs {
  std::string hash;
  std::string members;  // JSON members as the answer to an init call carries them: "configs":[...],...
};

class Configs {
 public:
  // Absent when the file can't be read or isn't as above; `problem` then says why.
  static std::optional<Configs> load(const std::string& path, std::string& problem);
  [[nodiscard]] const GameConfigs* find(std::string_view gameKey) const;

 private:
  std::map<std::string, GameConfigs, std::less<>> games_;
};

}  // namespace collector
