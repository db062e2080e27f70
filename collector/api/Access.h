// Who may ask and who may edit: those who bring the token, or the cookie of somebody who signed in with it. Without
// tokens, the machine itself alone.
//
// After too many wrong tokens from an address, none that it brings is looked at for a while, be it right: if a right
// one still worked, guessing would go on. Cookies are counted apart from tokens, so that who has signed in isn't kept
// out by others behind the same address who guess tokens.
//
// Thread: any; what changes is who was wrong lately.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collector/api/Level.h"
#include "collector/api/Tries.h"
#include "collector/front/Http.h"

namespace collector {

class Access {
 public:
  static constexpr std::string_view kCookie = "zorvane_session";

  struct Tokens {
    std::string reading;
    std::string editing;  // good for reading as well
  };
  // `isExposed`: others than this machine can come, directly or through a proxy.
  Access(Tokens tokens, bool isExposed) : tokens_(std::move(tokens)), isExposed_(isExposed) {}

  struct Refusal {
    int status;  // 401 without a token that is good, 403 with one that may only read, or where none is known; 429
    std::string reason;
    std::optional<std::chrono::seconds> pause = {};  // with 429: until another is looked at
  };
  [[nodiscard]] std::optional<Refusal> refusal(const front::Head& head, Level level) const;
  // What a request may do, unless that isn't looked at.
  struct Look {
    Level level = Level::none;
    std::optional<Refusal> refusal = {};
  };
  [[nodiscard]] Look look(const front::Head& head) const;
  [[nodiscard]] Look look(std::string_view token, const std::string& address) const;
  [[nodiscard]] bool hasTokens() const { return !tokens_.reading.empty() || !tokens_.editing.empty(); }
  // The pass for who brings that token; absent when it isn't one.
  [[nodiscard]] std::optional<std::string> passFor(std::string_view token, std::int64_t now) const;

 private:
  [[nodiscard]] std::optional<Refusal> refusalWithoutTokens(const front::Head& head) const;
  [[nodiscard]] Level levelOfToken(std::string_view token) const;
  [[nodiscard]] Look lookAtCookies(const front::Head& head) const;

  const Tokens tokens_;
  const bool isExposed_;
  mutable Tries tokensTried_, passesTried_;
};

}  // namespace collector
