// Counts events by a custom field, which stands in no index: each event is read. So there is an end to how many.
//
// Thread: any.
#pragma once

#include <cstddef>
#include <string>

#include "collector/questions/Engine.h"

namespace collector {

constexpr std::size_t kMostWithFields = 30'000;  // events

// As Engine::events(), with the field's value as a text behind the query's one column: the JSON of what is no text,
// empty where the event hasn't the field. BadQuestion where there are more events than are read.
Table countByField(Engine& engine, const Filter& filter, Query query, const std::string& field);

}  // namespace collector
