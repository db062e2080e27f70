// The remote configurations and A/B ids of the init answer in force.
//
// Thread: the work queue changes them, any thread asks. No line is written and no delegate notified under a lock.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include <zorvane/ZVRemoteConfigsDelegate.h>
#include <zorvane/ZVTypes.h>

#include "runtime/Guarded.h"

namespace zorvane {

class RemoteConfigs {
 public:
  // Work queue.
  void adoptIds(const ZVMap& sdkConfig);
  void populate(const ZVMap& sdkConfig, double now);  // seconds since 1970 on the server's clock
  [[nodiscard]] const std::string& hash() const { return hash_; }

  // Any thread.
  std::optional<std::string> text(ZVText key, ZVText defaultValue);
  std::optional<ZVMap> all();  // absent before there are any
  [[nodiscard]] bool isReady() const { return isReady_; }
  std::optional<std::string> abId();
  std::optional<std::string> abVariantId();
  void setDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate);

 private:
  struct Answers {
    std::optional<ZVMap> configurations;
    std::optional<std::string> abId;
    std::optional<std::string> abVariantId;
    std::weak_ptr<ZVRemoteConfigsDelegate> delegate;
  };
  void notifyDelegate();

  Guarded<Answers> answers_;
  std::atomic<bool> isReady_{false};
  std::string hash_;
};

}  // namespace zorvane
