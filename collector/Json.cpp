#include "collector/Json.h"

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstddef>

namespace collector {

namespace {

constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
constexpr std::size_t kMaxDepth = 64;
constexpr std::size_t kMaxValues = 8'000'000;  // some 16 bytes each, whatever the text was

// Hands the parser's events on to the document, counts, and notes where the elements of the outer array stand.
class Guard {
 public:
  Guard(rapidjson::Document& document, const rapidjson::MemoryStream& stream, std::string_view text,
        std::vector<std::string_view>& elements)
      : document_(document), stream_(stream), text_(text), elements_(elements) {}

  bool Null() { return scalar() && document_.Null(); }
  bool Bool(bool value) { return scalar() && document_.Bool(value); }
  bool Int(int value) { return scalar() && document_.Int(value); }
  bool Uint(unsigned value) { return scalar() && document_.Uint(value); }
  bool Int64(std::int64_t value) { return scalar() && document_.Int64(value); }
  bool Uint64(std::uint64_t value) { return scalar() && document_.Uint64(value); }
  bool Double(double value) { return scalar() && document_.Double(value); }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool copy) {
    return scalar() && document_.RawNumber(text, size, copy);
  }
  bool String(const char* text, rapidjson::SizeType size, bool copy) {
    return scalar() && document_.String(text, size, copy);
  }
  bool Key(const char* text, rapidjson::SizeType size, bool copy) { return count() && document_.Key(text, size, copy); }
  bool StartObject() { return open() && document_.StartObject(); }
  bool StartArray() { return open() && document_.StartArray(); }
  bool EndObject(rapidjson::SizeType members) { return close() && document_.EndObject(members); }
  bool EndArray(rapidjson::SizeType elements) { return close() && document_.EndArray(elements); }

 private:
  bool count() { return ++values_ <= kMaxValues; }
  bool open() { return ++depth_ <= kMaxDepth && count(); }
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
};

std::string describeFailure(const rapidjson::ParseResult& result) {
  if (result.Code() == rapidjson::kParseErrorTermination) return "the body is nested too deep or holds too many values";
  return fmt::format("the body is not JSON: {} (byte {})", rapidjson::GetParseError_En(result.Code()), result.Offset());
}

}  // namespace

ParsedJson parseJson(std::string_view text) {
  ParsedJson parsed;
  rapidjson::MemoryStream stream(text.data(), text.size());
  auto generator = [&](rapidjson::Document& document) {
    Guard guard(document, stream, text, parsed.elements);
    const auto result = rapidjson::Reader().Parse<kFlags>(stream, guard);
    if (result.IsError()) parsed.failure = describeFailure(result);
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
