// Text as the library measures it: UTF-8, counted in UTF-16 code units.
//
// Thread: any; pure functions.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

namespace zorvane {

bool isValidUtf8(std::string_view text) noexcept;
// Absent when the text is not valid UTF-8.
std::optional<std::size_t> utf16Length(std::string_view text) noexcept;
// The longest beginning of at most `units` code units that splits no character. Of text that is not valid UTF-8, its
// valid beginning.
std::string_view prefixOfUtf16Length(std::string_view text, std::size_t units) noexcept;
// The text with U+FFFD in place of whatever is not UTF-8.
std::string withReplacementCharacters(std::string_view text);

std::string joined(const std::vector<std::string>& texts, std::string_view separator);

// A value as a log line shows it: text as it is, numbers in decimal, "(null)", arrays and maps in a readable form.
std::string describe(const ZVValue& value);
std::string describe(const ZVMap& map);
// Numbers as they are bound and sent: whole ones without a fraction.
std::string decimalText(double number);
// The whole number that a value stands for, as the platform's integer reading has it: numbers truncated and kept
// within 64 bits, text by its leading digits, anything else 0.
std::int64_t integerReading(const ZVValue& value);
double doubleReading(const ZVValue& value);  // fractions as they are, anything else as its whole number
std::int64_t integerOfText(std::string_view text) noexcept;
// "yes", "true" and leading digits other than 0 read as true, in any case.
bool booleanReading(std::string_view text) noexcept;

}  // namespace zorvane
