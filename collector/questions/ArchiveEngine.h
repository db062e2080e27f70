// Questions asked of the archive. Daily ones look at the small tables, the others at the figures of the events.
//
// Thread:   any; each question has a connection of its own.
// Lifetime: shorter than the archive's.
#pragma once

#include "collector/archive/Readers.h"
#include "collector/questions/Engine.h"

namespace collector {

class ArchiveEngine final : public Engine {
 public:
  explicit ArchiveEngine(Readers& archive) : archive_(archive) {}

  Table events(const Filter& filter, const Query& query) override;
  Table days(const Filter& filter) override;
  Table whole(const Filter& filter) override;
  Table retention(const Filter& filter) override;
  Table lengths(const Filter& filter, bool byDay) override;
  Table life(const Filter& filter, const std::string& userId, std::size_t limit) override;
  Table rows(const Filter& filter, const Search& search) override;
  Table builds(const Filter& filter) override;
  Table segments(const Filter& filter, const std::vector<Column>& by) override;
  Table players(const Filter& filter, const std::string& starts, std::size_t limit) override;
  Table firstPurchases(const Filter& filter) override;
  Table hours(const Filter& filter) override;
  Table totals(const Filter& filter, const Query& query) override;
  Table progress(const Filter& filter, bool byDay) override;
  Table squares(const Filter& filter) override;
  Table spread(const Filter& filter, const Query& query) override;
  std::optional<std::vector<FieldsOfEvent>> fields(const Filter& filter, const Query& query) override;
  Table refused(const Filter& filter, bool byDay) override;

 private:
  class Question;
  template <class Count>
  auto read(Count count);  // what it counts in the archive

  Readers& archive_;
};

}  // namespace collector
