// Samples keeps single measurements and reports their percentiles as a bench's counters.
//
// Thread:   one thread's; every thread of a bench has its own, and the reports of all are averaged.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

class Samples {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Samples(std::size_t expected);  // memory for so many is there before the first

  // What passed between two looks at the clock, less what one look costs.
  void add(Clock::time_point from, Clock::time_point to);
  void report(benchmark::State& state, const std::string& who);  // counters: who_median_ns, who_p99_ns, who_p999_ns

 private:
  std::vector<double> nanoseconds_;
};
