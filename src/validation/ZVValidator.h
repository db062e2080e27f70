// ZVValidator: every rule that decides whether a value may enter the library.
//
// Thread: the work queue; the rules keep no state. Most are silent and the caller logs; those that log say so.
// Lengths are UTF-16 code units. Text that is not valid UTF-8 satisfies no rule.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

#include "validation/ValidationResult.h"

namespace zorvane {

class ZVValidator {
 public:
  using TextList = ZVTextList;

  // Length tiers: at most 32, 64, 256, 8192 and 64 code units.
  static bool validateShortString(ZVText text, bool canBeEmpty = false);
  static bool validateString(ZVText text, bool canBeEmpty = false);
  static bool validateMediumString(ZVText text, bool canBeEmpty = false);
  static bool validateLongString(ZVText text, bool canBeEmpty = false);
  static bool validateEventPartLength(ZVText text, bool allowNull);

  static bool validateKeysWithGameKey(ZVText gameKey, ZVText gameSecret);
  static bool validateBuild(ZVText build);
  static bool validateCustomUserId(ZVText userId);
  static bool validateSdkWrapperVersion(ZVText version);
  static bool validateEngineVersion(ZVText version);
  static bool validateBundleIdentifier(ZVText identifier);
  static bool validateAppVersion(ZVText version);
  static bool validateAppBuild(ZVText build);
  static bool validateClientTs(double clientTs);  // seconds since 1970; a NaN passes

  // Lists that the game allows. Each logs why it refuses one.
  static bool validateCustomDimensionsWithCustomDimensions(const TextList& customDimensions);
  static bool validateResourceCurrenciesWithResourceCurrencies(const TextList& currencies);
  static bool validateResourceItemTypesWithResourceItemTypes(const TextList& itemTypes);
  // A maximum of 0 is none.
  static bool validateArrayOfStringsWithArray(const TextList& array, std::size_t maxCount, std::size_t maxStringLength,
                                              bool allowNoValues, ZVText tag);

  static bool validateEventPartCharacters(ZVText part);
  static bool validateCurrency(ZVText currency);
  static bool validateAdNetworkName(ZVText name);
  static bool validateAdNetworkVersion(ZVText version);
  static bool validateEventIdLength(ZVText eventId);
  static bool validateEventIdCharacters(ZVText eventId);

  // Event rules: absent when the arguments are valid; otherwise one warning line has been logged.
  // Impressions are refused without a line, but for text that is not UTF-8.
  static std::optional<ValidationResult> validateBusinessEventWithCurrency(ZVText currency, std::int64_t amount,
                                                                           ZVText cartType, ZVText itemType,
                                                                           ZVText itemId);
  // `currencies`, `itemTypes`: those that the game declared.
  static std::optional<ValidationResult> validateResourceEventWithFlowType(ZVResourceFlowType flowType, ZVText currency,
                                                                           std::optional<double> amount,
                                                                           ZVText itemType, ZVText itemId,
                                                                           const ZVTextList& currencies,
                                                                           const ZVTextList& itemTypes);
  static std::optional<ValidationResult> validateProgressionEventWithProgressionStatus(ZVProgressionStatus status,
                                                                                       ZVText progression01,
                                                                                       ZVText progression02,
                                                                                       ZVText progression03);
  static std::optional<ValidationResult> validateDesignEventWithEventId(ZVText eventId);
  static std::optional<ValidationResult> validateErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message);
  static std::optional<ValidationResult> validateAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName,
                                                                   ZVText adPlacement);
  static std::optional<ValidationResult> validateImpressionEventWithAdNetworkName(ZVText adNetworkName,
                                                                                  ZVText adNetworkVersion,
                                                                                  const ZVMap& impressionData);
  static bool validateSdkErrorEventWithGameKey(ZVText gameKey, ZVText gameSecret, SdkErrorCategory category,
                                               SdkErrorArea area, SdkErrorAction action);
};

}  // namespace zorvane
