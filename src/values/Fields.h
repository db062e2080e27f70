// Reading single fields of a map.
#pragma once

#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

// The field's text; "" when it is missing or no text.
inline std::string textField(const ZVMap& map, std::string_view key) {
  const ZVValue* value = map.find(key);
  return value != nullptr && value->ifString() != nullptr ? *value->ifString() : std::string();
}

}  // namespace zorvane
