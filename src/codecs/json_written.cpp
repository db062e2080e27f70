#include "codecs/json_written.h"

#include <algorithm>
#include <string>
#include <vector>

#include "codecs/json_numbers.h"
#include "codecs/json_text.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::size_t kMostKeys = 64;  // of a map, each compared with those before it

constexpr std::string_view kEscaped = "\"\\/bfnrt";

// Walks through the text as far as it is what the library writes.
class Walk {
 public:
  Walk(std::string_view json, std::size_t mostLevels, const NumberRule& rule)
      : rest_(json), mostLevels_(mostLevels), rule_(rule) {}

  bool map() {
    if (!begin('{')) return false;
    const std::size_t first = keys_.size();
    for (bool ended = take('}'); !ended;) {
      std::string_view key;
      if (!text(key) || !isNew(key, first) || !take(':')) return false;
      const bool isRuled = levels_ == 1 && key == rule_.key;
      if (isRuled ? !number(&rule_) : !value()) return false;
      ended = take('}');
      if (!ended && !take(',')) return false;
    }
    keys_.resize(first);
    --levels_;
    return true;
  }
  [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

 private:
  bool take(char character) {
    const bool found = rest_.starts_with(character);
    if (found) rest_.remove_prefix(1);
    return found;
  }
  bool take(std::string_view word) {
    const bool found = rest_.starts_with(word);
    if (found) rest_.remove_prefix(word.size());
    return found;
  }
  bool begin(char character) { return take(character) && ++levels_ <= mostLevels_; }

  bool value() {
    if (rest_.empty()) return false;
    std::string_view ignored;
    switch (rest_.front()) {
      case '"': return text(ignored);
      case '{': return map();
      case '[': return list();
      case 't': return take("true");
      case 'f': return take("false");
      case 'n': return take("null");
      default: return number(nullptr);
    }
  }

  bool list() {
    if (!begin('[')) return false;
    for (bool ended = take(']'); !ended;) {
      if (!value()) return false;
      ended = take(']');
      if (!ended && !take(',')) return false;
    }
    --levels_;
    return true;
  }

  // `content`: what stands between the quotes.
  bool text(std::string_view& content) {
    if (!take('"')) return false;
    std::size_t at = 0;
    for (;;) {
      while (at < rest_.size() && kPlainInJson[static_cast<unsigned char>(rest_[at])]) ++at;
      if (at == rest_.size()) return false;
      if (rest_[at] == '"') break;
      const std::size_t escape = escapeLength(rest_.substr(at));
      if (escape == 0) return false;
      at += escape;
    }
    content = rest_.substr(0, at);
    rest_.remove_prefix(at + 1);
    return true;
  }
  // 0: no escape that the library writes.
  static std::size_t escapeLength(std::string_view text) {
    if (text.size() < 2 || text[0] != '\\') return 0;
    if (kEscaped.find(text[1]) != std::string_view::npos) return 2;
    // The other controls: 00 to 1F but for those with a letter of their own.
    if (text.size() < 6 || !text.starts_with("\\u00") || (text[4] != '0' && text[4] != '1')) return 0;
    const std::string_view digits = text[4] == '0' ? "01234567BEF" : "0123456789ABCDEF";
    return digits.find(text[5]) != std::string_view::npos ? 6 : 0;
  }

  bool number(const NumberRule* rule) {
    const auto read = readJsonNumber(rest_);
    if (!read) return false;
    const auto* const whole = read->value.ifInteger();
    const std::string written = whole != nullptr ? std::to_string(*whole) : decimalText(*read->value.ifDouble());
    return written.size() == read->length && take(written) &&
           (rule == nullptr || rule->passes(doubleReading(read->value)));
  }

  bool isNew(std::string_view key, std::size_t first) {
    const auto begin = keys_.begin() + static_cast<std::ptrdiff_t>(first);
    if (keys_.size() - first == kMostKeys || std::find(begin, keys_.end(), key) != keys_.end()) return false;
    keys_.push_back(key);
    return true;
  }

  std::string_view rest_;
  const std::size_t mostLevels_;
  const NumberRule& rule_;
  std::size_t levels_ = 0;
  std::vector<std::string_view> keys_;  // of all maps that are open
};

}  // namespace

bool isWrittenJson(std::string_view json, std::size_t mostLevels, const NumberRule& rule) {
  Walk walk(json, mostLevels, rule);
  return isValidUtf8(json) && walk.map() && walk.isAtEnd();
}

}  // namespace zorvane
