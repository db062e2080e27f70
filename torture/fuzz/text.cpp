// Text as the library measures it, against a second implementation of UTF-8, and the rules for text, against the
// collector's.
#include <utf8.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <string>

#include "Fuzz.h"
#include "codecs/ZVHelpers.h"
#include "collector/base/Json.h"
#include "collector/base/Text.h"
#include "collector/records/Rules.h"
#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

std::size_t unitsOf(std::string_view text) {
  std::u16string units;
  utf8::utf8to16(text.begin(), text.end(), std::back_inserter(units));
  return units.size();
}

// Each byte that begins no character is replaced.
std::string repaired(std::string_view text) {
  std::string whole;
  for (auto at = text.begin(); at != text.end();) {
    const auto begin = at;
    utf8::uint32_t character = 0xFFFD;
    try {
      character = utf8::next(at, text.end());
    } catch (const utf8::exception&) {
      at = begin + 1;
    }
    utf8::append(character, std::back_inserter(whole));
  }
  return whole;
}

void checkMeasures(std::string_view text, std::size_t limit) {
  const bool valid = utf8::is_valid(text.begin(), text.end());
  fuzz::require(isValidUtf8(text) == valid, "valid or not", text);
  fuzz::require(withReplacementCharacters(text) == repaired(text), "what is put in place of bytes", text);
  const auto prefix = prefixOfUtf16Length(text, limit);
  fuzz::require(text.starts_with(prefix) && utf8::is_valid(prefix.begin(), prefix.end()), "a prefix", text);
  fuzz::require(unitsOf(prefix) <= limit, "a prefix is too long", text);
  if (!valid) return;
  fuzz::require(utf16Length(text) == unitsOf(text) && collector::utf16Length(text) == unitsOf(text), "length", text);
  auto next = prefix.end();
  if (prefix.size() == text.size()) return;
  utf8::next(next, text.end());
  fuzz::require(unitsOf({prefix.begin(), next}) > limit, "a prefix is too short", text);
}

void checkNumbers(double number, std::int64_t whole, std::string_view text) {
  if (std::isfinite(number)) {
    const auto written = decimalText(number);
    double read = 0;
    const auto [end, error] = std::from_chars(written.data(), written.data() + written.size(), read);
    fuzz::require(error == std::errc() && end == written.data() + written.size() && read == number, "a number",
                  written);
  }
  fuzz::require(integerOfText(std::to_string(whole)) == whole, "a whole number");
  (void)integerReading(ZVValue(number));
  (void)integerOfText(text);
  (void)booleanReading(text);
  (void)ZVHelpers::escapeValueForURLParameter(text);
  (void)ZVHelpers::stringToMd5(text);
  (void)ZVHelpers::encryptString(text, "a key of 16 chars");
}

bool isTakenByTheCollector(const ZVMap& own) {
  ZVMap record{{"v", 2},
               {"user_id", ""},
               {"event_uuid", "0a1b2c3d-0000-4000-8000-00000000000f"},
               {"ios_idfa", ""},
               {"ios_idfv", ""},
               {"sdk_version", "ios 4.6.7"},
               {"os_version", "ios 17"},
               {"manufacturer", "apple"},
               {"device", "x"},
               {"platform", "ios"},
               {"session_id", ""},
               {"session_num", 1},
               {"connection_type", ""},
               {"build", ""}};
  for (const auto& [key, value] : own) record.set(key, value);
  const auto json = ZVHelpers::jsonStringWithObject(record);
  if (!json) return false;
  const auto parsed = collector::parseJson(*json);
  fuzz::require(parsed.failure.empty(), "the collector can't read it", *json);
  collector::Findings findings;
  collector::readRecord(parsed.document, json->size(), findings);
  return findings.good;
}

ZVMap with(const char* category, const ZVMap& fields) {
  ZVMap own{{"category", category}};
  for (const auto& [key, value] : fields) own.set(key, value);
  return own;
}

// What the one lets through the other takes, and nothing else.
void checkRules(const std::string& text) {
  const auto same = [&](bool library, const ZVMap& own, const char* what) {
    fuzz::require(library == isTakenByTheCollector(own), what, text);
  };
  same(!ZVValidator::validateDesignEventWithEventId(text), with("design", {{"event_id", text}}), "a design event's id");
  same(!ZVValidator::validateBusinessEventWithCurrency(text, 0, "", "t", "i"),
       with("business", {{"event_id", "t:i"}, {"currency", text}, {"amount", 0}, {"transaction_num", 1}}),
       "a currency");
  if (text.find(':') == std::string::npos)
    same(!ZVValidator::validateBusinessEventWithCurrency("EUR", 0, "", text, "i"),
         with("business", {{"event_id", text + ":i"}, {"currency", "EUR"}, {"amount", 0}, {"transaction_num", 1}}),
         "a part");
  if (!text.empty())
    same(!ZVValidator::validateBusinessEventWithCurrency("EUR", 0, text, "t", "i"),
         with("business",
              {{"event_id", "t:i"}, {"currency", "EUR"}, {"amount", 0}, {"transaction_num", 1}, {"cart_type", text}}),
         "a cart type");
  same(!ZVValidator::validateErrorEventWithSeverity(ZVErrorSeverity::info, text),
       with("error", {{"severity", "info"}, {"message", text}}), "a message");
  for (const bool placement : {false, true})
    same(!ZVValidator::validateAdEventWithAction(ZVAdAction::show, ZVAdType::banner, placement ? "s" : text,
                                                 placement ? text : "p"),
         with("ads", {{"ad_sdk_name", placement ? "s" : text},
                      {"ad_placement", placement ? text : "p"},
                      {"ad_type", "banner"},
                      {"ad_action", "show"}}),
         "an ad's name or placement");
  for (const bool version : {false, true}) {
    const std::string name = version ? "max" : text;
    const std::string number = version ? text : "1";
    same(!ZVValidator::validateImpressionEventWithAdNetworkName(name, number, {{"a", 1}}),
         with("impression", {{"ad_network_name", name}, {"ad_network_version", number}}), "an ad network");
  }
  for (const bool key : {false, true}) {
    const ZVMap fields{{key ? text : "k", key ? ZVValue(1) : ZVValue(text)}};
    same(ZVEvents::validateAndCleanCustomFields(fields) == fields,
         with("design", {{"event_id", "a"}, {"custom_fields", fields}}), "a custom field");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  ZVState::setEnableEventSubmission(false);  // what is refused is reported to nobody
  const auto limit = input.byte();
  const auto number = input.number();
  const auto whole = input.whole();
  const std::string text = input.flag() ? input.text() : std::string(input.rest());
  checkMeasures(text, limit);
  checkNumbers(number, whole, text);
  checkRules(text);
  return 0;
}
