// Time that nobody sets: it goes on while the machine sleeps.
#pragma once

#include <cstdint>

namespace zorvane {

// Whole seconds. Any thread, in a signal handler too.
std::int64_t secondsSinceBoot() noexcept;

}  // namespace zorvane
