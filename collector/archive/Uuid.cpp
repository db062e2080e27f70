#include "collector/archive/Uuid.h"

#include <fmt/format.h>

#include <iterator>

namespace collector {

std::optional<Uuid> uuidOf(std::string_view text) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  Uuid uuid{};
  std::size_t at = 0;
  for (const char c : text) {
    if (c == '-') continue;
    if (at == 2 * uuid.size()) return std::nullopt;
    uuid[at / 2] = static_cast<std::uint8_t>(uuid[at / 2] << 4 | digit(c));
    ++at;
  }
  return at == 2 * uuid.size() ? std::optional(uuid) : std::nullopt;
}

std::string uuidText(Bytes bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at == 4 || at == 6 || at == 8 || at == 10) text += '-';
    fmt::format_to(std::back_inserter(text), "{:02x}", bytes[at]);
  }
  return text;
}

}  // namespace collector
