// The answers of the init call: this session's, an earlier run's, and none.
//
// Thread: the work queue.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include <zorvane/ZVTypes.h>

namespace zorvane {

class SdkConfig {
 public:
  [[nodiscard]] const ZVMap& inForce() const { return current_ ? *current_ : cached_ ? *cached_ : none_; }
  void adoptCached(std::optional<ZVMap> config) { cached_ = std::move(config); }
  void adopt(ZVMap config) {
    cached_ = config;
    current_ = std::move(config);
  }
  // Without an answer. False: there is none of an earlier time either.
  bool fallBack() {
    const bool hasEarlier = current_ || cached_;
    if (!current_) current_ = inForce();
    return hasEarlier;
  }

  // Seconds, the server's clock minus the client's; 0 until an answer says it.
  [[nodiscard]] std::int32_t timeOffset() const { return timeOffset_; }
  void setTimeOffset(std::int32_t seconds) { timeOffset_ = seconds; }

 private:
  std::int32_t timeOffset_ = 0;
  std::optional<ZVMap> current_;
  std::optional<ZVMap> cached_;
  ZVMap none_;
};

}  // namespace zorvane
