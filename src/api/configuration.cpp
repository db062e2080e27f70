#include <zorvane/Zorvane.h>

#include <utility>

#include "api/frame.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"

namespace {

// Configuration is refused only once the library is ready in every respect: one that was initialised but is disabled
// or paused still takes it.
bool isTooLate() { return isSdkReadyWithNeedsInitialized(true, false); }

using SetList = void (*)(const Zorvane::TextList&);

void configureList(Zorvane::TextList values, SetList set, const char* tooLate) noexcept {
  post([&] {
    return [values = std::move(values), set, tooLate] {
      if (isTooLate()) ZVLogger::w(0, "{}", tooLate);
      else set(values);
    };
  });
}

constexpr const char* kDimensionsTooLate = "Available custom dimensions must be set before SDK is initialized";

}  // namespace

void Zorvane::configureBuild(ZVText build) noexcept {
  post([&] {
    return [build = build.copy()] {
      if (isTooLate()) ZVLogger::w(0, "Build version must be set before SDK is initialized.");
      else if (ZVValidator::validateBuild(build)) ZVState::setBuild(build);
      else
        ZVLogger::i(0, "Validation fail - configure build: Cannot be null, empty or above 32 length. String: {}",
                    ZVText(build));
    };
  });
}

void Zorvane::configureUserId(ZVText userId) noexcept {
  post([&] {
    return [userId = userId.copy()] {
      if (isTooLate()) ZVLogger::w(0, "A custom userid must be set before SDK is initialized.");
      else if (ZVValidator::validateCustomUserId(userId)) ZVState::setCustomUserId(userId);
      else
        ZVLogger::i(0,
                    "Validation fail - configure user_id: Cannot be null, empty or above 64 length. Will use default "
                    "user_id method. Used string: {}",
                    ZVText(userId));
    };
  });
}

void Zorvane::configureSdkVersion(ZVText wrapperVersion) noexcept {
  post([&] {
    return [version = wrapperVersion.copy()] {
      if (isTooLate()) return;
      if (ZVValidator::validateSdkWrapperVersion(version)) ZVState::setSdkWrapperVersion(version);
      else
        ZVLogger::i(0, "Validation fail - configure sdk version: Sdk version not supported. String: {}",
                    ZVText(version));
    };
  });
}

void Zorvane::configureEngineVersion(ZVText engineVersion) noexcept {
  post([&] {
    return [version = engineVersion.copy()] {
      if (isTooLate()) return;
      if (ZVValidator::validateEngineVersion(version)) ZVState::setEngineVersion(version);
      else
        ZVLogger::i(0, "Validation fail - configure engine: Engine version not supported. String: {}", ZVText(version));
    };
  });
}

void Zorvane::configureAutoDetectAppVersion(bool enabled) noexcept {
  post([&] {
    return [enabled] {
      if (!isTooLate()) ZVState::setAutoDetectAppVersion(enabled);
    };
  });
}

void Zorvane::configureAvailableCustomDimensions01(TextList values) noexcept {
  configureList(std::move(values), ZVState::setAvailableCustomDimensions01, kDimensionsTooLate);
}
void Zorvane::configureAvailableCustomDimensions02(TextList values) noexcept {
  configureList(std::move(values), ZVState::setAvailableCustomDimensions02, kDimensionsTooLate);
}
void Zorvane::configureAvailableCustomDimensions03(TextList values) noexcept {
  configureList(std::move(values), ZVState::setAvailableCustomDimensions03, kDimensionsTooLate);
}
void Zorvane::configureAvailableResourceCurrencies(TextList currencies) noexcept {
  configureList(std::move(currencies), ZVState::setAvailableResourceCurrencies,
                "Available resource currencies must be set before SDK is initialized");
}
void Zorvane::configureAvailableResourceItemTypes(TextList itemTypes) noexcept {
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
