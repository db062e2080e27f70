#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "codecs/json.h"
#include "codecs/json_numbers.h"
#include "values/Text.h"
#include "values/rapidjson.h"

namespace zorvane {

namespace {

// How many values and keys an answer may have: as many as fit into the largest init answer. A value takes many times
// the room of its text, so an events answer of the size that is let in could otherwise fill the game's memory.
constexpr std::size_t kMaxAnswerValues = std::size_t{128} * 1024;

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

std::optional<ZVValue> readJson(std::string_view json, std::size_t mostLevels) {
  return parsed(json, std::numeric_limits<std::size_t>::max(), mostLevels);
}

std::optional<ZVValue> readJsonAnswer(std::string_view json) { return parsed(json, kMaxAnswerValues, kMaxJsonDepth); }

}  // namespace zorvane
