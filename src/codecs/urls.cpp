#include "codecs/urls.h"

#include <algorithm>
#include <cstdint>
#include <locale>
#include <vector>

#include "codecs/hex.h"

namespace zorvane {

namespace {

constexpr std::string_view kReserved = " !*'();:@&=+$,/?%#[]\"<>\\`{}|";

struct Pair {
  std::string text;
  std::string sortKey;  // in lower case, as the locale collates it
};

Pair makePair(const std::string& key, const std::string& value, const std::locale& locale) {
  std::string text = key + '=' + escapedForUrl(value);
  std::string lower = text;
  std::use_facet<std::ctype<char>>(locale).tolower(lower.data(), lower.data() + lower.size());
  const auto& collation = std::use_facet<std::collate<char>>(locale);
  return {std::move(text), collation.transform(lower.data(), lower.data() + lower.size())};
}

}  // namespace

std::string escapedForUrl(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80 && kReserved.find(character) == std::string_view::npos) {
      escaped += character;
      continue;
    }
    escaped += '%';
    appendHex(escaped, byte, kUpperHex);
  }
  return escaped;
}

std::string urlQuery(const ZVMap& parameters) {
  const std::locale locale;
  std::vector<Pair> pairs;
  for (const auto& [key, value] : parameters)
    if (const auto* text = value.ifString()) pairs.push_back(makePair(key, *text, locale));
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const Pair& left, const Pair& right) { return left.sortKey < right.sortKey; });
  std::string query;
  for (const Pair& pair : pairs) {
    if (!query.empty()) query += '&';
    query += pair.text;
  }
  return query;
}

}  // namespace zorvane
