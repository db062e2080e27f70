// The one instance that a class keeps for the whole process.
//
// Thread:   get() from any thread, even during static construction; exchange() only while nobody else uses the class.
// Lifetime: made on first use and never destroyed, so no order of static destruction can hurt a game that is leaving.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

namespace zorvane {

template <class T>
class SharedInstance {
 public:
  constexpr SharedInstance() = default;

  template <class Make>
  T& get(Make make) {
    if (T* instance = instance_.load(std::memory_order_acquire)) return *instance;
    const std::scoped_lock lock(guard_);
    if (instance_.load(std::memory_order_relaxed) == nullptr)
      instance_.store(std::unique_ptr<T>(make()).release(), std::memory_order_release);
    return *instance_.load(std::memory_order_relaxed);
  }
  T& get() {
    return get([] { return std::make_unique<T>(); });
  }

  // Puts `replacement` in and hands back what was there. Empty: the next get() makes a new one.
  std::unique_ptr<T> exchange(std::unique_ptr<T> replacement) {
    return std::unique_ptr<T>(instance_.exchange(replacement.release(), std::memory_order_acq_rel));
  }

 private:
  std::atomic<T*> instance_{nullptr};
  std::mutex guard_;
};

}  // namespace zorvane
