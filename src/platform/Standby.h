// A thread that stands by for a crash. It has a stack of its own and, as far as there are enough, a heap of its own: it
// can still do what the thread that crashed can't, whose heap may be locked by itself.
#pragma once

namespace zorvane {

// Makes the thread. Once is enough; more does no harm. Any thread; throws where the machine has no thread left.
void prepareStandby();

// Runs `task` on it and returns when it has run. One thread at a time; after prepareStandby(), in a signal handler too.
void runOnStandby(void (*task)() noexcept) noexcept;

bool onStandby() noexcept;

}  // namespace zorvane
