// The collector as a whole, in a process of its own: what it takes over real HTTP from clients that are next to it on
// the same processors, next to the bare work on the same bodies; and how long its questions take, next to a bare scan.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/BareArchive.h"
#include "bench/CollectorProcess.h"
#include "bench/Samples.h"
#include "crowd/Load.h"

namespace {

using Clock = Samples::Clock;

constexpr std::size_t kInATransaction = 500;  // events, on the bare side
constexpr std::int64_t kDay = 86'400;
constexpr int kTimes = 5;  // each question

std::int64_t eventsToAskAbout() {
  const char* const wanted = std::getenv("ZORVANE_BENCH_EVENTS");
  return wanted != nullptr ? std::strtoll(wanted, nullptr, 10) : 200'000;
}

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

crowd::Settings settingsFor(const CollectorProcess& collector, std::int64_t events, std::size_t batch,
                            std::size_t connections) {
  crowd::Settings settings;
  settings.target.endpoint = crowd::Endpoint::parse(collector.url()).value();
  settings.target.game = {CollectorProcess::kGame, CollectorProcess::kSecret};
  const std::int64_t now = std::time(nullptr);
  settings.rules.period = {now - 30 * kDay, now};
  settings.seed = 1;
  settings.load = events;
  settings.batch = batch;
  settings.connections = connections;
  return settings;
}

// Events a second, when the bare work is done with the same bodies.
double barePerSecond(const std::vector<crowd::Package>& packages, const std::string& file,
                     BareArchive::Repeats repeats) {
  std::vector<std::string_view> group;
  std::size_t events = 0, all = 0;
  BareArchive archive(file, repeats);
  const auto start = Clock::now();
  for (const auto& package : packages) {
    group.emplace_back(package.body);
    events += package.records;
    all += package.records;
    if (events < kInATransaction && &package != &packages.back()) continue;
    archive.keep(group);
    group.clear();
    events = 0;
  }
  const double seconds = secondsSince(start);
  if (archive.events() != static_cast<std::int64_t>(all)) throw std::runtime_error("the bare side has lost events");
  return static_cast<double>(all) / seconds;
}

void receive(benchmark::State& state, std::size_t batch, std::int64_t events, std::size_t connections) {
  const CollectorProcess collector;
  const auto settings = settingsFor(collector, events, batch, connections);
  crowd::Run run;
  crowd::Truth truth;
  crowd::Load load(settings, run);
  load.prepare(truth);
  for (auto _ : state) {
    const auto figures = load.run();
    state.SetIterationTime(figures.seconds);
    if (run.failed() || scanEvents(collector.archive()) != figures.events)
      return state.SkipWithError("events are lost");
    state.counters["zorvane_per_s"] = static_cast<double>(figures.events) / figures.seconds;
    state.counters["requests_per_s"] = static_cast<double>(figures.requests) / figures.seconds;
    state.counters["zorvane_p99_ms"] = figures.p99;
    state.counters["zorvane_cpu_us"] = collector.processorSeconds() * 1e6 / static_cast<double>(figures.events);
    state.counters["client_cpu_us"] = figures.cpuSeconds * 1e6 / static_cast<double>(figures.events);
  }
  using Repeats = BareArchive::Repeats;
  state.counters["bare_per_s"] = barePerSecond(load.packages(), collector.fileFor("bare"), Repeats::kept);
  state.counters["bare_once_per_s"] = barePerSecond(load.packages(), collector.fileFor("once"), Repeats::refused);
  state.counters["peak_kb"] = static_cast<double>(collector.peakKilobytes());
}

// A collector that has something to be asked about.
const CollectorProcess& filled() {
  static const CollectorProcess collector;
  static const bool isFilled = [] {
    const auto settings = settingsFor(collector, eventsToAskAbout(), crowd::kMostRecords, 4);
    crowd::Run run;
    crowd::Truth truth;
    crowd::Load load(settings, run);
    load.prepare(truth);
    load.run();
    return !run.failed();
  }();
  if (!isFilled) throw std::runtime_error("the collector did not take its events");
  return collector;
}

std::string daysAgo(std::int64_t days) {
  const std::time_t time = std::time(nullptr) - days * kDay;
  std::tm date{};
  gmtime_r(&time, &date);
  return fmt::format("{:04}-{:02}-{:02}", date.tm_year + 1900, date.tm_mon + 1, date.tm_mday);
}

void ask(benchmark::State& state, const std::string& question) {
  const auto& collector = filled();
  httplib::Client client(collector.url());
  client.set_read_timeout(600);
  const std::string target = fmt::format("/api/questions/{}{}game={}&from={}&to={}", question,
                                         question.find('?') == std::string::npos ? '?' : '&', CollectorProcess::kGame,
                                         daysAgo(30), daysAgo(0));
  Samples zorvane(kTimes);
  for (auto _ : state) {
    const auto start = Clock::now();
    const auto answer = client.Get(target);
    zorvane.add(start, Clock::now());
    if (!answer || answer->status != 200) return state.SkipWithError(answer ? answer->body.c_str() : "no answer");
  }
  Samples bare(kTimes);
  for (int time = 0; time < kTimes; ++time) {
    const auto start = Clock::now();
    benchmark::DoNotOptimize(scanEvents(collector.archive()));
    bare.add(start, Clock::now());
  }
  zorvane.report(state, "zorvane");
  bare.report(state, "bare");
}

BENCHMARK_CAPTURE(receive, in_batches, 500, 200'000, 4)->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(receive, in_small_requests, 10, 100'000, 64)->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(ask, overview, "overview")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, whole, "overview?whole=yes")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, of_a_platform, "overview?platform=ios")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, sessions, "sessions")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, retention, "retention")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, revenue, "revenue?by=currency,item_id&daily=yes")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, levels, "levels")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, economy, "economy?daily=yes")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, designs, "designs")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, errors, "errors")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, ads, "ads")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, impressions, "impressions")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, groups, "groups")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, events, "events")->Iterations(kTimes);
BENCHMARK_CAPTURE(ask, events_by_day, "events?daily=yes")->Iterations(kTimes);

}  // namespace
