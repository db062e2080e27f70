// How a record is written: compact JSON as the wire protocol describes it.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <string_view>

#include "crowd/Record.h"

namespace crowd {

inline constexpr std::string_view kSdkVersion = "ios 4.6.7";

// `text` in quotes, with what JSON escapes and every "/" behind a backslash.
void appendQuoted(std::string& out, std::string_view text);

// The common fields, to be kept with them.
Common::Text textOf(const Common& common);

void append(std::string& out, const Record& record);

}  // namespace crowd
