#include <algorithm>
#include <array>

#include "codecs/ZVHelpers.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"

namespace zorvane {

namespace {

struct Dimension {
  std::string_view number;
  bool (*isValid)(ZVText);
  void (*set)(ZVText);
  void (*persist)(ZVText);
};
constexpr auto kDimensions = std::to_array<Dimension>({
    {"01", ZVValidator::validateDimension01, ZVState::setCustomDimension01, ZVStore::persistStateDimension01WithValue},
    {"02", ZVValidator::validateDimension02, ZVState::setCustomDimension02, ZVStore::persistStateDimension02WithValue},
    {"03", ZVValidator::validateDimension03, ZVState::setCustomDimension03, ZVStore::persistStateDimension03WithValue},
});

using TextList = ZVState::TextList;

bool holds(const TextList& list, ZVText value) {
  return list && value.present() && std::ranges::find(*list, value.view()) != list->end();
}

void setAvailable(std::size_t index, const TextList& values) {
  if (!ZVValidator::validateCustomDimensionsWithCustomDimensions(values)) return;
  ZVState::sharedInstance().availableCustomDimensions[index] = values;
  ZVState::validateAndFixCurrentDimensions();
  ZVLogger::i(0, "Set available custom{} dimension values: ({})", kDimensions[index].number, joined(*values, ", "));
}

void setCurrent(std::size_t index, ZVText value) {
  const ZVText kept = value.empty() ? ZVText() : value;  // "" clears as well
  ZVState::sharedInstance().currentCustomDimensions[index] = kept.copy();
  if (ZVStore::sharedInstance().tableReady) kDimensions[index].persist(kept);
  ZVLogger::i(0, "Set custom{} dimension value: {}", kDimensions[index].number, value);
}

}  // namespace

void ZVState::setAvailableCustomDimensions01(const TextList& values) { setAvailable(0, values); }
void ZVState::setAvailableCustomDimensions02(const TextList& values) { setAvailable(1, values); }
void ZVState::setAvailableCustomDimensions03(const TextList& values) { setAvailable(2, values); }

void ZVState::setCustomDimension01(ZVText value) { setCurrent(0, value); }
void ZVState::setCustomDimension02(ZVText value) { setCurrent(1, value); }
void ZVState::setCustomDimension03(ZVText value) { setCurrent(2, value); }

std::optional<std::string> ZVState::getDimension01() { return sharedInstance().currentCustomDimensions[0]; }
std::optional<std::string> ZVState::getDimension02() { return sharedInstance().currentCustomDimensions[1]; }
std::optional<std::string> ZVState::getDimension03() { return sharedInstance().currentCustomDimensions[2]; }

bool ZVState::hasAvailableCustomDimensions01(ZVText value) {
  return holds(sharedInstance().availableCustomDimensions[0], value);
}
bool ZVState::hasAvailableCustomDimensions02(ZVText value) {
  return holds(sharedInstance().availableCustomDimensions[1], value);
}
bool ZVState::hasAvailableCustomDimensions03(ZVText value) {
  return holds(sharedInstance().availableCustomDimensions[2], value);
}

void ZVState::validateAndFixCurrentDimensions() {
  const auto& current = sharedInstance().currentCustomDimensions;
  for (std::size_t i = 0; i < kDimensions.size(); ++i) {
    if (kDimensions[i].isValid(current[i])) continue;
    ZVLogger::d(0, "Invalid dimension{} found in variable. Setting to nil. Invalid dimension: {}",
                kDimensions[i].number, ZVText(current[i]));
    kDimensions[i].set({});
  }
}

void ZVState::setAvailableResourceCurrencies(const TextList& currencies) {
  if (!ZVValidator::validateResourceCurrenciesWithResourceCurrencies(currencies)) return;
  sharedInstance().availableResourceCurrencies = currencies;
  ZVLogger::i(0, "Set available resource currencies: ({})", joined(*currencies, ", "));
}

void ZVState::setAvailableResourceItemTypes(const TextList& itemTypes) {
  if (!ZVValidator::validateResourceItemTypesWithResourceItemTypes(itemTypes)) return;
  sharedInstance().availableResourceItemTypes = itemTypes;
  ZVLogger::i(0, "Set available resource item types: ({})", joined(*itemTypes, ", "));
}

bool ZVState::hasAvailableResourceCurrency(ZVText currency) {
  return holds(sharedInstance().availableResourceCurrencies, currency);
}
bool ZVState::hasAvailableResourceItemType(ZVText itemType) {
  return holds(sharedInstance().availableResourceItemTypes, itemType);
}

}  // namespace zorvane
