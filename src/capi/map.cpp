#include "capi/map.h"

#include <utility>

#include "capi/guard.h"

using namespace zorvane;

namespace {

template <class Value>
bool set(zorvane_map* map, const char* key, Value value) noexcept {
  if (map == nullptr || key == nullptr) return false;
  return guarded([&] {
    map->entries.set(key, ZVValue(std::move(value)));
    return true;
  });
}

ZVValue::Array valuesOf(const ZVMap& map) {
  ZVValue::Array values;
  for (const ZVMap::Entry& entry : map) values.push_back(entry.value);
  return values;
}

}  // namespace

zorvane_map* zorvane_map_create(void) {
  return guarded([] { return new zorvane_map; });
}

void zorvane_map_destroy(zorvane_map* map) { delete map; }

void zorvane_map_clear(zorvane_map* map) {
  if (map != nullptr) map->entries.clear();
}

bool zorvane_map_set_int64(zorvane_map* map, const char* key, int64_t value) { return set(map, key, value); }
bool zorvane_map_set_double(zorvane_map* map, const char* key, double value) { return set(map, key, value); }
bool zorvane_map_set_bool(zorvane_map* map, const char* key, bool value) { return set(map, key, value); }
bool zorvane_map_set_text(zorvane_map* map, const char* key, const char* value) { return set(map, key, value); }
bool zorvane_map_set_map(zorvane_map* map, const char* key, const zorvane_map* value) {
  return guarded([=] { return set(map, key, copyOf(value)); });
}
bool zorvane_map_set_array(zorvane_map* map, const char* key, const zorvane_map* elements) {
  return guarded([=] { return set(map, key, valuesOf(copyOf(elements))); });
}
