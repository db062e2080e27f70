// The vocabulary of SDK error events: what the library reports of its own troubles and of the game's bad arguments.
// The codes are used inside, the strings (in strings.cpp) go to the collector.
#pragma once

namespace zorvane {

enum SdkErrorCategory : int {
  kCategoryEventValidation = 1,
  kCategoryDb = 2,
  kCategoryInit = 3,
  kCategoryHttp = 4,
  kCategoryJson = 5
};

enum SdkErrorArea : int {
  kAreaBusiness = 1,
  kAreaResource = 2,
  kAreaProgression = 3,
  kAreaDesign = 4,
  kAreaError = 5,
  kAreaSql = 6,
  kAreaEnsurePersistedStates = 7,
  kAreaSessionEnd = 8,
  kAreaInitHttp = 9,
  kAreaEventsHttp = 10,
  kAreaProcessEvents = 11,
  kAreaAddEventsToStore = 12,
  kAreaJsonStringToMap = 13,
  kAreaSessionStart = 14,
  kAreaAddDimensions = 15,
  kAreaAddFields = 16,
  kAreaInitRequest = 17,
  kAreaSendEvents = 18,
  kAreaInternalInit = 19,
  kAreaAd = 20,
  kAreaImpression = 21,
};

enum SdkErrorAction : int {
  kActionInvalidCurrency = 1,
  kActionInvalidShortString = 2,
  kActionInvalidEventPartLength = 3,
  kActionInvalidEventPartCharacters = 4,
  kActionInvalidStore = 5,
  kActionInvalidFlowType = 6,
  kActionStringEmptyOrNull = 7,
  kActionNotFoundInAvailableCurrencies = 8,
  kActionInvalidAmount = 9,
  kActionNotFoundInAvailableItemTypes = 10,
  kActionWrongProgressionOrder = 11,
  kActionInvalidEventIdLength = 12,
  kActionInvalidEventIdCharacters = 13,
  kActionSqlPrepare = 14,
  kActionInvalidProgressionStatus = 15,
  kActionInvalidSeverity = 16,
  kActionInvalidLongString = 17,
  kActionDbTooLarge = 18,
  kActionDbOpenOrCreate = 19,
  kActionSqlBegin = 20,
  kActionSqlSetColumn = 21,
  kActionSqlRawQuery = 22,
  kActionSqlCommit = 23,
  kActionSqlRollback = 24,
  kActionJsonError = 25,
  kActionFailHttp400 = 26,
  kActionFailHttp401 = 27,
  kActionFailHttp500 = 28,
  kActionFailHttpJsonDecode = 29,
  kActionFailHttpJsonEncode = 30,
  kActionInvalidAdAction = 31,
  kActionInvalidAdType = 32,
  kActionInvalidString = 33,
  kActionInvalidAdNetwork = 34,
  kActionImpressionDataNull = 35,
  kActionInvalidAdNetworkVersion = 36,  // has no string
};

enum SdkErrorParameter : int {
  kParameterNone = 0,
  kParameterCurrency = 1,
  kParameterCartType = 2,
  kParameterItemType = 3,
  kParameterItemId = 4,
  kParameterStore = 5,
  kParameterFlowType = 6,
  kParameterAmount = 7,
  kParameterProgression01 = 8,
  kParameterProgression02 = 9,
  kParameterProgression03 = 10,
  kParameterEventId = 11,
  kParameterProgressionStatus = 12,
  kParameterSeverity = 13,
  kParameterMessage = 14,
  kParameterAdAction = 15,
  kParameterAdType = 16,
  kParameterAdSdkName = 17,
  kParameterAdPlacement = 18,
  kParameterAdNetwork = 19,
  kParameterImpressionData = 20,
  kParameterAdNetworkVersion = 21,  // has no string
};

}  // namespace zorvane
