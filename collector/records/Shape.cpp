#include "collector/records/Shape.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "collector/base/Text.h"

namespace collector {

namespace {

constexpr std::size_t kShownBytes = 40;
constexpr std::size_t kListedWords = 12;
constexpr auto kCustomKey = shapes::text(1, 64);
constexpr auto kCustomText = shapes::text(1, 256);
constexpr std::string_view kPartMeaning = "1 to 64 letters, digits, white space or -_.()!?";
constexpr std::string_view kReceiptMeaning = R"(an object of "receipt", a text, and "store", which is apple)";

bool isWithin(const Shape& shape, std::size_t count) {
  return std::cmp_greater_equal(count, shape.min) && std::cmp_less_equal(count, shape.max);
}

bool hasLength(const Shape& shape, std::string_view text) {
  // No text has more characters than bytes, so few have to be counted.
  return std::cmp_greater_equal(text.size(), shape.min) &&
         (std::cmp_less_equal(text.size(), shape.max) || isWithin(shape, utf16Length(text)));
}

bool fitsText(const Shape& shape, std::string_view text) {
  if (!hasLength(shape, text)) return false;
  if (shape.mayEndALine) text = withoutFinalTerminator(text);
  return (shape.words.empty() || isOneOf(text, shape.words)) && (shape.form == nullptr || shape.form->holds(text));
}

// The parts of an id, one after the other.
class Parts {
 public:
  explicit Parts(std::string_view id) : rest_(id) {}
  std::optional<std::string_view> next() {
    if (!rest_) return std::nullopt;
    const auto end = rest_->find(':');
    const auto part = rest_->substr(0, end);
    rest_ = end == std::string_view::npos ? std::nullopt : std::optional(rest_->substr(end + 1));
    return part;
  }

 private:
  std::optional<std::string_view> rest_;
};

bool areParts(const Shape& shape, std::string_view text) {
  Parts parts(text);
  std::size_t count = 0;
  for (; const auto part = parts.next(); ++count)
    if (!isEventPart(*part) || (count == 0 && !shape.words.empty() && !isOneOf(*part, shape.words))) return false;
  return isWithin(shape, count);
}

// The last part may be full: a line terminator has its place behind it.
bool fitsId(const Shape& shape, std::string_view text) {
  return areParts(shape, text) || (shape.mayEndALine && areParts(shape, withoutFinalTerminator(text)));
}

bool isCustomKey(std::string_view key) {
  key = withoutFinalTerminator(key);
  const auto isWord = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
  };
  return hasLength(kCustomKey, key) && std::all_of(key.begin(), key.end(), isWord);
}

bool isCustomValue(const JsonValue& value) {
  return value.IsString() ? fitsText(kCustomText, textOf(value)) : value.IsNumber() || value.IsBool();
}

bool areCustomFields(const Shape& shape, const JsonValue& value) {
  return value.IsObject() && isWithin(shape, value.MemberCount()) &&
         std::all_of(value.MemberBegin(), value.MemberEnd(),
                     [](const auto& field) { return isCustomKey(textOf(field.name)) && isCustomValue(field.value); });
}

bool isReceipt(const JsonValue& value) {
  if (!value.IsObject()) return false;
  const auto* const content = findMember(value, "receipt");
  return content != nullptr && content->IsString() && textMember(value, "store") == "apple";
}

bool isWholeWithin(const Shape& shape, const JsonValue& value) {
  return value.IsInt64() && value.GetInt64() >= shape.min && value.GetInt64() <= shape.max;
}

std::string range(const Shape& shape, std::string_view one, std::string_view many) {
  if (shape.min == shape.max) return fmt::format("{} {}", shape.min, shape.min == 1 ? one : many);
  if (shape.max == Shape::kMost) return fmt::format("at least {} {}", shape.min, shape.min == 1 ? one : many);
  if (shape.min == 0) return fmt::format("up to {} {}", shape.max, many);
  return fmt::format("{} to {} {}", shape.min, shape.max, many);
}

std::string describeText(const Shape& shape) {
  if (!shape.words.empty()) return "one of " + describe(shape.words);
  if (shape.form != nullptr) return std::string(shape.form->meaning);
  return shape.min == 0 && shape.max == Shape::kMost ? "text" : "text of " + range(shape, "character", "characters");
}

std::string describeWhole(const Shape& shape) {
  if (shape.min == shape.max) return fmt::format("the number {}", shape.min);
  if (shape.min == Shape::kLeast) return "a whole number";
  if (shape.max == Shape::kMost) return fmt::format("a whole number from {}", shape.min);
  return fmt::format("a whole number from {} to {}", shape.min, shape.max);
}

std::string describeId(const Shape& shape) {
  if (shape.words.empty()) return range(shape, "part", "parts") + " with : between them";
  const Shape behind{Type::id, shape.min - 1, shape.max - 1};
  return fmt::format("{} and {} with : between them", describe(shape.words), range(behind, "part", "parts"));
}

std::string shownText(std::string_view text) {
  const auto start = prefixOf(text, kShownBytes);
  if (start.size() == text.size()) return quotedJson(text);
  return fmt::format("{} ({} characters)", quotedJson(std::string(start) + "..."), utf16Length(text));
}

// Of an id, the part that is to blame.
std::string describeBadPart(const Shape& shape, std::string_view text) {
  Parts parts(shape.mayEndALine ? withoutFinalTerminator(text) : text);
  for (std::int64_t count = 1; const auto part = parts.next(); ++count) {
    if (count > shape.max) return {};
    if (!isEventPart(*part)) return fmt::format("part {}, {}, is not {}", count, shownText(*part), kPartMeaning);
  }
  return {};
}

// Of a game's own fields, the one that is to blame.
std::string describeBadField(const JsonValue& fields) {
  for (const auto& field : fields.GetObject()) {
    if (!isCustomKey(textOf(field.name)))
      return fmt::format("the name {} is not 1 to 64 letters, digits or _", shown(field.name));
    if (!isCustomValue(field.value))
      return fmt::format("{}: {} is not a number, true, false or {}", shown(field.name), shown(field.value),
                         describe(kCustomText));
  }
  return {};
}

}  // namespace

bool isOneOf(std::string_view word, Words words) { return std::find(words.begin(), words.end(), word) != words.end(); }

bool fits(const Shape& shape, const JsonValue& value) {
  switch (shape.type) {
    case Type::text: return value.IsString() && fitsText(shape, textOf(value));
    case Type::id: return value.IsString() && fitsId(shape, textOf(value));
    case Type::whole: return isWholeWithin(shape, value);
    case Type::number: return value.IsNumber();
    case Type::yes: return value.IsTrue();
    case Type::object: return value.IsObject() && isWithin(shape, value.MemberCount());
    case Type::fields: return areCustomFields(shape, value);
    case Type::receipt: return isReceipt(value);
  }
  return false;
}

std::string describe(Words words) {
  if (words.size() > kListedWords) return fmt::format("{} words, such as {}", words.size(), words.front());
  std::string list;
  for (std::size_t at = 0; at < words.size(); ++at) {
    if (at > 0) list += at + 1 < words.size() ? ", " : " or ";
    list += words[at].empty() ? "\"\"" : words[at];
  }
  return list;
}

std::string describe(const Shape& shape) {
  switch (shape.type) {
    case Type::text: return describeText(shape);
    case Type::id: return describeId(shape);
    case Type::whole: return describeWhole(shape);
    case Type::number: return "a number";
    case Type::yes: return "true";
    case Type::object: return "an object of " + range(shape, "member", "members");
    case Type::fields: return "an object of " + range(shape, "field", "fields");
    case Type::receipt: return std::string(kReceiptMeaning);
  }
  return {};
}

std::string describeMisfit(const Shape& shape, const JsonValue& value) {
  std::string part;
  if (shape.type == Type::id && value.IsString()) part = describeBadPart(shape, textOf(value));
  if (shape.type == Type::fields && value.IsObject() && isWithin(shape, value.MemberCount()))
    part = describeBadField(value);
  return part.empty() ? fmt::format("{} is not {}", shown(value), describe(shape)) : part;
}

std::string shown(const JsonValue& value) {
  if (value.IsString()) return shownText(textOf(value));
  if (value.IsObject()) return fmt::format("an object of {} members", value.MemberCount());
  if (value.IsArray()) return "a list";
  return jsonText(value);
}

}  // namespace collector
