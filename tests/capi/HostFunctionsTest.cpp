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

#include <curl/curl.h>
#include <zorvane/ZVVersion.h>
#include <zorvane/zorvane_c.h>

#include "support/Game.h"

namespace {

using testing::SizeIs;

// A network of the host's own: each request runs on a thread, as a plain HTTP request.
class HostNetwork {
 public:
  HostNetwork() { curl_global_init(CURL_GLOBAL_DEFAULT); }
  ~HostNetwork() {
    for (std::thread& thread : threads_) thread.join();
  }

  zorvane_url_session table() {
    return {.size = sizeof(zorvane_url_session),
            .user = this,
            .start = [](const zorvane_url_request* request,
                        void* user) { static_cast<HostNetwork*>(user)->start(*request); },
            .cancel = [](std::uint64_t, void* user) { ++static_cast<HostNetwork*>(user)->cancelled; }};
  }

  std::atomic<bool> silent{false};   // requests are taken and never completed
  std::atomic<bool> failing{false};  // requests end at once, without an answer
  std::atomic<int> started{0};
  std::atomic<int> cancelled{0};

 private:
  void start(const zorvane_url_request& request) {
    ++started;
    if (silent) return;
    if (failing) return zorvane_url_request_complete(request.id, nullptr);  // from inside
    std::string url = request.url, method = request.method;
    std::string body(static_cast<const char*>(request.body), request.body_size);
    std::vector<std::string> headers;
    for (std::size_t i = 0; i < request.header_count; ++i)
      headers.push_back(std::string(request.headers[i].name) + ": " + request.headers[i].value);
    const std::scoped_lock lock(mutex_);
    threads_.emplace_back([id = request.id, url, method, body, headers] { run(id, url, method, body, headers); });
  }

  static void run(std::uint64_t id, const std::string& url, const std::string& method, const std::string& body,
                  const std::vector<std::string>& headers) {
    CURL* const curl = curl_easy_init();
    curl_slist* list = nullptr;
    for (const std::string& header : headers) list = curl_slist_append(list, header.c_str());
    std::string answer;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    if (method == "POST") {
      curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
      curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* to) {
          static_cast<std::string*>(to)->append(data, size * count);
          return size * count;
        });
    long status = 0;
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    zorvane_url_answer given{};
    given.size = sizeof given;
    given.status = result == CURLE_OK ? static_cast<int>(status) : 0;
    given.body = answer.data();
    given.body_size = answer.size();
    given.error_text = curl_easy_strerror(result);
    zorvane_url_request_complete(id, &given);
    zorvane_url_request_complete(id, &given);  // too late, and without effect
    curl_slist_free_all(list);
    curl_easy_cleanup(curl);
  }

  std::mutex mutex_;
  std::vector<std::thread> threads_;  // guarded by mutex_
};

// The rest of what a host may say, each function counted.
struct Host {
  std::mutex mutex;
  std::map<std::string, std::string> defaults;  // guarded by mutex
  std::vector<std::uint64_t> open;              // guarded by mutex; background tasks
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
    tasks = {sizeof tasks, &host,
             [](std::uint64_t task, void* user) {
               Host& asked = Host::of(user);
               const std::scoped_lock lock(asked.mutex);
               asked.open.push_back(task);
             },
             [](std::uint64_t task, void* user) {
               Host& asked = Host::of(user);
               const std::scoped_lock lock(asked.mutex);
               std::erase(asked.open, task);
             },
             nullptr};
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

class HostTables : public testing::Test {
 protected:
  zorvane_platform platformOf(const LoopbackServer& server) {
    port = std::to_string(server.port());
    zorvane_platform platform{};
    platform.size = sizeof platform;
    platform.bundle_identifier = "com.example.c";
    platform.data_directory = folder.path().c_str();
    platform.collector_protocol = "http";
    platform.collector_hostname = "127.0.0.1";
    platform.collector_port = port.c_str();
    platform.exit_seconds = 0.2;
    platform.without_crash_handlers = true;
    platform.quiet_console = true;
    platform.clock = &tables.clock;
    platform.user_defaults = &tables.defaults;
    platform.background_tasks = &tables.tasks;
    platform.url_session = &tables.session;
    platform.reachability = &tables.reachability;
    platform.device_source = &tables.device;
    return platform;
  }

  TemporaryFolder folder;
  std::string port;
  Host host;
  LoopbackServer collector;
  HostNetwork network;
  Tables tables{host, network};
};

bool eventually(const std::function<bool()>& done) {
  for (int i = 0; i < 3000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

TEST_F(HostTables, StandForTheMachineUntilTheyAreDetached) {
  const LogCapture log(LogCapture::Levels::asTheyAre);
  zorvane_platform platform = platformOf(collector);
  tables.clock.size = offsetof(zorvane_clock, seconds_since_1970);
  EXPECT_FALSE(zorvane_platform_install(&platform));
  EXPECT_TRUE(log.contains("The platform is not installed: struct zorvane_clock has the size "));
  tables.clock.size = sizeof tables.clock;
  {
    const std::scoped_lock lock(host.mutex);
    host.defaults["a long one"] = std::string(5000, 'd');
  }
  collector.answer(LoopbackServer::kInit, {201, "{}"});
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
  ASSERT_TRUE(collector.waitForRequests(3, std::chrono::seconds(60)));
  ASSERT_TRUE(eventually([&] { return network.started >= 3; }));
  const auto event = Game::eventsOf(collector.requests(LoopbackServer::kEvents).at(1)).at(0);
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
  const int before = network.started;
  zorvane_did_enter_background();
  ASSERT_TRUE(eventually([&] { return network.started > before; }));
  zorvane_detach_callbacks();
  const int calls = host.calls, requests = network.started;
  zorvane_will_enter_foreground();
  zorvane_add_design_event("stored", nullptr, false);
  zorvane_reachability_changed();
  EXPECT_TRUE(eventually([&] { return log.count("Add SESSION START event") == 2; })) << "by the system's clock";
  EXPECT_EQ(host.calls, calls);
  EXPECT_EQ(network.started, requests);
  EXPECT_EQ(changes, 1);
}

// A host that frees a callback's `user` must be sure that nobody is inside it.
TEST(HostFunctions, AreLeftByAllThreadsOnceTheyAreDetached) {
  const Game game;
  for (int round = 0; round < 20; ++round) {
    struct Inside {
      std::atomic<bool> entered{false};
      std::atomic<bool> leaving{false};
      std::string written;  // plain: what the function wrote is there for the thread that detached it
    };
    auto inside = std::make_unique<Inside>();
    const auto run = [](void* user) {
      auto& mine = *static_cast<Inside*>(user);
      mine.entered = true;
      while (!mine.leaving) std::this_thread::yield();
      for (int i = 0; i < 1000; ++i) std::this_thread::yield();
      mine.written = "whole";
    };
    zorvane_timer* timer = nullptr;
    std::thread other([&] {
      timer = zorvane_timer_schedule(0, run, inside.get(), true);
      zorvane_timers_serve();
    });
    while (!inside->entered) std::this_thread::yield();
    inside->leaving = true;
    if (round % 2 == 0) zorvane_detach_callbacks();
    else zorvane_timer_destroy(timer);
    EXPECT_EQ(inside->written, "whole") << round;
    inside.reset();
    other.join();
    if (round % 2 == 0) zorvane_timer_destroy(timer);
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
