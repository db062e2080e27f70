#include "runtime/TaskQueue.h"

#include <condition_variable>
#include <exception>
#include <mutex>

#include "platform/Thread.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// Waking a thread that sleeps costs the poster some 8 us, a push 0.3 us. So the worker naps for a while after its last
// task and looks again by itself: a game that reports in every frame wakes nobody, an idle game has an idle worker.
constexpr auto kNap = milliseconds(4);
constexpr auto kNapsFor = milliseconds(1000);

thread_local const char* runningLabel = nullptr;

}  // namespace

// Somebody who waits for the queue to have nothing left.
struct TaskQueue::Drain {
  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;  // guarded by mutex
};

TaskQueue::TaskQueue(std::string label)
    : label_(std::move(label)), worker_(startThread("zorvane", [this] { work(); })) {}

TaskQueue::~TaskQueue() {
  post([this] { stopping_.store(true, std::memory_order_relaxed); });
  worker_.join();
}

const char* TaskQueue::currentLabel() noexcept { return runningLabel; }

bool TaskQueue::drain(milliseconds limit) {
  const auto drain = std::make_shared<Drain>();
  post([this, drain] { drains_.push_back(drain); });
  std::unique_lock lock(drain->mutex);
  return drain->changed.wait_for(lock, limit, [&] { return drain->done; });
}

void TaskQueue::finishDrains() {
  for (const auto& drain : drains_) {
    const std::scoped_lock lock(drain->mutex);
    drain->done = true;
    drain->changed.notify_all();
  }
  drains_.clear();
}

void TaskQueue::push(Node* node) noexcept {
  link(node);
  // Either the worker, about to sleep, sees the new node, or this sees that it sleeps: both sides are sequentially
  // consistent and each writes before it reads.
  if (asleep_.load(std::memory_order_seq_cst) != 0 && asleep_.exchange(0, std::memory_order_seq_cst) != 0)
    asleep_.notify_one();
}

void TaskQueue::link(Node* node) noexcept {
  node->next.store(nullptr, std::memory_order_relaxed);
  Node* previous = back_.exchange(node, std::memory_order_seq_cst);
  previous->next.store(node, std::memory_order_release);
}

// The oldest node, or null when there is none or when its poster is between the two steps of link().
TaskQueue::Node* TaskQueue::pop() noexcept {
  Node* node = front_;
  Node* next = node->next.load(std::memory_order_acquire);
  if (node == &sentinel_) {
    if (next == nullptr) return nullptr;
    front_ = node = next;
    next = node->next.load(std::memory_order_acquire);
  }
  if (next == nullptr) {
    if (back_.load(std::memory_order_acquire) != node) return nullptr;
    link(&sentinel_);  // `node` is the last: only with another behind it may it leave the list
    next = node->next.load(std::memory_order_acquire);
    if (next == nullptr) return nullptr;
  }
  front_ = next;
  return node;
}

bool TaskQueue::isEmpty() const noexcept {
  return front_ == &sentinel_ && back_.load(std::memory_order_seq_cst) == &sentinel_;
}

void TaskQueue::work() {
  runningLabel = label_.c_str();
  auto lastTask = steady_clock::now();
  while (!stopping_.load(std::memory_order_relaxed)) {
    bool ran = false;
    while (const std::unique_ptr<Node> node{pop()}) {
      runGuarded(*node);
      ran = true;
    }
    if (ran) lastTask = steady_clock::now();
    if (isEmpty()) {
      finishDrains();
      rest(lastTask);
    } else {
      std::this_thread::yield();  // a poster is between the two steps of link()
    }
  }
}

void TaskQueue::runGuarded(Node& node) noexcept {
  try {
    node.run();
  } catch (const std::exception& failure) {
    ZVLogger::e(0, "A task on the work queue failed: {}", failure.what());
  } catch (...) {
    ZVLogger::e(0, "A task on the work queue failed");
  }
}

void TaskQueue::rest(steady_clock::time_point lastTask) {
  if (steady_clock::now() - lastTask < kNapsFor) std::this_thread::sleep_for(kNap);
  else sleepUntilWoken();
}

void TaskQueue::sleepUntilWoken() {
  asleep_.store(1, std::memory_order_seq_cst);
  if (isEmpty()) asleep_.wait(1, std::memory_order_seq_cst);
  asleep_.store(0, std::memory_order_seq_cst);
}

}  // namespace zorvane
