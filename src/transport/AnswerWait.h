// AnswerWait is where threads wait for the answers to their requests. Nothing wakes them but an answer, or that all
// waiting is given up. It has no lock, for a crash gives up a request whatever the thread that died has held.
//
// Thread:   any.
// Lifetime: shared by the client and the requests on their way, which may outlive it.
#pragma once

#include <atomic>
#include <cstdint>

namespace zorvane {

class AnswerWait {
 public:
  // Holds the calling thread until `answered` is set, or until waiting is given up: then false.
  bool waitFor(const std::atomic<bool>& answered) const noexcept;

  // Sets `answered` and wakes the thread that waits for it, which can read what was written before.
  void answer(std::atomic<bool>& answered) noexcept;

  void setGivingUp(bool givingUp) noexcept;
  [[nodiscard]] bool isGivingUp() const noexcept { return givingUp_.load(std::memory_order_acquire); }

 private:
  void wakeAll() noexcept;

  std::atomic<bool> givingUp_{false};
  std::atomic<std::uint32_t> changes_{0};  // of anything that somebody waits for
};

}  // namespace zorvane
