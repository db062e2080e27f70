// Undoes gzip, up to a bound.
//
// Thread: any; no state is kept.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace collector {

enum class InflateOutcome { ok, damaged, tooLarge };

// Replaces `text` by the content of exactly one gzip member. Stops as soon as the content passes `limit` bytes, so a
// small body that would fill the memory never gets that far. Throws std::bad_alloc.
InflateOutcome inflateGzip(std::string_view member, std::size_t limit, std::string& text);

}  // namespace collector
