#include "collector/base/Time.h"

#include <fmt/format.h>

namespace collector {

std::string utcText(std::chrono::system_clock::time_point at) {
  using namespace std::chrono;
  const auto day = floor<days>(at);
  const year_month_day date(day);
  const hh_mm_ss time(floor<milliseconds>(at - day));
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time.hours().count(),
                     time.minutes().count(), time.seconds().count(), time.subseconds().count());
}

}  // namespace collector
