// The map of the C interface, with what it stands for.
//
// Thread: one at a time.
#pragma once

#include <zorvane/ZVTypes.h>
#include <zorvane/zorvane_c.h>

struct zorvane_map {
  ZVMap entries;
};

namespace zorvane {

// A copy; throws when there is no memory for it.
inline ZVMap copyOf(const zorvane_map* map) { return map != nullptr ? map->entries : ZVMap(); }

}  // namespace zorvane
