// From posting to disk, each event with its own commits, next to SQLite alone. They take turns, so that a disk that is
// busy with something else slows all of them.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "bench/BareStore.h"
#include "bench/Game.h"
#include "bench/Process.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBatch = 5'000;
constexpr int kBatches = 6;
constexpr int kSingleEvents = 1'000;
constexpr int kManyEvents = 100'000;
constexpr int kSettled = 10'000;  // events until every buffer has its size
constexpr int kAtOnce = 1'000;

void reportEvents(int events) {
  for (int i = 0; i < events; ++i) game::reportEvent();
  game::finishTasks();
}

// What one way of storing events has cost.
class Costs {
 public:
  template <class Store>
  void measure(int events, Store store) {
    const auto written = bytesWritten();
    const auto processor = processorSeconds();
    const auto start = Clock::now();
    store();
    seconds_ += std::chrono::duration<double>(Clock::now() - start).count();
    processorSeconds_ += processorSeconds() - processor;
    if (const auto now = bytesWritten(); now && written) bytes_ += static_cast<double>(*now - *written);
    events_ += events;
  }
  void report(benchmark::State& state, const std::string& who) const {
    state.counters[who + "_per_s"] = events_ / seconds_;
    state.counters[who + "_cpu_ms_per_1000"] = processorSeconds_ * 1e6 / events_;
    if (bytesWritten()) state.counters[who + "_disk_bytes"] = bytes_ / events_;
  }

 private:
  double seconds_ = 0;
  double processorSeconds_ = 0;
  double bytes_ = 0;
  double events_ = 0;
};

void takeTurns(benchmark::State& state, int events) {
  game::start();
  reportEvents(1);  // the bare stores take their texts from it
  BareStore store("bare.sqlite");
  BareStore preparedStore("prepared.sqlite");
  Costs library;
  Costs bare;
  Costs prepared;
  for (auto _ : state) {
    library.measure(events, [&] { reportEvents(events); });
    bare.measure(events, [&] {
      for (int i = 0; i < events; ++i) store.storeEvent();
    });
    prepared.measure(events, [&] {
      for (int i = 0; i < events; ++i) preparedStore.storeEventPrepared();
    });
  }
  library.report(state, "zorvane");
  bare.report(state, "bare");
  prepared.report(state, "prepared");
}

void inBursts(benchmark::State& state) { takeTurns(state, kBatch); }
void oneByOne(benchmark::State& state) { takeTurns(state, 1); }

void memory(benchmark::State& state) {
  game::start();
  for (auto _ : state) {
    std::int64_t settled = 0;
    for (int stored = 0; stored < kManyEvents; stored += kAtOnce) {
      if (stored == kSettled) settled = residentBytes();
      reportEvents(kAtOnce);
    }
    state.counters["settled_kb"] = static_cast<double>(settled) / 1024;
    state.counters["growth_kb"] = static_cast<double>(residentBytes() - settled) / 1024;
  }
}

BENCHMARK(inBursts)->Iterations(kBatches)->UseRealTime();
BENCHMARK(oneByOne)->Iterations(kSingleEvents)->UseRealTime();
BENCHMARK(memory)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

}  // namespace
