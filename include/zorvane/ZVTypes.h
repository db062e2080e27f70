/// @file
/// The value types of Zorvane's arguments and results: text that may be absent, JSON-like values, enumerations.
///
/// - Thread: plain values; share one between threads only as you would a std::string.
/// - Lifetime: ZVText borrows its characters for the length of a call; ZVValue and ZVMap own theirs.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <zorvane/ZVExport.h>

/// Borrowed UTF-8 text that may be absent: what a text argument is. A null pointer is absent, "" is present and empty.
class ZVText {
 public:
  /// Absent text. The argument of the other constructors must outlive the call that the text is given to.
  constexpr ZVText() noexcept = default;
  constexpr ZVText(std::nullptr_t) noexcept {}  ///< absent
  constexpr ZVText(std::nullopt_t) noexcept {}  ///< absent
  /// Text that ends with a null byte; a null pointer is absent.
  constexpr ZVText(const char* text) noexcept
      : view_(text != nullptr ? std::string_view(text) : std::string_view()), present_(text != nullptr) {}
  /// Text that is present.
  constexpr ZVText(std::string_view text) noexcept : view_(text), present_(true) {}
  /// Text that is present.
  ZVText(const std::string& text) noexcept : view_(text), present_(true) {}
  /// Absent where the argument is.
  ZVText(const std::optional<std::string>& text) noexcept
      : view_(text ? std::string_view(*text) : std::string_view()), present_(text.has_value()) {}

  [[nodiscard]] constexpr bool present() const noexcept { return present_; }        ///< also when it is ""
  [[nodiscard]] constexpr bool empty() const noexcept { return view_.empty(); }     ///< absent, or of length 0
  [[nodiscard]] constexpr std::string_view view() const noexcept { return view_; }  ///< "" when absent
  /// For the log: "(null)" when absent.
  [[nodiscard]] constexpr std::string_view orNull() const noexcept { return present_ ? view_ : "(null)"; }
  /// The characters as a value of their own.
  [[nodiscard]] std::optional<std::string> copy() const {
    return present_ ? std::optional<std::string>(view_) : std::nullopt;
  }

 private:
  std::string_view view_;
  bool present_ = false;
};

class ZVValue;

/// The types of characters. A character's code is hardly ever the number that was meant, so none of them counts as one;
/// std::int8_t and std::uint8_t do.
template <class T>
concept ZVCharacter = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;
/// Whole numbers of any size: neither booleans nor characters.
template <class T>
concept ZVWhole = std::integral<T> && !std::same_as<T, bool> && !ZVCharacter<T>;
/// Whole numbers, and those with a fraction.
template <class T>
concept ZVReal = ZVWhole<T> || std::floating_point<T>;

/// A JSON object: text keys to values, in the order in which the keys were first set.
class ZORVANE_API ZVMap {
 public:
  struct Entry;
  using const_iterator = const Entry*;  ///< valid until the map changes

  /// An empty map.
  ZVMap() noexcept;
  ZVMap(std::initializer_list<Entry> entries);  ///< a later entry with the same key replaces the earlier one's value
  ZVMap(const ZVMap& other);                    ///< a copy
  ZVMap(ZVMap&& other) noexcept;                ///< the content of `other`, which is empty afterwards
  ZVMap& operator=(const ZVMap& other);         ///< a copy in place of the content
  ZVMap& operator=(ZVMap&& other) noexcept;     ///< the content of `other`, which is empty afterwards
  ~ZVMap();

  /// Replaces in place when the key is there. Here and below an absent key is the key "", which custom fields refuse.
  void set(ZVText key, ZVValue value);
  /// The same for a key that is handed over.
  template <std::same_as<std::string> Key>
  void set(Key&& key, ZVValue value);
  bool erase(ZVText key);             ///< true when the key was there
  void clear() noexcept;              ///< removes every entry
  void reserve(std::size_t entries);  ///< makes room, as a vector does

  [[nodiscard]] const ZVValue* find(ZVText key) const noexcept;  ///< null when the key is missing
  /// Whether the key is there, also with a null.
  [[nodiscard]] bool contains(ZVText key) const noexcept { return find(key) != nullptr; }
  [[nodiscard]] std::size_t size() const noexcept;                   ///< the number of entries
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }  ///< whether there are none
  [[nodiscard]] const_iterator begin() const noexcept;               ///< the first entry; they stand in their order
  [[nodiscard]] const_iterator end() const noexcept;                 ///< behind the last entry

  /// The same keys with the same values, in any order.
  friend ZORVANE_API bool operator==(const ZVMap& left, const ZVMap& right);

 private:
  struct Index;
  void put(std::string key, ZVValue value);
  [[nodiscard]] std::optional<std::size_t> position(std::string_view key) const noexcept;

  std::vector<Entry> entries_;
  std::unique_ptr<Index> index_;  // only for maps too large to search one by one
};

/// One JSON value. Numbers keep the kind they were given in: whole (64-bit) or double.
class ZORVANE_API ZVValue {
 public:
  using Array = std::vector<ZVValue>;  ///< of any kinds

  ZVValue() noexcept = default;        ///< a null
  ZVValue(std::nullptr_t) noexcept {}  ///< a null
  /// A boolean. Constrained, so that neither a pointer nor a number becomes one.
  template <std::same_as<bool> Boolean>
  ZVValue(Boolean value) noexcept : value_(value) {}
  /// A whole number; one above the largest std::int64_t becomes a double.
  template <ZVWhole Whole>
  ZVValue(Whole value) noexcept : value_(wholeOrDouble(value)) {}
  /// A double.
  template <std::floating_point Float>
  ZVValue(Float value) noexcept : value_(static_cast<double>(value)) {}
  /// Text; a null pointer is a null.
  ZVValue(const char* text) {
    if (text != nullptr) value_ = std::string(text);
  }
  ZVValue(std::string text) noexcept : value_(std::move(text)) {}  ///< text
  ZVValue(std::string_view text) : value_(std::string(text)) {}    ///< text
  ZVValue(Array array) noexcept : value_(std::move(array)) {}      ///< an array
  ZVValue(ZVMap map) noexcept : value_(std::move(map)) {}          ///< an object

  /// Whether this is a null.
  [[nodiscard]] bool isNull() const noexcept { return std::holds_alternative<std::monostate>(value_); }
  /// Whether this is a whole number, a double or a boolean, which counts as a number.
  [[nodiscard]] bool isNumber() const noexcept {
    return ifBool() != nullptr || ifInteger() != nullptr || ifDouble() != nullptr;
  }
  /// The boolean; null where the value is of another kind.
  [[nodiscard]] const bool* ifBool() const noexcept { return std::get_if<bool>(&value_); }
  /// The whole number; null where the value is of another kind.
  [[nodiscard]] const std::int64_t* ifInteger() const noexcept { return std::get_if<std::int64_t>(&value_); }
  /// The double; null where the value is of another kind.
  [[nodiscard]] const double* ifDouble() const noexcept { return std::get_if<double>(&value_); }
  /// The text; null where the value is of another kind.
  [[nodiscard]] const std::string* ifString() const noexcept { return std::get_if<std::string>(&value_); }
  /// The array; null where the value is of another kind.
  [[nodiscard]] const Array* ifArray() const noexcept { return std::get_if<Array>(&value_); }
  /// The object; null where the value is of another kind.
  [[nodiscard]] const ZVMap* ifMap() const noexcept { return std::get_if<ZVMap>(&value_); }

  /// The same kind with the same content: 1 is not 1.0.
  friend bool operator==(const ZVValue&, const ZVValue&) = default;

 private:
  using Content = std::variant<std::monostate, bool, std::int64_t, double, std::string, Array, ZVMap>;

  template <ZVWhole Whole>
  static Content wholeOrDouble(Whole value) noexcept {
    if (std::in_range<std::int64_t>(value)) return Content(std::in_place_type<std::int64_t>, value);
    return Content(std::in_place_type<double>, static_cast<double>(value));
  }

  Content value_;
};

/// A key with its value.
struct ZVMap::Entry {
  /// An absent key is "".
  Entry(ZVText name, ZVValue content) : key(name.view()), value(std::move(content)) {}
  /// The same for a key that is handed over.
  template <std::same_as<std::string> Key>
  Entry(Key&& name, ZVValue content) noexcept : key(std::forward<Key>(name)), value(std::move(content)) {}

  std::string key;  ///< UTF-8
  ZVValue value;    ///< a copy of what was set
  /// The same key and value.
  friend bool operator==(const Entry&, const Entry&) = default;
};

template <std::same_as<std::string> Key>
inline void ZVMap::set(Key&& key, ZVValue value) {  // NOLINT(performance-unnecessary-value-param): it is moved on
  put(std::forward<Key>(key), std::move(value));
}

/// Texts that a game declares: {"gems", "gold"}, any range of texts, or std::nullopt for no list at all.
class ZVTextList {
 public:
  ZVTextList() noexcept = default;               ///< no list at all
  ZVTextList(std::nullopt_t) noexcept {}         ///< no list at all
  ZVTextList(std::nullptr_t) noexcept = delete;  ///< would be a list in braces and none without them
  /// A list of these texts.
  ZVTextList(std::initializer_list<ZVText> texts) : texts_(std::in_place) {
    for (const ZVText text : texts) add(text);
  }
  /// A list of the range's texts: those of a vector, an array, a set ...
  template <class Range>
  requires requires(const Range& texts) {
    { *std::begin(texts) } -> std::convertible_to<ZVText>;
    std::end(texts);
  }
  ZVTextList(const Range& texts) : texts_(std::in_place) {
    if constexpr (requires { std::size(texts); }) texts_->reserve(std::size(texts));
    for (const auto& text : texts) add(text);
  }

  /// Appends to the list; makes it where there is none. An absent text is refused with the list, as what it is: no
  /// text.
  void add(ZVText text) {
    if (!texts_) texts_.emplace();
    texts_->emplace_back(text.present() ? text.view() : kNoText);
  }

  /// Whether there is a list, also an empty one.
  [[nodiscard]] explicit operator bool() const noexcept { return texts_.has_value(); }
  /// The texts of the list; there must be one.
  [[nodiscard]] const std::vector<std::string>& operator*() const noexcept { return *texts_; }
  /// The texts of the list; there must be one.
  [[nodiscard]] const std::vector<std::string>* operator->() const noexcept { return &*texts_; }
  /// The same texts in the same order, or no list on either side.
  friend bool operator==(const ZVTextList&, const ZVTextList&) = default;

 private:
  static constexpr std::string_view kNoText = "\xFF";  // is not UTF-8

  std::optional<std::vector<std::string>> texts_;
};

/// A boolean that only a boolean makes. Text, numbers and pointers turn into a plain bool, so "off" would be true, and
/// a string literal would choose an overload that takes a bool over one that takes text.
class ZVFlag {
 public:
  /// From a boolean.
  template <std::same_as<bool> Boolean>
  constexpr ZVFlag(Boolean value) noexcept : value_(value) {}
  /// The boolean.
  constexpr operator bool() const noexcept { return value_; }

 private:
  bool value_;
};

/// A whole number that only a whole number makes: no fraction to lose, no boolean, no character, no {}.
class ZVInteger {
 public:
  /// From any whole number. One above the largest std::int64_t, which is more than can be sent, counts as that.
  template <ZVWhole Whole>
  constexpr ZVInteger(Whole value) noexcept
      : value_(std::in_range<std::int64_t>(value) ? static_cast<std::int64_t>(value)
                                                  : std::numeric_limits<std::int64_t>::max()) {}
  /// The number.
  constexpr operator std::int64_t() const noexcept { return value_; }

 private:
  std::int64_t value_;
};

/// A number, whole or not, that may be absent. Neither a boolean nor a character makes one, nor {}.
class ZVNumber {
 public:
  /// From any number.
  template <ZVReal Number>
  constexpr ZVNumber(Number value) noexcept : value_(static_cast<double>(value)) {}
  constexpr ZVNumber(std::nullopt_t) noexcept {}  ///< absent
  /// From a number that may be absent.
  template <ZVReal Number>
  constexpr ZVNumber(const std::optional<Number>& value) noexcept {
    if (value) value_ = static_cast<double>(*value);
  }
  /// The number.
  constexpr operator std::optional<double>() const noexcept { return value_; }

 private:
  std::optional<double> value_;
};

// The enumerations of events. They are sent by name, and a value outside its list (by a cast) is refused as any other
// bad argument is.

/// The state of an attempt at a level or the like.
enum class ZVProgressionStatus : int { start = 1, complete = 2, fail = 3 };
/// Whether the player gained or spent.
enum class ZVResourceFlowType : int { source = 1, sink = 2 };
/// How bad an error is.
enum class ZVErrorSeverity : int { debug = 1, info = 2, warning = 3, error = 4, critical = 5 };
/// What happened with an ad.
enum class ZVAdAction : int { clicked = 1, show = 2, failedShow = 3, rewardReceived = 4, request = 5, loaded = 6 };
/// What kind of ad it is.
enum class ZVAdType : int { video = 1, rewardedVideo = 2, playable = 3, interstitial = 4, offerWall = 5, banner = 6 };
/// Why an ad was not shown.
enum class ZVAdError : int {
  unknown = 1,
  offline = 2,
  noFill = 3,
  internalError = 4,
  invalidRequest = 5,
  unableToPrecache = 6,
};

/// The reason of an ad's failed show, which only a ZVAdError makes: {} means custom fields.
class ZVAdReason {
 public:
  constexpr ZVAdReason(ZVAdError error) noexcept : error_(error) {}  ///< from the enumeration
  constexpr operator ZVAdError() const noexcept { return error_; }   ///< the enumeration

 private:
  ZVAdError error_;
};
