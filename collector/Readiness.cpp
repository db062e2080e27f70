#include "collector/Readiness.h"

namespace collector {

namespace {

// As large as what games send: on a disk that is nearly full something small would still succeed.
void probe(sqlite3* archive) {
  execute(archive, "INSERT OR REPLACE INTO facts(name, value) VALUES('probed', zeroblob(262144))");
}

}  // namespace

std::string Readiness::trouble() {
  auto failure = archive_.health().failure;
  if (!failure.empty() && !isProbing_->exchange(true))
    archive_.write(probe, [isProbing = isProbing_](bool) { *isProbing = false; });
  return failure;
}

}  // namespace collector
