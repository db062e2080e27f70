// What a host in C puts in the library's place, and the point from which it isn't called any more.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <zorvane/ZVVersion.h>
#include <zorvane/zorvane_c.h>

#include "support/Game.h"

namespace {

// A network of the host's own: it keeps the requests, and answers each on a thread.
class HostNetwork {
 public:
  ~HostNetwork() {
    for (std::thread& thread : threads_) thread.join();
  }

  zorvane_url_session table() {
    return {.size = sizeof(zorvane_url_session),
            .user = this,
            .start = [](const zorvane_url_request* request,
                        void* user) { static_cast<HostNetwork*>(user)->start(*request); },
            .cancel = [](std::uint64_t, void*) {}};
  }
  std::vector<LoopbackServer::Request> requests() {
    const std::scoped_lock lock(mutex_);
    return requests_;
  }

  std::atomic<bool> silent{false};   // requests are taken and never completed
  std::atomic<bool> failing{false};  // requests end at once, without an answer
  std::atomic<std::size_t> started{0};

 private:
  void start(const zorvane_url_request& request) {
    ++started;
    if (silent) return;
    if (failing) return zorvane_url_request_complete(request.id, nullptr);  // from inside
    LoopbackServer::Request kept{request.method, request.url, {}, {}};
    kept.body.assign(static_cast<const char*>(request.body), request.body_size);
    for (std::size_t i = 0; i < request.header_count; ++i)
      kept.headers.emplace_back(request.headers[i].name, request.headers[i].value);
    const std::scoped_lock lock(mutex_);
    requests_.push_back(std::move(kept));
    threads_.emplace_back([id = request.id, isInit = requests_.back().target.find("/init?") != std::string::npos] {
      zorvane_url_answer answer{};
      answer.size = sizeof answer;
      answer.status = isInit ? 201 : 200;
      answer.body = isInit ? "{}" : "[]";
      answer.body_size = 2;
      zorvane_url_request_complete(id, &answer);
      zorvane_url_request_complete(id, &answer);  // too late, and without effect
    });
  }

  std::mutex mutex_;
  std::vector<LoopbackServer::Request> requests_;  // guarded by mutex_
  std::vector<std::thread> threads_;               // guarded by mutex_
};

// The rest of what a host may say, each function counted.
struct Host {
  std::mutex mutex;
  std::map<std::string, std::string> defaults;  // guarded by mutex
  std::atomic<double> now{1'600'000'000};
  std::atomic<std::uint32_t> flags{ZORVANE_REACHABLE};
  std::atomic<int> calls{0};
  std::string maker = "valve";

  static Host& of(void* user) {
    auto& host = *static_cast<Host*>(user);
    ++host.calls;
    return host;
  }
};

// The tables, filled as a C program does it.
struct Tables {
  explicit Tables(Host& host, HostNetwork& network) : session(network.table()) {
    clock = {sizeof clock, &host, [](void* user) { return Host::of(user).now.load(); }};
    defaults = {sizeof defaults,
                &host,
                [](const char* key, char* buffer, std::size_t capacity, void* user) -> std::size_t {
                  Host& asked = Host::of(user);
                  const std::scoped_lock lock(asked.mutex);
                  const auto found = asked.defaults.find(key);
                  if (found == asked.defaults.end()) return ZORVANE_ABSENT;
                  if (found->second.size() < capacity)
                    std::memcpy(buffer, found->second.c_str(), found->second.size() + 1);
                  return found->second.size();
                },
                [](const char* key, const char* value, void* user) {
                  Host& asked = Host::of(user);
                  const std::scoped_lock lock(asked.mutex);
                  asked.defaults[key] = value;
                },
                nullptr,
                nullptr};
    const auto count = [](std::uint64_t, void* user) { Host::of(user); };
    tasks = {sizeof tasks, &host, count, count, nullptr};
    reachability = {sizeof reachability, &host, [](const char*, const std::uint8_t*, std::uint32_t* flags, void* user) {
                      *flags = Host::of(user).flags;
                      return true;
                    }};
    device = {sizeof device, &host, [](zorvane_device* facts, void* user) {
                facts->system_version = "6.1";
                facts->hardware_name = "Deck";
                facts->platform_name = "linux";
                facts->maker = Host::of(user).maker.c_str();
              }};
  }

  zorvane_clock clock{};
  zorvane_user_defaults defaults{};
  zorvane_background_tasks tasks{};
  zorvane_reachability reachability{};
  zorvane_device_source device{};
  zorvane_url_session session;
};

bool eventually(const std::function<bool()>& done) {
  for (int i = 0; i < 3000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

TEST(HostTables, StandForTheMachineUntilTheyAreDetached) {
  const LogCapture log(LogCapture::Levels::asTheyAre);
  const TemporaryFolder folder;
  Host host;
  HostNetwork network;
  Tables tables{host, network};
  zorvane_platform platform{};
  platform.size = sizeof platform;
  platform.data_directory = folder.path().c_str();
  platform.exit_seconds = 0.2;
  platform.without_crash_handlers = true;
  platform.quiet_console = true;
  platform.clock = &tables.clock;
  platform.user_defaults = &tables.defaults;
  platform.background_tasks = &tables.tasks;
  platform.url_session = &tables.session;
  platform.reachability = &tables.reachability;
  platform.device_source = &tables.device;
  tables.clock.size = offsetof(zorvane_clock, seconds_since_1970);
  EXPECT_FALSE(zorvane_platform_install(&platform));
  EXPECT_TRUE(log.contains("The platform is not installed: struct zorvane_clock has the size "));
  tables.clock.size = sizeof tables.clock;
  host.defaults["a long one"] = std::string(5000, 'd');
  ASSERT_TRUE(zorvane_platform_install(&platform));
  zorvane_set_enabled_info_log(true);
  std::atomic<int> sessions{0}, changes{0};
  const auto count = [](void* user) { ++*static_cast<std::atomic<int>*>(user); };
  zorvane_set_session_started_callback(count, &sessions);
  zorvane_set_reachability_callback(count, &changes);
  zorvane_initialize(Game::kKey, Game::kSecret);
  ASSERT_TRUE(eventually([&] { return sessions == 1; }));
  zorvane_add_design_event("short:life", nullptr, false);
  network.failing = true;
  zorvane_flush();
  ASSERT_TRUE(eventually([&] { return log.contains("Event queue: Failed to send events to collector"); }));
  network.failing = false;
  zorvane_flush();
  ASSERT_TRUE(eventually([&] { return network.requests().size() == 3; }));
  const auto event = Game::eventsOf(network.requests().back()).at(0);
  EXPECT_EQ(shown(event, "event_id"), "short:life");
  EXPECT_EQ(shown(event, "client_ts"), "1600000000");
  EXPECT_EQ(shown(event, "manufacturer"), "valve");
  EXPECT_EQ(shown(event, "os_version"), "linux 6.1");
  EXPECT_EQ(shown(event, "connection_type"), "wifi");
  host.flags = 0;
  zorvane_reachability_changed();
  EXPECT_EQ(changes, 1);
  zorvane_background_task_expired(12345);  // none of ours

  // A session's end whose request the host never completes; then it leaves.
  network.silent = true;
  const std::size_t before = network.started;
  zorvane_did_enter_background();
  ASSERT_TRUE(eventually([&] { return network.started > before; }));
  zorvane_detach_callbacks();
  const int calls = host.calls;
  const std::size_t requests = network.started;
  zorvane_will_enter_foreground();
  zorvane_add_design_event("stored", nullptr, false);
  zorvane_reachability_changed();
  EXPECT_TRUE(eventually([&] { return log.count("Add SESSION START event") == 2; })) << "by the system's clock";
  EXPECT_EQ(host.calls, calls);
  EXPECT_EQ(network.started, requests);
  EXPECT_EQ(changes, 1);
}

// A function's `user` can be freed once nobody is inside: by each of the three ways out.
TEST(HostFunctions, AreLeftByAllThreadsOnceTheyAreRemoved) {
  struct Inside {
    std::atomic<bool> entered{false};
    std::atomic<bool> leaving{false};
    std::string written;  // plain: what the function wrote is there for the thread that removed it

    void enter(const std::string& text) {
      entered = true;
      while (!leaving) std::this_thread::yield();
      for (int i = 0; i < 1000; ++i) std::this_thread::yield();
      written = text;
    }
  };
  const auto run = [](void* user) { static_cast<Inside*>(user)->enter("whole"); };
  const auto hear = [](int type, const char* line, void* user) {
    static_cast<Inside*>(user)->enter(std::to_string(type) + line);
  };
  const auto writeLine = [] { zorvane_remote_configs_value("missing", nullptr, nullptr, 0); };  // a warning, at once
  const Game game;
  for (int round = 0; round < 60; ++round) {
    const int way = round % 3;
    auto inside = std::make_unique<Inside>();
    zorvane_timer* timer = nullptr;
    if (way == 2) zorvane_set_log_callback(hear, inside.get());
    std::thread other([&] {
      if (way == 2) return writeLine();
      timer = zorvane_timer_schedule(0, run, inside.get(), true);
      zorvane_timers_serve();
    });
    while (!inside->entered) std::this_thread::yield();
    inside->leaving = true;
    if (way == 0) zorvane_detach_callbacks();
    else if (way == 1) zorvane_timer_destroy(timer);
    else zorvane_set_log_callback(nullptr, nullptr);
    EXPECT_THAT(inside->written, testing::StartsWith(way == 2 ? "1Warning/ZV/Analytics: Key 'missing'" : "whole"));
    inside.reset();
    other.join();
    if (way == 0) zorvane_timer_destroy(timer);
    if (way == 2) writeLine();  // nobody listens
  }
}

TEST(HostFunctions, MayDetachThemselvesAndBeSetAgain) {
  Game game;
  int lines = 0;
  const auto count = [](int, const char*, void* user) {
    ++*static_cast<int*>(user);
    zorvane_detach_callbacks();
  };
  for (int expected = 1; expected <= 2; ++expected) {
    zorvane_set_log_callback(count, &lines);
    for (int i = 0; i < 2; ++i) zorvane_remote_configs_value("missing", nullptr, nullptr, 0);
    EXPECT_EQ(lines, expected);
  }
  EXPECT_STREQ(zorvane_version(), ZorvaneVersionString);
  EXPECT_EQ(zorvane_version_number(), ZorvaneVersionNumber);
}

}  // namespace
