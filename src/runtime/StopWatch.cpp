#include "runtime/StopWatch.h"

#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr double kMillisecondsPerSecond = 1000;

std::int64_t now() { return integerReading(platform().clock->secondsSince1970() * kMillisecondsPerSecond); }

// Null when there is none, which has been logged.
StopWatch* findTimer(ZVText key, const char* operation) {
  auto& timers = StopWatch::timers();
  const auto found = key.present() ? timers.find(key.view()) : timers.end();
  if (found != timers.end()) return &found->second;
  ZVLogger::w(0, "{}: no value found for key={}", operation, key);
  return nullptr;
}

}  // namespace

void StopWatch::startTimer(ZVText key) {
  if (!key.present()) {
    ZVLogger::w(0, "startTimer: a timer needs a key");
    return;
  }
  if (timers().contains(key.view())) ZVLogger::w(0, "startTimer: overriding old value for key={}", key);
  timers().insert_or_assign(std::string(key.view()), StopWatch());
}

void StopWatch::pauseTimer(ZVText key) {
  if (StopWatch* const timer = findTimer(key, "pauseTimer")) timer->pause();
}

void StopWatch::resumeTimer(ZVText key) {
  if (StopWatch* const timer = findTimer(key, "resumeTimer")) timer->resume();
}

std::int64_t StopWatch::stopTimer(ZVText key) {
  StopWatch* const timer = findTimer(key, "stopTimer");
  return timer != nullptr ? timer->stop() : 0;
}

StopWatch::Timers& StopWatch::timers() {
  static auto* const timers = new Timers;
  return *timers;
}

void StopWatch::start() {
  if (isRunning) return;
  startTimestamp = now();
  isRunning = true;
}

void StopWatch::pause() {
  if (!isRunning) return;
  updateTotalTime();
  isRunning = false;
}

void StopWatch::resume() { start(); }

std::int64_t StopWatch::stop() {
  pause();
  return totalTime;
}

void StopWatch::updateTotalTime() {
  const std::int64_t read = now();
  totalTime += read - startTimestamp;
  startTimestamp = read;
}

}  // namespace zorvane
