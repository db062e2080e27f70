// Whether this process is handling a crash: the thread that does may use what belongs to the work queue otherwise.
//
// Thread: any.
#pragma once

#include <atomic>

namespace zorvane {

class CrashHandling {
 public:
  CrashHandling() noexcept { underWay_ = true; }
  ~CrashHandling() { underWay_ = false; }
  CrashHandling(const CrashHandling&) = delete;
  CrashHandling& operator=(const CrashHandling&) = delete;

  [[nodiscard]] static bool isUnderWay() noexcept { return underWay_; }

 private:
  static inline constinit std::atomic<bool> underWay_{false};
};

}  // namespace zorvane
