#include "runtime/TaskQueue.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>

#include "platform/SleepOnWord.h"
#include "platform/Thread.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// Waking a thread that sleeps costs the poster some 8 us, a push 0.3 us. So the worker looks again by itself while
// tasks come at the rate of frames or faster, and nobody has to wake it. Tasks that come more seldom are worth a wake
// each: looking in vain costs more than that, and a battery, too.
constexpr auto kNap = milliseconds(16);
constexpr auto kGapOfFrames = milliseconds(40);
constexpr auto kLongestGap = 4 * kGapOfFrames;  // a longer one counts as this, so that a few frames make up for a pause
constexpr int kGapsAveraged = 4;

thread_local const char* runningLabel = nullptr;

}  // namespace

// Somebody who waits for the queue to have nothing left.
struct TaskQueue::Drain {
  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;  // guarded by mutex
};

TaskQueue::TaskQueue(std::string label)
    : label_(std::move(label)),
      lastWork_(steady_clock::now()),
      usualGap_(kLongestGap),
      worker_(startThread("zorvane", [this] { work(); })) {}

TaskQueue::~TaskQueue() {
  post([this] { stopping_ = true; });
  wake();
  worker_.join();
}

const char* TaskQueue::currentLabel() noexcept { return runningLabel; }

bool TaskQueue::drain(milliseconds limit) {
  const auto drain = std::make_shared<Drain>();
  post([this, drain] { drains_.push_back(drain); });
  wake();  // also from a nap: somebody waits
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
  if (sleep_.load(std::memory_order_seq_cst) == kAsleep) wake();
}

void TaskQueue::wake() noexcept {
  if (sleep_.exchange(kAwake, std::memory_order_seq_cst) != kAwake) wakeSleepersOn(sleep_);
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
  for (;;) {
    bool ran = false;
    while (const std::unique_ptr<Node> node{pop()}) {
      if (!std::exchange(ran, true)) noteGap();
      runGuarded(*node);
    }
    if (ran) lastWork_ = steady_clock::now();
    if (isEmpty()) {
      finishDrains();
      if (stopping_) return;
      rest();
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

// Work has come: the gap before it joins the average.
void TaskQueue::noteGap() noexcept {
  const auto gap = std::min<steady_clock::duration>(steady_clock::now() - lastWork_, kLongestGap);
  usualGap_ += (gap - usualGap_) / kGapsAveraged;
}

void TaskQueue::rest() noexcept {
  const bool framesGoOn = usualGap_ <= kGapOfFrames && steady_clock::now() - lastWork_ < kGapOfFrames;
  const Sleep sleep = framesGoOn ? kNapping : kAsleep;
  sleep_.store(sleep, std::memory_order_seq_cst);
  if (isEmpty()) sleepWhile(sleep_, sleep, framesGoOn ? std::optional(kNap) : std::nullopt);
  sleep_.store(kAwake, std::memory_order_seq_cst);
}

}  // namespace zorvane
