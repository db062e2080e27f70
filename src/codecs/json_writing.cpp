#include "codecs/json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "codecs/json_numbers.h"
#include "codecs/json_text.h"
#include "values/Text.h"
#include "values/rapidjson.h"

namespace zorvane {

namespace {

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

}  // namespace

std::optional<std::string> writeJson(const ZVValue& object) {
  if (const auto* map = object.ifMap()) return serialised(*map);
  if (const auto* array = object.ifArray()) return serialised(*array);
  return std::nullopt;
}

std::optional<std::string> writeJson(const ZVMap& object, std::size_t mostLevels) {
  return serialised(object, mostLevels);
}

}  // namespace zorvane
