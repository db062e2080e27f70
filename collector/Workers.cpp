#include "collector/Workers.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

namespace collector {

void Workers::enqueue(std::function<void()> job) {
  bool more = false;
  {
    const std::scoped_lock lock(guard_);
    jobs_.push_back(std::move(job));
    more = jobs_.size() > idle_ && threads_.size() < bound_;
  }
  changed_.notify_one();
  if (!more) return;
  try {
    threads_.emplace_back([this] { work(); });
  } catch (const std::system_error& failure) {  // the threads that there are take the job over
    fmt::print(stderr, "No further thread: {}\n", failure.what());
  }
}

void Workers::shutdown() {
  {
    const std::scoped_lock lock(guard_);
    ending_ = true;
  }
  changed_.notify_all();
  for (auto& thread : threads_) thread.join();
  threads_.clear();
}

void Workers::work() {
  std::unique_lock lock(guard_);
  for (;;) {
    ++idle_;
    changed_.wait(lock, [&] { return !jobs_.empty() || ending_; });
    --idle_;
    if (jobs_.empty()) return;
    const auto job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    try {
      job();
    } catch (const std::exception& failure) {
      fmt::print(stderr, "A connection failed: {}\n", failure.what());
    }
    lock.lock();
  }
}

}  // namespace collector
