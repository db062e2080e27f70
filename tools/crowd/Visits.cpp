#include "crowd/Visits.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "crowd/World.h"

namespace crowd {

namespace {

constexpr double kComesOnADay = 0.75;  // while it stays
constexpr double kFirstDay = 0.40;     // return on the first day
constexpr double kDecay = 0.53;
constexpr double kMoreSessions = 1.8;
constexpr std::int64_t kMostSessions = 8;  // a day
constexpr std::int64_t kPause = 40;        // seconds between sessions, at least
constexpr double kWeekday = 0.75;          // of what comes on a weekend

constexpr std::int64_t kShortest = 15, kLongest = 3'600, kMedian = 240;  // seconds

bool isWeekend(std::int64_t time) {
  const auto weekday = (time / kDaySeconds + 4) % 7;  // 1970 began on a Thursday; 0 is Sunday
  return weekday == 0 || weekday == 6;
}

double share(std::int64_t time, int hoursFromUtc) {
  const auto hour = static_cast<std::size_t>((time / 3'600 + hoursFromUtc + 24) % 24);
  return hours()[hour] / *std::max_element(hours().begin(), hours().end());
}

}  // namespace

std::int64_t drawArrival(const Period& period, int hoursFromUtc, Random& random) {
  for (;;) {
    const auto time = random.whole(period.from, period.until - 1);
    if (random.chance(share(time, hoursFromUtc) * (isWeekend(time) ? 1 : kWeekday))) return time;
  }
}

std::int64_t drawSessionSeconds(Random& random) {
  const double seconds = static_cast<double>(kMedian) * std::exp(0.8 * random.normal());
  return std::clamp(static_cast<std::int64_t>(seconds), kShortest, kLongest);
}

bool staysFor(std::int64_t days, double devotion, double stay) {
  const double staying = kFirstDay / kComesOnADay * std::pow(static_cast<double>(days), -kDecay);
  return devotion < std::min(1.0, staying * stay);
}

Visits::Visits(std::int64_t arrival, int hoursFromUtc, double devotion)
    : arrival_(arrival), hoursFromUtc_(hoursFromUtc), devotion_(devotion) {}

std::optional<Visit> Visits::next(std::int64_t notBefore, double stay, Random& random) {
  if (!arrived_) {
    arrived_ = true;
    drawDay(random, arrival_ + 1);
    return Visit{arrival_, drawSessionSeconds(random)};
  }
  while (starts_.empty()) {
    if (!staysFor(++day_, devotion_, stay)) return std::nullopt;
    if (random.chance(kComesOnADay)) drawDay(random, 0);
  }
  const auto start = std::max(starts_.back(), notBefore + kPause);
  starts_.pop_back();
  return Visit{start, drawSessionSeconds(random)};
}

// On the day of its arrival a player has had one session already.
void Visits::drawDay(Random& random, std::int64_t notBefore) {
  const Period day{(arrival_ / kDaySeconds + day_) * kDaySeconds, (arrival_ / kDaySeconds + day_ + 1) * kDaySeconds};
  auto more = std::min(kMostSessions, static_cast<std::int64_t>(random.exponential(kMoreSessions)));
  if (day_ > 0) ++more;
  for (; more > 0; --more)
    if (const auto start = drawArrival(day, hoursFromUtc_, random); start >= notBefore) starts_.push_back(start);
  std::sort(starts_.begin(), starts_.end(), std::greater<>());
}

}  // namespace crowd
