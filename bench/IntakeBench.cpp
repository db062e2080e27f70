// What the collector's intake costs a record, step by step, next to inflating and to a parser's own tree of the same
// bytes; and the memory that hostile bodies cost it.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <rapidjson/document.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "bench/Samples.h"
#include "codecs/ZVHelpers.h"
#include "collector/base/Inflate.h"
#include "collector/base/Json.h"
#include "collector/base/Signature.h"
#include "collector/intake/Intake.h"
#include "collector/records/Rules.h"

using namespace collector;

namespace {

constexpr int kRecords = 500;
constexpr int kRuns = 100;
const std::string kSecret(40, 's');

std::string uuid(int number) {
  return fmt::format("{:08x}-3f1c-4b7a-9d52-8e6f{:08x}", static_cast<unsigned>(number) * 2654435761U, number);
}

std::string eventOf(int number) {
  const auto common = fmt::format(
      R"("v":2,"user_id":"{}","event_uuid":"{}","ios_idfa":"00000000-0000-0000-0000-000000000000","ios_idfv":"",)"
      R"("client_ts":{},"sdk_version":"unity 7.3.1","os_version":"linux 6.1","manufacturer":"valve","device":"Jupiter",)"
      R"("platform":"linux","session_id":"{}","session_num":{},"connection_type":"wifi","engine_version":"unity 5.6.1",)"
      R"("limited_ad_tracking":true,"build":"1.4.2","ios_bundle_id":"com.example.game","ios_app_version":"1.4.2",)",
      uuid(number / 50), uuid(number), 1'700'000'000 + number, uuid(number / 10), number % 40);
  const auto own = [&]() -> std::string {
    switch (number % 5) {
      case 0: return fmt::format(R"("category":"resource","event_id":"Sink:gems:boost:speed","amount":-{})", number);
      case 1: return R"("category":"progression","event_id":"Complete:world01:level7","attempt_num":3,"score":1200)";
      case 2: return R"("category":"error","severity":"warning","message":"asset music\/theme.ogg is missing\n at 12")";
      default: return fmt::format(R"("category":"design","event_id":"level:castle:boss","value":{}.5)", number);
    }
  }();
  return fmt::format(R"({{{}{},"custom_01":"veteran","custom_fields":{{"weapon":"sword","perfect":false,"tries":3}}}})",
                     common, own);
}

const std::string& batch() {
  static const auto text = [] {
    std::string list;
    for (int number = 1; number <= kRecords; ++number) list.append(number == 1 ? "[" : ",").append(eventOf(number));
    return list.append("]");
  }();
  return text;
}

std::string gzip(const std::string& text) { return zorvane::ZVHelpers::gzipEnflateWithData(text).value_or(""); }

template <class Work>
void measure(benchmark::State& state, Work work) {
  Samples samples(kRuns);
  for (auto _ : state) {
    const auto before = Samples::Clock::now();
    work();
    samples.add(before, Samples::Clock::now());
  }
  samples.report(state, "batch");
}

void inflate(benchmark::State& state) {
  const auto sent = gzip(batch());
  std::string text;
  measure(state, [&] { benchmark::DoNotOptimize(inflateGzip(sent, Intake::kMaxInflated, text)); });
  state.counters["sent_bytes"] = static_cast<double>(sent.size());
  state.counters["inflated_bytes"] = static_cast<double>(text.size());
}

void parse(benchmark::State& state) {
  measure(state, [] { forEachElement(batch(), [](const JsonValue&, std::string_view) {}); });
}

void parseAndJudge(benchmark::State& state) {
  measure(state, [] {
    forEachElement(batch(), [](const JsonValue& record, std::string_view text) {
      Findings findings;
      benchmark::DoNotOptimize(readRecord(record, text.size(), findings));
    });
  });
}

Intake::Outcome take(const std::string& sent, const std::string& signature) {
  static const Intake intake([](std::string_view) { return kSecret; });
  Call call;
  call.authorization = signature;
  call.contentEncoding = "gzip";
  call.body = sent;
  return intake.takeEvents(std::move(call), 0);
}

// The bare work: inflating, and a tree of the whole body.
void bareWork(const std::string& sent) {
  std::string text;
  inflateGzip(sent, Intake::kMaxInflated, text);
  rapidjson::Document document;
  document.Parse(text.data(), text.size());
  benchmark::DoNotOptimize(document.Size());
}

void intake(benchmark::State& state) {
  const auto sent = gzip(batch());
  const auto signature = signatureOf(sent, kSecret);
  if (take(sent, signature).content->rows.size() != kRecords) return state.SkipWithError("refused");
  Samples whole(kRuns);
  Samples bare(kRuns);
  for (auto _ : state) {
    const auto before = Samples::Clock::now();
    benchmark::DoNotOptimize(take(sent, signature));
    const auto between = Samples::Clock::now();
    bareWork(sent);
    whole.add(before, between);
    bare.add(between, Samples::Clock::now());
  }
  whole.report(state, "zorvane");
  bare.report(state, "bare");
}

std::string repeated(const std::string& text, std::size_t bytes) {
  std::string whole;
  whole.reserve(bytes + text.size());
  while (whole.size() < bytes) whole += text;
  return whole;
}
std::string list(const std::string& element, std::size_t bytes) {
  auto elements = repeated(element + ',', bytes);
  elements.back() = ']';
  return elements.insert(0, 1, '[');
}

double kilobytes(const char* what) {
  std::ifstream file("/proc/self/status");
  for (std::string word; file >> word;)
    if (word == what && file >> word) return std::stod(word);
  return 0;
}

// The most that a request takes on top of what is sent, in a process of its own.
double peakOf(const std::string& sent) {
  int ends[2];
  if (::pipe(ends) != 0) return -1;
  if (const auto child = ::fork(); child != 0) {
    double peak = -1;
    if (::read(ends[0], &peak, sizeof peak) != sizeof peak) peak = -1;
    ::waitpid(child, nullptr, 0);
    ::close(ends[0]);
    ::close(ends[1]);
    return peak;
  }
  std::ofstream("/proc/self/clear_refs") << "5";
  const auto before = kilobytes("VmRSS:");
  const auto outcome = take(sent, signatureOf(sent, kSecret));
  const double peak = kilobytes("VmHWM:") - before;
  ::_exit(::write(ends[1], &peak, sizeof peak) == sizeof peak && outcome.status != 401 ? 0 : 1);
}

void hostile(benchmark::State& state, const std::string& body) {
  const auto sent = gzip(body);
  for (auto _ : state) state.counters["peak_kb"] = peakOf(sent);
  state.counters["sent_bytes"] = static_cast<double>(sent.size());
  state.counters["inflated_kb"] = static_cast<double>(body.size()) / 1024;
}

constexpr std::size_t kMost = Intake::kMaxInflated - 16;
const std::string kSmallest =
    R"({"v":2,"event_uuid":"00000000-0000-0000-0000-000000000000","category":"sdk_error","sdk_version":"s",)"
    R"("os_version":"o","manufacturer":"m","device":"d","platform":"p","error_category":"db","error_area":"ad",)"
    R"("error_action":"sql_begin"})";

BENCHMARK(inflate)->Iterations(kRuns);
BENCHMARK(parse)->Iterations(kRuns);
BENCHMARK(parseAndJudge)->Iterations(kRuns);
BENCHMARK(intake)->Iterations(kRuns);
BENCHMARK_CAPTURE(hostile, tiny_records, list("{}", 7'800'000))->Iterations(1);
BENCHMARK_CAPTURE(hostile, tiny_numbers, list("1", kMost))->Iterations(1);
BENCHMARK_CAPTURE(hostile, tiny_values, list(list("1", 1'190'000), kMost - 1'200'000))->Iterations(1);
BENCHMARK_CAPTURE(hostile, unknown_fields,
                  list(fmt::format("{{{}\"v\":2}}", repeated("\"\":0,", 1'000'000)), kMost - 1'000'000))
    ->Iterations(1);
BENCHMARK_CAPTURE(hostile, deep, std::string(kMost, '['))->Iterations(1);
BENCHMARK_CAPTURE(hostile, escapes, list(fmt::format("\"{}\"", repeated("\\n", kMost)), 1))->Iterations(1);
BENCHMARK_CAPTURE(hostile, smallest_good_records, list(kSmallest, kMost - 300))->Iterations(1);
BENCHMARK_CAPTURE(hostile, bomb, fmt::format("[{}]", std::string(std::size_t{64} << 20U, ' ')))->Iterations(1);

}  // namespace
