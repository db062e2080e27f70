// What every record and every init body must be, by the table of fields.
//
// Thread: any; pure functions.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "collector/base/Json.h"
#include "collector/records/Fields.h"

namespace collector {

inline constexpr std::size_t kMaxRecordBytes = std::size_t{2} << 20U;

// What a record's members are by the rules.
struct Members {
  const RecordKind* kind = nullptr;                   // null: of no known category
  std::array<const JsonValue*, kMaxFields> values{};  // in the order of the kind's fields; null where one is missing
};

// What is wrong with a record, in words; and what is odd about it, but no reason to refuse it.
struct Findings {
  bool inWords = true;  // false: the first fault ends the matter
  bool good = true;
  std::vector<std::string> reasons;
  std::vector<std::string> notes;
};

// Both point into the record.
Members readRecord(const JsonValue& record, std::size_t bytes, Findings& findings);
Members readInitBody(const JsonValue& body, Findings& findings);

}  // namespace collector
