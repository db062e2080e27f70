// The text of a crash report: at most 8192 UTF-16 code units.
//
// Thread: any.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zorvane {

inline constexpr std::size_t kMostReportUnits = 8192;

// What a report says of the application. Asks the host, whose functions can't be relied upon after a crash: the first
// call asks, later ones repeat it.
const std::string& applicationLine();

// `type`: its symbol; null or "-": there was no exception.
std::string exceptionName(const char* type);

struct CrashText {
  std::string firstLine;                          // ends with its line end
  std::optional<std::string> exceptionName = {};  // of an exception
  std::optional<std::string> exceptionReason = {};
  std::vector<std::string> frames = {};
};
std::string reportText(const CrashText& crash);

}  // namespace zorvane
