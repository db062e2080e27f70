#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "platform/Thread.h"

namespace zorvane {

namespace {

using Clock = std::chrono::steady_clock;
using Task = ZVMainLoop::Task;
using TimerId = ZVMainLoop::TimerId;

constexpr double kLongestTimerSeconds = 1e9;  // beyond it, a time point would overflow

void runGuarded(const Task& task) noexcept {
  try {
    task();
  } catch (const std::exception& failure) {
    writeConsoleLine("A task on the main loop failed: ", failure.what());
  } catch (...) {
    writeConsoleLine("A task on the main loop failed.");
  }
}

Clock::duration durationOf(double seconds) {
  const double bounded = seconds > 0 ? std::min(seconds, kLongestTimerSeconds) : 0;  // a NaN is due at once
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(bounded));
}

// Tasks and one-shot timers, ordered by the time at which they are due; a posted task is due when it is posted.
class Agenda {
 public:
  TimerId add(double seconds, Task task) {
    const std::scoped_lock lock(mutex_);
    const TimerId id = ++lastId_;
    entries_.emplace(Key(Clock::now() + durationOf(seconds), id), std::move(task));
    changed_.notify_one();
    return id;
  }

  void remove(TimerId id) {
    Task removed;  // destroyed without the lock: what a task owns may call back
    const std::scoped_lock lock(mutex_);
    const auto entry = std::ranges::find(entries_, id, [](const auto& candidate) { return candidate.first.second; });
    if (entry == entries_.end()) return;
    removed = std::move(entry->second);
    entries_.erase(entry);
  }

  // The first task that is due at `now`; empty when there is none.
  std::optional<Task> take(Clock::time_point now) {
    const std::scoped_lock lock(mutex_);
    return takeLocked(now);
  }

  // Waits for the next task that is due; absent once stop() was called.
  std::optional<Task> waitAndTake() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
      if (auto task = takeLocked(Clock::now())) return task;
      if (entries_.empty()) {
        changed_.wait(lock);
      } else {
        const auto due = entries_.begin()->first.first;  // a copy: the entry may go while this waits
        changed_.wait_until(lock, due);
      }
    }
    return std::nullopt;
  }

  void stop() {
    const std::scoped_lock lock(mutex_);
    stopping_ = true;
    changed_.notify_one();
  }

  std::optional<double> secondsUntilNext() const {
    const std::scoped_lock lock(mutex_);
    if (entries_.empty()) return std::nullopt;
    const std::chrono::duration<double> left = entries_.begin()->first.first - Clock::now();
    return std::max(left.count(), 0.0);
  }

 private:
  using Key = std::pair<Clock::time_point, TimerId>;

  std::optional<Task> takeLocked(Clock::time_point now) {
    if (entries_.empty() || entries_.begin()->first.first > now) return std::nullopt;
    return std::move(entries_.extract(entries_.begin()).mapped());
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<Key, Task> entries_;  // guarded by mutex_
  TimerId lastId_ = 0;           // guarded by mutex_
  bool stopping_ = false;        // guarded by mutex_
};

thread_local const Agenda* agendaOfThisThread = nullptr;

class OwnThreadMainLoop final : public ZVMainLoop {
 public:
  ~OwnThreadMainLoop() override {
    agenda_->stop();
    if (!thread_.joinable()) return;
    if (isMainThread()) thread_.detach();  // the last owner was a task of this loop: its thread ends after the task
    else thread_.join();
  }

  bool isMainThread() const override { return agendaOfThisThread == agenda_.get(); }
  void post(Task task) override { scheduleTimer(0, std::move(task)); }

  TimerId scheduleTimer(double seconds, Task task) override {
    std::call_once(started_, [this] { thread_ = startThread("zorvane main", [agenda = agenda_] { run(*agenda); }); });
    return agenda_->add(seconds, std::move(task));
  }

  void cancelTimer(TimerId timer) override { agenda_->remove(timer); }

 private:
  static void run(Agenda& agenda) {
    agendaOfThisThread = &agenda;
    while (const auto task = agenda.waitAndTake()) runGuarded(*task);
  }

  const std::shared_ptr<Agenda> agenda_ = std::make_shared<Agenda>();
  std::once_flag started_;
  std::thread thread_;
};

}  // namespace

std::shared_ptr<ZVMainLoop> makeOwnThreadMainLoop() { return std::make_shared<OwnThreadMainLoop>(); }

}  // namespace zorvane

using namespace zorvane;

struct ZVPumpedMainLoop::State {
  const std::thread::id mainThread = std::this_thread::get_id();
  Agenda agenda;
};

ZVPumpedMainLoop::ZVPumpedMainLoop() : state_(std::make_unique<State>()) {}
ZVPumpedMainLoop::~ZVPumpedMainLoop() = default;

bool ZVPumpedMainLoop::isMainThread() const { return state_->mainThread == std::this_thread::get_id(); }

void ZVPumpedMainLoop::post(Task task) { state_->agenda.add(0, std::move(task)); }

ZVMainLoop::TimerId ZVPumpedMainLoop::scheduleTimer(double seconds, Task task) {
  return state_->agenda.add(seconds, std::move(task));
}

void ZVPumpedMainLoop::cancelTimer(TimerId timer) { state_->agenda.remove(timer); }

void ZVPumpedMainLoop::pump() {
  const auto now = Clock::now();  // what the tasks post is for the next time, so a frame's share has an end
  while (const auto task = state_->agenda.take(now)) runGuarded(*task);
}

std::optional<double> ZVPumpedMainLoop::secondsUntilNextTask() const { return state_->agenda.secondsUntilNext(); }
