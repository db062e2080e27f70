#include "platform/Platform.h"
#include "state/Records.h"
#include "store/ZVStore.h"
#include "values/Counter.h"

namespace zorvane {

void ZVState::incrementProgressionTries(const std::string& progressionId) {
  if (platform().television) return;
  std::int64_t& tries = state().progressionTries[progressionId];
  tries = successor(tries);
  ZVStore::persistProgressionTries(std::to_string(tries), progressionId);
}

std::int64_t ZVState::getProgressionTries(const std::string& progressionId) {
  if (platform().television) return 0;
  const auto& tries = state().progressionTries;
  const auto found = tries.find(progressionId);
  return found == tries.end() ? 0 : found->second;
}

void ZVState::clearProgressionTries(const std::string& progressionId) {
  if (platform().television) return;
  state().progressionTries.erase(progressionId);
  ZVStore::clearStoredProgressionTriesForProgressionId(progressionId);
}

}  // namespace zorvane
