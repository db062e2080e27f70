// Compression of request bodies, and its opposite.
//
// Thread: any; pure functions. Failures, and nothing to work on, are absent results.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zorvane {

std::optional<std::string> compress(std::string_view data);    // one gzip member
std::optional<std::string> decompress(std::string_view data);  // gzip or zlib; up to 16 MiB

}  // namespace zorvane
