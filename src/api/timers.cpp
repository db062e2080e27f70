#include <zorvane/Zorvane.h>

#include "api/frame.h"
#include "runtime/StopWatch.h"

using namespace zorvane;

void Zorvane::startTimer(ZVText key) noexcept {
  call([&] { StopWatch::startTimer(key); });
}

void Zorvane::pauseTimer(ZVText key) noexcept {
  call([&] { StopWatch::pauseTimer(key); });
}

void Zorvane::resumeTimer(ZVText key) noexcept {
  call([&] { StopWatch::resumeTimer(key); });
}

std::int64_t Zorvane::stopTimer(ZVText key) noexcept {
  std::int64_t milliseconds = 0;
  call([&] { milliseconds = StopWatch::stopTimer(key); });
  return milliseconds;
}
