// What the runtime does with an exception that nobody catches.
#pragma once

#include <exception>
#include <optional>
#include <string>

// False for the handler that the runtime begins with.
bool wasSetBySomebody(std::terminate_handler handler) noexcept;

struct UncaughtException {
  std::string name;                   // its type's, as in its source
  std::optional<std::string> reason;  // what() of a standard exception
};
// The exception for which the terminate handler that calls this was called. Without one (a running thread was
// destroyed, or the game asked for it) the name is that of the call.
UncaughtException uncaughtException();
