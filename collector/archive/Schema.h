// The tables of the archive, and how a column of a record is kept in them.
//
//   games, names     a number for each game key and for each text that comes again and again
//   topics           what events of a category are about: a number for each combination of such texts
//   segments         what questions filter by, the same
//   devices          what they were sent from, the same
//   players          user ids, with the first and last UTC day of each
//   player_days      a row for each player, UTC day and segment: what daily questions count instead of events
//   spending         of each player by currency
//   sessions         when each began, was last heard of, and how long it was
//   events           a row an event, with its JSON. Its player is minus the game's number where it names none, so that
//                    player, time and UUID say in any case which event it is: a record that comes twice is the same in
//                    all three. The index of the three changes in few places, as a player's events come together
//   figures          what questions count of events, see Figures.h: that of the events up to the number `last`
//   rejected         what was refused, with reasons
//   notes            what was odd about records that were taken, and how often
//   erasures         players that the warehouse has still to remove, and up to which time
//   configurations   every version of each game's document, the last one in force
//   event            a view: events with their texts, for people
//
// Days are UTC days since 1970.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "collector/archive/Sql.h"
#include "collector/records/Row.h"

namespace collector {

// 1: requests as they came, see FirstVersion.h.
inline constexpr std::int64_t kSchemaVersion = 2;

inline constexpr std::int64_t kSecondsADay = 86'400;

inline constexpr auto kTopicColumns = std::to_array<Column>(
    {Column::category,      Column::eventId,  Column::part1,       Column::part2,         Column::part3,
     Column::part4,         Column::part5,    Column::currency,    Column::itemType,      Column::itemId,
     Column::cartType,      Column::flow,     Column::status,      Column::progression01, Column::progression02,
     Column::progression03, Column::severity, Column::message,     Column::adNetwork,     Column::adPlacement,
     Column::adType,        Column::adAction, Column::adFailReason});
inline constexpr auto kSegmentColumns =
    std::to_array<Column>({Column::platform, Column::build, Column::custom01, Column::custom02, Column::custom03,
                           Column::abId, Column::abVariantId});
inline constexpr auto kDeviceColumns =
    std::to_array<Column>({Column::osVersion, Column::manufacturer, Column::device, Column::sdkVersion,
                           Column::engineVersion, Column::appVersion, Column::connection});
// Those that `events` has, in its order, behind its own ones.
inline constexpr auto kEventColumns =
    std::to_array<Column>({Column::sessionNum, Column::value, Column::amount, Column::transactionNum, Column::attempt,
                           Column::score, Column::adDuration, Column::length, Column::install, Column::customFields});

// A table of combinations: an id, the game, and a number of `names` for each column.
struct Combinations {
  const char* table;
  const char* reference;  // the column of `events`
  std::span<const Column> columns;
};
inline constexpr auto kCombinations = std::to_array<Combinations>({{"topics", "topic", kTopicColumns},
                                                                   {"segments", "segment", kSegmentColumns},
                                                                   {"devices", "device_id", kDeviceColumns}});

constexpr std::string_view nameOf(Column column) { return kColumns[static_cast<std::size_t>(column)].name; }

// The tables, within a transaction of the caller's.
void addTables(sqlite3* database);
// The same in a file of nobody's, which says afterwards what it is.
void makeTables(sqlite3* database);

}  // namespace collector
