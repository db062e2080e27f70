// The C functions, called as a C host calls them: at the edges that C has and C++ has not, with what a host puts in the
// library's place, and up to the point from which none of that is called any more.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <zorvane/ZVVersion.h>
#include <zorvane/zorvane_c.h>

#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::SizeIs;

// What is called, and what its line in the log says.
using Refusals = std::vector<std::pair<const char*, void (*)()>>;

void expectRefused(Game& game, const Refusals& refusals) {
  for (const auto& [line, call] : refusals) {
    game.log.clear();
    call();
    game.settle();
    EXPECT_TRUE(game.log.contains(line)) << line << ": " << testing::PrintToString(game.log.lines());
  }
}

const char* const kTorn[] = {"coins", nullptr};

const Refusals kLists{
    {"array cannot be (null).", [] { zorvane_configure_available_custom_dimensions01(nullptr, 3); }},
    {"array cannot be empty.", [] { zorvane_configure_available_custom_dimensions02(kTorn, 0); }},
    {"was either not a string or null", [] { zorvane_configure_available_custom_dimensions03(kTorn, 2); }},
    {"A call failed: ", [] { zorvane_configure_available_resource_item_types(kTorn, SIZE_MAX); }},  // nothing is thrown
};
const Refusals kEvents{
    {"Invalid flow type", [] { zorvane_add_resource_event(3, "coins", 1, "chest", "id", nullptr, false); }},
    {"Cannot be (null)", [] { zorvane_add_resource_event(1, "coins", NAN, "chest", "id", nullptr, false); }},
    {"not finite", [] { zorvane_add_design_event_with_value("id", NAN, nullptr, false); }},
    {"Cannot be (null)", [] { zorvane_add_design_event(nullptr, nullptr, false); }},
    {"Invalid progression", [] { zorvane_add_progression_event(0, "w", nullptr, nullptr, nullptr, false); }},
    {"Severity was unsupported", [] { zorvane_add_error_event(INT_MIN, "m", nullptr, false); }},
    {"action was unsupported", [] { zorvane_add_ad_event(INT_MAX, 1, "sdk", "at", nullptr, false); }},
    {"type was unsupported", [] { zorvane_add_ad_event_with_reason(1, 7, "sdk", "at", 1, nullptr, false); }},
    {"File path was not found",
     [] { zorvane_add_business_event("EUR", 1, "t", "i", nullptr, nullptr, true, nullptr, false); }},
};

TEST(CFunctions, RefuseNullsAndEnumerationsOutOfRangeAsAnyBadArgument) {
  Game game;
  expectRefused(game, kLists);
  zorvane_configure_available_resource_currencies(kTorn, 1);
  game.start();
  expectRefused(game, kEvents);
  EXPECT_STREQ(zorvane_version(), ZorvaneVersionString);
  EXPECT_EQ(zorvane_version_number(), ZorvaneVersionNumber);
  EXPECT_STREQ(zorvane_ad_type_name(ZORVANE_AD_TYPE_REWARDED_VIDEO), "REWARDED_VIDEO");
  for (const int outside : {INT_MIN, 0, 7, INT_MAX}) EXPECT_EQ(zorvane_ad_type_name(outside), nullptr) << outside;
}

TEST(CMap, IsCopiedWithAllThatIsInIt) {
  Game game;
  game.start();
  zorvane_map* const map = zorvane_map_create();
  zorvane_map* const inner = zorvane_map_create();
  EXPECT_TRUE(zorvane_map_set_double(inner, "revenue", 0.25));
  EXPECT_TRUE(zorvane_map_set_text(inner, "country", nullptr));
  EXPECT_TRUE(zorvane_map_set_bool(map, "first", false));
  EXPECT_TRUE(zorvane_map_set_map(map, "object", inner));
  EXPECT_TRUE(zorvane_map_set_array(map, "array", inner));
  EXPECT_TRUE(zorvane_map_set_map(map, "object of none", nullptr));
  EXPECT_TRUE(zorvane_map_set_int64(map, "first", INT64_MAX));  // in place
  EXPECT_TRUE(zorvane_map_set_map(map, "itself", map));
  EXPECT_FALSE(zorvane_map_set_int64(map, nullptr, 1));
  EXPECT_FALSE(zorvane_map_set_int64(nullptr, "key", 1));
  zorvane_add_impression_event(ZORVANE_AD_NETWORK_AD_MOB, "1.2", map, inner, false);
  zorvane_map_clear(map);
  zorvane_map_set_bool(inner, "too late", true);
  zorvane_map_destroy(map);
  zorvane_map_destroy(inner);
  zorvane_map_destroy(nullptr);
  zorvane_map_clear(nullptr);
  game.settle();
  ASSERT_THAT(game.stored("impression"), SizeIs(1));
  const ZVMap object{{"revenue", 0.25}, {"country", nullptr}};
  ZVMap expected{
      {"first", INT64_MAX}, {"object", object}, {"array", ZVValue::Array{0.25, nullptr}}, {"object of none", ZVMap()}};
  expected.set("itself", expected);
  EXPECT_EQ(*game.stored("impression")[0].find("impression_data"), ZVValue(expected));
}

TEST(CText, IsCutBetweenCharactersAndMeasuredWhole) {
  Game game;
  const std::string whole = "a\u00FC\u20AC\U0001F600";  // characters of 1 to 4 bytes
  game.collector.answer(LoopbackServer::kInit,
                        {201, R"({"configs":[{"key":"k","value":")" + whole +
                                  R"(","start_ts":null,"end_ts":null}],"configs_hash":"h","ab_id":"a"})"});
  EXPECT_EQ(zorvane_ab_testing_id(nullptr, 0), ZORVANE_ABSENT);
  game.start();
  const std::vector<std::size_t> kept{0, 0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};  // by capacity
  for (std::size_t capacity = 0; capacity < kept.size(); ++capacity) {
    std::string buffer(20, '#');
    EXPECT_EQ(zorvane_remote_configs_value("k", nullptr, buffer.data(), capacity), whole.size());
    std::string expected = whole.substr(0, kept[capacity]);
    if (capacity > 0) expected += '\0';
    expected.resize(20, '#');
    EXPECT_EQ(buffer, expected) << capacity;
  }
  char buffer[8] = "old";
  EXPECT_EQ(zorvane_remote_configs_value("none", nullptr, buffer, sizeof buffer), ZORVANE_ABSENT);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(zorvane_remote_configs_value(nullptr, "4", buffer, sizeof buffer), 1U);
  EXPECT_STREQ(buffer, "4");
  EXPECT_EQ(zorvane_ab_testing_id(buffer, sizeof buffer), 1U);
  EXPECT_STREQ(buffer, "a");
  EXPECT_GT(zorvane_remote_configs_content(nullptr, 8), whole.size());
}

void writeLine() { zorvane_remote_configs_value("missing", nullptr, nullptr, 0); }  // one warning, at once

TEST(CCallback, MayThrowRemoveItselfAndDetachAll) {
  Game game;
  int calls = 0;
  const auto hear = [](int, const char*, void* user) {
    const int call = ++*static_cast<int*>(user);
    if (call == 1) throw std::runtime_error("a host in C++");
    if (call == 2) zorvane_set_log_callback(nullptr, nullptr);
    else zorvane_detach_callbacks();
  };
  for (const int expected : {2, 3, 4}) {
    zorvane_set_log_callback(hear, &calls);
    for (int i = 0; i < 3; ++i) writeLine();
    EXPECT_EQ(calls, expected);
  }

  const auto arrive = [&] {
    game.onQueue([] {
      const ZVMap config{{"key", "k"}, {"value", "v"}, {"start_ts", nullptr}, {"end_ts", nullptr}};
      ZVState::populateConfigurations({{"configs", ZVValue::Array{config}}});
    });
  };
  zorvane_set_remote_configs_callback([](void* user) { ++*static_cast<int*>(user); }, &calls);
  arrive();
  zorvane_set_remote_configs_callback(nullptr, nullptr);
  arrive();
  EXPECT_EQ(calls, 5);
}

// A function's `user` can be freed once nobody is inside: by each of the three ways out.
TEST(CCallback, IsLeftByAllThreadsOnceItIsRemoved) {
  struct Inside {
    std::atomic<bool> entered{false};
    std::atomic<bool> leaving{false};
    bool isWritten = false;  // plain: what the function wrote is there for the thread that removed it

    static void run(void* user) {
      auto& inside = *static_cast<Inside*>(user);
      inside.entered = true;
      while (!inside.leaving) std::this_thread::yield();
      for (int i = 0; i < 1000; ++i) std::this_thread::yield();
      inside.isWritten = true;
    }
    static void hear(int type, const char* line, void* user) {
      EXPECT_EQ(type, ZORVANE_LOG_WARNING);
      EXPECT_THAT(line, testing::StartsWith("Warning/ZV/Analytics: Key 'missing'"));
      run(user);
    }
  };
  const Game game;
  for (int round = 0; round < 60; ++round) {
    const int way = round % 3;
    auto inside = std::make_unique<Inside>();
    zorvane_timer* timer = nullptr;
    if (way == 2) zorvane_set_log_callback(Inside::hear, inside.get());
    std::thread other([&] {
      if (way == 2) return writeLine();
      timer = zorvane_timer_schedule(0, Inside::run, inside.get(), true);
      zorvane_timers_serve();
    });
    while (!inside->entered) std::this_thread::yield();
    inside->leaving = true;
    if (way == 0) zorvane_detach_callbacks();
    else if (way == 1) zorvane_timer_destroy(timer);
    else zorvane_set_log_callback(nullptr, nullptr);
    EXPECT_TRUE(inside->isWritten) << way;
    inside.reset();
    other.join();
    if (way == 0) zorvane_timer_destroy(timer);
    if (way == 2) writeLine();  // nobody listens
  }
}

zorvane_platform platformIn(const TemporaryFolder& folder) {
  zorvane_platform platform{};
  platform.size = sizeof platform;
  platform.data_directory = folder.path().c_str();
  platform.exit_seconds = 0.2;
  platform.without_crash_handlers = true;
  return platform;
}

struct PlatformOfALaterRelease {
  zorvane_platform known;
  const char* added;
};

TEST(CPlatform, IsReadAsFarAsItsSizeGoesAndServedByThePump) {
  const LogCapture log;
  const LoopbackServer collector;
  const TemporaryFolder folder;
  const std::string port = std::to_string(collector.port());
  zorvane_device device{};
  device.size = sizeof device;
  device.system_version = "17.2";
  device.hardware_name = "Phone12,1";
  zorvane_clock clock{sizeof clock, nullptr, nullptr};
  PlatformOfALaterRelease host{platformIn(folder), "unknown"};
  zorvane_platform& platform = host.known;
  platform.size = sizeof host;
  platform.bundle_identifier = "com.example.c";
  platform.device = &device;
  platform.clock = &clock;
  platform.collector_protocol = "http";
  platform.collector_hostname = "127.0.0.1";
  platform.collector_port = port.c_str();
  platform.pumped_main_loop = true;

  EXPECT_FALSE(zorvane_platform_install(nullptr));
  using Case = std::pair<std::size_t*, std::size_t>;
  for (const auto& [size, wrong] :
       {Case{&platform.size, 0}, Case{&platform.size, offsetof(zorvane_platform, without_crash_handlers) - 1},
        Case{&device.size, 0}, Case{&clock.size, offsetof(zorvane_clock, seconds_since_1970)}}) {
    const std::size_t right = std::exchange(*size, wrong);
    EXPECT_FALSE(zorvane_platform_install(&platform)) << wrong;
    *size = right;
  }
  EXPECT_EQ(log.count("Error/ZV/Analytics: The platform is not installed: "), 5U);
  EXPECT_LT(zorvane_main_loop_seconds_until_next_task(), 0);
  zorvane_main_loop_pump();  // nothing to pump yet
  ASSERT_TRUE(zorvane_platform_install(&platform));

  EXPECT_EQ(zorvane_wait_for_crash_handlers(NAN), ZORVANE_CRASH_HANDLERS_UNDECIDED);
  zorvane_initialize(Game::kKey, Game::kSecret);
  EXPECT_EQ(zorvane_wait_for_crash_handlers(60), ZORVANE_CRASH_HANDLERS_KEPT_AWAY);
  int runs = 0;
  static zorvane_timer* timer = nullptr;
  const auto runOnce = [](void* user) {
    ++*static_cast<int*>(user);
    zorvane_timer_destroy(timer);  // from its own task
  };
  timer = zorvane_timer_schedule(0, runOnce, &runs, true);
  EXPECT_GE(zorvane_main_loop_seconds_until_next_task(), 0);
  for (int i = 0; i < 1000 && (runs == 0 || !collector.waitForRequests(2, std::chrono::milliseconds(10))); ++i)
    zorvane_main_loop_pump();
  EXPECT_EQ(runs, 1);
  zorvane_timer_destroy(nullptr);
  EXPECT_FALSE(zorvane_platform_install(&platform));  // too late
  const auto events = Game::eventsOf(collector.requests(LoopbackServer::kEvents).at(0));
  EXPECT_THAT(shown(events.at(0), "ios_bundle_id"), "com.example.c");
  EXPECT_THAT(shown(events.at(0), "os_version"), "ios 17.2");
  EXPECT_THAT(shown(events.at(0), "device"), "Phone12,1");
}

// A host with all that it may put in the library's place. It counts its calls, keeps what is asked of its network, and
// answers on threads.
class Host {
 public:
  enum class Network { answering, failing, silent };  // failing: ends each request at once, from inside

  std::size_t requests() {
    const std::scoped_lock lock(mutex_);
    return requests_.size();
  }
  LoopbackServer::Request lastRequest() {
    const std::scoped_lock lock(mutex_);
    return requests_.back();
  }

  std::atomic<int> calls{0};
  std::atomic<std::uint32_t> flags{ZORVANE_REACHABLE};
  std::atomic<Network> network{Network::answering};

 private:
  static Host& of(void* user) {
    auto& host = *static_cast<Host*>(user);
    ++host.calls;
    return host;
  }
  static double now(void* user) {
    of(user);
    return 1'600'000'000;
  }
  static void count(std::uint64_t, void* user) { of(user); }
  static std::size_t get(const char* key, char* buffer, std::size_t capacity, void* user) {
    Host& host = of(user);
    const std::scoped_lock lock(host.mutex_);
    const auto found = host.defaults_.find(key);
    if (found == host.defaults_.end()) return ZORVANE_ABSENT;
    if (found->second.size() < capacity) std::memcpy(buffer, found->second.c_str(), found->second.size() + 1);
    return found->second.size();
  }
  static void set(const char* key, const char* value, void* user) {
    Host& host = of(user);
    const std::scoped_lock lock(host.mutex_);
    host.defaults_[key] = value;
  }
  static void describe(zorvane_device* facts, void* user) {
    of(user);
    facts->system_version = "6.1";
    facts->platform_name = "linux";
    facts->maker = "valve";
  }
  static void complete(std::uint64_t id, const std::string& url) {
    const bool isInit = url.find("/init?") != url.npos;
    zorvane_url_answer answer{};
    answer.size = sizeof answer;
    answer.status = isInit ? 201 : 200;
    answer.body = isInit ? "{}" : "[]";
    answer.body_size = 2;
    zorvane_url_request_complete(id, &answer);
    zorvane_url_request_complete(id, &answer);  // too late, and without effect
  }
  static void start(const zorvane_url_request* request, void* user) {
    Host& host = of(user);
    LoopbackServer::Request kept{request->method, request->url, {}, {}};
    kept.body.assign(static_cast<const char*>(request->body), request->body_size);
    for (std::size_t i = 0; i < request->header_count; ++i)
      kept.headers.emplace_back(request->headers[i].name, request->headers[i].value);
    const std::scoped_lock lock(host.mutex_);
    host.requests_.push_back(kept);
    if (host.network == Network::failing) zorvane_url_request_complete(request->id, nullptr);
    if (host.network == Network::answering) host.threads_.emplace_back(complete, request->id, kept.target);
  }

  std::mutex mutex_;
  std::map<std::string, std::string> defaults_{{"zv_testflight_user_id", "kept"}};  // guarded by mutex_
  std::vector<LoopbackServer::Request> requests_;                                   // guarded by mutex_
  std::vector<std::jthread> threads_;                                               // guarded by mutex_

 public:
  zorvane_clock clock{sizeof clock, this, now};
  zorvane_user_defaults defaults{sizeof defaults, this, get, set, nullptr, nullptr};
  zorvane_background_tasks tasks{sizeof tasks, this, count, count, nullptr};
  zorvane_url_session session{sizeof session, this, start, count};
  zorvane_device_source device{sizeof device, this, describe};
  zorvane_reachability reachability{sizeof reachability, this,
                                    [](const char*, const std::uint8_t*, std::uint32_t* answer, void* user) {
                                      *answer = of(user).flags;
                                      return true;
                                    }};
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
  zorvane_platform platform = platformIn(folder);
  platform.quiet_console = true;
  platform.clock = &host.clock;
  platform.user_defaults = &host.defaults;
  platform.background_tasks = &host.tasks;
  platform.url_session = &host.session;
  platform.reachability = &host.reachability;
  platform.device_source = &host.device;
  ASSERT_TRUE(zorvane_platform_install(&platform));
  zorvane_set_enabled_info_log(true);
  std::atomic<int> sessions{0}, changes{0};
  const auto count = [](void* user) { ++*static_cast<std::atomic<int>*>(user); };
  zorvane_set_session_started_callback(count, &sessions);
  zorvane_set_reachability_callback(count, &changes);
  zorvane_initialize(Game::kKey, Game::kSecret);
  ASSERT_TRUE(eventually([&] { return sessions == 1 && host.requests() == 2; }));  // the init call, the start
  zorvane_add_design_event("short:life", nullptr, false);
  host.network = Host::Network::failing;
  zorvane_flush();
  ASSERT_TRUE(eventually([&] { return log.contains("Event queue: Failed to send events to collector"); }));
  host.network = Host::Network::answering;
  zorvane_flush();
  ASSERT_TRUE(eventually([&] { return host.requests() == 4; }));
  const auto event = Game::eventsOf(host.lastRequest()).at(0);
  std::string fields;
  for (const char* field : {"event_id", "client_ts", "manufacturer", "os_version", "connection_type", "user_id"})
    fields += shown(event, field) + ", ";
  EXPECT_EQ(fields, "short:life, 1600000000, valve, linux 6.1, wifi, kept, ");
  host.flags = 0;
  zorvane_reachability_changed();
  EXPECT_EQ(changes, 1);
  zorvane_background_task_expired(12345);  // none of ours

  // A session's end whose request the host never completes; then it leaves.
  host.network = Host::Network::silent;
  const std::size_t before = host.requests();
  zorvane_did_enter_background();
  ASSERT_TRUE(eventually([&] { return host.requests() > before; }));
  zorvane_detach_callbacks();
  const int calls = host.calls;
  zorvane_will_enter_foreground();
  zorvane_add_design_event("stored", nullptr, false);
  zorvane_reachability_changed();
  EXPECT_TRUE(eventually([&] { return log.count("Add SESSION START event") == 2; })) << "by the system's clock";
  EXPECT_EQ(host.calls, calls);
  EXPECT_EQ(changes, 1);
}

}  // namespace
