#include <zorvane/Zorvane.h>

#include <utility>

#include "api/frame.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"

using namespace zorvane;

namespace {

// Configuration is refused only once the library is ready in every respect: one that was initialised but is disabled
// or paused still takes it.
bool isTooLate() { return isSdkReadyWithNeedsInitialized(true, false); }

// One text that the game configures. The line of a refused value ends with the value; it shows at info level only.
struct TextSetting {
  const char* tooLate;  // null: ignored silently
  bool (*isValid)(ZVText);
  void (*set)(ZVText);
  const char* invalid;
};
constexpr TextSetting kBuild{"Build version must be set before SDK is initialized.", ZVValidator::validateBuild,
                             ZVState::setBuild,
                             "Validation fail - configure build: Cannot be null, empty or above 32 length. String: "};
constexpr TextSetting kUserId{
    "A custom userid must be set before SDK is initialized.", ZVValidator::validateCustomUserId,
    ZVState::setCustomUserId,
    "Validation fail - configure user_id: Cannot be null, empty or above 64 length. Will use default user_id method. "
    "Used string: "};
constexpr TextSetting kSdkVersion{nullptr, ZVValidator::validateSdkWrapperVersion, ZVState::setSdkWrapperVersion,
                                  "Validation fail - configure sdk version: Sdk version not supported. String: "};
constexpr TextSetting kEngineVersion{nullptr, ZVValidator::validateEngineVersion, ZVState::setEngineVersion,
                                     "Validation fail - configure engine: Engine version not supported. String: "};

void configureText(ZVText value, const TextSetting& setting) noexcept {
  post([&] {
    return [value = value.copy(), &setting] {
      if (!isTooLate()) {
        if (setting.isValid(value)) setting.set(value);
        else ZVLogger::i(0, "{}{}", setting.invalid, ZVText(value));
      } else if (setting.tooLate != nullptr) {
        ZVLogger::w(0, "{}", setting.tooLate);
      }
    };
  });
}

using SetList = void (*)(const ZVTextList&);

void configureList(ZVTextList values, SetList set, const char* tooLate) noexcept {
  post([&] {
    return [values = std::move(values), set, tooLate] {
      if (isTooLate()) ZVLogger::w(0, "{}", tooLate);
      else set(values);
    };
  });
}

constexpr const char* kDimensionsTooLate = "Available custom dimensions must be set before SDK is initialized";

}  // namespace

void Zorvane::configureBuild(ZVText build) noexcept { configureText(build, kBuild); }
void Zorvane::configureUserId(ZVText userId) noexcept { configureText(userId, kUserId); }
void Zorvane::configureSdkVersion(ZVText wrapperVersion) noexcept { configureText(wrapperVersion, kSdkVersion); }
void Zorvane::configureEngineVersion(ZVText engineVersion) noexcept { configureText(engineVersion, kEngineVersion); }

void Zorvane::configureAutoDetectAppVersion(ZVFlag enabled) noexcept {
  post([&] {
    return [enabled] {
      if (!isTooLate()) ZVState::setAutoDetectAppVersion(enabled);
    };
  });
}

void Zorvane::configureAvailableCustomDimensions01(ZVTextList values) noexcept {
  configureList(std::move(values), ZVState::setAvailableCustomDimensions01, kDimensionsTooLate);
}
void Zorvane::configureAvailableCustomDimensions02(ZVTextList values) noexcept {
  configureList(std::move(values), ZVState::setAvailableCustomDimensions02, kDimensionsTooLate);
}
void Zorvane::configureAvailableCustomDimensions03(ZVTextList values) noexcept {
  configureList(std::move(values), ZVState::setAvailableCustomDimensions03, kDimensionsTooLate);
}
void Zorvane::configureAvailableResourceCurrencies(ZVTextList currencies) noexcept {
  configureList(std::move(currencies), ZVState::setAvailableResourceCurrencies,
                "Available resource currencies must be set before SDK is initialized");
}
void Zorvane::configureAvailableResourceItemTypes(ZVTextList itemTypes) noexcept {
  configureList(std::move(itemTypes), ZVState::setAvailableResourceItemTypes,
                "Available resource item types must be set before SDK is initialized");
}

void Zorvane::configureGameKey(ZVText gameKey, ZVText gameSecret) noexcept {
  post([&] {
    return [key = gameKey.copy(), secret = gameSecret.copy()] {
      if (isTooLate()) ZVLogger::w(0, "SDK is initialized. Cannot set or change game and secret key.");
      else if (ZVValidator::validateKeysWithGameKey(key, secret)) ZVState::setKeysWithGameKey(key, secret);
      else
        ZVLogger::w(0,
                    "Failed to configure game key and secret key. They are invalid. Can only contain characters A-z "
                    "0-9, gameKey is 32 length, gameSecret is 40 length. Failed keys - gameKey: {}, secretKey: {}",
                    ZVText(key), ZVText(secret));
    };
  });
}
