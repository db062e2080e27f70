#include "crowd/Record.h"

#include <cstddef>

namespace crowd {

std::string_view categoryOf(const Record& record) {
  constexpr auto kCategories =
      std::to_array<std::string_view>({"user", "session_end", "business", "resource", "progression", "design", "error",
                                       "ads", "impression", "sdk_error"});
  static_assert(kCategories.size() == std::variant_size_v<What>);
  return kCategories[record.what.index()];
}

std::string_view wordOf(Status status) {
  constexpr auto kWords = std::to_array<std::string_view>({"Start", "Complete", "Fail"});
  return kWords[static_cast<std::size_t>(status)];
}

}  // namespace crowd
