// How a server is set up.
//
// Thread: any; values.
#pragma once

#include <any>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string_view>

#include "collector/front/Address.h"
#include "collector/front/Limits.h"
#include "collector/front/Tls.h"

namespace collector::front {

// A request that is over.
struct Visit {
  std::string_view address, method, target;
  int status;                      // 0: it got no answer, for the reason in `ending`
  std::string_view ending;         // also of a stream, where it didn't end by itself
  std::size_t received, sent;      // bytes: of head and body, of the answer
  std::chrono::microseconds took;  // from its whole head
  const std::any& account;         // the handler's
};

using Log = std::function<void(const Visit& visit)>;  // must not block

struct Settings {
  Limits limits = {};
  TlsContext tls = nullptr;  // null: no TLS
  Proxies proxies = {};
  Log log = [](const Visit&) {};
};

}  // namespace collector::front
