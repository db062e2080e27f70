// JSON in: parsed without recursion and within bounds, so that no body can exhaust the stack or the memory.
//
// Thread: any; no state is kept.
#pragma once

#include <rapidjson/document.h>

#include <string>
#include <string_view>
#include <vector>

namespace collector {

using JsonValue = rapidjson::Value;

struct ParsedJson {
  rapidjson::Document document;
  std::vector<std::string_view> elements;  // of a top-level array: the text of each, as it stands in the parsed text
  std::string failure;                     // empty when the text parsed
};

// `text` must outlive the result. It has to be valid UTF-8, nested at most 512 deep. A number too small for a double is
// 0; one that is too large, and half a surrogate pair, fail.
ParsedJson parseJson(std::string_view text);

inline std::string_view textOf(const JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }
// The member's text, empty when it is missing or not text.
std::string_view textMember(const JsonValue& object, std::string_view name);
const JsonValue* findMember(const JsonValue& object, std::string_view name);
std::string jsonText(const JsonValue& value);

}  // namespace collector
