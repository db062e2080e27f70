#include "collector/api/Access.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace collector {

namespace {

// In a time that doesn't depend on where they differ.
bool isSame(std::string_view one, std::string_view other) {
  return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

// A page elsewhere can make a browser on this machine ask, under a name of its own.
bool isLoopbackName(std::string_view host) {
  constexpr std::array<std::string_view, 3> kNames = {"localhost", "127.0.0.1", "[::1]"};
  return std::ranges::any_of(kNames, [&](std::string_view name) {
    if (!host.starts_with(name)) return false;
    const auto port = host.substr(name.size());
    return port.empty() || (port.front() == ':' && port.find_first_not_of("0123456789", 1) == std::string_view::npos);
  });
}

// It can also use this one's, but then the browser says where the page is from.
bool isAnotherPages(const front::Head& head) {
  const auto origin = head.field("Origin");
  const auto scheme = origin.find("://");
  return !origin.empty() && (scheme == std::string_view::npos || origin.substr(scheme + 3) != head.field("Host"));
}

std::string_view tokenOf(const front::Head& head) {
  constexpr std::string_view kScheme = "Bearer ";
  const auto field = head.field("Authorization");
  return front::isSameName(field.substr(0, kScheme.size()), kScheme) ? field.substr(kScheme.size())
                                                                     : std::string_view();
}

}  // namespace

std::optional<Access::Refusal> Access::refusal(const front::Head& head, Level level) const {
  const bool hasTokens = !tokens_.reading.empty() || !tokens_.editing.empty();
  if (!hasTokens) {
    const bool isHere = !isExposed_ && !head.forwarded && isLoopbackName(head.field("Host"));
    if (!isHere)
      return Refusal{403, "the collector has no tokens, so it answers this machine alone, by the name of localhost"};
    if (isAnotherPages(head)) return Refusal{403, "the collector has no tokens, so it answers no other's pages"};
    return std::nullopt;
  }
  const auto token = tokenOf(head);
  const auto fits = [&](const std::string& good) { return !good.empty() && isSame(token, good); };
  if (fits(tokens_.editing)) return std::nullopt;
  if (!fits(tokens_.reading)) return Refusal{401, "it takes a token: Authorization: Bearer TOKEN"};
  if (level == Level::reading) return std::nullopt;
  return Refusal{403, "this token is for reading alone"};
}

}  // namespace collector
