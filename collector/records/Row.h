// Row is one record as the archive and the warehouse keep it: the columns that questions need, and the record whole.
//
// Thread:   any; values.
// Lifetime: texts are borrowed from the body that they came in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

namespace collector {

// The names are those of the columns; kColumns says what each holds.
enum class Column : std::uint8_t {
  category,
  eventUuid,
  clientTs,
  userId,
  sessionId,
  sessionNum,
  platform,
  osVersion,
  manufacturer,
  device,
  sdkVersion,
  engineVersion,
  build,
  appVersion,
  connection,
  abId,
  abVariantId,
  custom01,
  custom02,
  custom03,
  customFields,
  eventId,
  part1,
  part2,
  part3,
  part4,
  part5,
  value,
  currency,
  amount,
  itemType,
  itemId,
  cartType,
  transactionNum,
  flow,
  status,
  progression01,
  progression02,
  progression03,
  attempt,
  score,
  severity,
  message,
  adNetwork,
  adPlacement,
  adType,
  adAction,
  adFailReason,
  adDuration,
  length,
  install,
  count  // how many there are
};

enum class Kind : std::uint8_t { text, whole, number };

struct ColumnOf {
  std::string_view name;  // in both engines, and in answers
  Kind kind;
};

inline constexpr std::size_t kColumnCount = static_cast<std::size_t>(Column::count);

inline constexpr std::array<ColumnOf, kColumnCount> kColumns = {{
    {"category", Kind::text},
    {"event_uuid", Kind::text},
    {"client_ts", Kind::whole},
    {"user_id", Kind::text},
    {"session_id", Kind::text},
    {"session_num", Kind::whole},
    {"platform", Kind::text},
    {"os_version", Kind::text},
    {"manufacturer", Kind::text},
    {"device", Kind::text},
    {"sdk_version", Kind::text},
    {"engine_version", Kind::text},
    {"build", Kind::text},
    {"app_version", Kind::text},  // ios_app_version
    {"connection_type", Kind::text},
    {"ab_id", Kind::text},
    {"ab_variant_id", Kind::text},
    {"custom_01", Kind::text},
    {"custom_02", Kind::text},
    {"custom_03", Kind::text},
    {"custom_fields", Kind::text},  // as JSON
    {"event_id", Kind::text},
    {"part1", Kind::text},  // of a design event's id
    {"part2", Kind::text},
    {"part3", Kind::text},
    {"part4", Kind::text},
    {"part5", Kind::text},
    {"value", Kind::number},   // of a design event; an impression's revenue
    {"currency", Kind::text},  // of a purchase, of a resource, of an impression's revenue
    {"amount", Kind::number},  // a purchase's in the currency's smallest unit; a sink's is below 0
    {"item_type", Kind::text},
    {"item_id", Kind::text},
    {"cart_type", Kind::text},
    {"transaction_num", Kind::whole},
    {"flow", Kind::text},    // Source, Sink
    {"status", Kind::text},  // Start, Complete, Fail
    {"progression01", Kind::text},
    {"progression02", Kind::text},
    {"progression03", Kind::text},
    {"attempt_num", Kind::whole},
    {"score", Kind::number},
    {"severity", Kind::text},
    {"message", Kind::text},
    {"ad_network", Kind::text},  // ad_sdk_name, ad_network_name
    {"ad_placement", Kind::text},
    {"ad_type", Kind::text},
    {"ad_action", Kind::text},
    {"ad_fail_reason", Kind::text},
    {"ad_duration", Kind::whole},  // milliseconds
    {"length", Kind::whole},       // of a session, in seconds
    {"install", Kind::whole},      // 1 at an installation's first session
}};

// Nothing where the record has no such field.
using Cell = std::variant<std::monostate, std::int64_t, double, std::string_view>;

struct Row {
  std::array<Cell, kColumnCount> cells;
  std::string_view record;  // JSON, as it was sent

  [[nodiscard]] const Cell& operator[](Column column) const { return cells[static_cast<std::size_t>(column)]; }
  Cell& operator[](Column column) { return cells[static_cast<std::size_t>(column)]; }
};

// "" where the column holds none.
inline std::string_view textOf(const Row& row, Column column) {
  const auto* const text = std::get_if<std::string_view>(&row[column]);
  return text != nullptr ? *text : std::string_view();
}

}  // namespace collector
