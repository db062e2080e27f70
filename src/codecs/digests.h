// Digests, signatures and base64.
//
// Thread: any; pure functions. What there is no memory for is an empty text.
#pragma once

#include <string>
#include <string_view>

namespace zorvane {

std::string base64(std::string_view data);
std::string md5(std::string_view data);                               // 32 lower-case hex digits
std::string sha256(std::string_view data);                            // as base64
std::string hmacSha256(std::string_view key, std::string_view data);  // as base64, 44 characters
// What a platform string that ends at its first NUL would hold: keys and texts are such.
std::string_view upToNul(std::string_view text);

}  // namespace zorvane
