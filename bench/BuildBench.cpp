// Building one event's record, writing it as JSON, and both with storing it next to SQLite alone: what the work queue
// does for one event.
#include <benchmark/benchmark.h>

#include "bench/BareStore.h"
#include "bench/Game.h"
#include "bench/Samples.h"
#include "codecs/ZVHelpers.h"
#include "events/ZVEvents.h"
#include "state/ZVState.h"

using namespace zorvane;

namespace {

constexpr int kEvents = 10'000;

ZVMap buildRecord() {
  ZVMap record = ZVState::getEventAnnotations();
  record.set("category", "design");
  record.set("event_id", game::kEventId);
  record.set("value", game::kValue);
  record.set("custom_fields", game::customFields());
  return record;
}

template <class Step>
void measure(Samples& samples, Step step) {
  const auto before = Samples::Clock::now();
  step();
  samples.add(before, Samples::Clock::now());
}

void build(benchmark::State& state) {
  game::start();
  game::onWorkQueue([&] {
    Samples built(kEvents);
    Samples serialised(kEvents);
    ZVMap record;
    for (auto _ : state) {
      measure(built, [&] { record = buildRecord(); });
      measure(serialised, [&] { benchmark::DoNotOptimize(ZVHelpers::jsonStringWithObject(record)); });
    }
    built.report(state, "record");
    serialised.report(state, "json");
  });
}

void buildAndStore(benchmark::State& state) {
  game::start();
  game::reportEvent();
  game::onWorkQueue([] {});  // the bare store takes what the library has stored
  BareStore store("bare.sqlite");
  game::onWorkQueue([&] {
    Samples library(kEvents);
    Samples bare(kEvents);
    for (auto _ : state) {
      measure(library,
              [] { ZVEvents::addDesignEventWithEventId(game::kEventId, game::kValue, game::customFields(), false); });
      measure(bare, [&] { store.storeEvent(); });
    }
    library.report(state, "zorvane");
    bare.report(state, "bare");
  });
}

BENCHMARK(build)->Iterations(kEvents)->UseRealTime();
BENCHMARK(buildAndStore)->Iterations(kEvents)->UseRealTime();

}  // namespace
