// Calls with any arguments: what the library stores and sends, the collector takes.
#include <zorvane/Zorvane.h>

#include <algorithm>

#include "Library.h"

using fuzz::Library;

namespace {

void configure(fuzz::Input& input) {
  Zorvane::configureBuild(input.text());
  Zorvane::configureUserId(input.text());
  Zorvane::configureSdkVersion(input.text());
  Zorvane::configureEngineVersion(input.text());
  Zorvane::configureAvailableCustomDimensions01(std::vector<std::string>{"d", input.text()});
  Zorvane::configureAvailableResourceCurrencies(std::vector<std::string>{"gems" + input.text()});
  Zorvane::configureAvailableResourceItemTypes(std::vector<std::string>{"t" + input.text()});
  Zorvane::configureAvailableResourceCurrencies({"gems"});
  Zorvane::configureAvailableResourceItemTypes({"t"});
}

template <class Enumeration>
Enumeration enumeration(fuzz::Input& input) {
  return static_cast<Enumeration>(input.byte() % 9);
}

void report(fuzz::Input& input) {
  const auto fields = [&] { return input.flag() ? fuzz::mapOf(input) : ZVMap(); };
  const bool merge = input.flag();
  const unsigned kind = input.byte() % 9;
  const std::string one = input.text();
  const std::string two = input.text();
  const std::string three = input.text();
  switch (kind) {
    case 0:
      return Zorvane::addBusinessEventWithCurrency(input.flag() ? "USD" : ZVText(one), input.whole(), two, three,
                                                   input.text(), ZVText(input.flag() ? "r" : nullptr), fields(), merge);
    case 1:
      return Zorvane::addResourceEventWithFlowType(enumeration<ZVResourceFlowType>(input),
                                                   input.flag() ? "gems" : ZVText(one), input.number(),
                                                   input.flag() ? "t" : ZVText(two), three, fields(), merge);
    case 2:
      return Zorvane::addProgressionEventWithProgressionStatus(enumeration<ZVProgressionStatus>(input), one, two, three,
                                                               input.whole(), fields(), merge);
    case 3: return Zorvane::addDesignEventWithEventId(one, input.number(), fields(), merge);
    case 4: return Zorvane::addErrorEventWithSeverity(enumeration<ZVErrorSeverity>(input), one, fields(), merge);
    case 5:
      return Zorvane::addAdEventWithAction(enumeration<ZVAdAction>(input), enumeration<ZVAdType>(input), one, two,
                                           input.whole(), fields(), merge);
    case 6:
      return Zorvane::addAdEventWithAction(enumeration<ZVAdAction>(input), enumeration<ZVAdType>(input), one, two,
                                           enumeration<ZVAdError>(input), fields(), merge);
    case 7:
      return Zorvane::addImpressionEventWithAdNetworkName(
          input.flag() ? "max" : ZVText(one), input.flag() ? "1.2" : ZVText(two), fuzz::mapOf(input), fields(), merge);
    default: Zorvane::setGlobalCustomEventFields(fuzz::mapOf(input)); Zorvane::setCustomDimension01(one);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Library& library = Library::get();
  library.forget();
  fuzz::Input input(bytes, size);
  library.now = input.oneOf({1'700'000'000.0, 1'700'000'000.5, 0.0, -7.0, 2'147'483'648.0, 1e11, 1e18, 1e300});
  if (input.flag()) configure(input);
  else Zorvane::configureAvailableResourceCurrencies({"gems"}), Zorvane::configureAvailableResourceItemTypes({"t"});
  library.initialise();
  for (int calls = 0; calls < 8 && !input.isEmpty(); ++calls) report(input);
  library.settle();
  library.requireThatAllIsTaken();
  library.answer = [](const ZVURLRequest&) { return fuzz::Reply{"[]", 200, 0}; };
  const auto waiting = library.stored();
  library.fireTimers();
  library.requireThatAllIsTaken();
  for (const auto& record : library.stored())  // sending may report something itself
    fuzz::require(std::find(waiting.begin(), waiting.end(), record) == waiting.end(), "an answered one is kept",
                  record);
  return 0;
}
