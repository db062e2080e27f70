#include "zorvane-play/Operations.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include <fmt/format.h>
#include <zorvane/ZVTimer.h>
#include <zorvane/Zorvane.h>

namespace {

// ---- From JSON to the types of the facade's arguments. Each says what it takes, and takes it or refuses.

template <class Argument>
struct Reader;

template <>
struct Reader<ZVText> {
  static constexpr std::string_view kTakes = "text or null";
  static std::optional<ZVText> read(const ZVValue& value) {
    if (value.isNull()) return ZVText();
    const std::string* text = value.ifString();
    return text != nullptr ? std::optional<ZVText>(*text) : std::nullopt;
  }
};

template <>
struct Reader<ZVFlag> {
  static constexpr std::string_view kTakes = "true or false";
  static std::optional<ZVFlag> read(const ZVValue& value) {
    const bool* flag = value.ifBool();
    return flag != nullptr ? std::optional<ZVFlag>(*flag) : std::nullopt;
  }
};

template <>
struct Reader<std::int64_t> {
  static constexpr std::string_view kTakes = "a whole number";
  static std::optional<std::int64_t> read(const ZVValue& value) {
    const auto* whole = value.ifInteger();
    return whole != nullptr ? std::optional(*whole) : std::nullopt;
  }
};

// By its number; one outside its list as well, for that is what a game can do.
template <class Enumeration>
requires std::is_enum_v<Enumeration>
struct Reader<Enumeration> {
  static constexpr std::string_view kTakes = "the number of an enumeration's value";
  static std::optional<Enumeration> read(const ZVValue& value) {
    const auto* whole = value.ifInteger();
    if (whole == nullptr || !std::in_range<int>(*whole)) return std::nullopt;
    return static_cast<Enumeration>(*whole);
  }
};

template <>
struct Reader<double> {
  static constexpr std::string_view kTakes = "a number";
  static std::optional<double> read(const ZVValue& value) {
    if (const auto* whole = value.ifInteger()) return static_cast<double>(*whole);
    const auto* fraction = value.ifDouble();
    return fraction != nullptr ? std::optional(*fraction) : std::nullopt;
  }
};

template <>
struct Reader<std::optional<double>> {
  static constexpr std::string_view kTakes = "a number or null";
  static std::optional<std::optional<double>> read(const ZVValue& value) {
    if (value.isNull()) return std::optional<double>();
    const auto number = Reader<double>::read(value);
    if (!number) return std::nullopt;
    return std::optional<std::optional<double>>(number);
  }
};

template <>
struct Reader<ZVMap> {
  static constexpr std::string_view kTakes = "an object or null";
  static std::optional<ZVMap> read(const ZVValue& value) {
    if (value.isNull()) return ZVMap();
    const ZVMap* map = value.ifMap();
    return map != nullptr ? std::optional(*map) : std::nullopt;
  }
};

template <>
struct Reader<ZVTextList> {
  static constexpr std::string_view kTakes = "an array of texts or null";
  static std::optional<ZVTextList> read(const ZVValue& value) {
    if (value.isNull()) return ZVTextList();
    const ZVValue::Array* array = value.ifArray();
    if (array == nullptr) return std::nullopt;
    std::vector<std::string> texts;
    for (const ZVValue& element : *array) {
      if (element.ifString() == nullptr) return std::nullopt;
      texts.push_back(*element.ifString());
    }
    return ZVTextList(texts);
  }
};

// Stands for a game's delegate: prints that it was notified.
class PrintingDelegate final : public ZVRemoteConfigsDelegate {
 public:
  explicit PrintingDelegate(std::string name) : name_(std::move(name)) {}
  void onRemoteConfigsUpdated() override {
    std::puts(fmt::format("{{\"delegate\":\"{}\",\"call\":\"onRemoteConfigsUpdated\"}}", name_).c_str());
    std::fflush(stdout);
  }

 private:
  const std::string name_;
};

template <>
struct Reader<std::weak_ptr<ZVRemoteConfigsDelegate>> {
  static constexpr std::string_view kTakes = "a delegate's name or null";
  static std::optional<std::weak_ptr<ZVRemoteConfigsDelegate>> read(const ZVValue& value) {
    static auto* const delegates = new std::vector<std::shared_ptr<ZVRemoteConfigsDelegate>>;  // the "game" owns them
    if (value.isNull()) return std::weak_ptr<ZVRemoteConfigsDelegate>();
    if (value.ifString() == nullptr) return std::nullopt;
    return delegates->emplace_back(std::make_shared<PrintingDelegate>(*value.ifString()));
  }
};

// A timer's task: another call.
template <>
struct Reader<ZVTimer::Task> {
  static constexpr std::string_view kTakes = "a call or null";
  static std::optional<ZVTimer::Task> read(const ZVValue& value) {
    if (value.isNull()) return ZVTimer::Task();
    const ZVValue::Array* call = value.ifArray();
    if (call == nullptr || call->empty() || (*call)[0].ifString() == nullptr) return std::nullopt;
    const Operation* operation = findOperation(*(*call)[0].ifString());
    const ZVValue::Array arguments(call->begin() + 1, call->end());
    if (operation == nullptr || operation->check(arguments)) return std::nullopt;
    return [operation, arguments] { operation->play(arguments); };
  }
};

// ---- From the facade's answers to JSON.

ZVValue answerOf(bool answer) { return answer; }
ZVValue answerOf(std::string answer) { return answer; }
ZVValue answerOf(std::optional<std::string> answer) { return answer ? ZVValue(std::move(*answer)) : ZVValue(); }
ZVValue answerOf(std::int64_t answer) { return answer; }
ZVValue answerOf(const Zorvane&) { return "Zorvane"; }
ZVValue answerOf(const std::shared_ptr<ZVTimer>& answer) { return answer != nullptr; }

// ---- A function of the facade as an operation.

template <class... Arguments>
struct Signature {
  using Indices = std::index_sequence_for<Arguments...>;

  static std::optional<std::string> check(const ZVValue::Array& values) {
    if (values.size() != sizeof...(Arguments))
      return fmt::format("takes {} arguments, not {}", sizeof...(Arguments), values.size());
    return firstWrong(values, Indices());
  }

  template <auto function>
  static std::optional<ZVValue> play(const ZVValue::Array& values) try {
    return playWith(function, values, Indices());
  } catch (const std::exception& failure) {
    return ZVMap{{"thrown", failure.what()}};
  }

 private:
  template <std::size_t... I>
  static std::optional<std::string> firstWrong([[maybe_unused]] const ZVValue::Array& values,
                                               std::index_sequence<I...>) {
    std::optional<std::string> wrong;
    [[maybe_unused]] const auto checkOne = [&](std::size_t index, bool fits, std::string_view takes) {
      if (!fits && !wrong) wrong = fmt::format("argument {} must be {}", index + 1, takes);
    };
    (checkOne(I, Reader<std::decay_t<Arguments>>::read(values[I]).has_value(), Reader<std::decay_t<Arguments>>::kTakes),
     ...);
    return wrong;
  }

  template <class Function, std::size_t... I>
  static std::optional<ZVValue> playWith(Function function, [[maybe_unused]] const ZVValue::Array& values,
                                         std::index_sequence<I...>) {
    if constexpr (std::is_void_v<std::invoke_result_t<Function, Arguments...>>) {
      function(*Reader<std::decay_t<Arguments>>::read(values[I])...);
      return std::nullopt;
    } else {
      return answerOf(function(*Reader<std::decay_t<Arguments>>::read(values[I])...));
    }
  }
};

template <class Function>
struct SignatureOf;
template <class Result, class... Arguments>
struct SignatureOf<Result (*)(Arguments...)> : Signature<Arguments...> {};
template <class Result, class... Arguments>
struct SignatureOf<Result (*)(Arguments...) noexcept> : Signature<Arguments...> {};

// A function that has one form.
template <auto function>
constexpr Operation row(std::string_view name) {
  using Taken = SignatureOf<decltype(function)>;
  return {name, Taken::check, Taken::template play<function>};
}

// One form of a family of overloads, by the arguments that it takes.
template <auto family, class... Arguments>
constexpr Operation form(std::string_view name) {
  return {name, Signature<Arguments...>::check, Signature<Arguments...>::template play<family>};
}

using Z = Zorvane;
using Number = std::optional<double>;
using Integer = std::int64_t;

constexpr auto business = [](auto... a) { Z::addBusinessEventWithCurrency(std::move(a)...); };
constexpr auto resource = [](auto... a) { Z::addResourceEventWithFlowType(std::move(a)...); };
constexpr auto progression = [](auto... a) { Z::addProgressionEventWithProgressionStatus(std::move(a)...); };
constexpr auto design = [](auto... a) { Z::addDesignEventWithEventId(std::move(a)...); };
constexpr auto error = [](auto... a) { Z::addErrorEventWithSeverity(std::move(a)...); };
constexpr auto ad = [](auto... a) { Z::addAdEventWithAction(std::move(a)...); };
constexpr auto impression = [](auto... a) { Z::addImpressionEventWithAdNetworkName(std::move(a)...); };
constexpr auto mopub = [](auto... a) { Z::addImpressionMopubEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto fyber = [](auto... a) { Z::addImpressionFyberEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto ironSource = [](auto... a) { Z::addImpressionIronSourceEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto topOn = [](auto... a) { Z::addImpressionTopOnEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto hyperBid = [](auto... a) { Z::addImpressionHyperBidEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto maxNetwork = [](auto... a) { Z::addImpressionMaxEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto aequus = [](auto... a) { Z::addImpressionAequusEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto adMob = [](auto... a) { Z::addImpressionAdMobEventWithAdNetworkVersion(std::move(a)...); };
constexpr auto remoteConfig = [](auto... a) { return Z::getRemoteConfigsValueAsString(a...); };

constexpr auto kOperations = std::to_array<Operation>({
    row<Z::sharedInstance>("sharedInstance"),
    row<Z::configureBuild>("configureBuild:"),
    row<Z::configureUserId>("configureUserId:"),
    row<Z::configureSdkVersion>("configureSdkVersion:"),
    row<Z::configureEngineVersion>("configureEngineVersion:"),
    row<Z::configureAutoDetectAppVersion>("configureAutoDetectAppVersion:"),
    row<Z::configureAvailableCustomDimensions01>("configureAvailableCustomDimensions01:"),
    row<Z::configureAvailableCustomDimensions02>("configureAvailableCustomDimensions02:"),
    row<Z::configureAvailableCustomDimensions03>("configureAvailableCustomDimensions03:"),
    row<Z::configureAvailableResourceCurrencies>("configureAvailableResourceCurrencies:"),
    row<Z::configureAvailableResourceItemTypes>("configureAvailableResourceItemTypes:"),
    row<Z::configureGameKey>("configureGameKey:gameSecret:"),
    row<Z::initializeWithGameKey>("initializeWithGameKey:gameSecret:"),
    row<Z::initializeWithConfiguredGameKeyAndGameSecret>("initializeWithConfiguredGameKeyAndGameSecret"),
    row<Z::setEnabledInfoLog>("setEnabledInfoLog:"),
    row<Z::setEnabledVerboseLog>("setEnabledVerboseLog:"),
    row<Z::setEnabledWarningLog>("setEnabledWarningLog:"),
    row<Z::setEnableDebugLog>("setEnableDebugLog:"),
    row<Z::setEnabledManualSessionHandling>("setEnabledManualSessionHandling:"),
    row<Z::setEnabledErrorReporting>("setEnabledErrorReporting:"),
    row<Z::setEnabledEventSubmission>("setEnabledEventSubmission:"),
    row<Z::setBaseUrl>("setBaseUrl:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVFlag>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:autoFetchReceipt:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVFlag, ZVMap>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:autoFetchReceipt:customFields:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVFlag, ZVMap, ZVFlag>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:autoFetchReceipt:customFields:mergeFields:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVText>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:receipt:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVText, ZVMap>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:receipt:customFields:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVText, ZVMap, ZVFlag>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:receipt:customFields:mergeFields:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVText, ZVFlag>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:receipt:getReceiptAutomatically:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVText, ZVFlag, ZVMap>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:receipt:getReceiptAutomatically:customFields:"),
    form<business, ZVText, Integer, ZVText, ZVText, ZVText, ZVText, ZVFlag, ZVMap, ZVFlag>(
        "addBusinessEventWithCurrency:amount:itemType:itemId:cartType:receipt:getReceiptAutomatically:customFields:"
        "mergeFields:"),
    form<resource, ZVResourceFlowType, ZVText, Number, ZVText, ZVText>(
        "addResourceEventWithFlowType:currency:amount:itemType:itemId:"),
    form<resource, ZVResourceFlowType, ZVText, Number, ZVText, ZVText, ZVMap>(
        "addResourceEventWithFlowType:currency:amount:itemType:itemId:customFields:"),
    form<resource, ZVResourceFlowType, ZVText, Number, ZVText, ZVText, ZVMap, ZVFlag>(
        "addResourceEventWithFlowType:currency:amount:itemType:itemId:customFields:mergeFields:"),
    form<progression, ZVProgressionStatus, ZVText, ZVText, ZVText>(
        "addProgressionEventWithProgressionStatus:progression01:progression02:progression03:"),
    form<progression, ZVProgressionStatus, ZVText, ZVText, ZVText, ZVMap>(
        "addProgressionEventWithProgressionStatus:progression01:progression02:progression03:customFields:"),
    form<progression, ZVProgressionStatus, ZVText, ZVText, ZVText, ZVMap, ZVFlag>(
        "addProgressionEventWithProgressionStatus:progression01:progression02:progression03:customFields:mergeFields:"),
    form<progression, ZVProgressionStatus, ZVText, ZVText, ZVText, Integer>(
        "addProgressionEventWithProgressionStatus:progression01:progression02:progression03:score:"),
    form<progression, ZVProgressionStatus, ZVText, ZVText, ZVText, Integer, ZVMap>(
        "addProgressionEventWithProgressionStatus:progression01:progression02:progression03:score:customFields:"),
    form<progression, ZVProgressionStatus, ZVText, ZVText, ZVText, Integer, ZVMap, ZVFlag>(
        "addProgressionEventWithProgressionStatus:progression01:progression02:progression03:score:customFields:"
        "mergeFields:"),
    form<design, ZVText>("addDesignEventWithEventId:"),
    form<design, ZVText, ZVMap>("addDesignEventWithEventId:customFields:"),
    form<design, ZVText, ZVMap, ZVFlag>("addDesignEventWithEventId:customFields:mergeFields:"),
    form<design, ZVText, Number>("addDesignEventWithEventId:value:"),
    form<design, ZVText, Number, ZVMap>("addDesignEventWithEventId:value:customFields:"),
    form<design, ZVText, Number, ZVMap, ZVFlag>("addDesignEventWithEventId:value:customFields:mergeFields:"),
    form<error, ZVErrorSeverity, ZVText>("addErrorEventWithSeverity:message:"),
    form<error, ZVErrorSeverity, ZVText, ZVMap>("addErrorEventWithSeverity:message:customFields:"),
    form<error, ZVErrorSeverity, ZVText, ZVMap, ZVFlag>("addErrorEventWithSeverity:message:customFields:mergeFields:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, Integer>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:duration:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, Integer, ZVMap>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:duration:customFields:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, Integer, ZVMap, ZVFlag>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:duration:customFields:mergeFields:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, ZVAdError>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:noAdReason:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, ZVAdError, ZVMap>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:noAdReason:customFields:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, ZVAdError, ZVMap, ZVFlag>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:noAdReason:customFields:mergeFields:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText>("addAdEventWithAction:adType:adSdkName:adPlacement:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, ZVMap>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:customFields:"),
    form<ad, ZVAdAction, ZVAdType, ZVText, ZVText, ZVMap, ZVFlag>(
        "addAdEventWithAction:adType:adSdkName:adPlacement:customFields:mergeFields:"),
    form<impression, ZVText, ZVText, ZVMap>("addImpressionEventWithAdNetworkName:adNetworkVersion:impressionData:"),
    form<impression, ZVText, ZVText, ZVMap, ZVMap>(
        "addImpressionEventWithAdNetworkName:adNetworkVersion:impressionData:customFields:"),
    form<impression, ZVText, ZVText, ZVMap, ZVMap, ZVFlag>(
        "addImpressionEventWithAdNetworkName:adNetworkVersion:impressionData:customFields:mergeFields:"),
    form<mopub, ZVText, ZVMap>("addImpressionMopubEventWithAdNetworkVersion:impressionData:"),
    form<mopub, ZVText, ZVMap, ZVMap>("addImpressionMopubEventWithAdNetworkVersion:impressionData:customFields:"),
    form<fyber, ZVText, ZVMap>("addImpressionFyberEventWithAdNetworkVersion:impressionData:"),
    form<fyber, ZVText, ZVMap, ZVMap>("addImpressionFyberEventWithAdNetworkVersion:impressionData:customFields:"),
    form<ironSource, ZVText, ZVMap>("addImpressionIronSourceEventWithAdNetworkVersion:impressionData:"),
    form<ironSource, ZVText, ZVMap, ZVMap>(
        "addImpressionIronSourceEventWithAdNetworkVersion:impressionData:customFields:"),
    form<topOn, ZVText, ZVMap>("addImpressionTopOnEventWithAdNetworkVersion:impressionData:"),
    form<topOn, ZVText, ZVMap, ZVMap>("addImpressionTopOnEventWithAdNetworkVersion:impressionData:customFields:"),
    form<hyperBid, ZVText, ZVMap>("addImpressionHyperBidEventWithAdNetworkVersion:impressionData:"),
    form<hyperBid, ZVText, ZVMap, ZVMap>("addImpressionHyperBidEventWithAdNetworkVersion:impressionData:customFields:"),
    form<maxNetwork, ZVText, ZVMap>("addImpressionMaxEventWithAdNetworkVersion:impressionData:"),
    form<maxNetwork, ZVText, ZVMap, ZVMap>("addImpressionMaxEventWithAdNetworkVersion:impressionData:customFields:"),
    form<aequus, ZVText, ZVMap>("addImpressionAequusEventWithAdNetworkVersion:impressionData:"),
    form<aequus, ZVText, ZVMap, ZVMap>("addImpressionAequusEventWithAdNetworkVersion:impressionData:customFields:"),
    form<adMob, ZVText, ZVMap>("addImpressionAdMobEventWithAdNetworkVersion:impressionData:"),
    form<adMob, ZVText, ZVMap, ZVMap>("addImpressionAdMobEventWithAdNetworkVersion:impressionData:customFields:"),
    row<Z::adTypeToString>("adTypeToString:"),
    row<Z::startSession>("startSession"),
    row<Z::endSession>("endSession"),
    row<Z::flush>("flush"),
    row<Z::setCustomDimension01>("setCustomDimension01:"),
    row<Z::setCustomDimension02>("setCustomDimension02:"),
    row<Z::setCustomDimension03>("setCustomDimension03:"),
    row<Z::setGlobalCustomEventFields>("setGlobalCustomEventFields:"),
    form<remoteConfig, ZVText>("getRemoteConfigsValueAsString:"),
    form<remoteConfig, ZVText, ZVText>("getRemoteConfigsValueAsString:defaultValue:"),
    row<Z::isRemoteConfigsReady>("isRemoteConfigsReady"),
    row<Z::setRemoteConfigsDelegate>("setRemoteConfigsDelegate:"),
    row<Z::getRemoteConfigsContentAsString>("getRemoteConfigsContentAsString"),
    row<Z::getABTestingId>("getABTestingId"),
    row<Z::getABTestingVariantId>("getABTestingVariantId"),
    row<Z::startTimer>("startTimer:"),
    row<Z::pauseTimer>("pauseTimer:"),
    row<Z::resumeTimer>("resumeTimer:"),
    row<Z::stopTimer>("stopTimer:"),
    row<ZVTimer::scheduledTimerWithTimeInterval>("scheduledTimerWithTimeInterval:task:repeats:"),
    row<ZVTimer::servePending>("servePending"),
});

}  // namespace

const Operation* findOperation(std::string_view name) {
  const auto* const found = std::ranges::find(kOperations, name, &Operation::name);
  return found == kOperations.end() ? nullptr : found;
}

std::vector<std::string_view> operationNames() {
  std::vector<std::string_view> names;
  names.reserve(kOperations.size());
  for (const Operation& operation : kOperations) names.push_back(operation.name);
  return names;
}
