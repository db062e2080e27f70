// Game is a game that links the library: a platform under control, a loopback collector, and the work queue to wait
// for.
//
// Thread:   the test's, which is the main thread.
// Lifetime: one a test; each test has a process of its own.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

#include "store/ZVStore.h"
#include "support/LoopbackServer.h"
#include "support/TestPlatform.h"

class Game {
 public:
  static constexpr const char* kKey = "0123456789abcdef0123456789ABCDEF";
  static constexpr const char* kSecret = "0123456789abcdef0123456789ABCDEF01234567";

  explicit Game(const TestPlatform::Change& change = {});

  // Initialises with the keys above and waits until the session has begun.
  void start();
  // Waits until the queue has nothing left, serving the main loop meanwhile.
  void settle();
  // Runs `task` on the work queue and waits for it.
  void onQueue(const std::function<void()>& task);
  // The process ends without a word and starts again on the same files: memory is gone, what was stored is not.
  void restart();

  zorvane::ZVStore::Rows query(const std::string& sql);
  // The stored events of a category, oldest first.
  std::vector<ZVMap> stored(std::string_view category);
  // The events of one events request, or those of a category in all of them.
  static std::vector<ZVMap> eventsOf(const LoopbackServer::Request& request);
  static std::vector<ZVMap> sentTo(const LoopbackServer& collector, std::string_view category);
  std::vector<ZVMap> sent(std::string_view category) { return sentTo(collector, category); }
  std::vector<ZVMap> sdkErrors() { return sent("sdk_error"); }  // those that the collector was sent

  LoopbackServer collector;
  TestPlatform platform;
  LogCapture log{LogCapture::Levels::asTheyAre};
};

// The field's text, number or boolean as text; "(none)" when it is missing.
std::string shown(const ZVMap& map, std::string_view key);
