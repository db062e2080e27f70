// ZVEvents builds, records and submits events.
//
// Thread:   the work queue, but for the queue's timer: it is armed and fires on the main loop, and stopEventQueue() may
//           be called from any thread.
// Lifetime: one instance, kept for the life of the process.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

#include "values/Counter.h"
#include "values/SdkError.h"

namespace zorvane {

class ZVEvents {
 public:
  // Of a record's JSON. A larger one is refused when it is reported: it would take its whole batch along.
  static constexpr std::size_t kMaxRecordBytes = std::size_t{1} << 20;
  // Of lists and maps in each other, itself counted. A batch is a list of records, and JSON is written 512 levels deep.
  static constexpr std::size_t kMaxRecordLevels = 511;

  static ZVEvents& sharedInstance();
  static std::unique_ptr<ZVEvents> setSharedInstance(std::unique_ptr<ZVEvents> instance);

  // Recording: recording.cpp.
  // `counter`: what the event counts, stored with it.
  static void addEventToStoreWithEventData(const ZVMap& eventData, const std::optional<Counter>& counter = {});
  static void addDimensionsToEventWithEventData(ZVMap& eventData);
  static void addFieldsToEventWithEventData(ZVMap& eventData, ZVMap fields);
  static void updateSessionTime();  // rewrites the snapshot of the session that is open

  // Sessions: sessions.cpp.
  static void addSessionStartEvent();
  static void addSessionEndEvent();
  static void fixMissingSessionEndEvents();

  // The event queue: queue.cpp.
  static void startEventQueue();
  static void stopEventQueue();
  static bool isEventQueueTimerArmed();
  // `timerFired`: the queue is armed again when the run has finished.
  static void processEventQueue(bool timerFired);
  static void processEventsWithCategory(ZVText category, bool performCleanup);
  static void cleanupEvents();
  static void deleteAllEvents();  // does nothing

  // Builders, one file a kind. Each validates its arguments, records the event, or reports why it is refused.
  static void addBusinessEventWithCurrency(ZVText currency, std::int64_t amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVText receipt, const ZVMap& fields, bool mergeFields);
  static void addResourceEventWithFlowType(ZVResourceFlowType flowType, ZVText currency, std::optional<double> amount,
                                           ZVText itemType, ZVText itemId, const ZVMap& fields, bool mergeFields);
  static void addProgressionEventWithProgressionStatus(ZVProgressionStatus status, ZVText progression01,
                                                       ZVText progression02, ZVText progression03,
                                                       std::optional<std::int64_t> score, const ZVMap& fields,
                                                       bool mergeFields);
  static void addDesignEventWithEventId(ZVText eventId, std::optional<double> value, const ZVMap& fields,
                                        bool mergeFields);
  // `uuid`: the event's, where it was chosen beforehand.
  static void addErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message, const ZVMap& fields, bool mergeFields,
                                        bool skipAddingFields = false, ZVText uuid = {});
  static void addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVAdError noAdReason, std::int64_t duration, bool sendDuration, const ZVMap& fields,
                                   bool mergeFields);
  static void addImpressionEventWithAdNetworkName(ZVText adNetworkName, ZVText adNetworkVersion,
                                                  const ZVMap& impressionData, const ZVMap& fields, bool mergeFields);

  // SDK error events, sent at once and alone: sdk_errors.cpp.
  static void sendSdkErrorEventWithCategory(SdkErrorCategory category, SdkErrorArea area, SdkErrorAction action,
                                            SdkErrorParameter parameter, ZVText reason, ZVText gameKey,
                                            ZVText secretKey);
  static void sendSdkErrorEventWithCategory(SdkErrorCategory category, SdkErrorArea area, SdkErrorAction action,
                                            ZVText reason, ZVText gameKey, ZVText secretKey);

  // What reportSdkError() comes to, with the keys in force.
  static void reportSdkErrorAsEvent(const SdkError& error);

  // Strings of the enumerations; absent for a code outside the table: strings.cpp.
  static std::optional<std::string_view> progressionStatusString(ZVProgressionStatus status);
  static std::optional<std::string_view> resourceFlowTypeString(ZVResourceFlowType flowType);
  static std::optional<std::string_view> errorSeverityString(ZVErrorSeverity severity);
  static std::optional<std::string_view> adActionString(ZVAdAction action);
  static std::optional<std::string_view> adTypeString(ZVAdType adType);
  static std::optional<std::string_view> adErrorReasonString(ZVAdError reason);
  static std::optional<std::string_view> sdkErrorCategoryString(SdkErrorCategory category);
  static std::optional<std::string_view> sdkErrorAreaString(SdkErrorArea area);
  static std::optional<std::string_view> sdkErrorActionString(SdkErrorAction action);
  static std::optional<std::string_view> sdkErrorParameterString(SdkErrorParameter parameter);

  const std::string categorySessionStart = "user";
  const std::string categorySessionEnd = "session_end";
  const std::string categoryDesign = "design";
  const std::string categoryBusiness = "business";
  const std::string categoryProgression = "progression";
  const std::string categoryResource = "resource";
  const std::string categoryError = "error";
  const std::string categoryAds = "ads";
  const std::string categoryImpression = "impression";
  const std::string categorySdkError = "sdk_error";

  double queueTimerWaitSeconds = 8.0;

 private:
  std::mutex timerGuard_;
  std::optional<std::uint64_t> eventQueueTimer_;  // guarded by timerGuard_
};

}  // namespace zorvane
