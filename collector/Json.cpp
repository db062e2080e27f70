#include "collector/Json.h"

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace collector {

namespace {

constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
constexpr std::size_t kMaxDepth = 512;         // of a list of records, itself counted: what the library writes
constexpr std::size_t kMaxValues = 8'000'000;  // some 16 bytes each, whatever the text was

// The number that the text begins with, as JSON writes numbers; empty when it begins with none.
std::string_view numberAtFrontOf(std::string_view text) {
  std::size_t end = 0;
  const auto skipOneOf = [&](std::string_view characters) {
    const bool found = end < text.size() && characters.find(text[end]) != std::string_view::npos;
    if (found) ++end;
    return found;
  };
  const auto skipDigits = [&] {
    const auto begin = end;
    while (skipOneOf("0123456789")) {
    }
    return end > begin;
  };
  skipOneOf("-");
  bool good = skipOneOf("0") || skipDigits();
  if (skipOneOf(".")) good = skipDigits() && good;
  if (skipOneOf("eE")) {
    skipOneOf("+-");
    good = skipDigits() && good;
  }
  return good ? text.substr(0, end) : std::string_view{};
}

// Whether a number that no double comes near is too small, not too large.
bool isTiny(std::string_view number) {
  if (number.starts_with('-')) number.remove_prefix(1);
  const auto mantissa = number.substr(0, number.find_first_of("eE"));
  const auto first = mantissa.find_first_of("123456789");
  if (first == std::string_view::npos) return true;
  auto exponent = number.substr(std::min(mantissa.size() + 1, number.size()));
  const bool negative = exponent.starts_with('-');
  if (exponent.starts_with('+')) exponent.remove_prefix(1);
  std::int64_t power = 0;
  if (std::from_chars(exponent.data(), exponent.data() + exponent.size(), power).ec == std::errc::result_out_of_range)
    return negative;
  const auto point = std::min(mantissa.find('.'), mantissa.size());
  return power < static_cast<std::int64_t>(first) - static_cast<std::int64_t>(point);
}

// UTF-8 has no form for half a surrogate pair. Only an escape can bring one in: raw bytes have been checked.
bool hasHalfAPair(std::string_view text) {
  const auto isHalf = [](char first, char second) {
    return first == '\xED' && static_cast<unsigned char>(second) >= 0xA0;
  };
  return std::adjacent_find(text.begin(), text.end(), isHalf) != text.end();
}

// Hands the parser's events on to the document, counts, and notes where the elements of the outer array stand.
class Guard {
 public:
  Guard(rapidjson::Document& document, const rapidjson::MemoryStream& stream, std::string_view text,
        std::vector<std::string_view>& elements)
      : document_(document), stream_(stream), text_(text), elements_(elements) {}

  bool Null() { return scalar() && document_.Null(); }
  bool Bool(bool value) { return scalar() && document_.Bool(value); }
  bool Number(std::string_view text) { return scalar() && number(text); }
  bool String(const char* text, rapidjson::SizeType size, bool copy) {
    return scalar() && isText({text, size}) && document_.String(text, size, copy);
  }
  bool Key(const char* text, rapidjson::SizeType size, bool copy) {
    return count() && isText({text, size}) && document_.Key(text, size, copy);
  }
  bool StartObject() { return open() && document_.StartObject(); }
  bool StartArray() { return open() && document_.StartArray(); }
  bool EndObject(rapidjson::SizeType members) { return close() && document_.EndObject(members); }
  bool EndArray(rapidjson::SizeType elements) { return close() && document_.EndArray(elements); }

  // Why the parser was stopped.
  [[nodiscard]] const char* refusal() const { return refusal_; }

 private:
  bool refuseUnless(bool good, const char* refusal) {
    if (!good) refusal_ = refusal;
    return good;
  }
  bool count() { return refuseUnless(++values_ <= kMaxValues, "it holds too many values"); }
  bool open() { return refuseUnless(++depth_ <= kMaxDepth, "it is nested too deep") && count(); }
  bool isText(std::string_view text) { return refuseUnless(!hasHalfAPair(text), "it holds half a surrogate pair"); }
  template <class Number>
  static std::errc read(std::string_view text, Number& number) {
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && rest != text.data() + text.size() ? std::errc::invalid_argument : error;
  }
  bool number(std::string_view text) {
    if (std::int64_t whole = 0; read(text, whole) == std::errc()) return document_.Int64(whole);
    if (std::uint64_t whole = 0; read(text, whole) == std::errc()) return document_.Uint64(whole);
    double value = 0;
    if (read(text, value) == std::errc()) return document_.Double(value);
    return refuseUnless(isTiny(text), "it holds a number that is too large") && document_.Double(0);
  }
  bool scalar() {
    noteElement(stream_.Tell());
    return count();
  }
  bool close() {
    --depth_;
    noteElement(stream_.Tell() + 1);  // the parser still stands before the bracket
    return true;
  }
  // What stands between two elements is white space and a comma; before the first, the bracket as well.
  void noteElement(std::size_t end) {
    if (depth_ != 1) return;
    const auto begin = text_.find_first_not_of(elements_.empty() ? " \t\r\n[" : " \t\r\n,", elementsEnd_);
    elements_.push_back(text_.substr(begin, end - begin));
    elementsEnd_ = end;
  }

  rapidjson::Document& document_;
  const rapidjson::MemoryStream& stream_;
  const std::string_view text_;
  std::vector<std::string_view>& elements_;
  std::size_t elementsEnd_ = 0;
  std::size_t depth_ = 0;
  std::size_t values_ = 0;
  const char* refusal_ = "";
};

}  // namespace

}  // namespace collector

// The parser's own place for numbers: its conversion looks beyond its table of powers for some exponents, and rounds.
template <>
template <>
inline void rapidjson::Reader::ParseNumber<collector::kFlags, rapidjson::MemoryStream, collector::Guard>(
    rapidjson::MemoryStream& stream, collector::Guard& guard) {
  const auto number = collector::numberAtFrontOf({stream.src_, stream.end_});
  if (number.empty()) return SetParseError(kParseErrorValueInvalid, stream.Tell());
  stream.src_ += number.size();
  if (!guard.Number(number)) SetParseError(kParseErrorTermination, stream.Tell());
}

namespace collector {

namespace {

std::string describeFailure(const rapidjson::ParseResult& result, const Guard& guard) {
  if (result.Code() == rapidjson::kParseErrorTermination)
    return fmt::format("the body is refused: {}", guard.refusal());
  return fmt::format("the body is not JSON: {} (byte {})", rapidjson::GetParseError_En(result.Code()), result.Offset());
}

}  // namespace

ParsedJson parseJson(std::string_view text) {
  ParsedJson parsed;
  rapidjson::MemoryStream stream(text.data(), text.size());
  auto generator = [&](rapidjson::Document& document) {
    Guard guard(document, stream, text, parsed.elements);
    const auto result = rapidjson::Reader().Parse<kFlags>(stream, guard);
    if (result.IsError()) parsed.failure = describeFailure(result, guard);
    else if (stream.Tell() != text.size()) parsed.failure = "the body is not JSON: it goes on behind a zero byte";
    return !result.IsError();
  };
  parsed.document.Populate(generator);
  return parsed;
}

const JsonValue* findMember(const JsonValue& object, std::string_view name) {
  const JsonValue key(rapidjson::StringRef(name.data(), static_cast<rapidjson::SizeType>(name.size())));
  const auto member = object.FindMember(key);
  return member == object.MemberEnd() ? nullptr : &member->value;
}

std::string_view textMember(const JsonValue& object, std::string_view name) {
  const auto* const value = findMember(object, name);
  return value != nullptr && value->IsString() ? textOf(*value) : std::string_view{};
}

std::string jsonText(const JsonValue& value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace collector
