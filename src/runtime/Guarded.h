// A value of several threads, which is reached with its lock held alone.
#pragma once

#include <mutex>
#include <utility>

namespace zorvane {

template <class Value>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(Value value) : value_(std::move(value)) {}

  // What `use` makes of the value. Nothing of the game's may run in it, not even an observer of the log.
  template <class Use>
  auto with(Use use) {
    const std::scoped_lock lock(mutex_);
    return use(value_);
  }
  template <class Use>
  auto with(Use use) const {
    const std::scoped_lock lock(mutex_);
    return use(value_);
  }

 private:
  mutable std::mutex mutex_;
  Value value_{};
};

}  // namespace zorvane
