// The first calls of a process that has no memory left: each ends in a line of the log, and the game goes on.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <zorvane/ZVCrashReporting.h>
#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/Zorvane.h>
#include <zorvane/zorvane_c.h>

#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"

namespace {
constinit std::atomic<bool> isRefused{false};
}  // namespace

void* operator new(std::size_t size) {
  void* const memory = isRefused ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using namespace zorvane;

TEST(WithoutMemory, AFirstCallDoesNotEndTheGame) {
  testing::FLAGS_gtest_death_test_style = "fast";  // a fork, for nothing of the library is there yet
  const std::pair<const char*, void (*)()> calls[] = {
      {"event", [] { Zorvane::addDesignEventWithEventId("a:b"); }},
      {"switch", [] { Zorvane::setEnabledInfoLog(true); }},
      {"debug", [] { Zorvane::setEnableDebugLog(true); }},
      {"query", [] { Zorvane::isRemoteConfigsReady(); }},
      {"log", [] { ZVLogger::e(0, "line {}", 1); }},
      {"observer", [] { ZVNotificationCenter::removeObserver(1); }},
      {"background", [] { ZVPlatform::applicationDidEnterBackground(); }},
      {"callbacks", [] { zorvane_detach_callbacks(); }},
      {"handlers", [] { setZVUncaughtExceptionHandlers(); }},
  };
  for (const auto& [name, call] : calls) {
    const auto live = [call = call] {
      isRefused = true;
      call();
      isRefused = false;
      std::_Exit(0);
    };
    EXPECT_EXIT(live(), testing::ExitedWithCode(0), "") << name;
  }
}

// A task may come before the library has all of its parts: starting it may have failed half-way.
TEST(WithoutMemory, ATaskOfALibraryInPartsDoesNotEndTheGame) {
  auto& queue = ZVThreading::sharedInstance().queue;
  for (void (*const task)() :
       {+[] { ZVEvents::processEventsWithCategory({}, true); }, +[] { ZVLogger::setVerboseLog(true); }})
    ZVThreading::performTaskOnZVThreadWithBlock([task] {
      isRefused = true;
      struct Allowed {
        ~Allowed() { isRefused = false; }
      } const afterwards;
      task();
    });
  EXPECT_TRUE(queue.drain(std::chrono::minutes(1)));
}

}  // namespace
