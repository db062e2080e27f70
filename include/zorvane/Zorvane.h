/// @file
/// Zorvane: analytics for games. Every operation is a static member of the class Zorvane.
///
/// - Thread: any. A call copies its arguments, posts them to the library's work queue and returns at once; calls of one
///   thread take effect in the order in which they were made. Where an operation differs it says so.
/// - Errors: nothing is returned, and nothing is thrown except by Zorvane::adTypeToString(). A refused argument is
///   a log line (standard error and k_ZV_LoggerMessageNotification), and most refused events are reported to the
///   collector as well.
/// - Lifetime: usable from the first static constructor to the last static destructor. In a forked child every
///   call does nothing.
///
/// Text is UTF-8; its length is counted in UTF-16 code units. Absent text (null) and "" differ only where said.
#pragma once

#include <cstdint>
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

/// The facade of the library. Threads, errors and lifetime: Zorvane.h.
class ZORVANE_API Zorvane {
 public:
  /// The one instance. No operation needs it: all are static.
  static Zorvane& sharedInstance() noexcept;
  Zorvane(const Zorvane&) = delete;
  Zorvane& operator=(const Zorvane&) = delete;

  /// @name Configuration
  /// Before initialisation. Once the library is ready these are refused. A value that breaks its rule changes
  /// nothing, with a line in the log.
  /// @{

  /// The game's own build, "1.4.2": 1 to 32 characters.
  static void configureBuild(ZVText build) noexcept;
  /// The player's id in the game's own terms, instead of a device identifier or a random one: 1 to 64 characters.
  static void configureUserId(ZVText userId) noexcept;
  /// For engine wrappers: "unity 5.6.1". One of unity, unreal, corona, marmalade, cocos2d, xamarin, lumberyard, air,
  /// gamemaker, defold, nativescript, cordova, construct, stencyl and godot, a space, one to three numbers of up to
  /// five digits. "air" is no engine. Too late is ignored silently.
  static void configureSdkVersion(ZVText wrapperVersion) noexcept;
  /// For games in an engine: its name and version, by the rule above. Too late is ignored silently.
  static void configureEngineVersion(ZVText engineVersion) noexcept;
  /// Takes the build from the application's version (ZVApplicationFacts::version) at each session start. Too late is
  /// ignored silently.
  static void configureAutoDetectAppVersion(ZVFlag enabled) noexcept;
  /// The values that each custom dimension may take: 1 to 20 values of 1 to 32 characters.
  static void configureAvailableCustomDimensions01(ZVTextList values) noexcept;
  /// The same for the second dimension.
  static void configureAvailableCustomDimensions02(ZVTextList values) noexcept;
  /// The same for the third dimension.
  static void configureAvailableCustomDimensions03(ZVTextList values) noexcept;
  /// The game's own currencies: 1 to 20 of 1 to 64 letters.
  static void configureAvailableResourceCurrencies(ZVTextList currencies) noexcept;
  /// What is bought with them or earned: 1 to 20 item types of 1 to 32 characters of [A-Za-z0-9 -_.()!?].
  static void configureAvailableResourceItemTypes(ZVTextList itemTypes) noexcept;
  /// Stores the keys for initializeWithConfiguredGameKeyAndGameSecret(): 32 and 40 letters and digits.
  static void configureGameKey(ZVText gameKey, ZVText gameSecret) noexcept;
  /// @}

  /// @name Initialisation
  /// Once. Restores what earlier runs stored, starts a session and the event queue.
  /// @{

  /// With the keys of the game. `gameKey`: 32 letters and digits, `gameSecret`: 40. Others are refused with a warning,
  /// and nothing starts. The crash handlers are installed in any case, unless a switch keeps them away:
  /// setZVUncaughtExceptionHandlers(). A crash that an earlier run couldn't report is reported now.
  static void initializeWithGameKey(ZVText gameKey, ZVText gameSecret) noexcept;
  /// The same with the keys of configureGameKey(); without them, a warning and nothing starts.
  static void initializeWithConfiguredGameKeyAndGameSecret() noexcept;
  /// @}

  /// @name Switches
  /// At any time.
  /// @{

  static void setEnabledInfoLog(ZVFlag enabled) noexcept;     ///< off by default
  static void setEnabledVerboseLog(ZVFlag enabled) noexcept;  ///< off by default; prints every event as JSON
  static void setEnabledWarningLog(ZVFlag enabled) noexcept;  ///< on by default
  static void setEnableDebugLog(ZVFlag enabled) noexcept;     ///< off by default; takes effect at once
  /// The game starts and ends sessions itself, by startSession() and endSession(); off by default. They read the
  /// switch on the caller's thread, but it is set on the work queue: right after this call they may still find it off.
  static void setEnabledManualSessionHandling(ZVFlag enabled) noexcept;
  /// Crashes are reported; on by default. Off before initialisation: no crash handlers are installed. Off later: they
  /// stay and report nothing; a fault still ends the process as it would without them, but one of their signals that a
  /// process sends has no effect.
  static void setEnabledErrorReporting(ZVFlag enabled) noexcept;
  /// Events are stored and sent; on by default. Off: events are dropped instead of being stored, and nothing is sent
  /// but the init call, without a user id. What waits on disk stays there.
  static void setEnabledEventSubmission(ZVFlag enabled) noexcept;
  /// Moves events, not the init call, to another collector: "https://host/v2". Not checked; takes effect at once.
  static void setBaseUrl(ZVText baseUrl) noexcept;
  /// @}

  /// @name Events
  /// After initialisation, in an open session. Before and in between they are dropped with a warning.
  /// `customFields`: up to 50 entries; keys of 1 to 64 characters of [A-Za-z0-9_], values numbers, booleans or text of
  /// 1 to 256 characters. An entry that breaks a rule is left out, with a warning and an error event. Empty: the global
  /// custom fields are used instead.
  /// `mergeFields`: the global custom fields are added to `customFields`, whose values win.
  /// A part is 1 to 64 characters of [A-Za-z0-9 -_.()!?].
  /// @{

  /// Purchases with real money. `currency`: three capitals, "USD". `amount`: 0 or more, in the currency's smallest
  /// unit. `itemType`, `itemId`: a part each. `cartType`: where the purchase began, up to 32 characters or absent.
  /// `receipt`: the store's receipt as base64; absent: none. `autoFetchReceipt`, `getReceiptAutomatically`: it is read
  /// from the file that the platform names (ZVApplicationFacts::receiptPath), on the caller's thread; an event whose
  /// receipt can't be read is dropped.
  static void addBusinessEventWithCurrency(ZVText currency, ZVInteger amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVFlag autoFetchReceipt, ZVMap customFields = {},
                                           ZVFlag mergeFields = false) noexcept;
  /// The same with a receipt that the game has.
  static void addBusinessEventWithCurrency(ZVText currency, ZVInteger amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVText receipt, ZVMap customFields = {},
                                           ZVFlag mergeFields = false) noexcept;
  /// The same with both: `receipt` counts unless `getReceiptAutomatically` is set.
  static void addBusinessEventWithCurrency(ZVText currency, ZVInteger amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVText receipt, ZVFlag getReceiptAutomatically,
                                           ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;

  /// What the player gains and spends of the game's own currencies. `currency` and `itemType`: of the configured lists.
  /// `amount`: above 0, whichever way it flows. `itemId`: a part.
  static void addResourceEventWithFlowType(ZVResourceFlowType flowType, ZVText currency, ZVNumber amount,
                                           ZVText itemType, ZVText itemId, ZVMap customFields = {},
                                           ZVFlag mergeFields = false) noexcept;

  /// Levels and the like. `progression01` to `progression03`: a part each; the third, or the second and the third, may
  /// be absent. A complete carries the number of tries since the last one. `score`: not kept with a start.
  static void addProgressionEventWithProgressionStatus(ZVProgressionStatus status, ZVText progression01,
                                                       ZVText progression02, ZVText progression03,
                                                       ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;
  /// The same with a score.
  static void addProgressionEventWithProgressionStatus(ZVProgressionStatus status, ZVText progression01,
                                                       ZVText progression02, ZVText progression03, ZVInteger score,
                                                       ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;

  /// Anything that the game counts or measures. `eventId`: 1 to 5 parts, joined by ":".
  /// `value`: any finite number; absent counts as 0.
  static void addDesignEventWithEventId(ZVText eventId) noexcept;
  /// The same with custom fields.
  static void addDesignEventWithEventId(ZVText eventId, ZVMap customFields, ZVFlag mergeFields = false) noexcept;
  /// The same with a value.
  static void addDesignEventWithEventId(ZVText eventId, ZVNumber value, ZVMap customFields = {},
                                        ZVFlag mergeFields = false) noexcept;

  /// The game's own errors. `message`: up to 8192 characters.
  static void addErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message, ZVMap customFields = {},
                                        ZVFlag mergeFields = false) noexcept;

  /// Ads. `adSdkName`: 1 to 32 characters. `adPlacement`: 1 to 64. `duration`: milliseconds, kept with videos and
  /// rewarded videos. `noAdReason`: kept with a failed show.
  static void addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVInteger duration, ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;
  /// The same with the reason of a failed show.
  static void addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVAdReason noAdReason, ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;
  /// The same without either.
  static void addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;

  /// Data of an ad network about an ad that was shown. `adNetworkName`: one of those of the shortcuts below, in lower
  /// case. `adNetworkVersion`: up to four numbers, joined by ".". `impressionData`: at least one entry.
  static void addImpressionEventWithAdNetworkName(ZVText adNetworkName, ZVText adNetworkVersion, ZVMap impressionData,
                                                  ZVMap customFields = {}, ZVFlag mergeFields = false) noexcept;
  /// The network "mopub".
  static void addImpressionMopubEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                          ZVMap customFields = {}) noexcept;
  /// The network "fyber".
  static void addImpressionFyberEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                          ZVMap customFields = {}) noexcept;
  /// The network "ironsource".
  static void addImpressionIronSourceEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                               ZVMap customFields = {}) noexcept;
  /// The network "topon".
  static void addImpressionTopOnEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                          ZVMap customFields = {}) noexcept;
  /// The network "hyperbid".
  static void addImpressionHyperBidEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                             ZVMap customFields = {}) noexcept;
  /// The network "max".
  static void addImpressionMaxEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                        ZVMap customFields = {}) noexcept;
  /// The network "aequus".
  static void addImpressionAequusEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                           ZVMap customFields = {}) noexcept;
  /// The network "admob".
  static void addImpressionAdMobEventWithAdNetworkVersion(ZVText adNetworkVersion, ZVMap impressionData,
                                                          ZVMap customFields = {}) noexcept;

  /// "VIDEO", "REWARDED_VIDEO" and so on. The one operation that throws: std::runtime_error for a value outside the
  /// list.
  static std::string adTypeToString(ZVAdType adType);
  /// @}

  /// @name Sending
  /// By itself, the library sends what waits every ZVPlatform::eventQueueSeconds.
  /// @{

  /// Sends what waits now, up to about 500 events: for a game that is about to end. Refused with a warning where no
  /// session is open or event submission is switched off.
  static void flush() noexcept;
  /// @}

  /// @name Sessions by hand, with manual session handling on
  /// Without it they are refused with a warning.
  /// @{

  /// Ends the session that is open, if one is, and starts another. That takes until the collector has answered the init
  /// call, or failed to; k_ZV_SessionDidStartNotification is posted then. Events that are reported meanwhile belong
  /// to the new session, but endSession() right after this call is refused, which leaves the session open:
  /// wait for the notification.
  static void startSession() noexcept;
  /// Ends the session and sends what waits. Events are dropped until the next session begins. Refused with a warning
  /// where no session is open, and while a session's start is under way.
  static void endSession() noexcept;
  /// @}

  /// @name What is added to every event
  /// At any time.
  /// @{

  /// A value of the configured list, others are refused with a warning; absent or "" clears the dimension. Remembered
  /// across runs.
  static void setCustomDimension01(ZVText value) noexcept;
  /// The same for the second dimension.
  static void setCustomDimension02(ZVText value) noexcept;
  /// The same for the third dimension.
  static void setCustomDimension03(ZVText value) noexcept;
  /// Replaces the global custom fields; an empty map clears them. Not remembered across runs.
  static void setGlobalCustomEventFields(ZVMap fields) noexcept;
  /// @}

  /// @name What the collector sent at the session's start
  /// Answered at once, on the caller's thread.
  /// @{

  /// The value of `key` as text: a number in decimal, a boolean as 1 or 0. Where there is none, a warning and
  /// `defaultValue`, or nothing.
  static std::optional<std::string> getRemoteConfigsValueAsString(ZVText key) noexcept;
  /// The same with a default value, which may be absent.
  static std::optional<std::string> getRemoteConfigsValueAsString(ZVText key, ZVText defaultValue) noexcept;
  /// True once a session's start has settled them, also where the collector gave no answer and there are none.
  static bool isRemoteConfigsReady() noexcept;
  /// Sets the delegate that is notified when some have arrived; it replaces the former one. To be set before
  /// initialisation.
  static void setRemoteConfigsDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate) noexcept;

  static std::string getRemoteConfigsContentAsString() noexcept;       ///< all of them, for display, not for parsing
  static std::optional<std::string> getABTestingId() noexcept;         ///< absent before initialisation
  static std::optional<std::string> getABTestingVariantId() noexcept;  ///< absent before initialisation
  /// @}

  /// @name Named timers
  /// How long something took, by the wall clock, to be reported as a duration.
  /// Run at once, on the caller's thread; use them from one thread at a time. A key that has no timer is a warning.
  /// @{

  static void startTimer(ZVText key) noexcept;   ///< makes the timer, at 0 and paused; it runs from resumeTimer() on
  static void pauseTimer(ZVText key) noexcept;   ///< stops counting and keeps what was counted
  static void resumeTimer(ZVText key) noexcept;  ///< counts on
  /// Pauses it and returns the milliseconds counted so far; 0 when there is no such timer.
  static std::int64_t stopTimer(ZVText key) noexcept;
  /// @}

 private:
  constexpr Zorvane() noexcept = default;
};
