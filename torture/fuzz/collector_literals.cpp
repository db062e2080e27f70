// Texts for the warehouse: whatever the bytes, a literal ends where it should and a field stays in its place, and what
// they stand for is what they were made of.
#include <string>

#include "Fuzz.h"
#include "collector/warehouse/Literals.h"

namespace {

char meant(char escape) {
  switch (escape) {
    case '0': return '\0';
    case 'b': return '\b';
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    case '\'':
    case '\\': return escape;
    default: fuzz::require(false, "an escape that the warehouse doesn't know", std::string(1, escape));
  }
  return '\0';
}

std::string decoded(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      fuzz::require(std::string_view("'\t\n\0", 4).find(text[at]) == std::string_view::npos, "it ends early", text);
      bytes += text[at];
      continue;
    }
    fuzz::require(++at < text.size(), "a backslash is left", text);
    bytes += meant(text[at]);
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto text = fuzz::viewOf(bytes, size);
  const std::string literal = collector::literal(text);
  fuzz::require(literal.size() >= 2 && literal.front() == '\'' && literal.back() == '\'', "it has no quotes", literal);
  fuzz::require(decoded(std::string_view(literal).substr(1, literal.size() - 2)) == text, "a literal changes", literal);

  std::string row = "before\t";
  collector::addField(row, text);
  const auto field = std::string_view(row).substr(7);
  fuzz::require(row.starts_with("before\t") && decoded(field) == text, "a field changes", row);
  fuzz::require(collector::withoutEscapes(field) == text, "a field is read differently", row);
  (void)collector::withoutEscapes(text);
  return 0;
}
