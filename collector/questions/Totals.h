// Totals say how many players have which total of their measures, by the texts that they are grouped by: what the
// spread of an amount is found from.
//
// Thread: any; pure functions.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Sums.h"
#include "collector/questions/Table.h"

namespace collector {

using Totals = std::map<std::pair<std::vector<std::string>, Wide>, std::int64_t>;

// As Engine::totals() has it.
Table tableOf(const Query& query, const Totals& players);

}  // namespace collector
