#include "codecs/patterns.h"
#include "runtime/ZVLogger.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"

namespace zorvane {

namespace {

using TextList = ZVValidator::TextList;

constexpr std::size_t kShortLength = 32;
constexpr std::size_t kUsualLength = 64;
constexpr std::size_t kMediumLength = 256;
constexpr std::size_t kLongLength = 8192;
constexpr std::size_t kMaxListedValues = 20;
constexpr double kMaxClientTs = 99999999999.0;

// "A-z" takes in the six characters between the two cases; keys that hold them are in use.
constexpr std::string_view kGameKeyPattern = "^[A-z0-9]{32}$";
constexpr std::string_view kGameSecretPattern = "^[A-z0-9]{40}$";
constexpr std::string_view kAppVersionPattern = "^([0-9a-zA-Z._ -]{1,64})$";
constexpr std::string_view kResourceCurrencyPattern = "^[A-Za-z]+$";
constexpr std::string_view kWrapperVersionPattern =
    "^(unity|unreal|corona|marmalade|cocos2d|xamarin|lumberyard|air|gamemaker|defold|nativescript|cordova|construct|"
    "stencyl|godot) [0-9]{0,5}(\\.[0-9]{0,5}){0,2}$";
constexpr std::string_view kEngineVersionPattern =  // "air" wraps the library without being an engine
    "^(unity|unreal|corona|marmalade|cocos2d|xamarin|lumberyard|gamemaker|defold|nativescript|cordova|construct|"
    "stencyl|godot) [0-9]{0,5}(\\.[0-9]{0,5}){0,2}$";

bool matches(ZVText text, std::string_view pattern) { return matchesPattern(text, pattern); }

bool isAtMost(std::string_view text, std::size_t maxLength) {
  constexpr std::size_t kMaxBytesPerUnit = 3;  // so a text of megabytes needs no counting
  if (text.size() > kMaxBytesPerUnit * maxLength) return false;
  const auto length = utf16Length(text);
  return length && *length <= maxLength;
}

bool isOfTier(ZVText text, std::size_t maxLength, bool canBeEmpty) {
  return text.empty() ? canBeEmpty : isAtMost(text.view(), maxLength);
}

// Logs why the element is refused.
bool isListable(const std::string& element, std::size_t maxLength, std::string_view tag) {
  if (!isValidUtf8(element)) {
    ZVLogger::w(0, "{} validation failed: was either not a string or null", tag);
    return false;
  }
  if (element.empty()) {
    ZVLogger::w(0, "{} validation failed: contained an empty string.", tag);
    return false;
  }
  if (maxLength != 0 && !isAtMost(element, maxLength)) {
    ZVLogger::w(0, "{} validation failed: a string exceeded max allowed length (which is: {}). String was: {}.", tag,
                maxLength, element);
    return false;
  }
  return true;
}

}  // namespace

bool ZVValidator::validateShortString(ZVText text, bool canBeEmpty) { return isOfTier(text, kShortLength, canBeEmpty); }
bool ZVValidator::validateString(ZVText text, bool canBeEmpty) { return isOfTier(text, kUsualLength, canBeEmpty); }
bool ZVValidator::validateMediumString(ZVText text, bool canBeEmpty) {
  return isOfTier(text, kMediumLength, canBeEmpty);
}
bool ZVValidator::validateLongString(ZVText text, bool canBeEmpty) { return isOfTier(text, kLongLength, canBeEmpty); }
bool ZVValidator::validateEventPartLength(ZVText text, bool allowNull) {
  return isOfTier(text, kUsualLength, allowNull);
}

bool ZVValidator::validateKeysWithGameKey(ZVText gameKey, ZVText gameSecret) {
  return matches(gameKey, kGameKeyPattern) && matches(gameSecret, kGameSecretPattern);
}

bool ZVValidator::validateBuild(ZVText build) { return validateShortString(build); }
bool ZVValidator::validateCustomUserId(ZVText userId) { return validateString(userId); }
bool ZVValidator::validateSdkWrapperVersion(ZVText version) { return matches(version, kWrapperVersionPattern); }
bool ZVValidator::validateEngineVersion(ZVText version) { return matches(version, kEngineVersionPattern); }
bool ZVValidator::validateBundleIdentifier(ZVText identifier) { return validateMediumString(identifier); }
bool ZVValidator::validateAppVersion(ZVText version) { return matches(version, kAppVersionPattern); }
bool ZVValidator::validateAppBuild(ZVText build) { return matches(build, kAppVersionPattern); }

bool ZVValidator::validateClientTs(double clientTs) { return !(clientTs <= 0) && !(clientTs > kMaxClientTs); }

bool ZVValidator::validateCustomDimensionsWithCustomDimensions(const TextList& customDimensions) {
  return validateArrayOfStringsWithArray(customDimensions, kMaxListedValues, kShortLength, false, "custom dimensions");
}

bool ZVValidator::validateResourceCurrenciesWithResourceCurrencies(const TextList& currencies) {
  if (!validateArrayOfStringsWithArray(currencies, kMaxListedValues, kUsualLength, false, "resource currencies"))
    return false;
  for (const std::string& currency : *currencies) {
    if (matches(currency, kResourceCurrencyPattern)) continue;
    ZVLogger::w(0, "resource currencies validation failed: a resource currency can only be A-Z, a-z. String was: {}.",
                currency);
    return false;
  }
  return true;
}

bool ZVValidator::validateResourceItemTypesWithResourceItemTypes(const TextList& itemTypes) {
  if (!validateArrayOfStringsWithArray(itemTypes, kMaxListedValues, kShortLength, false, "resource item types"))
    return false;
  for (const std::string& itemType : *itemTypes) {
    if (validateEventPartCharacters(itemType)) continue;
    ZVLogger::w(0,
                "resource item types validation failed: a resource item type cannot contain other characters than A-z, "
                "0-9, -_.,:()!?. String was: {}.",
                itemType);
    return false;
  }
  return true;
}

bool ZVValidator::validateArrayOfStringsWithArray(const TextList& array, std::size_t maxCount,
                                                  std::size_t maxStringLength, bool allowNoValues, ZVText tag) {
  const std::string_view name = tag.empty() ? "Array" : tag.view();
  if (!array) {
    ZVLogger::w(0, "{} validation failed: array cannot be (null).", name);
    return false;
  }
  if (!allowNoValues && array->empty()) {
    ZVLogger::w(0, "{} validation failed: array cannot be empty.", name);
    return false;
  }
  if (maxCount != 0 && array->size() > maxCount) {
    ZVLogger::w(0, "{} validation failed: array cannot exceed {} values. It has {} values.", name, maxCount,
                array->size());
    return false;
  }
  for (const std::string& element : *array)
    if (!isListable(element, maxStringLength, name)) return false;
  return true;
}

}  // namespace zorvane
