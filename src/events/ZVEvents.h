// ZVEvents builds, records and submits events.
//
// Thread:   the work queue, but for the queue's timer: it fires on the main loop, and any thread may start and stop it.
// Lifetime: one instance, kept for the life of the process.
#pragma once

#include <atomic>
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

  ZVEvents();
  ~ZVEvents();
  ZVEvents(const ZVEvents&) = delete;
  ZVEvents& operator=(const ZVEvents&) = delete;

  static ZVEvents& sharedInstance();
  static std::unique_ptr<ZVEvents> setSharedInstance(std::unique_ptr<ZVEvents> instance);

  // Recording: recording.cpp.
  // `counter`: what the event counts, stored with it.
  static void addEventToStoreWithEventData(const ZVMap& eventData, const std::optional<Counter>& counter = {});
  static void addDimensionsToEventWithEventData(ZVMap& eventData);
  static void addFieldsToEventWithEventData(ZVMap& eventData, ZVMap fields);
  static void updateSessionTime();  // rewrites the snapshot of the session that is open
  // Who keeps the common fields of the latest event, as JSON, for a report of a crash. One, for good.
  using CommonFieldsKeeper = void (*)(std::string_view json);
  static void setCommonFieldsKeeper(CommonFieldsKeeper keeper) noexcept;

  // Custom fields: cleaning.cpp. The entries that may stay; each other one is warned of and reported.
  static ZVMap validateAndCleanCustomFields(const ZVMap& fields);
  // An error event of the library's own, unless its type has been reported too often.
  static void addErrorEvent(const std::string& type, ZVErrorSeverity severity, ZVText message);

  // The session's life: lifecycle.cpp. Pausing and resuming from any thread.
  static void startNewSession();
  static void pauseSDKAndEndSession();
  static void resumeSDKAndStartSession();

  // What a session records: sessions.cpp.
  static void addSessionStartEvent();
  static void addSessionEndEvent();
  static void fixMissingSessionEndEvents();

  // The event queue: queue.cpp.
  static void startEventQueue();
  static void stopEventQueue();
  static bool isEventQueueTimerArmed();
  static void startEventQueueUnlessPaused();  // paused: it is started with the next session
  static void restartEventQueueIfStopped();   // by the end of a session
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

  double queueTimerWaitSeconds = periodOfQueue();  // the platform's choice, 8 by default

 private:
  static double periodOfQueue();

  const std::uint64_t backgroundObserver_;
  const std::uint64_t foregroundObserver_;
  std::atomic<bool> restartEventQueue_{false};
  std::mutex timerGuard_;
  std::optional<std::uint64_t> eventQueueTimer_;  // guarded by timerGuard_
};

}  // namespace zorvane
