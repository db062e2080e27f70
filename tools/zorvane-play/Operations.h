// The one place that knows the facade's operations by their full keyword names.
//
// Thread: the main thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

// One operation, ready to be played. Arguments come as JSON values, null for absent.
struct Operation {
  std::string_view name;
  // What is wrong with the arguments; absent when they fit.
  std::optional<std::string> (*check)(const ZVValue::Array& arguments);
  // Plays it; a query answers with its result.
  std::optional<ZVValue> (*play)(const ZVValue::Array& arguments);
};

const Operation* findOperation(std::string_view name);
std::vector<std::string_view> operationNames();
