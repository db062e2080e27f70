// The questions that can be asked, each by its name. What a number counts is said in docs/numbers.md.
//
// Thread: any.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "collector/questions/BadQuestion.h"
#include "collector/questions/Engine.h"
#include "collector/questions/Own.h"
#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

namespace collector {

struct Question {
  std::string_view name;
  std::string_view says;
  std::vector<Parameter> takes;
  Table (*answer)(Engine& engine, const Filter& filter, const Own& own);
};

// What every question takes: its filter.
std::span<const Parameter> commonParameters();
std::span<const Question> questions();
const Question* findQuestion(std::string_view name);

// Answers by name. `parameters` as in an address: game, from, to (2026-11-22, both included), platform, build,
// custom_01 to custom_03, ab_id, ab_variant_id, and the question's own. Others are refused: BadQuestion.
Table ask(Engine& engine, const Question& question, const std::map<std::string, std::string>& parameters);

// Throws BadQuestion for a text that is no date; `name` is the parameter's.
std::int64_t dayOf(const std::string& name, const std::string& date);

}  // namespace collector
