// Selection is what of the archive's figures a question is about, with the texts that it groups them by.
//
// Thread:   of the database.
// Lifetime: shorter than that of the database and the filter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "collector/archive/Figures.h"
#include "collector/archive/Schema.h"
#include "collector/questions/Query.h"

namespace collector {

using Texts = std::vector<std::string>;
using Conditions = std::map<Column, std::string>;  // texts that must be so

// The combinations that meet the conditions, each with the texts that are asked for.
class Chosen {
 public:
  Chosen(sqlite3* database, const Combinations& combinations, const std::string& game, Conditions conditions,
         const std::vector<Column>& by);

  // Null for one that isn't chosen.
  [[nodiscard]] const Texts* find(std::uint32_t id) const { return id < byId_.size() ? byId_[id] : nullptr; }
  [[nodiscard]] std::vector<std::pair<const Texts*, std::uint32_t>> all() const;

 private:
  std::deque<Texts> texts_;
  std::vector<const Texts*> byId_;  // looked into for each event; numbers are given one after the other
};

bool isOf(const Combinations& combinations, Column column);

class Selection {
 public:
  // `where` and `by` name columns of topics and segments.
  Selection(sqlite3* database, const Filter& filter, const Conditions& where, const std::vector<Column>& by = {});

  [[nodiscard]] const Chosen& topics() const { return topics_; }
  [[nodiscard]] const Chosen& segments() const { return segments_; }
  [[nodiscard]] bool has(std::uint32_t topic, std::uint32_t segment) const {
    return topics_.find(topic) != nullptr && segments_.find(segment) != nullptr;
  }
  // Figures come in the order of their arrival.
  template <class Use>
  void forEach(Use use) const {
    FiguresBetween all(database_, from(), to());
    for (auto stretch = all.next(); !stretch.empty(); stretch = all.next())
      for (const Figure& figure : stretch)
        if (figure.clientTs >= from() && figure.clientTs <= to() && has(figure.topic, figure.segment)) use(figure);
  }
  // Times, both included.
  [[nodiscard]] std::int64_t from() const { return filter_.from * kSecondsADay; }
  [[nodiscard]] std::int64_t to() const { return filter_.to * kSecondsADay + kSecondsADay - 1; }

 private:
  sqlite3* const database_;
  const Filter& filter_;
  const Chosen topics_, segments_;
};

}  // namespace collector
