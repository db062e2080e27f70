// ZVState is the front of what the library knows at run time: configuration, identity, counters, the session, remote
// configurations. Each is a record in a file of its own.
//
// Thread:   the work queue, but for the operations that say so.
// Lifetime: one instance, made when the facade is first used, kept for the life of the process.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

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

  // Settings and queries: settings.cpp. Whether something is on, initialised or enabled may be asked on any thread.
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
  static bool isManualSessionHandling();
  static bool isErrorReportingEnabled();
  static bool isEventSubmissionEnabled();
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

  // The session: session.cpp.
  static void prepareSession();  // asks the collector for its configuration: enabled or not, and with which values
  static void beginSession();
  static const std::optional<std::string>& sessionId();  // absent before the first one
  static const std::string& sessionStart();              // whole seconds, as decimal text
  static bool takeNewInstall();                          // true once, on an installation's first run
  static bool hasPaused();                               // as the game's calls have it; any thread: Session.h
  static bool pause();                                   // true for one caller; any thread
  static void followPause();
  static std::optional<ZVMap> getItunesInformation();

  // What the game declared, and what it adds to its events: dimensions.cpp.
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
  static bool validateDimension01(ZVText value);  // empty, or one of the values that the game allows
  static bool validateDimension02(ZVText value);
  static bool validateDimension03(ZVText value);
  static const ZVTextList& availableResourceCurrencies();
  static const ZVTextList& availableResourceItemTypes();
  static void setGlobalCustomEventFields(const ZVMap& fields);
  static const ZVMap& getGlobalCustomEventFields();
  // The same, cleaned by `clean` when that was not done since they were set.
  static const ZVMap& cleanedGlobalCustomEventFields(ZVMap (*clean)(const ZVMap& fields));

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

 private:
  struct Records;
  friend Records& state();  // state/Records.h: for the files of this folder

  const std::unique_ptr<Records> records_;
};

}  // namespace zorvane
