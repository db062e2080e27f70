#include "bench/Game.h"

#include <httplib.h>
#include <zorvane/Zorvane.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <future>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "events/ZVEvents.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"

using namespace zorvane;

namespace {

constexpr const char* kGameKey = "0123456789abcdef0123456789abcdef";
constexpr const char* kSecret = "0123456789abcdef0123456789abcdef01234567";
constexpr double kNever = 1e6;  // seconds
constexpr auto kLongest = std::chrono::minutes(10);

class Directory {
 public:
  // Not in the system's temporary directory: that is memory on some machines, where nothing is written to disk.
  Directory() : path_((std::filesystem::current_path() / "bench.XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no data directory at " + path_);
  }
  ~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class AcceptingCollector {
 public:
  AcceptingCollector() {
    server_.Post(".*/init", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("{\"server_ts\":" + std::to_string(std::time(nullptr)) + "}", "application/json");
    });
    server_.Post(".*/events", [this](const httplib::Request& request, httplib::Response& response) {
      const std::scoped_lock lock(guard_);
      lastBatch_ = request.body;
      response.set_content("[]", "application/json");
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
  }
  ~AcceptingCollector() {
    server_.stop();
    thread_.join();
  }
  AcceptingCollector(const AcceptingCollector&) = delete;
  AcceptingCollector& operator=(const AcceptingCollector&) = delete;
  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string lastBatch() {
    const std::scoped_lock lock(guard_);
    return lastBatch_;
  }

 private:
  httplib::Server server_;
  int port_ = 0;
  std::mutex guard_;
  std::string lastBatch_;  // guarded by guard_
  std::thread thread_;
};

class Game {
 public:
  Game() {
    ZVPlatform platform;
    platform.application = [] {
      ZVApplicationFacts facts;
      facts.bundleIdentifier = "com.example.bench";
      facts.version = "1.4.2";
      facts.build = "1421";
      return facts;
    };
    platform.dataDirectory = directory_.path();
    platform.collector = {.protocol = "http", .hostname = "127.0.0.1", .port = std::to_string(collector_.port())};
    ZVPlatform::install(std::move(platform));

    ZVEvents::sharedInstance().queueTimerWaitSeconds = kNever;  // the benches say when events are sent
    Zorvane::configureBuild("1.4.2");
    Zorvane::initializeWithGameKey(kGameKey, kSecret);
    game::finishTasks();
    if (!ZVState::isInitialized()) throw std::runtime_error("the library did not come up");
    ZVStore::sharedInstance().maxDbSizeBytes = std::numeric_limits<std::int64_t>::max();  // keep all that is reported
  }
  [[nodiscard]] const std::string& directory() const { return directory_.path(); }
  AcceptingCollector& collector() { return collector_; }

 private:
  Directory directory_;
  AcceptingCollector collector_;
};

Game& running() {
  static Game game;
  return game;
}

}  // namespace

const ZVMap& game::customFields() {
  static const ZVMap fields{{"weapon", "sword"}, {"tries", 3}, {"perfect", false}};
  return fields;
}

void game::start() { running(); }

void game::reportEvent() { Zorvane::addDesignEventWithEventId(kEventId, kValue, customFields()); }

void game::finishTasks() {
  if (!ZVThreading::sharedInstance().queue.drain(kLongest)) throw std::runtime_error("the work queue hangs");
}

void game::onWorkQueue(const std::function<void()>& task) {
  std::promise<void> done;
  ZVThreading::performTaskOnZVThreadWithBlock([&] {
    task();
    done.set_value();
  });
  done.get_future().wait();
}

std::string game::directory() { return running().directory(); }
int game::collectorPort() { return running().collector().port(); }
std::string game::lastBatch() { return running().collector().lastBatch(); }
