#include "collector/Watched.h"

#include <ctime>

namespace collector {

std::int64_t ageOf(const Shipper::Lag& lag) {
  return lag.waiting == 0 ? 0 : std::int64_t{std::time(nullptr)} - lag.oldest;
}

}  // namespace collector
