// torture-player: a game whose life is read from standard input, a step a line, and which says on standard output what
// it knows to be on disk. It is made to be killed: whatever it has said was true when it said it.
//
//   start                 initialises with its keys: a session begins
//   post N, buy N         N design events, N purchases; each is "TAG:NUMBER", numbered on from --first
//   receipt BYTES         purchases carry so many from here on
//   stored                waits for the work queue, then says what is on disk: "stored 5-24 30" (latest numbers),
//                         "begun ID" (a session whose start waits), "open ID" (one whose snapshot stands)
//   background, foreground, run (of the event queue), wait SECONDS
//   clock SECONDS         the clock jumps to that time; "clock +SECONDS", "clock -SECONDS": from where it stands
//   forever               the steps from here on again and again, to "afterwards", which is reached by a SIGUSR1
//   say WORD              says it
//   die                   SIGKILL
//
// After the last step it exits as any game does.
#include <dlfcn.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <zorvane/Zorvane.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "codecs/ZVHelpers.h"
#include "events/ZVEvents.h"
#include "runtime/ZVThreading.h"
#include "store/ZVStore.h"

using namespace zorvane;

namespace {

// There when allocations are made to fail: says when the game's thread is inside the library.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
const auto insideLibrary = reinterpret_cast<void (*)(bool)>(dlsym(RTLD_DEFAULT, "torture_inside_library"));

constexpr int kMostRowsLookedAt = 2000;
constexpr int kTriesWithoutMemory = 3;

class JumpingClock final : public ZVClock {
 public:
  double secondsSince1970() const override {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count() + offset.load();
  }
  std::atomic<double> offset{0};
};
const auto jumpingClock = std::make_shared<JumpingClock>();

// One call of the library.
template <class Call>
void inLibrary(Call call) {
  if (insideLibrary != nullptr) insideLibrary(true);
  call();
  if (insideLibrary != nullptr) insideLibrary(false);
}

std::string tag = "t";
long nextNumber = 1;
volatile std::sig_atomic_t enough = 0;

// In one write, so that a line is there whole or not at all.
void say(const std::string& text) {
  const std::string line = text + '\n';
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) std::abort();
}

// The number of the event "TAG:NUMBER"; 0 when it is none of ours.
long numberIn(const std::string& record) {
  const std::string before = "\"event_id\":\"" + tag + ":";
  const auto found = record.find(before);
  return found == std::string::npos ? 0 : std::strtol(record.c_str() + found + before.size(), nullptr, 10);
}

std::string rangesOf(std::vector<long> numbers) {
  std::ranges::sort(numbers);
  std::string text;
  for (std::size_t at = 0; at < numbers.size();) {
    const std::size_t first = at++;
    while (at < numbers.size() && numbers[at] == numbers[at - 1] + 1) ++at;
    text += ' ' + std::to_string(numbers[first]);
    if (at - first > 1) text += '-' + std::to_string(numbers[at - 1]);
  }
  return text;
}

// On the work queue. What is seen here while no transaction is open is committed.
void sayWhatIsStored() {
  sqlite3* const database = ZVStore::getDatabase();
  if (database == nullptr || sqlite3_get_autocommit(database) == 0) return;
  const auto rows =
      ZVStore::executeQuerySyncWithSql("SELECT category, session_id, event FROM zv_events ORDER BY rowid DESC LIMIT " +
                                       std::to_string(kMostRowsLookedAt));
  if (!rows) return;
  std::vector<long> numbers;
  for (const auto& row : *rows) {
    if (row.textOf("category") == "user") say("begun " + row.textOf("session_id"));
    if (const long number = numberIn(row.textOf("event")); number > 0) numbers.push_back(number);
  }
  say("stored" + rangesOf(numbers));
  const auto open = ZVStore::executeQuerySyncWithSql("SELECT session_id FROM zv_session");
  if (!open) return;
  for (const auto& row : *open) say("open " + row.textOf("session_id"));
}

// Without memory nobody can hear that the queue is done.
void waitForTheQueue() {
  for (int tries = insideLibrary != nullptr ? kTriesWithoutMemory : -1; tries != 0; --tries)
    if (ZVThreading::sharedInstance().queue.drain(std::chrono::seconds(1))) return;
}

void start(const std::string&) {
  inLibrary([] {
    Zorvane::initializeWithGameKey("0123456789abcdef0123456789ABCDEF", "0123456789abcdef0123456789ABCDEF01234567");
  });
}

void post(const std::string& count) {
  for (long left = std::stol(count); left > 0; --left) {
    const std::string name = tag + ':' + std::to_string(nextNumber);
    const auto value = static_cast<double>(nextNumber++);
    inLibrary([&] { Zorvane::addDesignEventWithEventId(name, value); });
  }
}

std::string receipt;  // of the purchases

void buy(const std::string& count) {
  for (long left = std::stol(count); left > 0; --left) {
    const std::string number = std::to_string(nextNumber++);
    inLibrary([&] { Zorvane::addBusinessEventWithCurrency("EUR", 99, tag, number, "shop", receipt); });
  }
}

void stored(const std::string&) {
  ZVThreading::performTaskOnZVThreadWithBlock([] { sayWhatIsStored(); });
  waitForTheQueue();
}

void jump(const std::string& where) {
  const bool relative = where[0] == '+' || where[0] == '-';
  const double from = relative ? jumpingClock->offset.load() : -static_cast<double>(std::time(nullptr));
  jumpingClock->offset = from + std::stod(where);
}

struct Step {
  std::string_view name;
  void (*take)(const std::string& argument);
};
constexpr auto kSteps = std::to_array<Step>({
    {"start", start},
    {"post", post},
    {"buy", buy},
    {"receipt", [](const std::string& bytes) { receipt.assign(std::stoul(bytes), 'r'); }},
    {"stored", stored},
    {"background", [](const std::string&) { inLibrary([] { ZVPlatform::applicationDidEnterBackground(); }); }},
    {"foreground", [](const std::string&) { inLibrary([] { ZVPlatform::applicationWillEnterForeground(); }); }},
    {"run", [](const std::string&) { ZVEvents::processEventQueue(false); }},
    {"wait", [](const std::string& s) { std::this_thread::sleep_for(std::chrono::duration<double>(std::stod(s))); }},
    {"clock", jump},
    {"say", say},
    {"die", [](const std::string&) { raise(SIGKILL); }},
});

void take(const std::string& line) {
  const auto space = std::min(line.find(' '), line.size());
  const auto* const step = std::ranges::find(kSteps, line.substr(0, space), &Step::name);
  if (step == kSteps.end()) throw std::invalid_argument("no such step: " + line);
  step->take(line.substr(std::min(space + 1, line.size())));
}

void live(const std::vector<std::string>& steps) {
  const auto forever = std::ranges::find(steps, "forever");
  const auto afterwards = std::ranges::find(steps, "afterwards");
  for (auto at = steps.begin(); at != forever; ++at) take(*at);
  if (forever == steps.end()) return;
  while (enough == 0)
    for (auto at = forever + 1; at != afterwards; ++at) take(*at);
  for (auto at = afterwards; at != steps.end(); ++at)
    if (*at != "afterwards") take(*at);
}

void install(std::map<std::string, std::string>& options) {
  const std::string& url = options.at("--collector");  // http://HOST:PORT
  const auto host = url.find("//") + 2;
  const auto port = url.rfind(':');
  ZVPlatform platform;
  platform.collector = {"http", url.substr(host, port - host), url.substr(port + 1)};
  platform.dataDirectory = options.at("--data-dir");
  platform.clock = jumpingClock;
  platform.connectTimeoutSeconds = platform.requestTimeoutSeconds = std::stod(options.at("--timeout"));
  platform.exitSeconds = platform.backgroundSeconds = std::stod(options.at("--exit-seconds"));
  ZVPlatform::install(std::move(platform));
  ZVEvents::sharedInstance().queueTimerWaitSeconds = std::stod(options.at("--queue-seconds"));
}

}  // namespace

int main(int count, char** arguments) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // the campaign's end is its own
  // libcrypto doesn't survive a lack of memory in its own first use, which isn't what is tested here.
  ZVHelpers::hmacWithKey(ZVHelpers::generateUUID(), "");
  std::signal(SIGUSR1, [](int) { enough = 1; });
  std::map<std::string, std::string> options{
      {"--queue-seconds", "3600"}, {"--timeout", "10"}, {"--exit-seconds", "20"}};
  for (int at = 1; at + 1 < count; at += 2) options[arguments[at]] = arguments[at + 1];
  if (options.contains("--tag")) tag = options["--tag"];
  if (options.contains("--first")) nextNumber = std::stol(options["--first"]);
  std::vector<std::string> steps;
  for (std::string line; std::getline(std::cin, line);) steps.push_back(line);
  install(options);
  live(steps);
  return 0;
}
