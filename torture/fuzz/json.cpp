// JSON both ways, against a second parser: what is JSON, what it says, and that it can be written again.
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Fuzz.h"
#include "codecs/json.h"
#include "codecs/json_written.h"
#include "collector/base/Json.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

// Builds the value that the second parser reads.
class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return add(nullptr); }
  bool boolean(bool flag) override { return add(flag); }
  bool number_integer(std::int64_t number) override { return add(number); }
  bool number_unsigned(std::uint64_t number) override { return add(number); }
  bool number_float(double number, const std::string&) override { return add(number); }
  bool string(std::string& text) override { return add(text); }
  bool binary(nlohmann::json::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return start(true); }
  bool start_array(std::size_t) override { return start(false); }
  bool key(std::string& text) override {
    open_.back().key = text;
    return true;
  }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override { return false; }

  std::optional<ZVValue> takeResult() { return std::move(result_); }

 private:
  struct Container {
    bool isMap;
    std::string key;
    ZVMap map;
    ZVValue::Array array;
  };
  bool start(bool isMap) {
    open_.push_back({isMap, {}, {}, {}});
    return open_.size() <= kMaxJsonDepth;
  }
  bool end() {
    Container closed = std::move(open_.back());
    open_.pop_back();
    ZVValue value = closed.isMap ? ZVValue(std::move(closed.map)) : ZVValue(std::move(closed.array));
    if (!open_.empty()) return add(std::move(value));
    result_ = std::move(value);
    return true;
  }
  bool add(ZVValue value) {
    if (open_.empty()) return false;
    Container& container = open_.back();
    if (container.isMap) container.map.set(container.key, std::move(value));
    else container.array.push_back(std::move(value));
    return true;
  }
  std::vector<Container> open_;
  std::optional<ZVValue> result_;
};

std::optional<ZVValue> readByTheOther(std::string_view text) {
  // It passes over a byte order mark, and takes a NUL for the end.
  if (text.starts_with("\xEF\xBB\xBF") || text.find('\0') != std::string_view::npos) return std::nullopt;
  Builder builder;
  if (!nlohmann::json::sax_parse(text, &builder)) return std::nullopt;
  return builder.takeResult();
}

bool isSameNumber(const ZVValue& left, const ZVValue& right, bool written) {
  // A whole number is written without a fraction, so it comes back as one.
  if (written && doubleReading(left) == doubleReading(right)) return true;
  if (left.ifDouble() == nullptr || right.ifDouble() == nullptr) return left == right;
  return std::bit_cast<std::uint64_t>(*left.ifDouble()) == std::bit_cast<std::uint64_t>(*right.ifDouble());
}

bool isSame(const ZVValue& left, const ZVValue& right, bool written) {
  if (const auto* const map = left.ifMap()) {
    const auto* const other = right.ifMap();
    return other != nullptr &&
           std::equal(map->begin(), map->end(), other->begin(), other->end(), [&](const auto& one, const auto& two) {
             return one.key == two.key && isSame(one.value, two.value, written);
           });
  }
  if (const auto* const array = left.ifArray()) {
    const auto* const other = right.ifArray();
    return other != nullptr && std::equal(array->begin(), array->end(), other->begin(), other->end(),
                                          [&](const auto& one, const auto& two) { return isSame(one, two, written); });
  }
  const bool numbers = (left.ifDouble() != nullptr || left.ifInteger() != nullptr) &&
                       (right.ifDouble() != nullptr || right.ifInteger() != nullptr);
  return numbers ? isSameNumber(left, right, written) : left == right;
}

// The numbers in a list, as the collector reads them.
bool isSameToTheCollector(const ZVValue& value, const collector::JsonValue& collected) {
  if (value.ifArray() == nullptr) return true;
  return std::equal(value.ifArray()->begin(), value.ifArray()->end(), collected.Begin(), collected.End(),
                    [](const ZVValue& one, const collector::JsonValue& other) {
                      return !other.IsNumber() || doubleReading(one) == other.GetDouble();
                    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto text = fuzz::viewOf(bytes, size);
  const auto ours = readJson(text);
  const NumberRule rule{"a", [](double number) { return number > 0; }};
  const bool isWritten = isWrittenJson(text, kMaxJsonDepth, rule);
  const auto theirs = readByTheOther(text);
  fuzz::require(!ours || theirs, "only the library takes it", text);
  fuzz::require(ours || !theirs, "only the other parser takes it", text);
  // The collector takes any value for a document, and the same as the library where that takes it.
  const auto collected = collector::parseJson(text);
  fuzz::require(!ours || collected.failure.empty(), "the collector refuses it: " + collected.failure, text);
  fuzz::require(ours || !isWritten, "it is taken for the library's own", text);
  if (!ours) return 0;
  fuzz::require(isSame(*ours, *theirs, false), "the parsers differ", text);
  fuzz::require(isSameToTheCollector(*ours, collected.document), "the collector reads another number", text);

  const auto written = writeJson(*ours);
  fuzz::require(written.has_value(), "what was read can't be written", text);
  fuzz::require(!isWritten || *written == text, "the library would write it in another way", text);
  const auto again = readJson(*written);
  fuzz::require(again && isSame(*ours, *again, true), "what was written says something else", *written);
  fuzz::require(writeJson(*again) == written, "a second writing differs", *written);
  const auto reread = collector::parseJson(*written);
  fuzz::require(reread.failure.empty(), "the collector refuses what was written: " + reread.failure, *written);
  return 0;
}
