// Zorvane: analytics for games. Everything a game calls is a static member of this class.
//
// Thread:   any. A call copies its arguments, posts them to the library's work queue and returns at once; calls of one
//           thread take effect in the order in which they were made. Where an operation differs it says so.
// Errors:   nothing is thrown and nothing is returned. A refused argument is a log line (standard error and
//           k_ZV_LoggerMessageNotification), and most refused events are reported to the collector as well.
// Lifetime: usable from the first static constructor to the last static destructor. In a forked child every call does
//           nothing.
//
// Text is UTF-8; its length is counted in UTF-16 code units. Absent text (null) and "" differ only where said.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <zorvane/ZVExport.h>
#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/ZVPlatform.h>
#include <zorvane/ZVRemoteConfigsDelegate.h>
#include <zorvane/ZVTypes.h>
#include <zorvane/ZVVersion.h>

class ZORVANE_API Zorvane {
 public:
  using TextList = std::optional<std::vector<std::string>>;

  static Zorvane& sharedInstance() noexcept;  // no operation needs it

  // ---- Configuration: before initialisation. Once the library is ready these are refused.

  // The game's own build, "1.4.2": 1 to 32 characters.
  static void configureBuild(ZVText build) noexcept;
  // The player's id in the game's own terms, instead of a device identifier: 1 to 64 characters.
  static void configureUserId(ZVText userId) noexcept;
  // For engine wrappers: "unity 5.6.1". A known engine word, a space, at most three numbers.
  static void configureSdkVersion(ZVText wrapperVersion) noexcept;
  static void configureEngineVersion(ZVText engineVersion) noexcept;
  // Takes the build from the application's version at each session start.
  static void configureAutoDetectAppVersion(bool enabled) noexcept;
  // The values that each custom dimension may take: 1 to 20 values of 1 to 32 characters.
  static void configureAvailableCustomDimensions01(TextList values) noexcept;
  static void configureAvailableCustomDimensions02(TextList values) noexcept;
  static void configureAvailableCustomDimensions03(TextList values) noexcept;
  // 1 to 20 currencies of 1 to 64 letters, and 1 to 20 item types of 1 to 32 characters of [A-Za-z0-9 -_.()!?].
  static void configureAvailableResourceCurrencies(TextList currencies) noexcept;
  static void configureAvailableResourceItemTypes(TextList itemTypes) noexcept;
  // Stores the keys for initializeWithConfiguredGameKeyAndGameSecret(): 32 and 40 letters and digits.
  static void configureGameKey(ZVText gameKey, ZVText gameSecret) noexcept;

  // ---- Initialisation: once. Restores what earlier runs stored, starts a session and the event queue.

  static void initializeWithGameKey(ZVText gameKey, ZVText gameSecret) noexcept;
  static void initializeWithConfiguredGameKeyAndGameSecret() noexcept;

  // ---- Switches: at any time.

  static void setEnabledInfoLog(bool enabled) noexcept;     // off by default
  static void setEnabledVerboseLog(bool enabled) noexcept;  // off by default; prints every event as JSON
  static void setEnabledWarningLog(bool enabled) noexcept;  // on by default
  static void setEnableDebugLog(bool enabled) noexcept;     // off by default; takes effect at once
  // The game starts and ends sessions by startSession() and endSession().
  static void setEnabledManualSessionHandling(bool enabled) noexcept;
  static void setEnabledErrorReporting(bool enabled) noexcept;
  // Off: events are dropped instead of being stored, and nothing is sent but the init call, without a user id.
  static void setEnabledEventSubmission(bool enabled) noexcept;
  // Moves events, not the init call, to another collector: "https://host/v2". Not checked; takes effect at once.
  static void setBaseUrl(ZVText baseUrl) noexcept;

  // ---- Design events: whatever the game wants to count or measure.
  // `eventId`: 1 to 5 parts, joined by ":", each 1 to 64 characters of [A-Za-z0-9 -_.()!?].
  // `value`: any finite number; absent counts as 0.
  // `customFields`: up to 50 entries; keys of 1 to 64 characters of [A-Za-z0-9_], values numbers, booleans or text of
  // 1 to 256 characters. Empty: the global custom fields are used instead.
  // `mergeFields`: the global custom fields are added to `customFields`, whose values win.

  static void addDesignEventWithEventId(ZVText eventId) noexcept;
  static void addDesignEventWithEventId(ZVText eventId, ZVMap customFields, bool mergeFields = false) noexcept;
  static void addDesignEventWithEventId(ZVText eventId, std::optional<double> value) noexcept;
  static void addDesignEventWithEventId(ZVText eventId, std::optional<double> value, ZVMap customFields,
                                        bool mergeFields = false) noexcept;

  // ---- Sessions by hand, with manual session handling on. A start ends a session that is open.

  static void startSession() noexcept;
  static void endSession() noexcept;

  // ---- What is added to every event.

  // A value of the configured list; absent or "" clears the dimension. Remembered across runs.
  static void setCustomDimension01(ZVText value) noexcept;
  static void setCustomDimension02(ZVText value) noexcept;
  static void setCustomDimension03(ZVText value) noexcept;
  // Replaces the global custom fields; an empty map clears them. Not remembered across runs.
  static void setGlobalCustomEventFields(ZVMap fields) noexcept;

  // ---- What the collector sent at the session's start. Answered at once, on the caller's thread.

  static std::optional<std::string> getRemoteConfigsValueAsString(ZVText key) noexcept;
  static std::optional<std::string> getRemoteConfigsValueAsString(ZVText key, ZVText defaultValue) noexcept;
  static bool isRemoteConfigsReady() noexcept;
  static void setRemoteConfigsDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate) noexcept;
  static std::string getRemoteConfigsContentAsString() noexcept;       // all of them, to be shown, not parsed
  static std::optional<std::string> getABTestingId() noexcept;         // absent before initialisation
  static std::optional<std::string> getABTestingVariantId() noexcept;  // absent before initialisation
};
