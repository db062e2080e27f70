// Texts within JSON, as the library writes them.
//
// Thread: any; constants.
#pragma once

#include <array>
#include <cstddef>

namespace zorvane {

// Whether a byte is written as it is: neither a control nor what is escaped, to which the slash belongs.
inline constexpr auto kPlainInJson = [] {
  std::array<bool, 256> plain{};
  for (std::size_t byte = 0x20; byte < plain.size(); ++byte) plain[byte] = true;
  for (const char escaped : {'"', '\\', '/'}) plain[static_cast<unsigned char>(escaped)] = false;
  return plain;
}();

}  // namespace zorvane
