// Bytes in hexadecimal digits.
//
// Thread: any; a pure function.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zorvane {

inline constexpr std::string_view kLowerHex = "0123456789abcdef";
inline constexpr std::string_view kUpperHex = "0123456789ABCDEF";

inline void appendHex(std::string& text, std::uint8_t byte, std::string_view digits) {
  text += digits[byte >> 4U];
  text += digits[byte & 0xFU];
}

}  // namespace zorvane
