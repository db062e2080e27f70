// A serial queue of tasks with a thread of its own: any thread posts, the worker runs one task at a time in posting
// order.
//
// Thread:   post() and drain() from any thread; everything else belongs to the worker.
// Lifetime: the destructor runs what was posted before it and joins the worker.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace zorvane {

class TaskQueue {
 public:
  explicit TaskQueue(std::string label);
  ~TaskQueue();
  TaskQueue(const TaskQueue&) = delete;
  TaskQueue& operator=(const TaskQueue&) = delete;

  // Appends `task`, a callable without arguments, and returns at once: one allocation, one exchange, and a wake only
  // when the worker sleeps. Never runs the task inline. A worker that has nothing to do begins within 20 ms.
  template <class Callable>
  void post(Callable&& task) {
    push(std::make_unique<Bound<std::decay_t<Callable>>>(std::in_place, std::forward<Callable>(task)).release());
  }

  // Waits until the queue has nothing left. False: work was left when `limit` ran out.
  bool drain(std::chrono::milliseconds limit);

  // The label of the queue whose task the calling thread runs; null elsewhere.
  static const char* currentLabel() noexcept;

 private:
  struct Node {
    virtual ~Node() = default;
    virtual void run() = 0;
    std::atomic<Node*> next{nullptr};
  };
  template <class Callable>
  struct Bound final : Node {
    template <class Source>
    Bound(std::in_place_t, Source&& source) : callable(std::forward<Source>(source)) {}
    void run() override { callable(); }
    Callable callable;
  };
  struct Sentinel final : Node {
    void run() override {}
  };
  struct Drain;
  enum Sleep : std::uint32_t { kAwake, kNapping, kAsleep };  // who naps looks by itself, who sleeps has to be woken

  void push(Node* node) noexcept;
  void link(Node* node) noexcept;
  Node* pop() noexcept;
  [[nodiscard]] bool isEmpty() const noexcept;
  void work();
  void finishDrains();
  static void runGuarded(Node& node) noexcept;
  void noteGap() noexcept;
  void rest() noexcept;
  void wake() noexcept;

  const std::string label_;
  Sentinel sentinel_;                                // keeps the list from ever being without a node
  Node* front_ = &sentinel_;                         // the worker's end
  alignas(64) std::atomic<Node*> back_{&sentinel_};  // the posters' end
  std::atomic<std::uint32_t> sleep_{kAwake};

  // The worker's.
  bool stopping_ = false;
  std::vector<std::shared_ptr<Drain>> drains_;      // those who wait until nothing is left
  std::chrono::steady_clock::time_point lastWork_;  // its end
  std::chrono::steady_clock::duration usualGap_;    // between two stretches of work: a moving average

  std::thread worker_;
};

}  // namespace zorvane
