// Sleeping until another thread changes a word. There is neither lock nor heap in it, so what wakes may be on the path
// of a crash, whatever the thread that died has held.
//
// Thread: any.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

namespace zorvane {

// Sleeps while `word` is `expected`: until it is woken, no longer than `limit`. It may also return for no reason.
void sleepWhile(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
                std::optional<std::chrono::milliseconds> limit = std::nullopt) noexcept;

// Wakes all threads that sleep on `word`, which has been changed.
void wakeSleepersOn(const std::atomic<std::uint32_t>& word) noexcept;

}  // namespace zorvane
