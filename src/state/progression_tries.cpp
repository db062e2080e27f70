#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "values/Counter.h"

namespace zorvane {

void ZVState::incrementProgressionTries(const std::string& progressionId) {
  if (isTVos()) return;
  std::int64_t& tries = sharedInstance().progressionTries[progressionId];
  tries = successor(tries);
  ZVStore::persistProgressionTries(std::to_string(tries), progressionId);
}

std::int64_t ZVState::getProgressionTries(const std::string& progressionId) {
  if (isTVos()) return 0;
  const auto& tries = sharedInstance().progressionTries;
  const auto found = tries.find(progressionId);
  return found == tries.end() ? 0 : found->second;
}

void ZVState::clearProgressionTries(const std::string& progressionId) {
  if (isTVos()) return;
  sharedInstance().progressionTries.erase(progressionId);
  ZVStore::clearStoredProgressionTriesForProgressionId(progressionId);
}

}  // namespace zorvane
