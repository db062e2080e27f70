#include "collector/api/Access.h"

#include <fmt/format.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <string_view>
#include <vector>

#include "collector/api/Pass.h"
#include "collector/base/Text.h"

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

// "name=value; name=value": of those with the name of passes, of which another collector on this host may have set one.
std::vector<std::string_view> passesIn(const front::Head& head) {
  std::vector<std::string_view> passes;
  for (const auto& field : head.fields) {
    if (!front::isSameName(field.name, "Cookie")) continue;
    for (auto pair : splitAt(field.value, ';')) {
      pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
      const auto equals = pair.find('=');
      if (pair.substr(0, equals) == Access::kCookie && equals != std::string_view::npos)
        passes.push_back(pair.substr(equals + 1));
    }
  }
  return passes;
}

Access::Look lookOf(Level level, std::optional<std::chrono::seconds> pause) {
  if (!pause) return {level};
  return {
      Level::none,
      Access::Refusal{
          429, fmt::format("too many wrong tokens came from this address; try again in {} s", pause->count()), pause}};
}

}  // namespace

std::optional<Access::Refusal> Access::refusalWithoutTokens(const front::Head& head) const {
  const bool isHere = !isExposed_ && !head.forwarded && isLoopbackName(head.field("Host"));
  if (!isHere)
    return Refusal{403, "the collector has no tokens, so it answers this machine alone, by the name of localhost"};
  if (isAnotherPages(head)) return Refusal{403, "the collector has no tokens, so it answers no other's pages"};
  return std::nullopt;
}

// A browser sends the cookie whichever page of the same site has it ask, so a change has to come from the collector's
// own. Who brings a token is no browser.
std::optional<Access::Refusal> Access::refusal(const front::Head& head, Level level) const {
  const bool isReading = head.method == "GET" || head.method == "HEAD";
  if (level == Level::none) {
    if (isReading || !isAnotherPages(head)) return std::nullopt;
    return Refusal{403, "signing in is for the collector's own page"};
  }
  if (!hasTokens()) return refusalWithoutTokens(head);
  const auto [has, unseen] = look(head);
  if (unseen) return unseen;
  if (has == Level::none) return Refusal{401, "it takes a token (Authorization: Bearer TOKEN), or signing in"};
  if (has < level) return Refusal{403, "this token is for reading alone"};
  const bool isByCookie = tokenOf(head).empty();
  if (isByCookie && !isReading && (head.field("Origin").empty() || isAnotherPages(head)))
    return Refusal{403, "with the cookie, changes are for the collector's own page"};
  return std::nullopt;
}

Access::Look Access::look(const front::Head& head) const {
  if (!hasTokens()) return {refusalWithoutTokens(head) ? Level::none : Level::editing};
  const auto brought = tokenOf(head);
  return brought.empty() ? lookAtCookies(head) : look(brought, head.address);
}

Access::Look Access::look(std::string_view token, const std::string& address) const {
  const auto level = levelOfToken(token);
  return lookOf(level, tokensTried_.pause(address, token, level != Level::none, Tries::Clock::now()));
}

Level Access::levelOfToken(std::string_view token) const {
  const auto fits = [&](const std::string& good) { return !good.empty() && isSame(token, good); };
  if (fits(tokens_.editing)) return Level::editing;
  return fits(tokens_.reading) ? Level::reading : Level::none;
}

// One that is over was right once, so it is no guess.
Access::Look Access::lookAtCookies(const front::Head& head) const {
  Look most;
  for (const auto pass : passesIn(head)) {
    const auto level = claimedBy(pass).value_or(Level::none);
    const auto& token = level == Level::editing ? tokens_.editing : tokens_.reading;
    const bool isSigned = level != Level::none && isPassOf(token, pass, 0);
    const auto pause = passesTried_.pause(head.address, pass, isSigned, Tries::Clock::now());
    if (pause) return lookOf(level, pause);
    if (isSigned && level > most.level && isPassOf(token, pass, std::time(nullptr))) most.level = level;
  }
  return most;
}

std::optional<std::string> Access::passFor(std::string_view token, std::int64_t now) const {
  const auto level = levelOfToken(token);
  if (level == Level::none) return std::nullopt;
  return makePass(level, level == Level::editing ? tokens_.editing : tokens_.reading, now);
}

}  // namespace collector
