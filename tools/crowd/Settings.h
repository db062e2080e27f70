// What a run is asked to do: the command line's options, read and checked.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "crowd/Delivery.h"
#include "crowd/Player.h"

namespace crowd {

struct Settings {
  Target target;
  Rules rules;
  std::uint64_t seed = 0;
  std::size_t connections = 4;
  std::string truthFile;
  bool quiet = false;

  std::uint32_t players = 3'000;
  bool history = true;
  double rate = 0;                              // events a second, in real time; 0: no live part
  std::optional<std::chrono::seconds> seconds;  // of the live part
  std::int64_t load = 0;                        // events to send as fast as possible; 0: none
  std::size_t batch = kMostRecords;
};

}  // namespace crowd
