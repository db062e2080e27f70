#include <string>

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "events/rejected.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"

namespace zorvane {

namespace {

std::string pathOf(ZVText progression01, ZVText progression02, ZVText progression03) {
  if (progression02.empty()) return std::string(progression01.view());
  if (progression03.empty()) return fmt::format("{}:{}", progression01, progression02);
  return fmt::format("{}:{}:{}", progression01, progression02, progression03);
}

// Counts a try that ended. A complete closes the count and returns it.
std::optional<std::int64_t> countTry(ZVProgressionStatus status, const std::string& path) {
  if (status == ZVProgressionStatus::start) return std::nullopt;
  ZVState::incrementProgressionTries(path);
  if (status == ZVProgressionStatus::fail) return std::nullopt;
  const std::int64_t tries = ZVState::getProgressionTries(path);
  ZVState::clearProgressionTries(path);
  return tries;
}

std::optional<std::string> textOf(std::optional<std::int64_t> number) {
  return number ? std::optional(std::to_string(*number)) : std::nullopt;
}

}  // namespace

void ZVEvents::addProgressionEventWithProgressionStatus(ZVProgressionStatus status, ZVText progression01,
                                                        ZVText progression02, ZVText progression03,
                                                        std::optional<std::int64_t> score, const ZVMap& fields,
                                                        bool mergeFields) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (reportRejected(ZVValidator::validateProgressionEventWithProgressionStatus(status, progression01, progression02,
                                                                                progression03)))
    return;
  const std::string path = pathOf(progression01, progression02, progression03);
  const std::string_view statusName = *wordOf(status);
  ZVMap event{{"category", Category::progression}, {"event_id", fmt::format("{}:{}", statusName, path)}};
  if (score && status != ZVProgressionStatus::start) event.set("score", *score);
  const std::optional<std::int64_t> attempt = countTry(status, path);
  if (attempt) event.set("attempt_num", *attempt);
  addDimensionsAndFields(event, fields, mergeFields);
  ZVLogger::i(0,
              "Add PROGRESSION event: {{status:{}, progression01:{}, progression02:{}, progression03:{}, score:{}, "
              "attempt:{}}}",
              statusName, progression01, progression02, progression03, ZVText(textOf(score)), ZVText(textOf(attempt)));
  addEventToStoreWithEventData(event);
}

}  // namespace zorvane
