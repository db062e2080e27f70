#include "collector/base/Json.h"

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <memory>
#include <optional>

namespace collector {

namespace {

constexpr unsigned kFlags =
    rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseStopWhenDoneFlag;
constexpr std::size_t kMaxDepth = 512;       // of a list of records, itself counted: what the library writes
constexpr std::size_t kMaxValues = 600'000;  // of a record: a MiB holds no more; some 16 bytes each, at first 40
constexpr std::size_t kUsualStack = std::size_t{4} << 10U;

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

// Text up to the closing quote that stands for itself: ASCII without an escape. Absent where there is more to it.
std::optional<std::string_view> plainTextAtFrontOf(std::string_view text) {
  const auto isPlain = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= ' ' && byte < 0x80U && c != '"' && c != '\\';
  };
  const auto* const end = std::find_if_not(text.begin(), text.end(), isPlain);
  if (end == text.end() || *end != '"') return std::nullopt;
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

// Hands the parser's events on to the document, within the bounds.
class Guard {
 public:
  // `depth`: how deep the value stands.
  Guard(rapidjson::Document& document, std::size_t depth) : document_(document), depth_(depth) {}

  bool Null() { return count() && document_.Null(); }
  bool Bool(bool value) { return count() && document_.Bool(value); }
  bool Number(std::string_view text) { return count() && number(text); }
  bool String(const char* text, rapidjson::SizeType size, bool copy) {
    return count() && isText({text, size}) && document_.String(text, size, copy);
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
  bool count() { return refuseUnless(++values_ <= kMaxValues, "it holds a record of too many values"); }
  bool open() { return refuseUnless(++depth_ <= kMaxDepth, "it is nested too deep") && count(); }
  bool close() {
    --depth_;
    return true;
  }
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

  rapidjson::Document& document_;
  std::size_t depth_;
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

// Its place for texts: nearly all are plain, and are borrowed rather than copied byte by byte.
template <>
template <>
inline void rapidjson::Reader::ParseString<collector::kFlags, rapidjson::MemoryStream, collector::Guard>(
    rapidjson::MemoryStream& stream, collector::Guard& guard, bool isKey) {
  stream.Take();  // the quote
  const auto plain = collector::plainTextAtFrontOf({stream.src_, stream.end_});
  std::string_view text;
  if (plain) {
    text = *plain;
    stream.src_ += text.size() + 1;
  } else {
    StackStream<char> unescaped(stack_);
    ParseStringToStream<collector::kFlags, UTF8<>, UTF8<>>(stream, unescaped);
    if (HasParseError()) return;
    const auto size = unescaped.Length() - 1;  // a zero ends it
    text = {unescaped.Pop(), size};
  }
  const auto size = static_cast<SizeType>(text.size());
  if (!(isKey ? guard.Key(text.data(), size, !plain) : guard.String(text.data(), size, !plain)))
    SetParseError(kParseErrorTermination, stream.Tell());
}

namespace collector {

namespace {

std::string notJson(std::string_view why, std::size_t byte) {
  return fmt::format("the body is not JSON: {} (byte {})", why, byte);
}

std::string failureOf(const rapidjson::ParseResult& result, const Guard& guard) {
  switch (result.Code()) {
    case rapidjson::kParseErrorNone: return {};
    case rapidjson::kParseErrorTermination: return fmt::format("the body is refused: {}", guard.refusal());
    case rapidjson::kParseErrorDocumentEmpty: return notJson("A value is missing.", result.Offset());
    default: return notJson(rapidjson::GetParseError_En(result.Code()), result.Offset());
  }
}

// One value after another of a text.
class Values {
 public:
  explicit Values(std::string_view text) : stream_(text.data(), text.size()) {}

  // Parses the value that comes next into the document. The result is what is wrong, if anything.
  std::string next(rapidjson::Document& document, std::size_t depth) {
    std::string failure;
    auto generator = [&](rapidjson::Document& into) {
      Guard guard(into, depth);
      failure = failureOf(reader_.Parse<kFlags>(stream_, guard), guard);
      return failure.empty();
    };
    document.Populate(generator);
    return failure;
  }
  // Passes over white space and then over `character`, if that is what comes next.
  bool skip(char character) {
    rapidjson::SkipWhitespace(stream_);
    const bool found = stream_.src_ != stream_.end_ && *stream_.src_ == character;
    if (found) stream_.Take();
    return found;
  }
  bool isAtEnd() {
    rapidjson::SkipWhitespace(stream_);
    return stream_.src_ == stream_.end_;
  }
  [[nodiscard]] std::size_t position() const { return stream_.Tell(); }
  std::size_t positionOfNext() {
    rapidjson::SkipWhitespace(stream_);
    return position();
  }

 private:
  rapidjson::MemoryStream stream_;
  rapidjson::Reader reader_;
};

std::string readRest(Values& values) {
  return values.isAtEnd() ? std::string() : notJson("It goes on behind its end.", values.position());
}

// Memory for one record at a time: what a usual one needs is there from the beginning.
struct Scratch {
  alignas(std::max_align_t) std::array<char, std::size_t{32} << 10U> room;
  rapidjson::MemoryPoolAllocator<> pool{room.data(), room.size()};
};

}  // namespace

ParsedJson parseJson(std::string_view text) {
  ParsedJson parsed;
  Values values(text);
  parsed.failure = values.next(parsed.document, 0);
  if (parsed.failure.empty()) parsed.failure = readRest(values);
  return parsed;
}

std::string forEachElement(std::string_view text, const TakeElement& take) {
  Values values(text);
  if (!values.skip('[')) return "the body is not a list of records";
  if (values.skip(']')) return readRest(values);
  const auto scratch = std::make_unique<Scratch>();
  do {
    rapidjson::Document element(&scratch->pool, kUsualStack);
    const auto begin = values.positionOfNext();
    if (auto failure = values.next(element, 1); !failure.empty()) return failure;
    take(element, text.substr(begin, values.position() - begin));
    scratch->pool.Clear();
  } while (values.skip(','));
  return values.skip(']') ? readRest(values) : notJson("A comma or ] is missing.", values.position());
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

std::string quotedJson(std::string_view text) {
  return jsonText(JsonValue(rapidjson::StringRef(text.data(), static_cast<rapidjson::SizeType>(text.size()))));
}

}  // namespace collector
