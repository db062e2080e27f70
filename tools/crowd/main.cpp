// zorvane-crowd: plays a population against a collector.
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "crowd/History.h"
#include "crowd/Live.h"
#include "crowd/Load.h"
#include "crowd/Options.h"
#include "crowd/Progress.h"
#include "crowd/TruthText.h"

using namespace crowd;

namespace {

int complain(const std::string& problem, int status) {
  fmt::print(stderr, "zorvane-crowd: {}\n", problem);
  return status;
}

void printLoad(const LoadFigures& figures) {
  fmt::print(
      "{:.0f} events a second, {:.0f} requests a second, in {:.2f} s\n"
      "a request took {:.2f} ms (median), {:.2f} ms (99 %), {:.2f} ms (longest)\n"
      "the crowd itself used {:.2f} s of CPU\n",
      static_cast<double>(figures.events) / figures.seconds, static_cast<double>(figures.requests) / figures.seconds,
      figures.seconds, figures.median, figures.p99, figures.longest, figures.cpuSeconds);
}

void printSummary(const Run& run, const Settings& settings, double seconds) {
  const auto& counters = run.counters;
  fmt::print("{} events acknowledged in {:.1f} s: {} requests, {} of them init calls, {} bytes of events\n",
             counters.events.load(), seconds, counters.requests.load(), counters.inits.load(), counters.bytes.load());
  if (counters.repeated > 0) fmt::print("{} requests were repeated, for want of an answer\n", counters.repeated.load());
  if (counters.refused > 0) fmt::print("{} records were refused\n", counters.refused.load());
  if (counters.unacknowledged > 0) fmt::print("{} records were not acknowledged\n", counters.unacknowledged.load());
  fmt::print("--seed {}\n", settings.seed);
}

void play(const Settings& settings, Run& run, Truth& truth) {
  if (settings.load > 0) {
    Load load(settings, run);
    load.prepare(truth);
    return printLoad(load.run());
  }
  std::vector<std::unique_ptr<Player>> players;
  if (settings.history) {
    History history(settings, run);
    history.run(truth);
    players = history.takePlayers();
    run.reached = 0;
  }
  if (settings.rate > 0 && !run.stopping()) Live(settings, run, std::move(players)).run(truth);
}

bool writeTruth(const Truth& truth, const Settings& settings, const Run& run, bool complete) {
  if (settings.truthFile.empty()) return true;
  const RunFacts facts{settings.target.game.key, settings.seed, settings.rules.period, complete,
                       run.counters.unacknowledged};
  std::ofstream file(settings.truthFile, std::ios::binary);
  file << truthText(truth, facts);
  file.close();
  return file.good();
}

int play(const Settings& settings) {
  Run run;
  run.catchSignals();
  Truth truth;
  const auto began = std::chrono::steady_clock::now();
  {
    const Progress progress(run, settings.rules.period, settings.quiet);
    play(settings, run, truth);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
  printSummary(run, settings, took.count());
  const bool lost = run.failed() || run.counters.unacknowledged > 0;
  const bool complete = !lost && (settings.rate > 0 || !run.stopping());
  for (const auto& failure : run.failures()) complain(failure, 1);
  if (!writeTruth(truth, settings, run, complete)) return complain(settings.truthFile + " can't be written", 1);
  return lost ? 1 : 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const auto settings = readOptions(count, arguments);
    if (const auto* status = std::get_if<int>(&settings)) return *status;
    return play(std::get<Settings>(settings));
  } catch (const std::exception& failure) {
    return complain(failure.what(), 1);
  }
}
