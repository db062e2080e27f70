#include "runtime/ZVThreading.h"

#include <atomic>
#include <future>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

namespace {

constexpr std::string_view kQueueLabel = "zorvaneQueue";

constinit SharedInstance<ZVThreading> sharedThreading;

// Ends a background task however the work that it stood for went.
struct BackgroundTaskEnd {
  ZVBackgroundTasks& tasks;
  ZVBackgroundTasks::TaskId id;
  ~BackgroundTaskEnd() { tasks.end(id); }
};

}  // namespace

ZVThreading::ZVThreading() : queue(std::string(kQueueLabel)) {}

ZVThreading& ZVThreading::sharedInstance() { return sharedThreading.get(); }

std::unique_ptr<ZVThreading> ZVThreading::setSharedInstance(std::unique_ptr<ZVThreading> instance) {
  return sharedThreading.exchange(std::move(instance));
}

void ZVThreading::performTaskOnZVThreadInBackgroundWithBlock(std::function<void()> task) {
  const auto tasks = platform().backgroundTasks;
  // The expiry handler needs the id that begin() is about to return.
  const auto id = std::make_shared<std::atomic<ZVBackgroundTasks::TaskId>>(0);
  *id = tasks->begin([tasks, id] { tasks->end(*id); });
  performTaskOnZVThreadWithBlock([tasks, id, task = std::move(task)] {
    const BackgroundTaskEnd end{*tasks, *id};
    task();
  });
}

void ZVThreading::performTaskOnMainThreadWithBlock(const std::function<void()>& task) {
  ZVMainLoop& loop = *platform().mainLoop;
  if (loop.isMainThread()) {
    task();
    return;
  }
  auto promise = std::make_shared<std::promise<void>>();
  const std::future<void> finished = promise->get_future();
  loop.post([task, promise = std::move(promise)] {
    task();
    promise->set_value();
  });
  finished.wait();  // it ends as well when the task fails: the promise is broken then
}

bool ZVThreading::isZVThread() {
  const char* label = TaskQueue::currentLabel();
  const bool onQueue = label != nullptr && kQueueLabel == label;
  if (!onQueue) ZVLogger::d(0, "Not on ZVThread");
  return onQueue;
}

}  // namespace zorvane
