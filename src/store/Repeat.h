// Trying again what failed for a reason that may pass. For the files of this folder.
#pragma once

#include <chrono>
#include <thread>

namespace zorvane {

// What `work` returns, the last time at the latest: it runs again while `mayPass` says of its result that it may differ
// next time.
template <class Work, class MayPass>
auto repeated(Work work, MayPass mayPass) {
  constexpr int kTries = 4;
  constexpr auto kBetweenTries = std::chrono::milliseconds(20);
  auto result = work();
  for (int left = kTries - 1; left > 0 && mayPass(result); --left) {
    std::this_thread::sleep_for(kBetweenTries);
    result = work();
  }
  return result;
}

}  // namespace zorvane
