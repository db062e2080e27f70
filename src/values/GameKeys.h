// What a game is known by to the collector, and signs its requests with.
#pragma once

#include <string>

namespace zorvane {

struct GameKeys {
  std::string gameKey;
  std::string gameSecret;
};

}  // namespace zorvane
