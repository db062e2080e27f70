#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

#include "platform/Console.h"
#include "platform/Defaults.h"

namespace zorvane {

namespace {

class ExitDelayingBackgroundTasks final : public ZVBackgroundTasks {
 public:
  TaskId begin(std::function<void()> expired) override {
    const std::scoped_lock lock(mutex_);
    open_.emplace(++lastId_, std::move(expired));
    return lastId_;
  }

  void end(TaskId task) override {
    std::function<void()> ended;  // destroyed without the lock: what it owns may call back
    const std::scoped_lock lock(mutex_);
    const auto found = open_.find(task);
    if (found == open_.end()) return;
    ended = std::move(found->second);
    open_.erase(found);
    changed_.notify_all();
  }

  void waitAtExit(double seconds) override {
    std::unique_lock lock(mutex_);
    const std::chrono::duration<double> limit(seconds > 0 ? std::min(seconds, kLongestWaitSeconds) : 0);
    changed_.wait_for(lock, limit, [this] { return open_.empty(); });
    const auto late = std::exchange(open_, {});
    lock.unlock();  // the handlers end their tasks
    for (const auto& [task, expired] : late) expire(expired);
  }

 private:
  static constexpr double kLongestWaitSeconds = 3600;

  static void expire(const std::function<void()>& expired) noexcept {
    try {
      if (expired) expired();
    } catch (...) {
      writeConsoleLine("A background task's expiry handler failed.");
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<TaskId, std::function<void()>> open_;  // guarded by mutex_
  TaskId lastId_ = 0;                             // guarded by mutex_
};

}  // namespace

std::shared_ptr<ZVBackgroundTasks> makeExitDelayingBackgroundTasks() {
  return std::make_shared<ExitDelayingBackgroundTasks>();
}

}  // namespace zorvane
