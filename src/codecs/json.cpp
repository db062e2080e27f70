#include "codecs/json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "codecs/json_numbers.h"
#include "codecs/json_text.h"
#include "values/Text.h"
#include "values/rapidjson.h"

namespace zorvane {

namespace {

// How many values and keys an answer may have: as many as fit into the largest init answer. A value takes many times
// the room of its text, so an events answer of the size that is let in could otherwise fill the game's memory.
constexpr std::size_t kMaxAnswerValues = std::size_t{128} * 1024;
constexpr std::size_t kUsualLength = 1024;  // of a record: most are written without growing the text

// Where the writer's characters go: into room that is there already. A slash is written as "\/"; outside of strings
// JSON has none.
class EscapingOutput {
 public:
  using Ch = char;

  explicit EscapingOutput(std::string& text) : text_(text) {
    text_.resize(kUsualLength);
    restart(0);
  }
  void Put(char character) {
    if (end_ - next_ < 2) grow();
    if (character == '/') *next_++ = '\\';
    *next_++ = character;
  }
  void append(const char* plain, std::size_t length) {
    while (static_cast<std::size_t>(end_ - next_) < length) grow();
    next_ = std::copy_n(plain, length, next_);
  }
  void Flush() {}
  void finish() { text_.resize(used()); }

 private:
  [[nodiscard]] std::size_t used() const { return static_cast<std::size_t>(next_ - text_.data()); }
  void grow() {
    const std::size_t kept = used();
    text_.resize(2 * text_.size());
    restart(kept);
  }
  void restart(std::size_t kept) {
    next_ = text_.data() + kept;
    end_ = text_.data() + text_.size();
  }

  std::string& text_;
  char* next_ = nullptr;
  char* end_ = nullptr;
};

// Its own check of the encoding reads on behind a text that ends within a character, so the check is ours.
using Writer = rapidjson::Writer<EscapingOutput>;

}  // namespace

// The writer's own place for a faster scan: nearly all text is plain, and goes out in runs instead of one by one.
template <>
inline bool Writer::ScanWriteUnescapedString(rapidjson::StringStream& text, std::size_t length) {
  const char* const end = text.head_ + length;
  const char* const special =
      std::find_if(text.src_, end, [](char character) { return !kPlainInJson[static_cast<unsigned char>(character)]; });
  os_->append(text.src_, static_cast<std::size_t>(special - text.src_));
  text.src_ = special;
  return special != end;
}

namespace {

class Serialiser {
 public:
  Serialiser(std::string& text, std::size_t mostLevels) : output_(text), writer_(output_), mostLevels_(mostLevels) {}
  void finish() { output_.finish(); }

  // False as soon as something can't be expressed.
  bool write(const ZVMap& map) {
    const Nesting nesting(depth_);
    if (depth_ > mostLevels_ || !writer_.StartObject()) return false;
    for (const auto& [key, value] : map)
      if (!write(key) || !write(value)) return false;
    return writer_.EndObject();
  }
  bool write(const ZVValue::Array& array) {
    const Nesting nesting(depth_);
    if (depth_ > mostLevels_ || !writer_.StartArray()) return false;
    for (const ZVValue& value : array)
      if (!write(value)) return false;
    return writer_.EndArray();
  }
  bool write(const ZVValue& value) {
    if (const auto* text = value.ifString()) return write(*text);
    if (const auto* whole = value.ifInteger()) return writer_.Int64(*whole);
    if (const auto* number = value.ifDouble()) return write(*number);
    if (const auto* flag = value.ifBool()) return writer_.Bool(*flag);
    if (const auto* map = value.ifMap()) return write(*map);
    if (const auto* array = value.ifArray()) return write(*array);
    return writer_.Null();
  }

 private:
  struct Nesting {
    explicit Nesting(std::size_t& levels) : depth(levels) { ++depth; }
    ~Nesting() { --depth; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    std::size_t& depth;
  };
  using Length = rapidjson::SizeType;

  bool write(const std::string& text) {
    if (text.size() > std::numeric_limits<Length>::max() || !isValidUtf8(text)) return false;
    return writer_.String(text.data(), static_cast<Length>(text.size()));
  }
  bool write(double number) {
    if (!std::isfinite(number)) return false;
    const std::string text = decimalText(number);
    return writer_.RawValue(text.data(), text.size(), rapidjson::kNumberType);
  }

  EscapingOutput output_;
  Writer writer_;
  const std::size_t mostLevels_;
  std::size_t depth_ = 0;
};

template <class Container>
std::optional<std::string> serialised(const Container& container, std::size_t mostLevels = kMaxJsonDepth) {
  std::string text;
  Serialiser serialiser(text, mostLevels);
  if (!serialiser.write(container)) return std::nullopt;
  serialiser.finish();
  return text;
}

// Builds the value while the reader walks through the text. A false return stops the reader.
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
 public:
  using Length = rapidjson::SizeType;

  ValueBuilder(std::size_t mostValues, std::size_t mostLevels) : left_(mostValues), mostLevels_(mostLevels) {}

  bool Null() { return add(nullptr); }
  bool Bool(bool flag) { return add(flag); }
  bool Number(ZVValue number) { return add(std::move(number)); }
  // The reader takes half a surrogate pair for a character.
  bool String(const char* text, Length length, bool) {
    return isValidUtf8({text, length}) && add(std::string(text, length));
  }
  bool Key(const char* text, Length length, bool) {
    if (!isValidUtf8({text, length}) || !count()) return false;
    open_.back().key.assign(text, length);
    return true;
  }
  bool StartObject() { return start(true); }
  bool StartArray() { return start(false); }
  bool EndObject(Length) { return end(); }
  bool EndArray(Length) { return end(); }

  std::optional<ZVValue> takeResult() { return std::move(result_); }

 private:
  struct Container {
    bool isMap;
    ZVMap map;
    ZVValue::Array array;
    std::string key;  // of the map's next value
  };

  bool count() {
    if (left_ == 0) return false;
    --left_;
    return true;
  }

  bool start(bool isMap) {
    if (open_.size() == mostLevels_) return false;
    open_.push_back({isMap, {}, {}, {}});
    return true;
  }

  bool end() {
    Container closed = std::move(open_.back());
    open_.pop_back();
    ZVValue value = closed.isMap ? ZVValue(std::move(closed.map)) : ZVValue(std::move(closed.array));
    if (!open_.empty()) return add(std::move(value));
    result_ = std::move(value);
    return true;
  }

  // What a value is made of, or a value.
  template <class Content>
  bool add(Content&& content) {
    if (open_.empty() || !count()) return false;  // a bare value is no document
    Container& container = open_.back();
    if (container.isMap) container.map.set(std::move(container.key), std::forward<Content>(content));
    else container.array.emplace_back(std::forward<Content>(content));
    return true;
  }

  std::size_t left_;  // values and keys that may still come
  const std::size_t mostLevels_;
  std::vector<Container> open_;  // innermost last
  std::optional<ZVValue> result_;
};

constexpr unsigned kReading = rapidjson::kParseIterativeFlag;  // depth costs no stack
using Input = rapidjson::MemoryStream;

}  // namespace

// The reader's own place for numbers: its conversion is not exact, and reads outside its tables for some of them.
template <>
template <>
inline void rapidjson::Reader::ParseNumber<kReading, Input, ValueBuilder>(Input& input, ValueBuilder& builder) {
  auto number = readJsonNumber({input.src_, input.end_});
  if (number && builder.Number(std::move(number->value))) input.src_ += number->length;
  else SetParseError(rapidjson::kParseErrorValueInvalid, input.Tell());
}

namespace {

std::optional<ZVValue> parsed(std::string_view json, std::size_t mostValues, std::size_t mostLevels) {
  Input input(json.data(), json.size());
  rapidjson::Reader reader;
  ValueBuilder builder(mostValues, mostLevels);
  // The reader takes a NUL for the end of the text, wherever it stands.
  if (reader.Parse<kReading>(input, builder).IsError() || input.Tell() != json.size()) return std::nullopt;
  return builder.takeResult();
}

}  // namespace

std::optional<std::string> writeJson(const ZVValue& object) {
  if (const auto* map = object.ifMap()) return serialised(*map);
  if (const auto* array = object.ifArray()) return serialised(*array);
  return std::nullopt;
}

std::optional<std::string> writeJson(const ZVMap& object, std::size_t mostLevels) {
  return serialised(object, mostLevels);
}

std::optional<ZVValue> readJson(std::string_view json, std::size_t mostLevels) {
  return parsed(json, std::numeric_limits<std::size_t>::max(), mostLevels);
}

std::optional<ZVValue> readJsonAnswer(std::string_view json) { return parsed(json, kMaxAnswerValues, kMaxJsonDepth); }

}  // namespace zorvane
