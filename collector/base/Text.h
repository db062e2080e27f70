// Text as records measure it: UTF-8, its length counted in UTF-16 code units. All arguments are valid UTF-8.
//
// Thread: any; pure functions.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

std::size_t utf16Length(std::string_view text) noexcept;
// At most so many bytes from the front; no character is cut.
std::string_view prefixOf(std::string_view text, std::size_t bytes) noexcept;
std::vector<std::string_view> splitAt(std::string_view text, char separator);
// The text without the line terminator that it ends in, if it does. Games' texts are checked by patterns, whose "$"
// matches before one.
std::string_view withoutFinalTerminator(std::string_view text) noexcept;
// One part of an event id: 1 to 64 letters, digits, white space or any of "-_.()!?".
bool isEventPart(std::string_view part) noexcept;
// The value of `name` in the query of a request target, as it was sent; empty when it is missing.
std::string_view queryValue(std::string_view target, std::string_view name) noexcept;
bool hasQueryValue(std::string_view target, std::string_view name) noexcept;
// Percent-encoding undone; a plus sign stays one.
std::string percentDecoded(std::string_view text);
// What isn't printable ASCII becomes '?', so that a request can't write lines of its own into the log.
std::string printable(std::string_view text);

}  // namespace collector
