// StopWatch measures how long something runs, by the wall clock; the class keeps the game's watches by name.
//
// Thread:   one at a time, of the game's choosing; nothing here is locked.
// Lifetime: a named watch is kept until the process ends; stopping it does not remove it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include <zorvane/ZVTypes.h>

namespace zorvane {

class StopWatch {
 public:
  using Timers = std::map<std::string, StopWatch, std::less<>>;

  // Named watches. A key that is not there is a warning.
  static void startTimer(ZVText key);  // puts a fresh watch under the key, which does not run yet
  static void pauseTimer(ZVText key);
  static void resumeTimer(ZVText key);
  static std::int64_t stopTimer(ZVText key);  // milliseconds; 0 when there is none
  static Timers& timers();

  void start();
  void pause();
  void resume();
  std::int64_t stop();  // milliseconds of all running stretches so far
  void updateTotalTime();

  bool isRunning = false;
  std::int64_t startTimestamp = 0;  // milliseconds since 1970; counts while running
  std::int64_t totalTime = 0;       // milliseconds
};

}  // namespace zorvane
