// Threads of a run, one a connection, each with a count of its own.
#pragma once

#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

#include "crowd/Run.h"
#include "crowd/Truth.h"

namespace crowd {

// Runs `work(Truth&)` on `count` threads, waits for them and adds what they counted. What one throws fails the run.
template <class Work>
void runThreads(std::size_t count, Truth& truth, Work work, Run& run) {
  std::vector<Truth> truths(count);
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (auto& counted : truths) {
    threads.emplace_back([&] {
      try {
        work(counted);
      } catch (const std::exception& failure) {
        run.fail(failure.what());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& counted : truths) truth += counted;
}

}  // namespace crowd
