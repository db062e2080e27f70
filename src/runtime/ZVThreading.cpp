#include "runtime/ZVThreading.h"

#include <condition_variable>
#include <mutex>
#include <string_view>

#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

namespace {

constexpr std::string_view kQueueLabel = "zorvaneQueue";
constexpr auto kLookForLeaving = std::chrono::milliseconds(20);

constinit SharedInstance<ZVThreading> shared;

// A task that waits for the main loop. Whoever comes first, the loop or a caller that gives up, decides its fate.
struct HandOver {
  std::mutex mutex;
  std::condition_variable changed;
  enum class Stage { waiting, running, done, givenUp } stage = Stage::waiting;  // guarded by mutex

  void run(const std::function<void()>& task) {
    if (!move(Stage::waiting, Stage::running)) return;
    const Done done{*this};  // also when the task throws: that is the loop's affair, and somebody waits
    task();
  }
  struct Done {
    HandOver& handOver;
    ~Done() { handOver.move(Stage::running, Stage::done); }
  };
  bool move(Stage from, Stage to) {
    const std::scoped_lock lock(mutex);
    if (stage != from) return false;
    stage = to;
    changed.notify_all();
    return true;
  }
  bool waitUntilDone(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, limit, [&] { return stage == Stage::done; });
  }
};

}  // namespace

ZVThreading::ZVThreading() : queue(std::string(kQueueLabel)) {}

ZVThreading& ZVThreading::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVThreading> ZVThreading::setSharedInstance(std::unique_ptr<ZVThreading> instance) {
  return shared.exchange(std::move(instance));
}

void ZVThreading::performTaskOnMainThreadWithBlock(const std::function<void()>& task) {
  ZVMainLoop& loop = *platform().mainLoop;
  if (loop.isMainThread()) {
    task();
    return;
  }
  const auto handOver = std::make_shared<HandOver>();
  loop.post([handOver, task] { handOver->run(task); });
  const auto& leaving = sharedInstance().mainThreadIsLeaving_;
  while (!handOver->waitUntilDone(kLookForLeaving))
    if (leaving.load(std::memory_order_relaxed) && handOver->move(HandOver::Stage::waiting, HandOver::Stage::givenUp))
      return;
}

void ZVThreading::stopWaitingForMainThread() noexcept {
  sharedInstance().mainThreadIsLeaving_.store(true, std::memory_order_relaxed);
}

bool ZVThreading::isZVThread() {
  const char* label = TaskQueue::currentLabel();
  const bool onQueue = label != nullptr && kQueueLabel == label;
  if (!onQueue) ZVLogger::d(0, "Not on ZVThread");
  return onQueue;
}

}  // namespace zorvane
