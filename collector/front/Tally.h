// Tally counts what the front does, for whoever watches it.
//
// Thread: any.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace collector::front {

// Why a connection was closed without an answer, where the client hadn't left by itself.
enum class Ending : std::uint8_t { malformed, tls, overdue, connections, address, memory, unanswered, stopping };

inline constexpr auto kEndingNames = std::to_array<std::string_view>(
    {"malformed", "tls", "overdue", "connections", "address", "memory", "unanswered", "stopping"});

constexpr std::string_view nameOf(Ending ending) { return kEndingNames[static_cast<std::size_t>(ending)]; }

// What a connection is at. In the order in which they go when there is no room, in each the one that has been there
// longest. A request that is whole doesn't go, nor does a stream.
enum class Phase : std::uint8_t {
  leaving,    // has its last answer, and is to close
  waiting,    // for a whole head
  receiving,  // a body
  serving,    // a whole request
  streaming,  // an answer without a known end
};

inline constexpr auto kPhaseNames =
    std::to_array<std::string_view>({"leaving", "waiting", "receiving", "serving", "streaming"});

struct Tally {
  std::atomic<std::uint64_t> connections = 0;                              // now
  std::array<std::atomic<std::uint64_t>, kPhaseNames.size()> phases = {};  // the same, by what they are at
  std::atomic<std::uint64_t> memory = 0;                                   // now, bytes of requests
  std::atomic<std::uint64_t> accepted = 0;                                 // connections
  std::atomic<std::uint64_t> requests = 0;                                 // heads
  std::array<std::atomic<std::uint64_t>, kEndingNames.size()> endings = {};

  [[nodiscard]] std::atomic<std::uint64_t>& in(Phase phase) { return phases[static_cast<std::size_t>(phase)]; }
  void count(Ending ending) { ++endings[static_cast<std::size_t>(ending)]; }
  [[nodiscard]] std::uint64_t counted(Ending ending) const { return endings[static_cast<std::size_t>(ending)]; }
};

}  // namespace collector::front
