// What a game pays for analytics while little happens: processor time and switches of the whole process at a steady
// rate of events, next to SQLite alone at the same rate; a request that waits for its answer; a run without a
// collector.
#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

#include "bench/BareStore.h"
#include "bench/Game.h"
#include "bench/Process.h"
#include "events/ZVEvents.h"

using namespace zorvane;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr double kBetweenRuns = 8;      // seconds, as a game has it
constexpr auto kSteady = seconds(24);   // three runs of the event queue
constexpr auto kSettling = seconds(2);  // until the work of the start has been done
constexpr auto kInFlight = seconds(3);  // of the time that the slow answer takes
constexpr const char* kNowhere = "http://127.0.0.1:1/v2";
constexpr int kWaitingEvents = 4000;

struct Use {
  double processor = processorSeconds();
  std::int64_t switches = voluntaryWaitsOfAll();
};

void report(benchmark::State& state, const std::string& who, const Use& before, double times) {
  state.counters[who + "_cpu_us"] = (processorSeconds() - before.processor) * 1e6 / times;
  state.counters[who + "_switches"] = static_cast<double>(voluntaryWaitsOfAll() - before.switches) / times;
}

// Calls `act` so many times a second, and counts an event's share; at no rate, a second's.
template <class Act>
void holdRate(benchmark::State& state, const std::string& who, std::int64_t rate, Act act) {
  const Use before;
  const auto start = Clock::now();
  const std::int64_t events = rate * seconds(kSteady).count();
  for (std::int64_t event = 1; event <= events; ++event) {
    std::this_thread::sleep_until(start + std::chrono::nanoseconds(seconds(1)) * event / rate);
    act();
  }
  std::this_thread::sleep_until(start + kSteady);
  report(state, who, before, static_cast<double>(events != 0 ? events : kSteady.count()));
}

void steady(benchmark::State& state) {
  game::start(kBetweenRuns);
  game::reportEvent();  // the bare store takes its texts from it
  game::finishTasks();
  BareStore store("bare.sqlite");
  for (auto _ : state) {
    std::this_thread::sleep_for(kSettling);
    holdRate(state, "zorvane", state.range(0), game::reportEvent);
    if (state.range(0) != 0) holdRate(state, "bare", state.range(0), [&] { store.storeEvent(); });
  }
}

void requestInFlight(benchmark::State& state) {
  game::start(kBetweenRuns);
  for (auto _ : state) {
    game::reportEvent();
    game::finishTasks();
    game::sendTo(game::collectorUrl("/slow"));
    ZVEvents::processEventQueue(false);
    std::this_thread::sleep_for(seconds(1));
    const Use before;
    std::this_thread::sleep_for(kInFlight);
    report(state, "zorvane", before, static_cast<double>(kInFlight.count()));
    game::finishTasks();
  }
}

void offline(benchmark::State& state) {
  game::start(kBetweenRuns);
  game::sendTo(kNowhere);
  for (int event = 0; event < kWaitingEvents; ++event) game::reportEvent();
  game::finishTasks();
  for (auto _ : state) {
    const auto written = bytesWritten();
    const Use before;
    game::onWorkQueue([] { ZVEvents::processEventsWithCategory({}, true); });
    report(state, "zorvane", before, 1);
    if (const auto now = bytesWritten(); now && written)
      state.counters["disk_bytes"] = static_cast<double>(*now - *written);
  }
}

BENCHMARK(steady)->ArgName("rate")->Arg(0)->Arg(1)->Arg(60)->Iterations(1)->UseRealTime();
BENCHMARK(requestInFlight)->Iterations(1)->UseRealTime();
BENCHMARK(offline)->Iterations(1)->UseRealTime();

}  // namespace
