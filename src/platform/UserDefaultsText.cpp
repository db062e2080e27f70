#include "platform/UserDefaultsText.h"

#include <array>
#include <utility>

#include "values/rapidjson.h"

namespace zorvane {

namespace {

using Length = rapidjson::SizeType;

// Takes one object of texts. Anything else ends the reading, so depth costs no stack.
class Taker : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Taker> {
 public:
  explicit Taker(UserDefaultsValues& values) : values_(values) {}

  bool Default() { return false; }
  bool StartObject() { return !std::exchange(begun_, true); }
  bool Key(const char* text, Length length, bool) {
    key_.assign(text, length);
    return true;
  }
  bool String(const char* text, Length length, bool) {
    if (begun_) values_.insert_or_assign(std::move(key_), std::string(text, length));
    return begun_;
  }
  bool EndObject(Length) { return true; }

 private:
  UserDefaultsValues& values_;
  std::string key_;
  bool begun_ = false;
};

constexpr std::string_view kFirstHeader = "zorvane user defaults 1 ";
constexpr auto kFirstEscapes = std::to_array<std::pair<char, char>>({{'\\', '\\'}, {'n', '\n'}, {'t', '\t'}});

std::optional<std::string> unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      plain += text[at];
      continue;
    }
    if (++at == text.size()) return std::nullopt;
    const std::size_t before = plain.size();
    for (const auto& [letter, raw] : kFirstEscapes)
      if (letter == text[at]) plain += raw;
    if (plain.size() == before) return std::nullopt;
  }
  return plain;
}

// The text up to `separator`, which goes with it; absent when there is none.
std::optional<std::string_view> cutOff(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end + 1);
  return part;
}

}  // namespace

std::string userDefaultsText(const UserDefaultsValues& values) {
  rapidjson::StringBuffer text;
  rapidjson::Writer writer(text);
  writer.StartObject();
  for (const auto& [key, value] : values) {
    writer.Key(key.data(), static_cast<Length>(key.size()));
    writer.String(value.data(), static_cast<Length>(value.size()));
  }
  writer.EndObject();
  return {text.GetString(), text.GetSize()};
}

std::optional<UserDefaultsValues> readUserDefaults(std::string_view text) {
  UserDefaultsValues values;
  Taker taker(values);
  rapidjson::MemoryStream input(text.data(), text.size());
  rapidjson::Reader reader;
  // Numbers are refused before they are converted. The reader takes a NUL for the end of the text, wherever it stands.
  if (reader.Parse<rapidjson::kParseNumbersAsStringsFlag>(input, taker).IsError() || input.Tell() != text.size())
    return std::nullopt;
  return values;
}

bool isFirstFormOfUserDefaults(std::string_view text) { return text.starts_with(kFirstHeader); }

std::optional<UserDefaultsValues> readFirstFormOfUserDefaults(std::string_view text) {
  const auto header = cutOff(text, '\n');
  if (!header || *header != std::string(kFirstHeader) + std::to_string(text.size())) return std::nullopt;
  UserDefaultsValues values;
  while (!text.empty()) {
    auto line = cutOff(text, '\n');
    const auto key = line ? cutOff(*line, '\t') : std::nullopt;
    if (!key) return std::nullopt;
    auto plainKey = unescaped(*key);
    auto plainValue = unescaped(*line);
    if (!plainKey || !plainValue) return std::nullopt;
    values.insert_or_assign(std::move(*plainKey), std::move(*plainValue));
  }
  return values;
}

}  // namespace zorvane
