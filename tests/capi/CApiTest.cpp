// The C functions, called as a C host calls them, at the edges that C has and C++ has not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

TEST(CCallback, MayRemoveItselfAndMayThrow) {
  Game game;
  int calls = 0;
  zorvane_set_log_callback(
      [](int, const char*, void* user) {
        if (++*static_cast<int*>(user) == 1) throw std::runtime_error("a host in C++");
        zorvane_set_log_callback(nullptr, nullptr);
      },
      &calls);
  for (int i = 0; i < 3; ++i) writeLine();
  EXPECT_EQ(calls, 2);

  const auto arrive = [&] {
    game.onQueue([] {
      ZVState::populateConfigurations(
          {{"configs",
            ZVValue::Array{ZVMap{{"key", "k"}, {"value", "v"}, {"start_ts", nullptr}, {"end_ts", nullptr}}}}});
    });
  };
  zorvane_set_remote_configs_callback([](void* user) { ++*static_cast<int*>(user); }, &calls);
  arrive();
  zorvane_set_remote_configs_callback(nullptr, nullptr);
  arrive();
  EXPECT_EQ(calls, 3);
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
  PlatformOfALaterRelease host{{}, "unknown"};
  zorvane_platform& platform = host.known;
  platform.bundle_identifier = "com.example.c";
  platform.device = &device;
  platform.data_directory = folder.path().c_str();
  platform.collector_protocol = "http";
  platform.collector_hostname = "127.0.0.1";
  platform.collector_port = port.c_str();
  platform.pumped_main_loop = true;
  platform.exit_seconds = 0.2;
  platform.without_crash_handlers = true;

  EXPECT_FALSE(zorvane_platform_install(nullptr));
  for (const std::size_t size : {std::size_t{0}, offsetof(zorvane_platform, without_crash_handlers) - 1}) {
    platform.size = size;
    EXPECT_FALSE(zorvane_platform_install(&platform)) << size;
  }
  platform.size = sizeof host;
  device.size = 0;
  EXPECT_FALSE(zorvane_platform_install(&platform));
  EXPECT_EQ(log.count("Error/ZV/Analytics: The platform is not installed: "), 4U);
  device.size = sizeof device;
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

}  // namespace
