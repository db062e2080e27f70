#include "values/SdkError.h"

#include <array>

#include "values/Words.h"

namespace zorvane {

namespace {

constexpr auto kCategories = std::to_array<Word<SdkErrorCategory>>({
    {SdkErrorCategory::eventValidation, "event_validation"},
    {SdkErrorCategory::db, "db"},
    {SdkErrorCategory::init, "init"},
    {SdkErrorCategory::http, "http"},
    {SdkErrorCategory::json, "json"},
});

constexpr auto kAreas = std::to_array<Word<SdkErrorArea>>({
    {SdkErrorArea::business, "business"},
    {SdkErrorArea::resource, "resource"},
    {SdkErrorArea::progression, "progression"},
    {SdkErrorArea::design, "design"},
    {SdkErrorArea::error, "error"},
    {SdkErrorArea::sql, "sql"},
    {SdkErrorArea::ensurePersistedStates, "ensure_persisted_states"},
    {SdkErrorArea::sessionEnd, "session_end"},
    {SdkErrorArea::initHttp, "init_http"},
    {SdkErrorArea::eventsHttp, "events_http"},
    {SdkErrorArea::processEvents, "process_events"},
    {SdkErrorArea::addEventsToStore, "add_events_to_store"},
    {SdkErrorArea::jsonStringToMap, "json_string_to_map"},
    {SdkErrorArea::sessionStart, "session_start"},
    {SdkErrorArea::addDimensions, "add_dimensions"},
    {SdkErrorArea::addFields, "add_fields"},
    {SdkErrorArea::initRequest, "init_request"},
    {SdkErrorArea::sendEvents, "send_events"},
    {SdkErrorArea::internalInit, "internal_init"},
    {SdkErrorArea::ad, "ad"},
    {SdkErrorArea::impression, "impression"},
});

constexpr auto kActions = std::to_array<Word<SdkErrorAction>>({
    {SdkErrorAction::invalidCurrency, "invalid_currency"},
    {SdkErrorAction::invalidShortString, "invalid_short_string"},
    {SdkErrorAction::invalidEventPartLength, "invalid_event_part_length"},
    {SdkErrorAction::invalidEventPartCharacters, "invalid_event_part_characters"},
    {SdkErrorAction::invalidStore, "invalid_store"},
    {SdkErrorAction::invalidFlowType, "invalid_flow_type"},
    {SdkErrorAction::stringEmptyOrNull, "string_empty_or_null"},
    {SdkErrorAction::notFoundInAvailableCurrencies, "not_found_in_available_currencies"},
    {SdkErrorAction::invalidAmount, "invalid_amount"},
    {SdkErrorAction::notFoundInAvailableItemTypes, "not_found_in_available_item_types"},
    {SdkErrorAction::wrongProgressionOrder, "wrong_progression_order"},
    {SdkErrorAction::invalidEventIdLength, "invalid_event_id_length"},
    {SdkErrorAction::invalidEventIdCharacters, "invalid_event_id_characters"},
    {SdkErrorAction::sqlPrepare, "sql_prepare"},
    {SdkErrorAction::invalidProgressionStatus, "invalid_progression_status"},
    {SdkErrorAction::invalidSeverity, "invalid_severity"},
    {SdkErrorAction::invalidLongString, "invalid_long_string"},
    {SdkErrorAction::dbTooLarge, "db_too_large"},
    {SdkErrorAction::dbOpenOrCreate, "db_open_or_create"},
    {SdkErrorAction::sqlBegin, "sql_begin"},
    {SdkErrorAction::sqlSetColumn, "sql_set_column"},
    {SdkErrorAction::sqlRawQuery, "sql_raw_query"},
    {SdkErrorAction::sqlCommit, "sql_commit"},
    {SdkErrorAction::sqlRollback, "sql_rollback"},
    {SdkErrorAction::jsonError, "json_error"},
    {SdkErrorAction::failHttp400, "fail_http_400"},
    {SdkErrorAction::failHttp401, "fail_http_401"},
    {SdkErrorAction::failHttp500, "fail_http_500"},
    {SdkErrorAction::failHttpJsonDecode, "fail_http_json_decode"},
    {SdkErrorAction::failHttpJsonEncode, "fail_http_json_encode"},
    {SdkErrorAction::invalidAdAction, "invalid_ad_action"},
    {SdkErrorAction::invalidAdType, "invalid_ad_type"},
    {SdkErrorAction::invalidString, "invalid_string"},
    {SdkErrorAction::invalidAdNetwork, "invalid_ad_network"},
    {SdkErrorAction::impressionDataNull, "impression_data_null"},
});

constexpr auto kParameters = std::to_array<Word<SdkErrorParameter>>({
    {SdkErrorParameter::currency, "currency"},
    {SdkErrorParameter::cartType, "cart_type"},
    {SdkErrorParameter::itemType, "item_type"},
    {SdkErrorParameter::itemId, "item_id"},
    {SdkErrorParameter::store, "store"},
    {SdkErrorParameter::flowType, "flow_type"},
    {SdkErrorParameter::amount, "amount"},
    {SdkErrorParameter::progression01, "progression01"},
    {SdkErrorParameter::progression02, "progression02"},
    {SdkErrorParameter::progression03, "progression03"},
    {SdkErrorParameter::eventId, "event_id"},
    {SdkErrorParameter::progressionStatus, "progression_status"},
    {SdkErrorParameter::severity, "severity"},
    {SdkErrorParameter::message, "message"},
    {SdkErrorParameter::adAction, "ad_action"},
    {SdkErrorParameter::adType, "ad_type"},
    {SdkErrorParameter::adSdkName, "ad_sdk_name"},
    {SdkErrorParameter::adPlacement, "ad_placement"},
    {SdkErrorParameter::adNetwork, "ad_network"},
    {SdkErrorParameter::impressionData, "impression_data"},
});

}  // namespace

std::optional<std::string_view> wordOf(SdkErrorCategory category) noexcept { return wordIn(kCategories, category); }
std::optional<std::string_view> wordOf(SdkErrorArea area) noexcept { return wordIn(kAreas, area); }
std::optional<std::string_view> wordOf(SdkErrorAction action) noexcept { return wordIn(kActions, action); }
std::optional<std::string_view> wordOf(SdkErrorParameter parameter) noexcept { return wordIn(kParameters, parameter); }

}  // namespace zorvane
