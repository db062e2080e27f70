// Session is how a browser signs in: a token is exchanged for a cookie that scripts can't read.
//
// Thread:   any.
// Lifetime: shorter than the access's.
#pragma once

#include "collector/api/Access.h"
#include "collector/front/Http.h"

namespace collector {

class Session {
 public:
  explicit Session(const Access& access) : access_(access) {}

  // {"level": "reading", "needed": true}
  [[nodiscard]] front::Response show(const front::Head& head) const;
  // Body: {"token": "..."}. The same answer with the cookie; 401 for a token that is none, 429 after too many of them.
  [[nodiscard]] front::Response signIn(const front::Request& request) const;
  [[nodiscard]] front::Response signOut(const front::Head& head) const;

 private:
  [[nodiscard]] front::Response answer(Level level) const;

  const Access& access_;
};

}  // namespace collector
