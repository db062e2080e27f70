// The user defaults as the text of a file: a JSON object whose values are texts. Bytes that are no UTF-8 pass
// unchanged.
//
// Thread: any; pure functions.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace zorvane {

using UserDefaultsValues = std::map<std::string, std::string, std::less<>>;

std::string userDefaultsText(const UserDefaultsValues& values);
// Absent when the text is not whole.
std::optional<UserDefaultsValues> readUserDefaults(std::string_view text);

// The form that the library's first version wrote: a line "zorvane user defaults 1 <bytes>", then a line
// "key<tab>value" for each pair. <bytes> counts what follows. Line ends, tabs and backslashes are escaped.
bool isFirstFormOfUserDefaults(std::string_view text);
std::optional<UserDefaultsValues> readFirstFormOfUserDefaults(std::string_view text);

}  // namespace zorvane
