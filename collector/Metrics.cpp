#include "collector/Metrics.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace collector {

namespace {

// Text in the form of Prometheus, family by family.
class Families {
 public:
  void begin(std::string_view name, std::string_view kind, std::string_view says) {
    text_ += fmt::format("# HELP zorvane_{0} {2}\n# TYPE zorvane_{0} {1}\n", name, kind, says);
  }
  template <class Number>
  void sample(std::string_view name, Number number) {
    text_ += fmt::format("zorvane_{} {}\n", name, number);
  }
  template <class Number>
  void gauge(std::string_view name, std::string_view says, Number number) {
    begin(name, "gauge", says);
    sample(name, number);
  }
  template <class Number>
  void counter(std::string_view name, std::string_view says, Number number) {
    begin(name, "counter", says);
    sample(name, number);
  }
  [[nodiscard]] std::string text() && { return std::move(text_); }

 private:
  std::string text_;
};

double seconds(std::chrono::microseconds time) { return static_cast<double>(time.count()) / 1e6; }

void addIntake(Families& families, const Counters& counters) {
  for (const auto& each : kCounters)
    families.counter(fmt::format("{}_total", each.name), each.says, (counters.*each.counter).load());
}

void addVisits(Families& families, const Visits::Numbers& visits) {
  using Numbers = Visits::Numbers;
  families.begin("answers_total", "counter", "Requests that are over, by the status of their answer.");
  families.sample("answers_total{class=\"none\"}", visits.byClass[0].load());
  for (std::size_t at = 1; at < visits.byClass.size(); ++at)
    families.sample(fmt::format("answers_total{{class=\"{}xx\"}}", at), visits.byClass[at].load());
  families.begin("answer_seconds", "histogram", "From the head of a game's request to the last byte of its answer.");
  std::int64_t count = 0;
  for (std::size_t at = 0; at < Numbers::kBuckets.size(); ++at) {
    count += visits.took[at];
    families.sample(fmt::format("answer_seconds_bucket{{le=\"{}\"}}", Numbers::kBuckets[at] / 1000.0), count);
  }
  count += visits.took.back();
  families.sample("answer_seconds_bucket{le=\"+Inf\"}", count);
  families.sample("answer_seconds_sum", seconds(std::chrono::microseconds(visits.microseconds)));
  families.sample("answer_seconds_count", count);
}

void addFront(Families& families, const front::Tally& tally) {
  families.gauge("connections", "Open connections.", tally.connections.load());
  families.begin("connections_by_phase", "gauge", "The same, by what they are at.");
  for (std::size_t at = 0; at < front::kPhaseNames.size(); ++at)
    families.sample(fmt::format("connections_by_phase{{phase=\"{}\"}}", front::kPhaseNames[at]),
                    tally.phases[at].load());
  families.gauge("request_memory_bytes", "Memory of requests under way.", tally.memory.load());
  families.counter("connections_total", "Connections that were accepted.", tally.accepted.load());
  families.counter("requests_total", "Requests whose head was read.", tally.requests.load());
  families.begin("closed_total", "counter", "Connections closed without an answer.");
  for (std::size_t at = 0; at < front::kEndingNames.size(); ++at)
    families.sample(fmt::format("closed_total{{cause=\"{}\"}}", front::kEndingNames[at]), tally.endings[at].load());
}

void addArchive(Families& families, const Watched& watched) {
  families.gauge("archive_writable", "1, or 0 from a write that failed until one succeeds.",
                 watched.archive.failure.empty() ? 1 : 0);
  families.gauge("archive_waiting", "Requests and other tasks that wait to be written.", watched.archive.waiting);
  families.gauge("archive_last_write_seconds", "What the latest write took until it was on the disk.",
                 seconds(watched.archive.lastWrite));
  families.gauge("archive_bytes", "Size of the archive's files.", watched.archiveBytes);
  if (watched.freeBytes)
    families.gauge("archive_free_bytes", "Free space of the disk they are on.", *watched.freeBytes);
}

void addWarehouse(Families& families, const Shipper::Lag& lag) {
  families.counter("handed_on_total", "Events that the warehouse took since the start.", lag.handedOn);
  families.gauge("waiting_events", "Events that wait to be handed on.", lag.waiting);
  families.gauge("lag_seconds", "Age of the oldest of them.", ageOf(lag));
  families.gauge("warehouse_failing", "1 while the warehouse takes no events.", lag.trouble.empty() ? 0 : 1);
  families.gauge("pending_erasures", "Players that the warehouse has still to remove.", lag.erasures);
}

}  // namespace

std::string metricsText(const Watched& watched) {
  Families families;
  addIntake(families, watched.counters);
  addVisits(families, watched.visits);
  if (watched.tally != nullptr) addFront(families, *watched.tally);
  addArchive(families, watched);
  if (watched.lag != nullptr) addWarehouse(families, *watched.lag);
  if (watched.configurationsAge)
    families.gauge("configurations_age_seconds", "Since the home of the configurations last confirmed those here.",
                   *watched.configurationsAge);
  families.counter("lost_log_lines_total", "Lines of the log that nobody took.", watched.lostLines);
  return std::move(families).text();
}

}  // namespace collector
