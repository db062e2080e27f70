#include "collector/front/Http.h"

#include <algorithm>

namespace collector::front {

namespace {

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool isSameName(std::string_view one, std::string_view other) noexcept {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char left, char right) { return lowered(left) == lowered(right); });
}

std::string_view Head::field(std::string_view name) const noexcept {
  const auto found =
      std::find_if(fields.begin(), fields.end(), [&](const Field& field) { return isSameName(field.name, name); });
  return found == fields.end() ? std::string_view() : std::string_view(found->value);
}

}  // namespace collector::front
