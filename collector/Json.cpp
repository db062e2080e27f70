#include "collector/Json.h"

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace collector {

namespace {

// Numbers are taken as text: the reader's own conversion looks beyond its table of powers for some exponents, and
// rounds.
constexpr unsigned kFlags =
    rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;
constexpr std::size_t kMaxDepth = 512;         // of a list of records, itself counted: what the library writes
constexpr std::size_t kMaxValues = 8'000'000;  // some 16 bytes each, whatever the text was

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
  // The parser hands numbers over as text only.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool) { return scalar() && number({text, size}); }
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
    // Too large or too small for a double, which is the same error. What is too large for the wider type as well, the
    // parser has refused by itself.
    long double wide = 0;
    const bool overflows = read(text, wide) == std::errc() && std::abs(wide) > 1;
    return refuseUnless(!overflows, "it holds a number that is too large") && document_.Double(0);
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
