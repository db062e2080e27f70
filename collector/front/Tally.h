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

struct Tally {
  std::atomic<std::uint64_t> connections = 0;  // now
  std::atomic<std::uint64_t> memory = 0;       // now, bytes of requests
  std::atomic<std::uint64_t> accepted = 0;     // connections
  std::atomic<std::uint64_t> requests = 0;     // heads
  std::array<std::atomic<std::uint64_t>, kEndingNames.size()> endings = {};

  void count(Ending ending) { ++endings[static_cast<std::size_t>(ending)]; }
  [[nodiscard]] std::uint64_t counted(Ending ending) const { return endings[static_cast<std::size_t>(ending)]; }
};

}  // namespace collector::front
