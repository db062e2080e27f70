// The command line of zorvane-crowd.
#pragma once

#include <variant>

#include "crowd/Settings.h"

namespace crowd {

inline constexpr int kBadUsage = 2;

// The settings; or the status to end with, once the help, the version or what is wrong is printed.
std::variant<Settings, int> readOptions(int count, const char* const* arguments);

}  // namespace crowd
