// A run of the event queue with a full batch, from the database to the collector's answer, next to the bare exchange of
// the same bytes.
#include <benchmark/benchmark.h>
#include <httplib.h>

#include <chrono>

#include "bench/Game.h"
#include "bench/Process.h"
#include "bench/Samples.h"
#include "events/ZVEvents.h"

using namespace zorvane;

namespace {

constexpr int kBatch = 500;
constexpr int kRuns = 20;

bool exchangeLastBatch() {
  httplib::Client client("127.0.0.1", game::collectorPort());
  const auto answer = client.Post("/v2/game/events", game::lastBatch(), "application/json");
  return answer && answer->status == 200;
}

void submit(benchmark::State& state) {
  game::start();
  Samples library(kRuns);
  Samples bare(kRuns);
  double processor = 0;
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) game::reportEvent();
    game::onWorkQueue([&] {
      const auto processorBefore = processorSeconds();
      const auto before = Samples::Clock::now();
      ZVEvents::processEventsWithCategory({}, true);
      const auto after = Samples::Clock::now();
      processor += processorSeconds() - processorBefore;
      library.add(before, after);
      state.SetIterationTime(std::chrono::duration<double>(after - before).count());
    });
    const auto before = Samples::Clock::now();
    if (!exchangeLastBatch()) state.SkipWithError("no answer");
    bare.add(before, Samples::Clock::now());
  }
  library.report(state, "zorvane");
  bare.report(state, "bare");
  state.counters["zorvane_cpu_ms"] = processor * 1000 / static_cast<double>(state.iterations());
  state.counters["sent_bytes"] = static_cast<double>(game::lastBatch().size());
}

BENCHMARK(submit)->Iterations(kRuns)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
