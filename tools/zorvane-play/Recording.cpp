#include "zorvane-play/Recording.h"

#include <cstdio>
#include <utility>

#include <fmt/format.h>

#include "codecs/ZVHelpers.h"

using namespace zorvane;

namespace {

// One line, taken into the recording; what is wrong with it otherwise.
std::optional<std::string> readLine(const std::string& line, Recording& recording) {
  const auto parsed = ZVHelpers::dictionaryWithJsonString(line);
  const ZVValue::Array* array = parsed ? parsed->ifArray() : nullptr;
  if (array == nullptr) return "is no JSON array";
  const std::string* name = array->empty() ? nullptr : array->front().ifString();
  if (name == nullptr) return "must begin with the name of an operation or directive";
  ZVValue::Array arguments(array->begin() + 1, array->end());

  std::optional<std::string> wrong;
  if (*name == kPlatformDirective) {
    if (!recording.steps.empty()) wrong = "must come before the first call";
    else if (recording.platform.application) wrong = "comes twice";
    else wrong = readPlatform(arguments, recording.platform);
  } else if (const Directive* directive = findDirective(*name)) {
    wrong = directive->check(arguments);
    recording.steps.push_back({directive, std::move(arguments)});
  } else if (const Operation* operation = findOperation(*name)) {
    wrong = operation->check(arguments);
    recording.steps.push_back({operation, std::move(arguments)});
  } else {
    wrong = "is no operation or directive";
  }
  if (wrong) return fmt::format("\"{}\" {}", *name, *wrong);
  return std::nullopt;
}

void print(const Operation& operation, const ZVValue& result) {
  const auto json = ZVHelpers::jsonStringWithObject(ZVMap{{"call", operation.name}, {"result", result}});
  std::puts(json.value_or("{}").c_str());
  std::fflush(stdout);
}

}  // namespace

std::variant<Recording, std::string> readRecording(std::istream& lines) {
  Recording recording;
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    if (const auto wrong = readLine(line, recording)) return fmt::format("line {}: {}", number, *wrong);
  }
  if (lines.bad()) return "can't be read to its end";
  return recording;
}

void play(const Recording& recording) {
  for (const auto& [what, arguments] : recording.steps) {
    if (const auto* const* directive = std::get_if<const Directive*>(&what)) {
      (*directive)->play(arguments);
      continue;
    }
    const Operation& operation = *std::get<const Operation*>(what);
    if (const auto result = operation.play(arguments)) print(operation, *result);
  }
}
