// The question of experiments: their groups side by side.
//
// Thread: any.
#pragma once

#include "collector/questions/Engine.h"
#include "collector/questions/Own.h"

namespace collector {

Table answerGroups(Engine& engine, const Filter& filter, const Own& own);

}  // namespace collector
