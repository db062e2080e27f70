#include "transport/AnswerWait.h"

#include "platform/SleepOnWord.h"

namespace zorvane {

bool AnswerWait::waitFor(const std::atomic<bool>& answered) const noexcept {
  for (;;) {
    const std::uint32_t seen = changes_.load(std::memory_order_acquire);  // before the looks: a later change wakes
    if (answered.load(std::memory_order_acquire)) return true;
    if (isGivingUp()) return false;
    sleepWhile(changes_, seen);
  }
}

void AnswerWait::answer(std::atomic<bool>& answered) noexcept {
  answered.store(true, std::memory_order_release);
  wakeAll();
}

void AnswerWait::setGivingUp(bool givingUp) noexcept {
  givingUp_.store(givingUp, std::memory_order_release);
  wakeAll();
}

void AnswerWait::wakeAll() noexcept {
  changes_.fetch_add(1, std::memory_order_release);
  wakeSleepersOn(changes_);
}

}  // namespace zorvane
