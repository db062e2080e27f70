// The store's receipt of a purchase, read on the game's thread.
#pragma once

#include <optional>
#include <string>

namespace zorvane {

// The receipt file that the platform names, as base64. Absent when it can't be had, which has been logged.
std::optional<std::string> fetchReceipt();

}  // namespace zorvane
