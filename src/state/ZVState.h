// ZVState is the one record of what the library knows at run time: configuration, identity, counters, the session,
// remote configurations.
//
// Thread:   the work queue, but for what is atomic, what a guard names, and the operations that say so.
// Lifetime: one instance, made when the facade is first used, kept for the life of the process.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVRemoteConfigsDelegate.h>
#include <zorvane/ZVTypes.h>

namespace zorvane {

class ZVState {
 public:
  using TextList = ZVTextList;

  ZVState();
  ~ZVState();
  ZVState(const ZVState&) = delete;
  ZVState& operator=(const ZVState&) = delete;

  static ZVState& sharedInstance();
  static std::unique_ptr<ZVState> setSharedInstance(std::unique_ptr<ZVState> instance);

  // Settings and queries: settings.cpp.
  static void setSdkWrapperVersion(ZVText version);
  static void setEngineVersion(ZVText version);
  static void setManualSessionHandling(bool enabled);
  static void setEnableErrorReporting(bool enabled);
  static void setEnableEventSubmission(bool enabled);
  static void setSDKPausedFlag(bool paused);
  static void setInitialized();
  static void setBuild(ZVText build);
  static void setCustomUserId(ZVText userId);
  static void setAutoDetectAppVersion(bool enabled);
  static void setKeysWithGameKey(ZVText gameKey, ZVText gameSecret);
  static std::string getGameKey();
  static std::string getGameSecret();
  static std::string getBuild();
  static std::string getIdfa();
  static std::string getIdfv();
  static std::int64_t getSessionNum();
  static std::int64_t getTransactionNum();
  static std::optional<std::string> getEngineVersion();
  static const ZVMap& getSdkConfig();
  static std::string getSdkVersion();
  static bool isEnabled();
  static bool isInitialized();
  static bool isTVos();
  static bool isManualSessionHandling();
  static bool isSDKPaused();
  static bool isAutoDetectAppVersionEnabled();
  static bool hasConnection();
  static void incrementSessionNum();
  static void incrementTransactionNum();

  // Who the player is: identity.cpp.
  static std::string getUserId();
  static void generateRandomUserIdIfNeeded();
  static void cacheIdfaAndIdfv();
  static std::optional<std::string> getLastUsedIdentifier();
  static void updateLastUsedIdentifier(ZVText identifier);

  // What earlier runs left: persisted_state.cpp.
  static bool ensurePersistedStates();  // false, and nothing is adopted, when it can't be read

  // The common fields of what is sent: annotations.cpp.
  static ZVMap getEventAnnotations();
  static ZVMap getSdkErrorEventAnnotations();
  static ZVMap getInitAnnotations();
  static double getClientTsAdjustedWithServertimeOffset();  // whole seconds since 1970 on the server's clock
  static std::int32_t calculateServerTimeOffset(double serverTimestamp);

  // The session's life: session.cpp. Pausing and resuming from any thread.
  static void startNewSession();
  static void pauseSDKAndEndSession();
  static void resumeSDKAndStartSession();
  static std::optional<ZVMap> getItunesInformation();

  // What the game declared, and what it adds to its events: dimensions.cpp, custom_fields.cpp.
  static void setAvailableCustomDimensions01(const TextList& values);
  static void setAvailableCustomDimensions02(const TextList& values);
  static void setAvailableCustomDimensions03(const TextList& values);
  static void setAvailableResourceCurrencies(const TextList& currencies);
  static void setAvailableResourceItemTypes(const TextList& itemTypes);
  static void setCustomDimension01(ZVText value);
  static void setCustomDimension02(ZVText value);
  static void setCustomDimension03(ZVText value);
  static std::optional<std::string> getDimension01();
  static std::optional<std::string> getDimension02();
  static std::optional<std::string> getDimension03();
  static bool hasAvailableCustomDimensions01(ZVText value);
  static bool hasAvailableCustomDimensions02(ZVText value);
  static bool hasAvailableCustomDimensions03(ZVText value);
  static bool hasAvailableResourceCurrency(ZVText currency);
  static bool hasAvailableResourceItemType(ZVText itemType);
  static void validateAndFixCurrentDimensions();
  static void setGlobalCustomEventFields(const ZVMap& fields);
  static const ZVMap& getGlobalCustomEventFields();
  static ZVMap validateAndCleanCustomFields(const ZVMap& fields);

  // How often each progression was tried: progression_tries.cpp.
  static void incrementProgressionTries(const std::string& progressionId);
  static std::int64_t getProgressionTries(const std::string& progressionId);
  static void clearProgressionTries(const std::string& progressionId);

  // Remote configurations and A/B ids: remote_configs.cpp. The getters from any thread.
  static void adoptConfigIds(const ZVMap& sdkConfig);  // its hash and A/B ids; populating adopts the values
  static void populateConfigurations(const ZVMap& sdkConfig);
  static std::optional<std::string> getConfigurationStringValue(ZVText key, ZVText defaultValue);
  static std::string getConfigurationsContentAsString();
  static bool isRemoteConfigsReady();
  static void setRemoteConfigsDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate);
  static std::optional<std::string> getABTestingId();
  static std::optional<std::string> getABTestingVariantId();

  // How often the library may report each kind of its own errors: error_limit.cpp.
  static int getSdkErrorEventCountForType(const std::string& type);
  static void incrementSdkErrorEventCount(const std::string& type);
  static void resetSdkErrorEventCountForType(const std::string& type);
  static double getSdkErrorEventTimestampForType(const std::string& type);
  static void resetSdkErrorEventTimestampForType(const std::string& type);
  static bool isSdkErrorEventTypeAllowed(const std::string& type);
  static void addErrorEvent(const std::string& type, ZVErrorSeverity severity, ZVText message);

  // Flags that the main loop and the game's threads touch as well.
  std::atomic<bool> restartEventQueue{false};
  std::atomic<bool> remoteConfigsIsReady{false};
  std::atomic<bool> initAuthorized{false};
  std::atomic<bool> manualSessionHandling{false};
  std::atomic<bool> useErrorReporting{true};
  std::atomic<bool> eventSubmissionEnabled{true};
  std::atomic<bool> isHandlingUncaughtException{false};
  std::atomic<bool> sdkPaused{true};
  std::atomic<bool> initialized{false};

  // Paused as the work queue has it: it follows `sdkPaused` in the order of the game's calls, so what was reported
  // before a pause is still taken.
  bool pausedOnQueue = true;
  bool autoDetectAppVersion = false;
  bool newInstall = false;
  bool useIdfv = false;
  bool tvOs = false;

  std::optional<ZVMap> sdkConfig;        // of this process's session
  std::optional<ZVMap> sdkConfigCached;  // of an earlier init answer
  ZVMap sdkConfigDefault;

  // The configurations' lock covers what the game reads on its own threads. It is recursive because the delegate,
  // which is told while it is held, reads configurations.
  std::recursive_mutex configurationsGuard;
  std::optional<ZVMap> configurations;  // guarded by configurationsGuard
  // What the game asks or sets on its own threads beside: never held while anything of the game's runs.
  std::mutex answersGuard;
  std::weak_ptr<ZVRemoteConfigsDelegate> delegate;  // guarded by answersGuard
  std::optional<std::string> abId;                  // guarded by answersGuard
  std::optional<std::string> abVariantId;           // guarded by answersGuard
  std::optional<std::string> configsHash;

  std::array<TextList, 3> availableCustomDimensions;                  // of dimensions 01 to 03
  std::array<std::optional<std::string>, 3> currentCustomDimensions;  // of dimensions 01 to 03
  ZVMap currentGlobalCustomEventFields;
  TextList availableResourceCurrencies;
  TextList availableResourceItemTypes;

  std::optional<std::string> build;
  std::optional<std::string> sdkWrapperVersion;
  std::optional<std::string> engineVersion;
  std::optional<std::string> idfa;
  std::optional<std::string> idfv;
  std::optional<std::string> customUserId;
  std::optional<std::string> randomUserId;
  std::optional<std::string> sessionId;
  std::optional<std::string> sessionStart;  // whole seconds, as decimal text
  std::map<std::string, std::int64_t> progressionTries;
  std::optional<std::int64_t> sessionNum;
  std::optional<std::int64_t> transactionNum;
  std::optional<std::string> gameKey;
  std::optional<std::string> gameSecret;
  std::map<std::string, int> sdkErrorEventCounts;
  std::optional<std::map<std::string, double>> sdkErrorEventTimestamps;  // never made: see error_limit.cpp
  std::optional<std::int32_t> clientServerTimeOffset;                    // seconds

 private:
  void setupSleepObserve();
  void headingToBackground();
  void headingToForeground();
  void pause();
  void resume();
  void addSessionEndEventAndSendInLongBackgroundThread();

  std::uint64_t backgroundObserver_ = 0;
  std::uint64_t foregroundObserver_ = 0;
};

}  // namespace zorvane
