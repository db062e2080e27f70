// SHA-256, for what must be the same on every collector.
//
// Thread: any; pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace collector {

// The first half of the digest in hexadecimal: 32 characters.
std::string digestText(std::string_view text);
// Its first 64 bits.
std::uint64_t digestNumber(std::string_view text);

}  // namespace collector
