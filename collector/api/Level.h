// What a request needs, and what those who ask may.
//
// Thread: any; values.
#pragma once

namespace collector {

enum class Level { none, reading, editing };  // editing includes reading

}  // namespace collector
