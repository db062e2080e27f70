#include "platform/Elapsed.h"

#include <time.h>

namespace zorvane {

std::int64_t secondsSinceBoot() noexcept {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec;
}

}  // namespace zorvane
