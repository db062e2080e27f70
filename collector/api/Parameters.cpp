#include "collector/api/Parameters.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "collector/base/Json.h"
#include "collector/base/Text.h"

namespace collector {

namespace {

constexpr std::size_t kMaxName = 40;  // of one that is quoted

// What is taken ends up in answers, which are UTF-8.
std::string decoded(std::string_view text) {
  std::string plain = percentDecoded(text);
  if (!parseJson(quotedJson(plain)).failure.empty()) throw Refused(400, "a parameter is not UTF-8");
  return plain;
}

}  // namespace

Parameters::Parameters(std::string_view target) {
  const auto mark = target.find('?');
  if (mark == std::string_view::npos) return;
  for (const auto pair : splitAt(target.substr(mark + 1), '&')) {
    if (pair.empty()) continue;
    const auto equals = std::min(pair.find('='), pair.size());
    const std::string name = decoded(pair.substr(0, equals));
    std::string value = decoded(pair.substr(std::min(equals + 1, pair.size())));
    if (!values_.emplace(name, std::move(value)).second)
      throw Refused(400, fmt::format("{}: it is there twice", prefixOf(name, kMaxName)));
  }
}

std::string Parameters::take(const std::string& name, std::string fallback) {
  auto found = values_.extract(name);
  return found.empty() ? std::move(fallback) : std::move(found.mapped());
}

std::string Parameters::takeNeeded(const std::string& name) {
  std::string value = take(name);
  if (value.empty()) throw Refused(400, name + ": it is missing");
  return value;
}

std::int64_t Parameters::takeWhole(const std::string& name, std::int64_t fallback, std::int64_t least,
                                   std::int64_t most) {
  const std::string text = take(name, std::to_string(fallback));
  const char* const last = text.data() + text.size();
  std::int64_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), last, number);
  if (failure != std::errc() || end != last || number < least || number > most)
    throw Refused(400, fmt::format("{}: it must be a whole number from {} to {}", name, least, most));
  return number;
}

void Parameters::expectNoOthers() const {
  if (!values_.empty())
    throw Refused(400, fmt::format("{}: there is no such parameter here", prefixOf(values_.begin()->first, kMaxName)));
}

}  // namespace collector
