// What reporting an event costs the thread that reports it, next to a bare queue. The two take turns, so that both meet
// the same caches and the same neighbours.
#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

#include "bench/BareQueue.h"
#include "bench/Game.h"
#include "bench/Process.h"
#include "bench/Samples.h"

namespace {

constexpr int kBurst = 100;
constexpr int kBursts = 100;
constexpr int kSingleCalls = 3000;
constexpr auto kBetweenBursts = std::chrono::milliseconds(50);
constexpr auto kBetweenCalls = std::chrono::milliseconds(1);

BareQueue& bareQueue() {
  static BareQueue queue;
  return queue;
}

void prepare(std::int64_t queued) {
  game::start();
  bareQueue();
  for (std::int64_t i = 0; i < queued; ++i) game::reportEvent();
}

// One call after another, each measured. Seconds of all.
template <class Call>
double measure(int calls, Samples& samples, Call call) {
  const auto start = Samples::Clock::now();
  auto last = start;
  for (int i = 0; i < calls; ++i) {
    call();
    const auto now = Samples::Clock::now();
    samples.add(last, now);
    last = now;
  }
  return std::chrono::duration<double>(last - start).count();
}

void takeTurns(benchmark::State& state, int calls, std::chrono::milliseconds pause) {
  if (state.thread_index() == 0) prepare(state.range(0));
  const auto expected = static_cast<std::size_t>(state.max_iterations * calls);
  Samples facade(expected);
  Samples bare(expected);
  std::int64_t waits = 0;
  for (auto _ : state) {
    std::this_thread::sleep_for(pause);
    const auto waitsBefore = voluntaryWaits();
    state.SetIterationTime(measure(calls, facade, game::reportEvent) / calls);
    waits += voluntaryWaits() - waitsBefore;
    std::this_thread::sleep_for(pause);
    measure(calls, bare, [] { bareQueue().post(game::kEventId, game::kValue, game::customFields()); });
  }
  facade.report(state, "facade");
  bare.report(state, "bare");
  state.counters["facade_waits"] = static_cast<double>(waits);  // a call that waits for a lock or a disk shows here
  if (state.thread_index() == 0) game::finishTasks();
}

void bursts(benchmark::State& state) { takeTurns(state, kBurst, kBetweenBursts); }
void singleCalls(benchmark::State& state) { takeTurns(state, 1, kBetweenCalls); }

// `queued`: so many events wait already, and the database grows by them meanwhile. Nothing that the game's thread does
// may depend on either.
BENCHMARK(bursts)->ArgName("queued")->Arg(0)->Threads(1)->Threads(4)->UseManualTime()->Iterations(kBursts);
BENCHMARK(bursts)->ArgName("queued")->Arg(50'000)->UseManualTime()->Iterations(kBursts / 4);
BENCHMARK(singleCalls)->ArgName("queued")->Arg(0)->Threads(1)->Threads(4)->UseManualTime()->Iterations(kSingleCalls);

}  // namespace
