// Texts of the C interface: null is an absent one.
//
// Thread: any; pure functions.
#pragma once

#include <optional>
#include <string>

#include <zorvane/ZVTypes.h>

namespace zorvane {

inline std::optional<std::string> optionalText(const char* text) { return ZVText(text).copy(); }
inline std::string textOrEmpty(const char* text) { return std::string(ZVText(text).view()); }

}  // namespace zorvane
