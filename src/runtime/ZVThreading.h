// ZVThreading owns the work queue "zorvaneQueue", on which all work of the library runs, one task after another.
//
// Thread:   any.
// Lifetime: the queue exists from first use until the process ends.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "runtime/TaskQueue.h"

namespace zorvane {

class ZVThreading {
 public:
  ZVThreading();

  static ZVThreading& sharedInstance();
  static std::unique_ptr<ZVThreading> setSharedInstance(std::unique_ptr<ZVThreading> instance);

  // Appends a task to the work queue and returns at once. Never runs it inline.
  template <class Task>
  static void performTaskOnZVThreadWithBlock(Task&& task) {
    sharedInstance().queue.post(std::forward<Task>(task));
  }
  // The same as a background task of the platform's, so that the application gets the time for it where it is about to
  // be suspended or to end.
  static void performTaskOnZVThreadInBackgroundWithBlock(std::function<void()> task);
  // Runs the task on the main loop's thread and returns when it has run: inline when called there. Not for
  // the work queue's tasks: storing must not wait for a host's loop.
  static void performTaskOnMainThreadWithBlock(const std::function<void()>& task);
  static bool isZVThread();

  TaskQueue queue;
};

}  // namespace zorvane
