// The signals that end a process.
#pragma once

#include <string>
#include <vector>

namespace zorvane {

struct FatalSignal {
  int number;
  // The instruction that raised it runs again when the handler returns, and raises it again.
  bool repeats;
};
using FatalSignalHandler = void (*)(FatalSignal) noexcept;

// Calls `handler` for every fatal signal from now on, on the thread that takes the signal; one that the process ignores
// stays ignored. Returns the names of those for which somebody else had set a handler. Any thread.
std::vector<std::string> handleFatalSignals(FatalSignalHandler handler);

// Called in a handler: when it has returned, the system does with the signal what it does by default.
void leaveToTheSystem(FatalSignal signal) noexcept;

// The calling thread takes the faults of its own and no other signal, the one included that is being handled.
void takeFaultsOnly() noexcept;

}  // namespace zorvane
