// Readiness says whether the archive takes what games send: not from a write that failed until one succeeds.
//
// Thread:   any; it never waits.
// Lifetime: shorter than the archive's.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "collector/archive/Store.h"

namespace collector {

class Readiness {
 public:
  explicit Readiness(Store& archive) : archive_(archive) {}

  // Why the archive can't keep anything; "" when it can. Where it couldn't, this has something written, and the next
  // call knows how that went: a collector that gets nothing to write would otherwise never be ready again.
  std::string trouble();

 private:
  Store& archive_;
  const std::shared_ptr<std::atomic<bool>> isProbing_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace collector
