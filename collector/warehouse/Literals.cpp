#include "collector/warehouse/Literals.h"

namespace collector {

namespace {

// Both forms know the same escapes. A quote has one in either, so that a field could stand in a literal.
char escapeOf(char character) {
  switch (character) {
    case '\0': return '0';
    case '\b': return 'b';
    case '\f': return 'f';
    case '\n': return 'n';
    case '\r': return 'r';
    case '\t': return 't';
    case '\'': return '\'';
    case '\\': return '\\';
    default: return '\0';
  }
}

}  // namespace

void addField(std::string& row, std::string_view text) {
  for (const char character : text) {
    if (const char escape = escapeOf(character); escape != '\0') {
      row += '\\';
      row += escape;
    } else {
      row += character;
    }
  }
}

std::string literal(std::string_view text) {
  std::string sql = "'";
  addField(sql, text);
  return sql + '\'';
}

std::string withoutEscapes(std::string_view field) {
  constexpr std::string_view kEscaped = "0bfnrt", kMeant("\0\b\f\n\r\t", 6);
  std::string text;
  for (std::size_t at = 0; at < field.size(); ++at) {
    const bool isEscape = field[at] == '\\' && at + 1 < field.size();
    if (isEscape) ++at;
    const auto place = isEscape ? kEscaped.find(field[at]) : std::string_view::npos;
    text += place == std::string_view::npos ? field[at] : kMeant[place];
  }
  return text;
}

}  // namespace collector
