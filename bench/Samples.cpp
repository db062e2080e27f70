#include "bench/Samples.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

double nanosecondsBetween(Samples::Clock::time_point from, Samples::Clock::time_point to) {
  return std::chrono::duration<double, std::nano>(to - from).count();
}

double percentile(const std::vector<double>& sorted, double share) {
  return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

double measureLook() {
  std::array<double, 1001> looks{};
  for (double& look : looks) {
    const auto before = Samples::Clock::now();
    look = nanosecondsBetween(before, Samples::Clock::now());
  }
  std::nth_element(looks.begin(), looks.begin() + looks.size() / 2, looks.end());
  return looks[looks.size() / 2];
}

double costOfALook() {
  static const double cost = measureLook();
  return cost;
}

}  // namespace

Samples::Samples(std::size_t expected) {
  // Touched once: a first write to a page would land in somebody's measurement.
  nanoseconds_.resize(expected);
  nanoseconds_.clear();
  costOfALook();
}

void Samples::add(Clock::time_point from, Clock::time_point to) {
  nanoseconds_.push_back(nanosecondsBetween(from, to));
}

void Samples::report(benchmark::State& state, const std::string& who) {
  if (nanoseconds_.empty()) return;
  std::sort(nanoseconds_.begin(), nanoseconds_.end());
  for (const auto& [name, share] : {std::pair("_median_ns", 0.5), {"_p99_ns", 0.99}, {"_p999_ns", 0.999}})
    state.counters[who + name] = benchmark::Counter(std::max(0.0, percentile(nanoseconds_, share) - costOfALook()),
                                                    benchmark::Counter::kAvgThreads);
}
