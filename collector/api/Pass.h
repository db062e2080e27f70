// A pass is what a browser keeps in a cookie once somebody signed in: a level, until when, and a signature by the token
// that was brought. Nothing of it is kept here, so it outlives a restart, and ends when the token is changed.
//
// Thread: any; pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collector/api/Level.h"

namespace collector {

inline constexpr std::int64_t kPassSeconds = 12 * std::int64_t{3600};

std::string makePass(Level level, const std::string& token, std::int64_t now);
// The level that it claims; absent when it is none.
std::optional<Level> claimedBy(std::string_view pass);
// Whether it was made with that token, and isn't over.
bool isPassOf(const std::string& token, std::string_view pass, std::int64_t now);

}  // namespace collector
