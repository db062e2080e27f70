// JSON as the library writes and reads it: compact, with escaped slashes. What is read can be written again.
//
// Thread: any; pure functions. Failures are absent results; nothing is thrown.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

// How deep lists and maps may lie in each other. Values are written, copied and destroyed by recursion, so depth costs
// stack; nothing that the collector understands comes near this.
inline constexpr std::size_t kMaxJsonDepth = 512;

// Absent unless `object` is a map or a list that JSON can express: valid UTF-8 throughout, finite numbers.
std::optional<std::string> writeJson(const ZVValue& object);
std::optional<std::string> writeJson(const ZVMap& object, std::size_t mostLevels = kMaxJsonDepth);

// The map or list. Absent for anything else.
std::optional<ZVValue> readJson(std::string_view json, std::size_t mostLevels = kMaxJsonDepth);
// The same of what comes from outside: it may hold a bounded number of values only.
std::optional<ZVValue> readJsonAnswer(std::string_view json);

}  // namespace zorvane
