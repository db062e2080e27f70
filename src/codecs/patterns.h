// Regular expressions, in the dialect of ICU.
//
// Thread: any; compiled patterns are kept and shared.
#pragma once

#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

// True when the pattern matches somewhere in `text`. False for empty text, bad UTF-8 and patterns that don't compile.
bool matchesPattern(ZVText text, std::string_view pattern);

}  // namespace zorvane
