#include "collector/intake/Room.h"

namespace collector {

bool Room::Part::resize(std::size_t bytes) {
  for (std::size_t taken = of_->taken_;;) {
    const std::size_t next = taken - bytes_ + bytes;
    const bool isAlone = taken == bytes_;
    if (bytes > bytes_ && next > of_->bytes_ && !isAlone) return false;
    if (!of_->taken_.compare_exchange_weak(taken, next)) continue;
    bytes_ = bytes;
    return true;
  }
}

}  // namespace collector
