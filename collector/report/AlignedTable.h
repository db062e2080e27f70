// An answer for people who read it in a terminal.
//
// Thread: any; a pure function.
#pragma once

#include <string>

#include "collector/questions/Table.h"

namespace collector::report {

// Columns as wide as their widest cell, numbers to the right. What can't be printed becomes '?': texts are a game's.
std::string asText(const Table& table);

}  // namespace collector::report
