#include "collector/base/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace collector {

namespace {

constexpr std::size_t kMaxEventPart = 64;
constexpr std::string_view kPunctuation = "-_.()!? \t\n\v\f\r";

// White space beyond ASCII.
constexpr auto kSpaces = std::to_array<std::string_view>(
    {"\u0085", "\u00a0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
     "\u2008", "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"});

// The pair before its second half.
constexpr auto kLineTerminators =
    std::to_array<std::string_view>({"\r\n", "\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"});

bool isAsciiWord(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

// The length in bytes of the allowed character at the front; 0 when it isn't allowed.
std::size_t allowedPrefix(std::string_view part) noexcept {
  if (isAsciiWord(part.front()) || kPunctuation.find(part.front()) != std::string_view::npos) return 1;
  const auto* const space =
      std::find_if(kSpaces.begin(), kSpaces.end(), [&](auto each) { return part.starts_with(each); });
  return space == kSpaces.end() ? 0 : space->size();
}

std::optional<std::string_view> findQueryValue(std::string_view target, std::string_view name) noexcept {
  const auto question = target.find('?');
  auto rest = question == std::string_view::npos ? std::string_view{} : target.substr(question + 1);
  while (!rest.empty()) {
    const auto pair = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(pair.size() + 1, rest.size()));
    const auto equals = pair.find('=');
    if (equals != std::string_view::npos && pair.substr(0, equals) == name) return pair.substr(equals + 1);
  }
  return std::nullopt;
}

}  // namespace

std::size_t utf16Length(std::string_view text) noexcept {
  std::size_t units = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0U) != 0x80U) units += byte >= 0xF0U ? 2 : 1;  // four bytes are a surrogate pair
  }
  return units;
}

std::string_view prefixOf(std::string_view text, std::size_t bytes) noexcept {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U) --bytes;
  return text.substr(0, bytes);
}

std::vector<std::string_view> splitAt(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const auto end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string_view withoutFinalTerminator(std::string_view text) noexcept {
  const auto* const terminator =
      std::find_if(kLineTerminators.begin(), kLineTerminators.end(), [&](auto each) { return text.ends_with(each); });
  if (terminator != kLineTerminators.end()) text.remove_suffix(terminator->size());
  return text;
}

bool isEventPart(std::string_view part) noexcept {
  if (part.empty() || utf16Length(part) > kMaxEventPart) return false;
  while (!part.empty()) {
    const auto bytes = allowedPrefix(part);
    if (bytes == 0) return false;
    part.remove_prefix(bytes);
  }
  return true;
}

std::string_view queryValue(std::string_view target, std::string_view name) noexcept {
  return findQueryValue(target, name).value_or(std::string_view{});
}

bool hasQueryValue(std::string_view target, std::string_view name) noexcept {
  return findQueryValue(target, name).has_value();
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned byte = 0;
    const char* const digits = text.data() + at + 1;
    if (text[at] == '%' && text.size() - at > 2 && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      decoded += static_cast<char>(byte);
      at += 2;
    } else {
      decoded += text[at];
    }
  }
  return decoded;
}

std::string printable(std::string_view text) {
  std::string shown(text);
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return shown;
}

}  // namespace collector
