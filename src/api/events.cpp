#include <zorvane/Zorvane.h>

#include <stdexcept>
#include <utility>

#include "api/frame.h"
#include "api/receipt.h"
#include "events/ZVEvents.h"
#include "values/EventWords.h"

using namespace zorvane;

namespace {

// The task of an event: once the gate lets it in, it is built. `build` owns copies of the call's arguments, and is made
// in its place here: the game's thread moves them no more than once, into the queue.
template <class Build>
struct EventTask {
  const char* refusal;
  Build build;
  void operator()() const {
    if (isSdkReadyWithNeedsInitialized(true, true, refusal)) build();
  }
};
template <class Build>
EventTask(const char*, Build) -> EventTask<Build>;

void postProgression(ZVProgressionStatus status, ZVText progression01, ZVText progression02, ZVText progression03,
                     std::optional<std::int64_t> score, ZVMap& customFields, bool mergeFields) noexcept {
  post([&] {
    return EventTask{"Could not add progression event",
                     [status, p01 = progression01.copy(), p02 = progression02.copy(), p03 = progression03.copy(), score,
                      fields = std::move(customFields), mergeFields] {
                       ZVEvents::addProgressionEventWithProgressionStatus(status, p01, p02, p03, score, fields,
                                                                          mergeFields);
                     }};
  });
}

void postAd(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement, ZVAdError noAdReason,
            std::optional<std::int64_t> duration, ZVMap& customFields, bool mergeFields) noexcept {
  post([&] {
    return EventTask{"Could not add ad event",
                     [action, adType, sdkName = adSdkName.copy(), placement = adPlacement.copy(), noAdReason, duration,
                      fields = std::move(customFields), mergeFields] {
                       ZVEvents::addAdEventWithAction(action, adType, sdkName, placement, noAdReason,
                                                      duration.value_or(0), duration.has_value(), fields, mergeFields);
                     }};
  });
}

constexpr ZVAdError kNoReason{};

}  // namespace

void Zorvane::addBusinessEventWithCurrency(ZVText currency, ZVInteger amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVFlag autoFetchReceipt, ZVMap customFields,
                                           ZVFlag mergeFields) noexcept {
  addBusinessEventWithCurrency(currency, amount, itemType, itemId, cartType, ZVText(), autoFetchReceipt,
                               std::move(customFields), mergeFields);
}

void Zorvane::addBusinessEventWithCurrency(ZVText currency, ZVInteger amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVText receipt, ZVMap customFields,
                                           ZVFlag mergeFields) noexcept {
  addBusinessEventWithCurrency(currency, amount, itemType, itemId, cartType, receipt, false, std::move(customFields),
                               mergeFields);
}

void Zorvane::addBusinessEventWithCurrency(ZVText currency, ZVInteger amount, ZVText itemType, ZVText itemId,
                                           ZVText cartType, ZVText receipt, ZVFlag getReceiptAutomatically,
                                           ZVMap customFields, ZVFlag mergeFields) noexcept {
  call([&] {
    std::optional<std::string> kept = receipt.copy();
    if (getReceiptAutomatically && !(kept = fetchReceipt())) return;
    post([&] {
      return EventTask{
          "Could not add business event",
          [currency = currency.copy(), amount, itemType = itemType.copy(), itemId = itemId.copy(),
           cartType = cartType.copy(), receipt = std::move(kept), fields = std::move(customFields), mergeFields] {
            ZVEvents::addBusinessEventWithCurrency(currency, amount, itemType, itemId, cartType, receipt, fields,
                                                   mergeFields);
          }};
    });
  });
}

void Zorvane::addResourceEventWithFlowType(ZVResourceFlowType flowType, ZVText currency, ZVNumber amount,
                                           ZVText itemType, ZVText itemId, ZVMap customFields,
                                           ZVFlag mergeFields) noexcept {
  post([&] {
    return EventTask{
        "Could not add resource event", [flowType, currency = currency.copy(), amount, itemType = itemType.copy(),
                                         itemId = itemId.copy(), fields = std::move(customFields), mergeFields] {
          ZVEvents::addResourceEventWithFlowType(flowType, currency, amount, itemType, itemId, fields, mergeFields);
        }};
  });
}

void Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus status, ZVText progression01,
                                                       ZVText progression02, ZVText progression03, ZVMap customFields,
                                                       ZVFlag mergeFields) noexcept {
  postProgression(status, progression01, progression02, progression03, std::nullopt, customFields, mergeFields);
}

void Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus status, ZVText progression01,
                                                       ZVText progression02, ZVText progression03, ZVInteger score,
                                                       ZVMap customFields, ZVFlag mergeFields) noexcept {
  postProgression(status, progression01, progression02, progression03, score, customFields, mergeFields);
}

void Zorvane::addDesignEventWithEventId(ZVText eventId) noexcept { addDesignEventWithEventId(eventId, std::nullopt); }

void Zorvane::addDesignEventWithEventId(ZVText eventId, ZVMap customFields, ZVFlag mergeFields) noexcept {
  addDesignEventWithEventId(eventId, std::nullopt, std::move(customFields), mergeFields);
}

void Zorvane::addDesignEventWithEventId(ZVText eventId, ZVNumber value, ZVMap customFields,
                                        ZVFlag mergeFields) noexcept {
  post([&] {
    return EventTask{
        "Could not add design event",
        [eventId = eventId.copy(), value = std::optional<double>(value).value_or(0), fields = std::move(customFields),
         mergeFields] { ZVEvents::addDesignEventWithEventId(eventId, value, fields, mergeFields); }};
  });
}

void Zorvane::addErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message, ZVMap customFields,
                                        ZVFlag mergeFields) noexcept {
  post([&] {
    return EventTask{"Could not add error event",
                     [severity, message = message.copy(), fields = std::move(customFields), mergeFields] {
                       ZVEvents::addErrorEventWithSeverity(severity, message, fields, mergeFields);
                     }};
  });
}

void Zorvane::addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVInteger duration, ZVMap customFields, ZVFlag mergeFields) noexcept {
  postAd(action, adType, adSdkName, adPlacement, kNoReason, duration, customFields, mergeFields);
}

void Zorvane::addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVAdReason noAdReason, ZVMap customFields, ZVFlag mergeFields) noexcept {
  postAd(action, adType, adSdkName, adPlacement, noAdReason, std::nullopt, customFields, mergeFields);
}

void Zorvane::addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                   ZVMap customFields, ZVFlag mergeFields) noexcept {
  postAd(action, adType, adSdkName, adPlacement, kNoReason, std::nullopt, customFields, mergeFields);
}

void Zorvane::addImpressionEventWithAdNetworkName(ZVText adNetworkName, ZVText adNetworkVersion, ZVMap impressionData,
                                                  ZVMap customFields, ZVFlag mergeFields) noexcept {
  post([&] {
    return EventTask{"Could not add impression event",
                     [name = adNetworkName.copy(), version = adNetworkVersion.copy(), data = std::move(impressionData),
                      fields = std::move(customFields), mergeFields] {
                       ZVEvents::addImpressionEventWithAdNetworkName(name, version, data, fields, mergeFields);
                     }};
  });
}

void Zorvane::addImpressionMopubEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("mopub", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionFyberEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("fyber", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionIronSourceEventWithAdNetworkVersion(ZVText version, ZVMap data,
                                                               ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("ironsource", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionTopOnEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("topon", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionHyperBidEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("hyperbid", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionMaxEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("max", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionAequusEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("aequus", version, std::move(data), std::move(customFields));
}
void Zorvane::addImpressionAdMobEventWithAdNetworkVersion(ZVText version, ZVMap data, ZVMap customFields) noexcept {
  addImpressionEventWithAdNetworkName("admob", version, std::move(data), std::move(customFields));
}

std::string Zorvane::adTypeToString(ZVAdType adType) {
  const auto name = wordOf(adType);
  if (!name) throw std::runtime_error("Unexpected FormatType.");
  std::string upper(*name);
  for (char& letter : upper)
    if (letter != '_') letter = static_cast<char>(letter - 'a' + 'A');
  return upper;
}
