// JSON in: parsed without recursion and within bounds, so that no body can exhaust the stack or the memory.
//
// Thread: any; no state is kept.
#pragma once

#include <rapidjson/document.h>

#include <functional>
#include <string>
#include <string_view>

namespace collector {

using JsonValue = rapidjson::Value;

// What all of them ask of a text: it has to be valid UTF-8, nested at most 512 deep, with at most 600,000 values in a
// document. A number too small for a double is 0; one that is too large, and half a surrogate pair, fail.

struct ParsedJson {
  rapidjson::Document document;
  std::string failure;  // empty when the text parsed
};

// `text` must outlive the result.
ParsedJson parseJson(std::string_view text);

// Gets an element of a list and its text as it stands. Texts of the element that had no escape lie in the list's text;
// all else is gone once this returns.
using TakeElement = std::function<void(const JsonValue& element, std::string_view text)>;

// Hands on the elements of a list one by one, in one parse; each takes the memory of the one before. The result is what
// is wrong with the list, empty when nothing is: it is known at the end only, behind elements that were handed on.
std::string forEachElement(std::string_view text, const TakeElement& take);

inline std::string_view textOf(const JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }
// The member's text, empty when it is missing or not text.
std::string_view textMember(const JsonValue& object, std::string_view name);
const JsonValue* findMember(const JsonValue& object, std::string_view name);
std::string jsonText(const JsonValue& value);
std::string quotedJson(std::string_view text);
// "[a,b]" or "{a,b}" of the JSON that `view` makes of each item.
template <class Items, class View>
std::string joinedJson(char open, const Items& items, char close, View view) {
  std::string text(1, open);
  for (const auto& item : items) {
    if (text.size() > 1) text += ',';
    text += view(item);
  }
  return text + close;
}

}  // namespace collector
