// UUIDs, 16 bytes in the archive and text everywhere else.
//
// Thread: any; pure functions.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collector/archive/Sql.h"

namespace collector {

using Uuid = std::array<std::uint8_t, 16>;

// Absent when the text is none; which letters are good is a matter of the rules.
std::optional<Uuid> uuidOf(std::string_view text);
// "" of no bytes.
std::string uuidText(Bytes bytes);

}  // namespace collector
