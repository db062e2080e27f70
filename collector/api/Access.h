// Who may ask and who may edit: those who bring the token. Without tokens, the machine itself alone.
//
// Thread: any; nothing changes afterwards.
#pragma once

#include <optional>
#include <string>

#include "collector/front/Http.h"

namespace collector {

enum class Level { reading, editing };

class Access {
 public:
  struct Tokens {
    std::string reading;
    std::string editing;  // good for reading as well
  };
  // `isExposed`: others than this machine can come, directly or through a proxy.
  Access(Tokens tokens, bool isExposed) : tokens_(std::move(tokens)), isExposed_(isExposed) {}

  struct Refusal {
    int status;  // 401 without a token that is good, 403 with one that may only read, or where none is known
    const char* reason;
  };
  [[nodiscard]] std::optional<Refusal> refusal(const front::Head& head, Level level) const;

 private:
  const Tokens tokens_;
  const bool isExposed_;
};

}  // namespace collector
