// Recognising JSON that the library wrote itself, which can be sent as it is stored: without making a value of it.
//
// Thread: any; a pure function.
#pragma once

#include <cstddef>
#include <string_view>

namespace zorvane {

// A field of the outermost map that must be a number, and which.
struct NumberRule {
  std::string_view key;
  bool (*passes)(double);
};

// Whether `json` is a map to the letter as writeJson() has it, no deeper than `mostLevels`, that keeps the rule. False
// also for a map with very many keys, which writeJson() may well have written.
bool isWrittenJson(std::string_view json, std::size_t mostLevels, const NumberRule& rule);

}  // namespace zorvane
