// The platform's console log: a line on standard error, prefixed by the time, the program and the thread.
//
// Thread: any. A line is written whole or, when nobody reads for a second, not at all.
#pragma once

#include <string_view>

namespace zorvane {

// The three texts make one line; nothing in them is interpreted.
void writeConsoleLine(std::string_view text, std::string_view more = {}, std::string_view rest = {}) noexcept;

}  // namespace zorvane
