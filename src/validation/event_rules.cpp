#include <array>
#include <span>

#include "events/SdkError.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "transport/ZVHelpers.h"
#include "validation/ZVValidator.h"

namespace {

// White space is written out: the regular-expression engine's own class holds one character that collectors refuse.
constexpr std::string_view kEventPartCharactersPattern = "^[A-Za-z0-9\\t-\\r\\x{85}\\p{Z}\\-_\\.\\(\\)\\!\\?]{1,64}$";
constexpr std::string_view kEventIdLengthPattern = "^[^:]{1,64}+(?::[^:]{1,64}+){0,4}$";
constexpr std::string_view kEventIdCharactersPattern =
    "^[A-Za-z0-9\\t-\\r\\x{85}\\p{Z}\\-_\\.\\(\\)\\!\\?]{1,64}(:[A-Za-z0-9\\t-\\r\\x{85}\\p{Z}\\-_\\.\\(\\)\\!\\?]{1,"
    "64}){0,4}$";

// One thing that a text argument must pass. The failure's message ends with the text.
struct TextCheck {
  bool (*passes)(ZVText);
  SdkErrorAction action;
  SdkErrorParameter parameter;
  std::string_view message;
};

constexpr auto kDesignEventId = std::to_array<TextCheck>({
    {ZVValidator::validateEventIdLength, kActionInvalidEventIdLength, kParameterEventId,
     "Validation fail - design event - eventId: Cannot be (null) or empty. Only 5 event parts allowed seperated by :. "
     "Each part need to be 64 characters or less. String: "},
    {ZVValidator::validateEventIdCharacters, kActionInvalidEventIdCharacters, kParameterEventId,
     "Validation fail - design event - eventId: Non valid characters. Only allowed A-z, 0-9, -_., ()!?. String: "},
});

ValidationResult failure(SdkErrorArea area, SdkErrorAction action, SdkErrorParameter parameter,
                         std::optional<std::string> reason) {
  return {kCategoryEventValidation, area, action, parameter, std::move(reason)};
}

// The first check that `text` fails, logged.
std::optional<ValidationResult> firstFailure(SdkErrorArea area, ZVText text, std::span<const TextCheck> checks) {
  for (const TextCheck& check : checks) {
    if (check.passes(text)) continue;
    ZVLogger::w(0, "{}{}", check.message, text);
    return failure(area, check.action, check.parameter, text.copy());
  }
  return std::nullopt;
}

}  // namespace

bool ZVValidator::validateEventPartCharacters(ZVText part) {
  return ZVHelpers::stringMatchWithString(part, kEventPartCharactersPattern);
}

bool ZVValidator::validateCurrency(ZVText currency) { return ZVHelpers::stringMatchWithString(currency, "^[A-Z]{3}$"); }

bool ZVValidator::validateAdNetworkName(ZVText name) {
  return ZVHelpers::stringMatchWithString(name, "^(mopub|fyber|ironsource|topon|hyperbid|max|aequus|admob)$");
}

bool ZVValidator::validateAdNetworkVersion(ZVText version) {
  return ZVHelpers::stringMatchWithString(version, "^[0-9]{0,5}(\\.[0-9]{0,5}){0,3}$");
}

bool ZVValidator::validateEventIdLength(ZVText eventId) {
  return ZVHelpers::stringMatchWithString(eventId, kEventIdLengthPattern);
}

bool ZVValidator::validateEventIdCharacters(ZVText eventId) {
  return ZVHelpers::stringMatchWithString(eventId, kEventIdCharactersPattern);
}

std::optional<ValidationResult> ZVValidator::validateDesignEventWithEventId(ZVText eventId) {
  return firstFailure(kAreaDesign, eventId, kDesignEventId);
}

std::optional<ValidationResult> ZVValidator::validateErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message) {
  if (!ZVEvents::errorSeverityString(severity)) {
    ZVLogger::w(0, "Validation fail - error event - severity: Severity was unsupported value.");
    return failure(kAreaError, kActionInvalidSeverity, kParameterSeverity, "");
  }
  if (!validateLongString(message, true)) {
    ZVLogger::w(0, "Validation fail - error event - message: Message cannot be above 8192 characters.");
    return failure(kAreaError, kActionInvalidLongString, kParameterMessage, message.copy());
  }
  return std::nullopt;
}

bool ZVValidator::validateSdkErrorEventWithGameKey(ZVText gameKey, ZVText gameSecret, int category, int area,
                                                   int action) {
  if (!validateKeysWithGameKey(gameKey, gameSecret)) {
    ZVLogger::w(0,
                "validateSdkErrorEvent failed. Game key or secret key is invalid. Can only contain characters A-z 0-9, "
                "gameKey is 32 length, gameSecret is 40 length. Failed keys - gameKey: {}, secretKey: {}",
                gameKey, gameSecret);
    return false;
  }
  if (!ZVEvents::sdkErrorCategoryString(category)) {
    ZVLogger::w(0, "Validation fail - sdk error event - category: Category was unsupported value.");
    return false;
  }
  if (!ZVEvents::sdkErrorAreaString(area)) {
    ZVLogger::w(0, "Validation fail - sdk error event - area: Area was unsupported value.");
    return false;
  }
  if (!ZVEvents::sdkErrorActionString(action)) {
    ZVLogger::w(0, "Validation fail - sdk error event - action: Action was unsupported value.");
    return false;
  }
  return true;
}
