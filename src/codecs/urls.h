// Queries of URLs.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

std::string urlQuery(const ZVMap& parameters);  // texts only, sorted; keys as they are
std::string escapedForUrl(std::string_view text);

}  // namespace zorvane
