// Whether the database that is open can be worked with. For the files of this folder.
//
// Thread: the work queue.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zorvane {

struct Condition {
  enum class Kind : std::uint8_t {
    good,
    damaged,   // and will stay so
    readOnly,  // neither damaged nor of use
    unusable,  // for a reason that may pass, or that only somebody else can mend
  };
  Kind kind = Kind::good;
  std::string reason;        // SQLite's words
  std::string_view table{};  // what the log says of the table that has the trouble; "" when it isn't one alone
};

// Checks the whole file within a bound, makes what tables are missing and tries to use each.
Condition conditionOfDatabase();

}  // namespace zorvane
