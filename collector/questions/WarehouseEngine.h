// Questions asked of the warehouse, in SQL that ClickHouse has understood since 18.16.
//
// Thread:   any.
// Lifetime: shorter than the warehouse's.
#pragma once

#include "collector/archive/Readers.h"
#include "collector/questions/Engine.h"
#include "collector/questions/EventsOnce.h"
#include "collector/warehouse/ClickHouse.h"

namespace collector {

class WarehouseEngine final : public Engine {
 public:
  // `archive`: of the collector that asks, for what isn't handed on; null where there is none.
  explicit WarehouseEngine(const ClickHouse& warehouse, Readers* archive = nullptr)
      : warehouse_(warehouse), archive_(archive) {}

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
  const EventsOnce warehouse_;
  Readers* const archive_;
};

}  // namespace collector
