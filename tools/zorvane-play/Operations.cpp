#include "zorvane-play/Operations.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <type_traits>
#include <utility>

#include <fmt/format.h>
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
struct Reader<bool> {
  static constexpr std::string_view kTakes = "true or false";
  static std::optional<bool> read(const ZVValue& value) {
    const bool* flag = value.ifBool();
    return flag != nullptr ? std::optional(*flag) : std::nullopt;
  }
};

template <>
struct Reader<std::optional<double>> {
  static constexpr std::string_view kTakes = "a number or null";
  static std::optional<std::optional<double>> read(const ZVValue& value) {
    if (value.isNull()) return std::optional<double>();
    if (const auto* whole = value.ifInteger()) return std::optional(static_cast<double>(*whole));
    if (const auto* fraction = value.ifDouble()) return std::optional(*fraction);
    return std::nullopt;
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
struct Reader<Zorvane::TextList> {
  static constexpr std::string_view kTakes = "an array of texts or null";
  static std::optional<Zorvane::TextList> read(const ZVValue& value) {
    if (value.isNull()) return Zorvane::TextList();
    const ZVValue::Array* array = value.ifArray();
    if (array == nullptr) return std::nullopt;
    std::vector<std::string> texts;
    for (const ZVValue& element : *array) {
      if (element.ifString() == nullptr) return std::nullopt;
      texts.push_back(*element.ifString());
    }
    return Zorvane::TextList(std::move(texts));
  }
};

// Stands for a game's delegate: prints that it was told.
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

// ---- From the facade's answers to JSON.

ZVValue answerOf(bool answer) { return answer; }
ZVValue answerOf(std::string answer) { return answer; }
ZVValue answerOf(std::optional<std::string> answer) { return answer ? ZVValue(std::move(*answer)) : ZVValue(); }
ZVValue answerOf(const Zorvane&) { return "Zorvane"; }

// ---- A function of the facade as an operation.

template <class... Arguments>
struct Signature {
  template <std::size_t... I>
  static std::optional<std::string> check(const ZVValue::Array& values, std::index_sequence<I...>) {
    if (values.size() != sizeof...(Arguments))
      return fmt::format("takes {} arguments, not {}", sizeof...(Arguments), values.size());
    std::optional<std::string> wrong;
    [[maybe_unused]] const auto checkOne = [&](std::size_t index, bool fits, std::string_view takes) {
      if (!fits && !wrong) wrong = fmt::format("argument {} must be {}", index + 1, takes);
    };
    (checkOne(I, Reader<std::decay_t<Arguments>>::read(values[I]).has_value(), Reader<std::decay_t<Arguments>>::kTakes),
     ...);
    return wrong;
  }

  template <class Function, std::size_t... I>
  static std::optional<ZVValue> play(Function function, [[maybe_unused]] const ZVValue::Array& values,
                                     std::index_sequence<I...>) {
    if constexpr (std::is_void_v<std::invoke_result_t<Function, Arguments...>>) {
      function(*Reader<std::decay_t<Arguments>>::read(values[I])...);
      return std::nullopt;
    } else {
      return answerOf(function(*Reader<std::decay_t<Arguments>>::read(values[I])...));
    }
  }
};

template <auto function>
struct Playable;

template <class Result, class... Arguments, Result (*function)(Arguments...) noexcept>
struct Playable<function> {
  using Indices = std::index_sequence_for<Arguments...>;
  static std::optional<std::string> check(const ZVValue::Array& values) {
    return Signature<Arguments...>::check(values, Indices());
  }
  static std::optional<ZVValue> play(const ZVValue::Array& values) {
    return Signature<Arguments...>::play(function, values, Indices());
  }
};

template <auto function>
constexpr Operation row(std::string_view name) {
  return {name, Playable<function>::check, Playable<function>::play};
}

// Names one of several overloads by its arguments.
template <class... Arguments>
constexpr auto taking(void (*function)(Arguments...) noexcept) {
  return function;
}

using Z = Zorvane;
using Value = std::optional<double>;

// Forms that the facade writes as one function with a default argument.
void designWithFields(ZVText id, ZVMap fields) noexcept { Z::addDesignEventWithEventId(id, std::move(fields)); }
void designWithValueAndFields(ZVText id, Value value, ZVMap fields) noexcept {
  Z::addDesignEventWithEventId(id, value, std::move(fields));
}
std::optional<std::string> remoteConfig(ZVText key) noexcept { return Z::getRemoteConfigsValueAsString(key); }
std::optional<std::string> remoteConfigOr(ZVText key, ZVText defaultValue) noexcept {
  return Z::getRemoteConfigsValueAsString(key, defaultValue);
}

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
    row<taking<ZVText>(Z::addDesignEventWithEventId)>("addDesignEventWithEventId:"),
    row<designWithFields>("addDesignEventWithEventId:customFields:"),
    row<taking<ZVText, ZVMap, bool>(Z::addDesignEventWithEventId)>(
        "addDesignEventWithEventId:customFields:mergeFields:"),
    row<taking<ZVText, Value>(Z::addDesignEventWithEventId)>("addDesignEventWithEventId:value:"),
    row<designWithValueAndFields>("addDesignEventWithEventId:value:customFields:"),
    row<taking<ZVText, Value, ZVMap, bool>(Z::addDesignEventWithEventId)>(
        "addDesignEventWithEventId:value:customFields:mergeFields:"),
    row<Z::startSession>("startSession"),
    row<Z::endSession>("endSession"),
    row<Z::setCustomDimension01>("setCustomDimension01:"),
    row<Z::setCustomDimension02>("setCustomDimension02:"),
    row<Z::setCustomDimension03>("setCustomDimension03:"),
    row<Z::setGlobalCustomEventFields>("setGlobalCustomEventFields:"),
    row<remoteConfig>("getRemoteConfigsValueAsString:"),
    row<remoteConfigOr>("getRemoteConfigsValueAsString:defaultValue:"),
    row<Z::isRemoteConfigsReady>("isRemoteConfigsReady"),
    row<Z::setRemoteConfigsDelegate>("setRemoteConfigsDelegate:"),
    row<Z::getRemoteConfigsContentAsString>("getRemoteConfigsContentAsString"),
    row<Z::getABTestingId>("getABTestingId"),
    row<Z::getABTestingVariantId>("getABTestingVariantId"),
});

}  // namespace

const Operation* findOperation(std::string_view name) {
  const auto* const found = std::ranges::find(kOperations, name, &Operation::name);
  return found == kOperations.end() ? nullptr : found;
}

std::vector<std::string_view> operationNames() {
  std::vector<std::string_view> names;
  for (const Operation& operation : kOperations) names.push_back(operation.name);
  return names;
}
