// What came of the requests, for those who watch the collector.
//
// Thread: any.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace collector {

struct Counters {
  std::atomic<std::int64_t> inits{0}, events{0}, refusedRecords{0};
  std::atomic<std::int64_t> taken{0}, badSignatures{0}, unknownGames{0}, unreadable{0}, tooLarge{0}, notKept{0};
  std::atomic<std::int64_t> bytesSent{0}, bytesInflated{0};
};

struct CounterOf {
  std::string_view name, says;
  std::atomic<std::int64_t> Counters::*counter;
};

inline constexpr std::array<CounterOf, 10> kCounters = {{
    {"init_calls", "Init calls that were signed or not.", &Counters::inits},
    {"events", "Events that passed the rules, those that came again included.", &Counters::events},
    {"refused_records", "Records that broke a rule.", &Counters::refusedRecords},
    {"bad_signatures", "Requests whose signature was wrong.", &Counters::badSignatures},
    {"unknown_games", "Requests of games that are not known.", &Counters::unknownGames},
    {"unreadable_bodies", "Signed bodies that could not be read.", &Counters::unreadable},
    {"too_large", "Requests that will always be too large.", &Counters::tooLarge},
    {"not_kept", "Requests without an answer, because the archive could not keep them, or not in time.",
     &Counters::notKept},
    {"received_bytes", "Bytes of bodies as sent.", &Counters::bytesSent},
    {"inflated_bytes", "Bytes of bodies once inflated.", &Counters::bytesInflated},
}};

}  // namespace collector
