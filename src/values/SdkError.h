// What the library reports to the collector of its own troubles and of the game's bad arguments.
//
// Thread: any; values.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zorvane {

// The codes are used inside; their words, which go to the collector, stand in SdkError.cpp.
enum class SdkErrorCategory : int {
  eventValidation = 1,
  db = 2,
  init = 3,
  http = 4,
  json = 5,
};

enum class SdkErrorArea : int {
  business = 1,
  resource = 2,
  progression = 3,
  design = 4,
  error = 5,
  sql = 6,
  ensurePersistedStates = 7,
  sessionEnd = 8,
  initHttp = 9,
  eventsHttp = 10,
  processEvents = 11,
  addEventsToStore = 12,
  jsonStringToMap = 13,
  sessionStart = 14,
  addDimensions = 15,
  addFields = 16,
  initRequest = 17,
  sendEvents = 18,
  internalInit = 19,
  ad = 20,
  impression = 21,
};

enum class SdkErrorAction : int {
  invalidCurrency = 1,
  invalidShortString = 2,
  invalidEventPartLength = 3,
  invalidEventPartCharacters = 4,
  invalidStore = 5,
  invalidFlowType = 6,
  stringEmptyOrNull = 7,
  notFoundInAvailableCurrencies = 8,
  invalidAmount = 9,
  notFoundInAvailableItemTypes = 10,
  wrongProgressionOrder = 11,
  invalidEventIdLength = 12,
  invalidEventIdCharacters = 13,
  sqlPrepare = 14,
  invalidProgressionStatus = 15,
  invalidSeverity = 16,
  invalidLongString = 17,
  dbTooLarge = 18,
  dbOpenOrCreate = 19,
  sqlBegin = 20,
  sqlSetColumn = 21,
  sqlRawQuery = 22,
  sqlCommit = 23,
  sqlRollback = 24,
  jsonError = 25,
  failHttp400 = 26,
  failHttp401 = 27,
  failHttp500 = 28,
  failHttpJsonDecode = 29,
  failHttpJsonEncode = 30,
  invalidAdAction = 31,
  invalidAdType = 32,
  invalidString = 33,
  invalidAdNetwork = 34,
  impressionDataNull = 35,
  invalidAdNetworkVersion = 36,
};

enum class SdkErrorParameter : int {
  none = 0,
  currency = 1,
  cartType = 2,
  itemType = 3,
  itemId = 4,
  store = 5,
  flowType = 6,
  amount = 7,
  progression01 = 8,
  progression02 = 9,
  progression03 = 10,
  eventId = 11,
  progressionStatus = 12,
  severity = 13,
  message = 14,
  adAction = 15,
  adType = 16,
  adSdkName = 17,
  adPlacement = 18,
  adNetwork = 19,
  impressionData = 20,
  adNetworkVersion = 21,
};

// The code's word; absent for a code without one, or outside its list.
std::optional<std::string_view> wordOf(SdkErrorCategory category) noexcept;
std::optional<std::string_view> wordOf(SdkErrorArea area) noexcept;
std::optional<std::string_view> wordOf(SdkErrorAction action) noexcept;
std::optional<std::string_view> wordOf(SdkErrorParameter parameter) noexcept;

struct SdkError {
  SdkErrorCategory category{};
  SdkErrorArea area{};
  SdkErrorAction action{};
  SdkErrorParameter parameter = SdkErrorParameter::none;
  std::optional<std::string> reason{};
};

}  // namespace zorvane
