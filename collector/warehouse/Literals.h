// Texts as the warehouse reads them. Everything that comes from a game passes here, and nowhere else.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <string_view>

namespace collector {

// A literal of SQL, quotes included.
std::string literal(std::string_view text);
// A field of the TabSeparated format, added to `row`.
void addField(std::string& row, std::string_view text);
// A field of an answer in that format.
std::string withoutEscapes(std::string_view field);

}  // namespace collector
