// What the runtime does with an exception that nobody catches. Asked in the terminate handler that was called for it.
#pragma once

#include <exception>
#include <optional>
#include <span>
#include <string_view>

namespace zorvane {

// False for the handler that the runtime begins with.
bool wasSetBySomebody(std::terminate_handler handler) noexcept;

// The symbol of the exception's type; null where there is none: a running thread was destroyed, or the game asked for
// the end. Takes neither heap nor lock.
const char* uncaughtExceptionType() noexcept;

// what() of a standard exception, cut to `room`. Runs code of the game's.
std::optional<std::string_view> uncaughtExceptionReason(std::span<char> room);

}  // namespace zorvane
