// The question of levels: what was begun, failed and completed on each, by how many, and where they stop.
//
// Thread: any.
#pragma once

#include "collector/questions/Engine.h"
#include "collector/questions/Own.h"

namespace collector {

Table answerLevels(Engine& engine, const Filter& filter, const Own& own);

}  // namespace collector
