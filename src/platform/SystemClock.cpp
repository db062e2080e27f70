#include <chrono>

#include "platform/Defaults.h"

namespace zorvane {

namespace {

class SystemClock final : public ZVClock {
 public:
  double secondsSince1970() const override {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  }
};

}  // namespace

std::shared_ptr<ZVClock> makeSystemClock() { return std::make_shared<SystemClock>(); }

}  // namespace zorvane
