#include "collector/questions/Engine.h"

namespace collector {

// One more than an answer may have shows whether there are more.
Table countWithin(Engine& engine, const Filter& filter, Query query, std::size_t most) {
  query.limit = most + 1;
  return cut(engine.events(filter, query), most);
}

}  // namespace collector
