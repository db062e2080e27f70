// A recorded game session: one JSON array a line, an operation's name and its arguments, or a directive.
//
// Read and checked whole before anything of it is played.
#pragma once

#include <cstddef>
#include <istream>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <zorvane/ZVPlatform.h>
#include <zorvane/ZVTypes.h>

#include "zorvane-play/Directives.h"
#include "zorvane-play/Operations.h"

struct Step {
  std::variant<const Operation*, const Directive*> what;
  ZVValue::Array arguments;
};

struct Recording {
  ZVPlatform platform;  // with the facts of an "@platform" line
  std::vector<Step> steps;
};

// The recording, or what is wrong with it, "line 3: …".
std::variant<Recording, std::string> readRecording(std::istream& lines);

// Plays every step; what queries answer is printed on standard output.
void play(const Recording& recording);
