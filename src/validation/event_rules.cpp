#include <array>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "codecs/patterns.h"
#include "runtime/ZVLogger.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"
#include "values/SdkError.h"
#include "values/Text.h"
#include "values/TextLists.h"

namespace zorvane {

namespace {

// White space is written out: the regular-expression engine's own class holds one character that collectors refuse.
constexpr std::string_view kEventPartCharactersPattern = "^[A-Za-z0-9\\t-\\r\\x{85}\\p{Z}\\-_\\.\\(\\)\\!\\?]{1,64}$";
constexpr std::string_view kEventIdLengthPattern = "^[^:]{1,64}+(?::[^:]{1,64}+){0,4}$";
constexpr std::string_view kEventIdCharactersPattern =
    "^[A-Za-z0-9\\t-\\r\\x{85}\\p{Z}\\-_\\.\\(\\)\\!\\?]{1,64}(:[A-Za-z0-9\\t-\\r\\x{85}\\p{Z}\\-_\\.\\(\\)\\!\\?]{1,"
    "64}){0,4}$";

using Message = fmt::format_string<const ZVText&>;

// One thing that a text argument must pass; null where a list that the game declared decides. The message shows the
// text in place of its {}; without a message the failure is silent.
struct TextCheck {
  bool (*passes)(ZVText);
  SdkErrorAction action;
  SdkErrorParameter parameter;
  Message message;
};

// An argument and what it must pass.
struct CheckedText {
  ZVText text;
  std::span<const TextCheck> checks;
};

bool isPresent(ZVText text) { return !text.empty(); }
bool isShort(ZVText text) { return ZVValidator::validateShortString(text); }
bool isShortOrEmpty(ZVText text) { return ZVValidator::validateShortString(text, true); }
bool isString(ZVText text) { return ZVValidator::validateString(text); }
bool isLongOrEmpty(ZVText text) { return ZVValidator::validateLongString(text, true); }
bool isPartLong(ZVText text) { return ZVValidator::validateEventPartLength(text, false); }

// An event part: its length, then its characters.
constexpr std::array<TextCheck, 2> part(SdkErrorParameter parameter, Message wrongLength, Message wrongCharacters) {
  return {{{isPartLong, SdkErrorAction::invalidEventPartLength, parameter, wrongLength},
           {ZVValidator::validateEventPartCharacters, SdkErrorAction::invalidEventPartCharacters, parameter,
            wrongCharacters}}};
}

constexpr auto kBusinessCurrency = std::to_array<TextCheck>({
    {ZVValidator::validateCurrency, SdkErrorAction::invalidCurrency, SdkErrorParameter::currency,
     "Validation fail - business event - currency: Cannot be (null) and need to be A-Z, 3 characters and in the "
     "standard at iso.org. Failed currency: {}"},
});
constexpr auto kCartType = std::to_array<TextCheck>({
    {isShortOrEmpty, SdkErrorAction::invalidShortString, SdkErrorParameter::cartType,
     "Validation fail - business event - cartType. Cannot be null, empty or above 32 length. String: {}"},
});
constexpr auto kBusinessItemType = part(
    SdkErrorParameter::itemType,
    "Validation fail - business event - itemType: Cannot be (null), empty or above 64 characters. String: {}",
    "Validation fail - business event - itemType: Cannot contain other characters than A-z, 0-9, -_., ()!?. String: "
    "{}");
constexpr auto kBusinessItemId = part(
    SdkErrorParameter::itemId,
    "Validation fail - business event - itemId. Cannot be (null), empty or above 64 characters. String: {}",
    "Validation fail - business event - itemId: Cannot contain other characters than A-z, 0-9, -_., ()!?. String: {}");

constexpr auto kResourceCurrency = std::to_array<TextCheck>({
    {isPresent, SdkErrorAction::stringEmptyOrNull, SdkErrorParameter::currency,
     "Validation fail - resource event - currency: Cannot be (null)"},
});
constexpr TextCheck kDeclaredCurrency{
    nullptr, SdkErrorAction::notFoundInAvailableCurrencies, SdkErrorParameter::currency,
    "Validation fail - resource event - currency: Not found in list of pre-defined available resource currencies. "
    "String: {}"};
constexpr auto kResourceItemType = std::to_array<TextCheck>({
    {isPresent, SdkErrorAction::stringEmptyOrNull, SdkErrorParameter::itemType,
     "Validation fail - resource event - itemType: Cannot be (null)"},
    {isPartLong, SdkErrorAction::invalidEventPartLength, SdkErrorParameter::itemType,
     "Validation fail - resource event - itemType: Cannot be (null), empty or above 64 characters. String: {}"},
    {ZVValidator::validateEventPartCharacters, SdkErrorAction::invalidEventPartCharacters, SdkErrorParameter::itemType,
     "Validation fail - resource event - itemType: Cannot contain other characters than A-z, 0-9, -_., ()!?. String: "
     "{}"},
});
constexpr TextCheck kDeclaredItemType{
    nullptr, SdkErrorAction::notFoundInAvailableItemTypes, SdkErrorParameter::itemType,
    "Validation fail - resource event - itemType: Not found in list of pre-defined available resource itemTypes. "
    "String: {}"};
constexpr auto kResourceItemId = part(
    SdkErrorParameter::itemId,
    "Validation fail - resource event - itemId: Cannot be (null), empty or above 64 characters. String: {}",
    "Validation fail - resource event - itemId: Cannot contain other characters than A-z, 0-9, -_., ():!?. String: "
    "{}");

constexpr auto kProgression01 = part(
    SdkErrorParameter::progression01,
    "Validation fail - progression event - progression01: Cannot be (null), empty or above 64 characters. String: {}",
    "Validation fail - progression event - progression01: Cannot contain other characters than A-z, 0-9, -_., ()!?. "
    "String: {}");
constexpr auto kProgression02 = part(
    SdkErrorParameter::progression02,
    "Validation fail - progression event - progression02: Cannot be empty or above 64 characters. String: {}",
    "Validation fail - progression event - progression02: Cannot contain other characters than A-z, 0-9, -_., ()!?. "
    "String: {}");
constexpr auto kProgression03 = part(
    SdkErrorParameter::progression03,
    "Validation fail - progression event - progression03: Cannot be empty or above 64 characters. String: {}",
    "Validation fail - progression event - progression03: Cannot contain other characters than A-z, 0-9, -_., ()!?. "
    "String: {}");

constexpr auto kDesignEventId = std::to_array<TextCheck>({
    {ZVValidator::validateEventIdLength, SdkErrorAction::invalidEventIdLength, SdkErrorParameter::eventId,
     "Validation fail - design event - eventId: Cannot be (null) or empty. Only 5 event parts allowed seperated by :. "
     "Each part need to be 64 characters or less. String: {}"},
    {ZVValidator::validateEventIdCharacters, SdkErrorAction::invalidEventIdCharacters, SdkErrorParameter::eventId,
     "Validation fail - design event - eventId: Non valid characters. Only allowed A-z, 0-9, -_., ()!?. String: {}"},
});
constexpr auto kErrorMessage = std::to_array<TextCheck>({
    {isLongOrEmpty, SdkErrorAction::invalidLongString, SdkErrorParameter::message,
     "Validation fail - error event - message: Message cannot be above 8192 characters."},
});
constexpr auto kAdSdkName = std::to_array<TextCheck>({
    {isShort, SdkErrorAction::invalidShortString, SdkErrorParameter::adSdkName,
     "Validation fail - ad event - adSdkName: Ad SDK name cannot be above 32 characters."},
});
constexpr auto kAdPlacement = std::to_array<TextCheck>({
    {isString, SdkErrorAction::invalidString, SdkErrorParameter::adPlacement,
     "Validation fail - ad event - adPlacement: Ad placement cannot be above 64 characters."},
});
constexpr auto kAdNetworkName = std::to_array<TextCheck>({
    {ZVValidator::validateAdNetworkName, SdkErrorAction::invalidAdNetwork, SdkErrorParameter::adNetwork, ""},
});
constexpr auto kAdNetworkVersion = std::to_array<TextCheck>({
    {ZVValidator::validateAdNetworkVersion, SdkErrorAction::invalidAdNetworkVersion,
     SdkErrorParameter::adNetworkVersion, ""},
});

ValidationResult failure(SdkErrorArea area, SdkErrorAction action, SdkErrorParameter parameter,
                         std::optional<std::string> reason = "") {
  return {SdkErrorCategory::eventValidation, area, action, parameter, std::move(reason)};
}

// Bytes that are not UTF-8 are no text: what the checks say of length and characters would be wrong of them.
ValidationResult refuseBytes(SdkErrorArea area, SdkErrorParameter parameter, ZVText text) {
  ZVLogger::w(0, "Validation fail - {} event - {}: Must be valid UTF-8. String: {}", wordOf(area).value_or(""),
              wordOf(parameter).value_or("ad_network_version"), withReplacementCharacters(text.view()));
  return failure(area, SdkErrorAction::invalidString, parameter, std::nullopt);
}

ValidationResult refuse(SdkErrorArea area, const ZVText& text, const TextCheck& check) {
  if (fmt::string_view(check.message).size() > 0) ZVLogger::w(0, check.message, text);
  return failure(area, check.action, check.parameter, text.copy());
}

// The first check that fails, argument by argument, logged.
std::optional<ValidationResult> firstFailure(SdkErrorArea area, std::initializer_list<CheckedText> arguments) {
  for (const auto& [text, checks] : arguments) {
    for (const TextCheck& check : checks) {
      if (!isValidUtf8(text.view())) return refuseBytes(area, check.parameter, text);
      if (!check.passes(text)) return refuse(area, text, check);
    }
  }
  return std::nullopt;
}

// The amount is read in single precision, as collectors do: one too small for it is 0.
bool isAboveZeroInSinglePrecision(double amount) { return static_cast<float>(amount) > 0; }

// What is wrong with which of the three are there.
std::string_view wrongProgressionOrder(ZVText progression01, ZVText progression02, ZVText progression03) {
  if (!progression03.empty() && progression02.empty() && !progression01.empty())
    return "Validation fail - progression event: 03 found but 01+02 are invalid. Progression must be set as either 01, "
           "01+02 or 01+02+03.";
  if (!progression02.empty() && progression01.empty())
    return "Validation fail - progression event: 02 found but not 01. Progression must be set as either 01, 01+02 or "
           "01+02+03";
  if (progression01.empty())
    return "Validation fail - progression event: progression01 not valid. Progressions must be set as either 01, 01+02 "
           "or 01+02+03";
  return {};
}

}  // namespace

bool ZVValidator::validateEventPartCharacters(ZVText part) { return matchesPattern(part, kEventPartCharactersPattern); }

bool ZVValidator::validateCurrency(ZVText currency) { return matchesPattern(currency, "^[A-Z]{3}$"); }

bool ZVValidator::validateAdNetworkName(ZVText name) {
  return matchesPattern(name, "^(mopub|fyber|ironsource|topon|hyperbid|max|aequus|admob)$");
}

bool ZVValidator::validateAdNetworkVersion(ZVText version) {
  return matchesPattern(version, "^[0-9]{0,5}(\\.[0-9]{0,5}){0,3}$");
}

bool ZVValidator::validateEventIdLength(ZVText eventId) { return matchesPattern(eventId, kEventIdLengthPattern); }

bool ZVValidator::validateEventIdCharacters(ZVText eventId) {
  return matchesPattern(eventId, kEventIdCharactersPattern);
}

std::optional<ValidationResult> ZVValidator::validateBusinessEventWithCurrency(ZVText currency, std::int64_t amount,
                                                                               ZVText cartType, ZVText itemType,
                                                                               ZVText itemId) {
  if (auto failed = firstFailure(SdkErrorArea::business, {{currency, kBusinessCurrency}})) return failed;
  if (amount < 0) {
    ZVLogger::w(0, "Validation fail - business event - amount. Cannot be less than 0. Failed amount: {}", amount);
    return failure(SdkErrorArea::business, SdkErrorAction::invalidAmount, SdkErrorParameter::amount,
                   std::to_string(amount));
  }
  return firstFailure(SdkErrorArea::business,
                      {{cartType, kCartType}, {itemType, kBusinessItemType}, {itemId, kBusinessItemId}});
}

std::optional<ValidationResult> ZVValidator::validateResourceEventWithFlowType(
    ZVResourceFlowType flowType, ZVText currency, std::optional<double> amount, ZVText itemType, ZVText itemId,
    const ZVTextList& currencies, const ZVTextList& itemTypes) {
  if (!wordOf(flowType)) {
    ZVLogger::w(0, "Validation fail - resource event - flowType: Invalid flow type.");
    return failure(SdkErrorArea::resource, SdkErrorAction::invalidFlowType, SdkErrorParameter::flowType);
  }
  if (auto failed = firstFailure(SdkErrorArea::resource, {{currency, kResourceCurrency}})) return failed;
  if (!holds(currencies, currency)) return refuse(SdkErrorArea::resource, currency, kDeclaredCurrency);
  if (!amount) {
    ZVLogger::w(0, "Validation fail - resource event - amount: Cannot be (null).");
    return failure(SdkErrorArea::resource, SdkErrorAction::invalidAmount, SdkErrorParameter::amount, std::nullopt);
  }
  if (!isAboveZeroInSinglePrecision(*amount)) {
    const std::string text = decimalText(*amount);
    ZVLogger::w(0, "Validation fail - resource event - amount: Float amount cannot be 0 or negative. Value: {}", text);
    return failure(SdkErrorArea::resource, SdkErrorAction::invalidAmount, SdkErrorParameter::amount, text);
  }
  if (auto failed = firstFailure(SdkErrorArea::resource, {{itemType, kResourceItemType}})) return failed;
  if (!holds(itemTypes, itemType)) return refuse(SdkErrorArea::resource, itemType, kDeclaredItemType);
  return firstFailure(SdkErrorArea::resource, {{itemId, kResourceItemId}});
}

std::optional<ValidationResult> ZVValidator::validateProgressionEventWithProgressionStatus(ZVProgressionStatus status,
                                                                                           ZVText progression01,
                                                                                           ZVText progression02,
                                                                                           ZVText progression03) {
  if (!wordOf(status)) {
    ZVLogger::w(0, "Validation fail - progression event: Invalid progression status.");
    return failure(SdkErrorArea::progression, SdkErrorAction::invalidProgressionStatus,
                   SdkErrorParameter::progressionStatus);
  }
  const std::string_view wrong = wrongProgressionOrder(progression01, progression02, progression03);
  if (!wrong.empty()) {
    ZVLogger::w(0, "{}", wrong);
    return failure(SdkErrorArea::progression, SdkErrorAction::wrongProgressionOrder, SdkErrorParameter::none,
                   fmt::format("{}:{}:{}", progression01, progression02, progression03));
  }
  using Checks = std::span<const TextCheck>;
  return firstFailure(SdkErrorArea::progression, {{progression01, kProgression01},
                                                  {progression02, progression02.empty() ? Checks() : kProgression02},
                                                  {progression03, progression03.empty() ? Checks() : kProgression03}});
}

std::optional<ValidationResult> ZVValidator::validateDesignEventWithEventId(ZVText eventId) {
  return firstFailure(SdkErrorArea::design, {{eventId, kDesignEventId}});
}

std::optional<ValidationResult> ZVValidator::validateErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message) {
  if (!wordOf(severity)) {
    ZVLogger::w(0, "Validation fail - error event - severity: Severity was unsupported value.");
    return failure(SdkErrorArea::error, SdkErrorAction::invalidSeverity, SdkErrorParameter::severity);
  }
  return firstFailure(SdkErrorArea::error, {{message, kErrorMessage}});
}

std::optional<ValidationResult> ZVValidator::validateAdEventWithAction(ZVAdAction action, ZVAdType adType,
                                                                       ZVText adSdkName, ZVText adPlacement) {
  if (!wordOf(action)) {
    ZVLogger::w(0, "Validation fail - ad event - action: Ad action was unsupported value.");
    return failure(SdkErrorArea::ad, SdkErrorAction::invalidAdAction, SdkErrorParameter::adAction);
  }
  if (!wordOf(adType)) {
    ZVLogger::w(0, "Validation fail - ad event - adType: Ad type was unsupported value.");
    return failure(SdkErrorArea::ad, SdkErrorAction::invalidAdType, SdkErrorParameter::adType);
  }
  return firstFailure(SdkErrorArea::ad, {{adSdkName, kAdSdkName}, {adPlacement, kAdPlacement}});
}

std::optional<ValidationResult> ZVValidator::validateImpressionEventWithAdNetworkName(ZVText adNetworkName,
                                                                                      ZVText adNetworkVersion,
                                                                                      const ZVMap& impressionData) {
  auto failed =
      firstFailure(SdkErrorArea::impression, {{adNetworkName, kAdNetworkName}, {adNetworkVersion, kAdNetworkVersion}});
  if (!failed && impressionData.empty())
    failed = failure(SdkErrorArea::impression, SdkErrorAction::impressionDataNull, SdkErrorParameter::impressionData);
  return failed;
}

bool ZVValidator::validateSdkErrorEventWithGameKey(ZVText gameKey, ZVText gameSecret, SdkErrorCategory category,
                                                   SdkErrorArea area, SdkErrorAction action) {
  if (!validateKeysWithGameKey(gameKey, gameSecret)) {
    ZVLogger::w(0,
                "validateSdkErrorEvent failed. Game key or secret key is invalid. Can only contain characters A-z 0-9, "
                "gameKey is 32 length, gameSecret is 40 length. Failed keys - gameKey: {}, secretKey: {}",
                gameKey, gameSecret);
    return false;
  }
  if (!wordOf(category)) {
    ZVLogger::w(0, "Validation fail - sdk error event - category: Category was unsupported value.");
    return false;
  }
  if (!wordOf(area)) {
    ZVLogger::w(0, "Validation fail - sdk error event - area: Area was unsupported value.");
    return false;
  }
  if (!wordOf(action)) {
    ZVLogger::w(0, "Validation fail - sdk error event - action: Action was unsupported value.");
    return false;
  }
  return true;
}

}  // namespace zorvane
