// What was wrong with an event's arguments, in the codes of SDK error events.
#pragma once

#include <optional>
#include <string>

namespace zorvane {

struct ValidationResult {
  int category = 0;
  int area = 0;
  int action = 0;
  int parameter = 0;  // 0: none
  std::optional<std::string> reason;
};

}  // namespace zorvane
