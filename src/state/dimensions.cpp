#include <array>

#include "codecs/json.h"
#include "runtime/ZVLogger.h"
#include "state/Records.h"
#include "store/ZVStore.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"
#include "values/TextLists.h"

namespace zorvane {

namespace {

struct Dimension {
  std::string_view number;
  bool (*isValid)(ZVText);
  void (*set)(ZVText);
  void (*persist)(ZVText);
};
constexpr auto kDimensions = std::to_array<Dimension>({
    {"01", ZVState::validateDimension01, ZVState::setCustomDimension01, ZVStore::persistStateDimension01WithValue},
    {"02", ZVState::validateDimension02, ZVState::setCustomDimension02, ZVStore::persistStateDimension02WithValue},
    {"03", ZVState::validateDimension03, ZVState::setCustomDimension03, ZVStore::persistStateDimension03WithValue},
});

using TextList = ZVState::TextList;

void setAvailable(std::size_t index, const TextList& values) {
  if (!ZVValidator::validateCustomDimensionsWithCustomDimensions(values)) return;
  state().configuration.declared.customDimensions[index] = values;
  ZVState::validateAndFixCurrentDimensions();
  ZVLogger::i(0, "Set available custom{} dimension values: ({})", kDimensions[index].number, joined(*values, ", "));
}

void setCurrent(std::size_t index, ZVText value) {
  const ZVText kept = value.empty() ? ZVText() : value;  // "" clears as well
  state().configuration.dimensions[index] = kept.copy();
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

std::optional<std::string> ZVState::getDimension01() { return state().configuration.dimensions[0]; }
std::optional<std::string> ZVState::getDimension02() { return state().configuration.dimensions[1]; }
std::optional<std::string> ZVState::getDimension03() { return state().configuration.dimensions[2]; }

bool ZVState::hasAvailableCustomDimensions01(ZVText value) {
  return holds(state().configuration.declared.customDimensions[0], value);
}
bool ZVState::hasAvailableCustomDimensions02(ZVText value) {
  return holds(state().configuration.declared.customDimensions[1], value);
}
bool ZVState::hasAvailableCustomDimensions03(ZVText value) {
  return holds(state().configuration.declared.customDimensions[2], value);
}

bool ZVState::validateDimension01(ZVText value) { return value.empty() || hasAvailableCustomDimensions01(value); }
bool ZVState::validateDimension02(ZVText value) { return value.empty() || hasAvailableCustomDimensions02(value); }
bool ZVState::validateDimension03(ZVText value) { return value.empty() || hasAvailableCustomDimensions03(value); }

void ZVState::validateAndFixCurrentDimensions() {
  const auto& current = state().configuration.dimensions;
  for (std::size_t i = 0; i < kDimensions.size(); ++i) {
    if (kDimensions[i].isValid(current[i])) continue;
    ZVLogger::d(0, "Invalid dimension{} found in variable. Setting to nil. Invalid dimension: {}",
                kDimensions[i].number, ZVText(current[i]));
    kDimensions[i].set({});
  }
}

void ZVState::setAvailableResourceCurrencies(const TextList& currencies) {
  if (!ZVValidator::validateResourceCurrenciesWithResourceCurrencies(currencies)) return;
  state().configuration.declared.resourceCurrencies = currencies;
  ZVLogger::i(0, "Set available resource currencies: ({})", joined(*currencies, ", "));
}

void ZVState::setAvailableResourceItemTypes(const TextList& itemTypes) {
  if (!ZVValidator::validateResourceItemTypesWithResourceItemTypes(itemTypes)) return;
  state().configuration.declared.resourceItemTypes = itemTypes;
  ZVLogger::i(0, "Set available resource item types: ({})", joined(*itemTypes, ", "));
}

const ZVTextList& ZVState::availableResourceCurrencies() { return state().configuration.declared.resourceCurrencies; }
const ZVTextList& ZVState::availableResourceItemTypes() { return state().configuration.declared.resourceItemTypes; }
bool ZVState::hasAvailableResourceCurrency(ZVText currency) {
  return holds(state().configuration.declared.resourceCurrencies, currency);
}
bool ZVState::hasAvailableResourceItemType(ZVText itemType) {
  return holds(state().configuration.declared.resourceItemTypes, itemType);
}

void ZVState::setGlobalCustomEventFields(const ZVMap& fields) {
  state().configuration.globalFields.set(fields);
  if (fields.empty()) return;
  ZVLogger::i(0, "Set global custom event fields: {}", ZVText(writeJson(fields)));
}

const ZVMap& ZVState::getGlobalCustomEventFields() { return state().configuration.globalFields.asTheyAre(); }

const ZVMap& ZVState::cleanedGlobalCustomEventFields(ZVMap (*clean)(const ZVMap& fields)) {
  return state().configuration.globalFields.cleaned(clean);
}

}  // namespace zorvane
