// What a game's memory grows by: when the library is initialised, and when it has reported for a while and has sent it.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/Game.h"
#include "bench/Process.h"
#include "events/ZVEvents.h"

using namespace zorvane;

namespace {

constexpr int kEvents = 3000;
constexpr int kEventsARun = 500;  // as a game of 60 a second has them in the 8 s of a run

struct Memory {
  std::int64_t resident = residentBytes();
  std::int64_t own = ownBytes();
};

void report(benchmark::State& state, const std::string& when, const Memory& before) {
  const Memory now;
  state.counters[when + "_resident_kb"] = static_cast<double>(now.resident - before.resident) / 1024;
  state.counters[when + "_own_kb"] = static_cast<double>(now.own - before.own) / 1024;
}

void small(benchmark::State& state) {
  for (auto _ : state) {
    const Memory before;
    game::start();
    report(state, "initialised", before);
    for (int sent = 0; sent < kEvents; sent += kEventsARun) {
      for (int event = 0; event < kEventsARun; ++event) game::reportEvent();
      game::onWorkQueue([] { ZVEvents::processEventsWithCategory({}, true); });
    }
    report(state, "reported", before);
  }
}

BENCHMARK(small)->Iterations(1)->UseRealTime();

}  // namespace
