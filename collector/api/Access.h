// Who may ask and who may edit: those who bring the token, or the cookie of somebody who signed in with it. Without
// tokens, the machine itself alone.
//
// Thread: any; nothing changes afterwards.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collector/api/Level.h"
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
    int status;  // 401 without a token that is good, 403 with one that may only read, or where none is known
    std::string reason;
  };
  [[nodiscard]] std::optional<Refusal> refusal(const front::Head& head, Level level) const;
  // What a request may do.
  [[nodiscard]] Level levelOf(const front::Head& head) const;
  [[nodiscard]] bool hasTokens() const { return !tokens_.reading.empty() || !tokens_.editing.empty(); }
  // The pass for who brings that token; absent when it isn't one.
  [[nodiscard]] std::optional<std::string> passFor(std::string_view token, std::int64_t now) const;

 private:
  [[nodiscard]] std::optional<Refusal> refusalWithoutTokens(const front::Head& head) const;
  [[nodiscard]] Level levelOfToken(std::string_view token) const;
  [[nodiscard]] Level levelOfCookies(const front::Head& head) const;

  const Tokens tokens_;
  const bool isExposed_;
};

}  // namespace collector
