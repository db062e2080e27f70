// Workers serves each connection on a thread of its own, up to a bound; further ones wait for a thread to be free.
//
// Thread:   enqueue() and shutdown() from the accepting thread.
// Lifetime: shutdown() comes last and returns when every thread has ended.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace collector {

class Workers final : public httplib::TaskQueue {
 public:
  explicit Workers(std::size_t bound) : bound_(bound) {}

  void enqueue(std::function<void()> job) override;
  void shutdown() override;

 private:
  void work();

  const std::size_t bound_;
  std::vector<std::thread> threads_;  // the accepting thread's alone
  std::mutex guard_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;  // guarded by guard_
  std::size_t idle_ = 0;                    // guarded by guard_
  bool ending_ = false;                     // guarded by guard_
};

}  // namespace collector
