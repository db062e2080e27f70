// What the archive knows of records that broke a rule, and of fields that nobody knows; as JSON.
//
// Thread: any.
#pragma once

#include <cstdint>
#include <string>

#include "collector/archive/Store.h"

namespace collector {

// The latest ones: [{"received_at": n, "index": n, "reasons": [...], "record": TEXT}, ...]
std::string refusedJson(Store& archive, const std::string& game, std::int64_t limit);
// What was pointed out: [{"note": TEXT, "times": n, "first_at": n, "last_at": n}, ...]
std::string notesJson(Store& archive, const std::string& game, std::int64_t limit);

}  // namespace collector
