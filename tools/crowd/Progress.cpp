#include "crowd/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "crowd/TruthText.h"

namespace crowd {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kRedraw = std::chrono::milliseconds(50);

std::string reached(const Run& run, const Period& period) {
  if (run.reached == 0) return {};
  return fmt::format(", day {} of {}", (run.reached - period.from) / kDaySeconds + 1,
                     (period.until - period.from) / kDaySeconds);
}

std::string troubles(const Run& run) {
  const auto repeated = run.counters.repeated.load();
  return repeated == 0 ? std::string() : fmt::format(", {} requests repeated", repeated);
}

}  // namespace

Progress::Progress(const Run& run, const Period& period, bool quiet) : run_(run), period_(period) {
  if (!quiet) thread_ = std::thread([this] { speak(); });
}

Progress::~Progress() {
  ending_ = true;
  if (thread_.joinable()) thread_.join();
}

void Progress::speak() {
  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  const auto every = std::chrono::seconds(terminal ? 1 : 10);
  const auto began = Clock::now();
  auto next = began + every;
  std::int64_t before = 0;
  for (; !ending_; std::this_thread::sleep_for(kRedraw)) {
    if (Clock::now() < next) continue;
    next += every;
    const auto events = run_.counters.events.load();
    fmt::print(stderr, "{}{:5} s: {} events, {} a second{}{}{}", terminal ? "\r\x1b[K" : "",
               std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - began).count(), events,
               (events - before) / every.count(), reached(run_, period_), troubles(run_), terminal ? "" : "\n");
    before = events;
  }
  if (terminal) fmt::print(stderr, "\r\x1b[K");
}

}  // namespace crowd
