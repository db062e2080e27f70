#include "collector/front/Stream.h"

#include <utility>

namespace collector::front {

bool Stream::put(std::string_view piece) {
  const std::scoped_lock lock(guard_);
  if (hasEnded_ || piece.size() > kRoom - waiting_.size() - beingSent_) return false;
  const bool wasEmpty = waiting_.empty();
  waiting_.append(piece);
  if (wasEmpty) wake_();
  return true;
}

std::size_t Stream::room() {
  const std::scoped_lock lock(guard_);
  return kRoom - waiting_.size() - beingSent_;
}

void Stream::end() {
  const std::scoped_lock lock(guard_);
  hasEnded_ = true;
  wake_();
}

void Stream::awaken(std::function<void()> wake) {
  const std::scoped_lock lock(guard_);
  wake_ = std::move(wake);
}

Stream::Taken Stream::take() {
  const std::scoped_lock lock(guard_);
  beingSent_ = waiting_.size();
  return {std::exchange(waiting_, {}), hasEnded_};
}

}  // namespace collector::front
