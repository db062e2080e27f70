#include "values/EventWords.h"

#include <array>

#include "values/Words.h"

namespace zorvane {

namespace {

constexpr auto kProgressionStatuses = std::to_array<Word<ZVProgressionStatus>>({
    {ZVProgressionStatus::start, "Start"},
    {ZVProgressionStatus::complete, "Complete"},
    {ZVProgressionStatus::fail, "Fail"},
});
constexpr auto kResourceFlowTypes = std::to_array<Word<ZVResourceFlowType>>({
    {ZVResourceFlowType::source, "Source"},
    {ZVResourceFlowType::sink, "Sink"},
});
constexpr auto kErrorSeverities = std::to_array<Word<ZVErrorSeverity>>({
    {ZVErrorSeverity::debug, "debug"},
    {ZVErrorSeverity::info, "info"},
    {ZVErrorSeverity::warning, "warning"},
    {ZVErrorSeverity::error, "error"},
    {ZVErrorSeverity::critical, "critical"},
});
constexpr auto kAdActions = std::to_array<Word<ZVAdAction>>({
    {ZVAdAction::clicked, "clicked"},
    {ZVAdAction::show, "show"},
    {ZVAdAction::failedShow, "failed_show"},
    {ZVAdAction::rewardReceived, "reward_received"},
    {ZVAdAction::request, "request"},
    {ZVAdAction::loaded, "loaded"},
});
constexpr auto kAdTypes = std::to_array<Word<ZVAdType>>({
    {ZVAdType::video, "video"},
    {ZVAdType::rewardedVideo, "rewarded_video"},
    {ZVAdType::playable, "playable"},
    {ZVAdType::interstitial, "interstitial"},
    {ZVAdType::offerWall, "offer_wall"},
    {ZVAdType::banner, "banner"},
});
constexpr auto kAdErrors = std::to_array<Word<ZVAdError>>({
    {ZVAdError::unknown, "unknown"},
    {ZVAdError::offline, "offline"},
    {ZVAdError::noFill, "no_fill"},
    {ZVAdError::internalError, "internal_error"},
    {ZVAdError::invalidRequest, "invalid_request"},
    {ZVAdError::unableToPrecache, "unable_to_precache"},
});

}  // namespace

std::optional<std::string_view> wordOf(ZVProgressionStatus status) { return wordIn(kProgressionStatuses, status); }
std::optional<std::string_view> wordOf(ZVResourceFlowType flowType) { return wordIn(kResourceFlowTypes, flowType); }
std::optional<std::string_view> wordOf(ZVErrorSeverity severity) { return wordIn(kErrorSeverities, severity); }
std::optional<std::string_view> wordOf(ZVAdAction action) { return wordIn(kAdActions, action); }
std::optional<std::string_view> wordOf(ZVAdType adType) { return wordIn(kAdTypes, adType); }
std::optional<std::string_view> wordOf(ZVAdError reason) { return wordIn(kAdErrors, reason); }

}  // namespace zorvane
