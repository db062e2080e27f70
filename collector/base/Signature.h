// The signature of a request: base64 of the HMAC-SHA256 of the body as sent, keyed by the game's secret.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <string_view>

namespace collector {

std::string signatureOf(std::string_view body, std::string_view secret);
bool isSignedWith(std::string_view secret, std::string_view body, std::string_view signature);

}  // namespace collector
