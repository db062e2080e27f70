#include "collector/questions/RowsAsked.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "collector/archive/Schema.h"
#include "collector/archive/Uuid.h"
#include "collector/questions/BadQuestion.h"

namespace collector {

namespace {

// What rows can be asked for by.
constexpr auto kOfRows = std::to_array<Parameter>({{"category", "of this category"},
                                                   {"message", "of errors with this message"},
                                                   {"severity", "of errors so severe"},
                                                   {"progression01", "of this level"},
                                                   {"progression02", "the same"},
                                                   {"progression03", "the same"},
                                                   {"status", "Start, Fail or Complete, of a level"},
                                                   {"item_type", "of these items, bought, earned or spent"},
                                                   {"item_id", "the same"},
                                                   {"cart_type", "of purchases there"},
                                                   {"currency", "of purchases, resources and impressions in it"},
                                                   {"flow", "Source or Sink, of resources"},
                                                   {"ad_network", "of its ads and impressions"},
                                                   {"ad_placement", "the same"},
                                                   {"ad_type", "the same"},
                                                   {"ad_action", "of ads"}});

std::string sessionOf(const std::string& text) {
  const auto uuid = uuidOf(text);
  if (!uuid || uuidText(*uuid) != text) throw BadQuestion("session_id: it must be a UUID in lower case");
  return text;
}

}  // namespace

Table answerRows(Engine& engine, const Filter& filter, const Own& own) {
  constexpr std::size_t kUsual = 100, kMost = 1'000;
  const std::size_t limit = limitOf(own, kUsual, kMost);
  Search search{.where = branchOf(own), .limit = limit + 1};
  for (const auto& [name, text] : own) {
    if (name == "user_id") search.userId = text;
    if (name == "session_id") search.sessionId = sessionOf(text);
    if (std::ranges::find(kOfRows, name, &Parameter::name) != kOfRows.end())
      search.where[*std::ranges::find(kTopicColumns, name, nameOf)] = text;
  }
  return cut(engine.rows(filter, search), limit);
}

std::vector<Parameter> parametersOfRows() {
  std::vector<Parameter> all(kOfRows.begin(), kOfRows.end());
  all.insert(all.end(), {{"under", "of this branch of the tree of event ids, such as level:boss"},
                         {"user_id", "of this player"},
                         {"session_id", "of this session"},
                         {"limit", "how many, at most 1000; 100 unless it is given"}});
  return all;
}

}  // namespace collector
