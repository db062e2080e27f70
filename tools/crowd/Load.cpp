#include "crowd/Load.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <span>

#include "crowd/Threads.h"

namespace crowd {

namespace {

using Clock = std::chrono::steady_clock;

double cpuSeconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double quantile(std::vector<double>& sorted, double share) {
  return sorted.empty() ? 0 : sorted[static_cast<std::size_t>(static_cast<double>(sorted.size() - 1) * share)];
}

// A player's whole history. SDK errors go alone, so they are in no batch.
void playAll(Player& player, const Period& period, Records& records) {
  std::int64_t end = 0;
  while (const auto visit = player.nextVisit(end)) {
    end = visit->start + visit->seconds;
    if (end > period.until) return;
    player.begin(visit->start);
    for (auto& record : player.play(*visit, {}, visit->start))
      if (!std::holds_alternative<SdkError>(record.what)) records.push_back(std::move(record));
  }
}

}  // namespace

void Load::prepare(Truth& truth) {
  runThreads(
      settings_.connections, truth, [this](Truth& counted) { make(counted); }, run_);
}

void Load::make(Truth& truth) {
  Records records;
  while (!run_.stopping()) {
    Player player(settings_.seed, nextPlayer_++, settings_.rules);
    playAll(player, settings_.rules.period, records);
    std::size_t at = 0;
    for (; records.size() - at >= settings_.batch; at += settings_.batch) {
      const auto left = settings_.load - made_.fetch_add(static_cast<std::int64_t>(settings_.batch));
      if (left <= 0) return;
      const std::span batch(&records[at], std::min(settings_.batch, static_cast<std::size_t>(left)));
      std::stable_sort(batch.begin(), batch.end(),
                       [](const auto& one, const auto& other) { return one.time < other.time; });
      auto package = packed(batch.data(), batch.size(), settings_.target.game);
      if (!settings_.truthFile.empty())
        for (const auto& record : batch) truth.count(record);
      const std::scoped_lock lock(guard_);
      packages_.push_back(std::move(package));
    }
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(at));
  }
}

LoadFigures Load::run() {
  std::atomic<std::size_t> next{0};
  const auto send = [&](Truth&) {
    Delivery delivery(settings_.target, run_);
    std::vector<double> took;
    for (auto at = next++; at < packages_.size() && !run_.stopping(); at = next++) {
      const auto began = Clock::now();
      if (!delivery.send(packages_[at])) run_.stop();
      took.push_back(std::chrono::duration<double, std::milli>(Clock::now() - began).count());
    }
    const std::scoped_lock lock(guard_);
    std::move(took.begin(), took.end(), std::back_inserter(milliseconds_));
  };
  Truth nothing;
  const double cpuBefore = cpuSeconds();
  const auto began = Clock::now();
  runThreads(settings_.connections, nothing, send, run_);

  LoadFigures figures;
  figures.seconds = std::chrono::duration<double>(Clock::now() - began).count();
  figures.cpuSeconds = cpuSeconds() - cpuBefore;
  figures.events = run_.counters.events;
  figures.requests = run_.counters.requests;
  std::sort(milliseconds_.begin(), milliseconds_.end());
  figures.median = quantile(milliseconds_, 0.5);
  figures.p99 = quantile(milliseconds_, 0.99);
  figures.longest = quantile(milliseconds_, 1);
  return figures;
}

}  // namespace crowd
