#include "Library.h"

#include <sqlite3.h>
#include <zorvane/Zorvane.h>

#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>

#include "collector/base/Inflate.h"
#include "collector/base/Json.h"
#include "collector/records/Rules.h"
#include "device/ZVDevice.h"
#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"

using namespace zorvane;

namespace fuzz {

namespace {

constexpr std::size_t kMaxInflated = std::size_t{64} << 20U;
constexpr int kDeepest = 40;

std::string makeFolder() {
  auto folder = (std::filesystem::temp_directory_path() / "zorvane-fuzz-XXXXXX").string();
  require(::mkdtemp(folder.data()) != nullptr, "no temporary folder");
  return folder;
}

void quiet() {
  ZVLogger& logger = ZVLogger::sharedInstance();
  logger.analyticsLogEnabled = logger.verboseLogEnabled = logger.debugEnabled = logger.warningLogEnabled = false;
}

// The collector reads the list and has nothing against any of its records.
void requireTaken(std::string_view list) {
  const auto failure = collector::forEachElement(list, [](const collector::JsonValue& record, std::string_view text) {
    collector::Findings findings;
    collector::readRecord(record, text.size(), findings);
    require(findings.good, findings.good ? "" : "the collector refuses it: " + findings.reasons.front(), text);
  });
  require(failure.empty(), "the collector can't read it: " + failure, list);
}

struct Clock final : ZVClock {
  double secondsSince1970() const override { return Library::get().now; }
};

struct Defaults final : ZVUserDefaults {
  std::optional<std::string> stringForKey(std::string_view key) const override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void setString(std::string_view key, std::string_view value) override {
    values.insert_or_assign(std::string(key), std::string(value));
  }
  void removeKey(std::string_view key) override { values.erase(std::string(key)); }
  bool synchronize() override { return true; }
  std::map<std::string, std::string, std::less<>> values;
};

struct Network final : ZVReachabilitySource {
  bool accepts(const ZVReachabilityTarget&) const override { return true; }
  std::optional<std::uint32_t> flags(const ZVReachabilityTarget&) const override { return kReachable; }
  WatchId watch(std::function<void()>) override { return 1; }
  void unwatch(WatchId) override {}
};

// Answers at once, on the asking thread, and lets go of the completion.
struct Task final : ZVURLDataTask {
  Task(ZVURLRequest asked, ZVURLSession::Completion completion)
      : request(std::move(asked)), complete(std::move(completion)) {}
  void resume() override {
    Library& library = Library::get();
    library.sent.push_back(request);
    const Reply reply = library.answer ? library.answer(request) : Reply{};
    std::exchange(complete, nullptr)(
        reply.body, reply.status != 0 ? std::optional(ZVURLResponse{reply.status, true}) : std::nullopt,
        reply.error != 0 ? std::optional(ZVURLError{reply.error, "an error"}) : std::nullopt);
  }
  void cancel() override {}
  const ZVURLRequest request;
  ZVURLSession::Completion complete;
};

struct Session final : ZVURLSession {
  std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest request, Completion completion) override {
    return std::make_shared<Task>(std::move(request), std::move(completion));
  }
};

ZVValue valueOf(Input& input, int depth) {
  switch (input.byte() % 8) {
    case 0: return input.whole();
    case 1: return input.number();
    case 2: return input.flag();
    case 3: return nullptr;
    case 4: return depth < kDeepest ? ZVValue(mapOf(input, depth + 1)) : ZVValue();
    case 5: {
      ZVValue::Array array;
      for (unsigned left = input.byte() % 4; left > 0 && depth < kDeepest; --left)
        array.push_back(valueOf(input, depth + 1));
      return array;
    }
    default: return input.text();
  }
}

}  // namespace

// Everybody is on its thread, so nobody waits for it.
class Library::Loop final : public ZVMainLoop {
 public:
  bool isMainThread() const override { return true; }
  void post(ZVMainLoop::Task task) override { task(); }
  TimerId scheduleTimer(double, ZVMainLoop::Task task) override {
    const std::scoped_lock lock(guard_);
    timers_.emplace(++last_, std::move(task));
    return last_;
  }
  void cancelTimer(TimerId timer) override {
    const std::scoped_lock lock(guard_);
    timers_.erase(timer);
  }
  std::map<TimerId, ZVMainLoop::Task> takeAll() {
    const std::scoped_lock lock(guard_);
    return std::exchange(timers_, {});
  }

 private:
  std::mutex guard_;
  std::map<TimerId, ZVMainLoop::Task> timers_;  // guarded by guard_
  TimerId last_ = 0;                            // guarded by guard_
};

// Holds the work queue in one task, which runs what it is handed: the queue itself looks for tasks every few
// milliseconds only.
class Library::Worker {
 public:
  Worker() { hold(); }

  void run(const std::function<void()>& task) {
    std::unique_lock lock(guard_);
    task_ = &task;
    changed_.notify_all();
    changed_.wait(lock, [&] { return task_ == nullptr; });
  }
  // Lets the queue go on until it comes to the next hold.
  void yield() {
    {
      const std::scoped_lock lock(guard_);
      yields_ = true;
      changed_.notify_all();
    }
    hold();
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return !yields_; });
  }

 private:
  void hold() {
    ZVThreading::performTaskOnZVThreadWithBlock([this] { serve(); });
  }
  void serve() {
    std::unique_lock lock(guard_);
    for (yields_ = false, changed_.notify_all(); !yields_;) {
      if (task_ != nullptr) {
        (*task_)();
        task_ = nullptr;
        changed_.notify_all();
      }
      changed_.wait(lock, [&] { return yields_ || task_ != nullptr; });
    }
  }

  std::mutex guard_;
  std::condition_variable changed_;
  const std::function<void()>* task_ = nullptr;  // guarded by guard_
  bool yields_ = false;                          // guarded by guard_
};

Library& Library::get() {
  static auto* const library = new Library;
  return *library;
}

Library::Library() : loop_(std::make_shared<Loop>()) {
  static const std::string folder = makeFolder();
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  });
  ZVPlatform platform;
  platform.application = [] { return ZVApplicationFacts{"com.example.game", "1.4.2", "1421", {}, {}, {}}; };
  platform.device = [] { return ZVDeviceFacts{"17.2", "Phone12,1", {}, {}}; };
  platform.dataDirectory = folder;
  platform.userDefaults = std::make_shared<Defaults>();
  platform.mainLoop = loop_;
  platform.makeURLSession = [] { return std::make_shared<Session>(); };
  platform.reachability = std::make_shared<Network>();
  platform.clock = std::make_shared<Clock>();
  platform.exitSeconds = 0;
  require(ZVPlatform::install(std::move(platform)), "the platform is not taken");
  quiet();
  Zorvane::setEnabledErrorReporting(false);  // brings the library up
  worker_ = std::make_unique<Worker>();
}

void Library::restart() {
  settle();
  loop_->takeAll();
  run([] {
    ZVHTTPApi::setSharedInstance(nullptr);
    ZVEvents::setSharedInstance(nullptr);
    ZVDevice::setSharedInstance(nullptr);
    ZVState::setSharedInstance(nullptr);
    ZVState::setEnableErrorReporting(false);  // crashes are the fuzzer's
    quiet();
  });
}

void Library::forget() {
  restart();
  answer = nullptr;
  now = 1'700'000'000;
  sent.clear();
  run([] {
    static_cast<Defaults&>(*platform().userDefaults).values.clear();
    for (const char* table : {"zv_events", "zv_session", "zv_state", "zv_progression"})
      ZVStore::executeQuerySyncWithSql(std::string("DELETE FROM ") + table);
  });
}

void Library::initialise() {
  Zorvane::initializeWithGameKey(kKey, kSecret);
  settle();
}

void Library::run(const std::function<void()>& task) { worker_->run(task); }

// Tasks post tasks, which come to stand behind the hold.
void Library::settle() {
  for (int round = 0; round < 3; ++round) worker_->yield();
}

void Library::fireTimers() {
  for (const auto& [id, task] : loop_->takeAll()) task();
  settle();
}

void Library::insert(const char* sql, std::initializer_list<std::string_view> texts) {
  run([&] {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(ZVStore::getDatabase(), sql, -1, &statement, nullptr) == SQLITE_OK, sql);
    int column = 0;
    for (const auto text : texts)
      sqlite3_bind_text64(statement, ++column, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    sqlite3_step(statement);
    sqlite3_finalize(statement);
  });
}

std::vector<std::string> Library::stored() {
  std::vector<std::string> records;
  run([&] {
    const auto rows = ZVStore::executeQuerySyncWithSql("SELECT event FROM zv_events ORDER BY rowid");
    require(rows.has_value(), "the stored events can't be read");
    for (const auto& row : *rows) records.push_back(*row.find("event"));
  });
  return records;
}

void Library::requireThatAllIsTaken() {
  const bool timesAreSent = now > 0 && now < 2e9;  // a time that no record may have is taken out when it is sent
  if (timesAreSent)
    for (const auto& record : stored()) requireTaken('[' + record + ']');
  for (const auto& request : sent) {
    std::string body = request.body;
    const bool compressed = !request.headers.empty() && request.headers.front().first == "Content-Type";
    if (compressed)
      require(collector::inflateGzip(request.body, kMaxInflated, body) == collector::InflateOutcome::ok, "not gzip");
    if (!isInit(request)) {
      requireTaken(body);
      continue;
    }
    const auto parsed = collector::parseJson(body);
    collector::Findings findings;
    if (parsed.failure.empty()) collector::readInitBody(parsed.document, findings);
    require(parsed.failure.empty() && findings.good, "the init body", body);
  }
}

ZVMap mapOf(Input& input, int depth) {
  ZVMap map;
  for (unsigned left = input.byte() % 8; left > 0; --left) {
    auto key = input.text();
    map.set(std::move(key), valueOf(input, depth));
  }
  return map;
}

bool isInit(const ZVURLRequest& request) { return request.url.find("/remote_configs/") != std::string::npos; }

}  // namespace fuzz
