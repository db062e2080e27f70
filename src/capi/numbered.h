// What the host knows by a number only, so that it may name one too late or twice: an open request, say.
//
// Thread: any.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace zorvane {

// `Value`: a pointer or a function, for which there is an empty one.
template <class Value>
class Numbered {
 public:
  std::uint64_t add(Value value) {
    const std::scoped_lock lock(mutex_);
    values_.emplace(++last_, std::move(value));
    return last_;
  }
  // Empty: it has been taken.
  Value take(std::uint64_t number) {
    const std::scoped_lock lock(mutex_);
    const auto found = values_.extract(number);
    return found.empty() ? Value() : std::move(found.mapped());
  }
  std::vector<Value> all() {
    const std::scoped_lock lock(mutex_);
    std::vector<Value> found;
    for (const auto& [number, value] : values_) found.push_back(value);
    return found;
  }
  std::map<std::uint64_t, Value> takeAll() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(values_, {});
  }

 private:
  std::mutex mutex_;
  std::map<std::uint64_t, Value> values_;  // guarded by mutex_
  std::uint64_t last_ = 0;                 // guarded by mutex_
};

}  // namespace zorvane
