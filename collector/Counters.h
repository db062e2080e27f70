// What came of the requests, for those who watch the collector.
//
// Thread: any.
#pragma once

#include <atomic>
#include <cstdint>

namespace collector {

struct Counters {
  std::atomic<std::int64_t> inits{0}, events{0}, refusedRecords{0};
  std::atomic<std::int64_t> taken{0}, badSignatures{0}, unknownGames{0}, unreadable{0}, tooLarge{0}, notKept{0};
  std::atomic<std::int64_t> bytesSent{0}, bytesInflated{0};
};

}  // namespace collector
