// How a process ends that can't be trusted any more: at once, or when its deadline has passed.
#pragma once

namespace zorvane {

// Makes the thread that keeps the deadline. Once is enough; more does no harm. Any thread; throws where the machine
// has no thread left.
void prepareDeadline();

// From now on the process has a few seconds; then it ends with status 1, whatever its threads do. Another call starts
// them again. Any thread, in a signal handler too.
void startDeadline() noexcept;

// Ends the process with status 1 and without clean-up. Any thread, in a signal handler too.
[[noreturn]] void endProcess() noexcept;

}  // namespace zorvane
