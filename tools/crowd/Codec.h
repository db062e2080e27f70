// What a body goes through on its way: gzip, and the signature over the bytes as they are sent.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <string_view>

namespace crowd {

std::string gzip(std::string_view text);
// Base64 of the HMAC-SHA256.
std::string signature(std::string_view body, std::string_view secret);

}  // namespace crowd
