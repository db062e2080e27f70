// The question of rows: the events behind a number.
//
// Thread: any.
#pragma once

#include <vector>

#include "collector/questions/Engine.h"
#include "collector/questions/Own.h"

namespace collector {

Table answerRows(Engine& engine, const Filter& filter, const Own& own);
std::vector<Parameter> parametersOfRows();

}  // namespace collector
