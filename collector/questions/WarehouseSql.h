// What questions of the warehouse are made of, and their answers read: pieces of SQL, and rows of texts.
//
// Thread: any; pure functions.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Sums.h"

namespace collector {

// An answer in the format TabSeparated.
std::vector<std::vector<std::string>> rowsOf(std::string_view answer);
std::int64_t wholeIn(std::string_view text);
Wide wideIn(std::string_view text);  // not below 0

// " AND ..." for each text that must be so.
std::string conditions(const std::map<Column, std::string>& texts);
// What the table of events is ordered by: reading it is reading a number. Without a category, all of them.
std::string kinds(const Filter& filter, std::initializer_list<std::string_view> categories);
// The filter's days and segment.
std::string within(const Filter& filter);
// "FROM ... WHERE ...": each event once, as EventsOnce asks for it.
std::string eventsOf(const Filter& filter, std::initializer_list<std::string_view> categories);

// A total of measures as two columns, of which neither overflows, and what they are together.
std::string askedForTotal();
Wide totalOf(std::int64_t high, std::int64_t low);

}  // namespace collector
