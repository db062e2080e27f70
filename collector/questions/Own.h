// What a question takes of its own, besides the filter that all of them take: read, or refused with BadQuestion.
//
// Thread: any; pure functions.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

namespace collector {

// By name.
using Own = std::map<std::string, std::string, std::less<>>;

struct Parameter {
  std::string_view name;
  std::string_view says;
};

constexpr std::size_t kMaxQuoted = 40;  // of what was asked, in what is said about it

// yes or no; no where it isn't there.
bool isSet(const Own& own, std::string_view name);
std::size_t limitOf(const Own& own, std::size_t fallback, std::size_t most = kMostRows);

// Columns with commas between.
std::vector<Column> columnsOf(const Own& own, std::string_view name, std::vector<Column> fallback,
                              const std::vector<Column>& allowed);
// Those of the filter, behind others.
std::vector<Column> withSegments(std::vector<Column> columns = {});

// The parts of the branch that `under` names, and the column of what stands below it.
std::map<Column, std::string> branchOf(const Own& own);
Column below(const std::map<Column, std::string>& branch);

}  // namespace collector
