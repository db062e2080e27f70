#include "bench/Game.h"

#include <httplib.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zorvane/Zorvane.h>

#include <array>
#include <chrono>
#include <ctime>
#include <future>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "bench/Directory.h"
#include "events/ZVEvents.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"

using namespace zorvane;

namespace {

constexpr const char* kGameKey = "0123456789abcdef0123456789abcdef";
constexpr const char* kSecret = "0123456789abcdef0123456789abcdef01234567";
constexpr auto kLongest = std::chrono::minutes(10);

// A process of its own, so that what it costs is not counted as the game's. It ends with the game.
class AcceptingCollector {
 public:
  AcceptingCollector() {
    std::array<int, 2> told{};
    std::array<int, 2> alive{};
    if (pipe(told.data()) != 0 || pipe(alive.data()) != 0) throw std::runtime_error("no pipe");
    child_ = fork();
    if (child_ == 0) {
      close(alive[1]);
      serve(told[1], alive[0]);
    }
    close(told[1]);
    close(alive[0]);
    alive_ = alive[1];
    if (read(told[0], &port_, sizeof port_) != sizeof port_) throw std::runtime_error("no collector");
    close(told[0]);
  }
  ~AcceptingCollector() {
    close(alive_);
    waitpid(child_, nullptr, 0);
  }
  AcceptingCollector(const AcceptingCollector&) = delete;
  AcceptingCollector& operator=(const AcceptingCollector&) = delete;
  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string lastBatch() const {
    const auto answer = httplib::Client("127.0.0.1", port_).Get("/last");
    return answer ? answer->body : "";
  }

 private:
  [[noreturn]] static void serve(int told, int alive) {
    httplib::Server server;
    std::mutex guard;
    std::string last;
    server.Post(".*/init", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("{\"server_ts\":" + std::to_string(std::time(nullptr)) + "}", "application/json");
    });
    server.Post("/slow/.*", [](const httplib::Request&, httplib::Response& response) {
      std::this_thread::sleep_for(game::kSlowAnswer);
      response.set_content("[]", "application/json");
    });
    server.Post(".*/events", [&](const httplib::Request& request, httplib::Response& response) {
      const std::scoped_lock lock(guard);
      last = request.body;
      response.set_content("[]", "application/json");
    });
    server.Get("/last", [&](const httplib::Request&, httplib::Response& response) {
      const std::scoped_lock lock(guard);
      response.set_content(last, "application/octet-stream");
    });
    const int port = server.bind_to_any_port("127.0.0.1");
    std::thread([&] { server.listen_after_bind(); }).detach();
    [[maybe_unused]] const auto written = write(told, &port, sizeof port);
    char nothing = 0;
    [[maybe_unused]] const auto ended = read(alive, &nothing, 1);  // returns when the game's end of it is closed
    _exit(0);
  }

  pid_t child_ = -1;
  int alive_ = -1;
  int port_ = 0;
};

class Game {
 public:
  explicit Game(double secondsBetweenRuns) {
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

    ZVEvents::sharedInstance().queueTimerWaitSeconds = secondsBetweenRuns;
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

Game& running(double secondsBetweenRuns = game::kNever) {
  static Game game(secondsBetweenRuns);
  return game;
}

}  // namespace

const ZVMap& game::customFields() {
  static const ZVMap fields{{"weapon", "sword"}, {"tries", 3}, {"perfect", false}};
  return fields;
}

void game::start(double secondsBetweenRuns) { running(secondsBetweenRuns); }

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

void game::sendTo(const std::string& url) { ZVHTTPApi::sharedInstance().setBaseUrl(url); }

std::string game::collectorUrl(const std::string& path) {
  return "http://127.0.0.1:" + std::to_string(collectorPort()) + path;
}

std::string game::directory() { return running().directory(); }
int game::collectorPort() { return running().collector().port(); }
std::string game::lastBatch() { return running().collector().lastBatch(); }
