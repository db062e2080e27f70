// What runs when a game crashes, on the thread that crashed.
#pragma once

#include "platform/Signals.h"

namespace zorvane {

// Reports the exception that is being handled. Returns when error reporting is switched off, and when a terminate
// handler that the game had set before has returned.
void ZVUncaughtExceptionHandlerCallback() noexcept;

// Returns when error reporting is switched off, and in a forked child.
void ZVSignalHandler(FatalSignal signal) noexcept;

// Puts the terminate handler in place; one that the game has set is called after the report. Any thread.
void takeOverTerminate() noexcept;

}  // namespace zorvane
