#include "collector/archive/Insertion.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <limits>
#include <optional>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/archive/Uuid.h"
#include "collector/base/Json.h"

namespace collector {

namespace {

constexpr auto kOwnColumns =
    "game, topic, segment, device_id, player, session, uuid, client_ts, received_at, measure, record";
constexpr int kFirstColumn = 12;  // behind those

constexpr std::int64_t kWholeBody = -1;  // the position of a record where no record could be read

std::string insertEventSql() {
  std::string columns = kOwnColumns, marks = "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?";
  for (const Column column : kEventColumns) {
    columns += fmt::format(", {}", nameOf(column));
    marks += ", ?";
  }
  return fmt::format("INSERT INTO events({}) VALUES({}) ON CONFLICT DO NOTHING", columns, marks);
}

std::uint32_t shortened(std::int64_t number) {
  if (number > std::numeric_limits<std::uint32_t>::max()) throw SqlFailure("there are too many combinations");
  return static_cast<std::uint32_t>(number);
}

}  // namespace

Insertion::Insertion(sqlite3* database)
    : database_(database),
      dictionary_(database),
      tallies_(database),
      figures_(database),
      event_(database, insertEventSql()),
      rejected_(database, "INSERT INTO rejected(game, received_at, position, reasons, record) VALUES(?, ?, ?, ?, ?)"),
      note_(database,
            "INSERT INTO notes(game, note, first_at, last_at, times) VALUES(?1, ?2, ?3, ?3, ?4) ON CONFLICT DO UPDATE "
            "SET last_at = max(last_at, excluded.last_at), times = times + excluded.times") {}

std::int64_t Insertion::insert(const Taken& taken) {
  const std::int64_t game = dictionary_.game(taken.game);
  std::int64_t fresh = 0;
  for (const Row& row : taken.rows) fresh += insertEvent(row, game, taken.receivedAt) ? 1 : 0;
  insertRefusals(taken, game);
  return fresh;
}

void Insertion::insertRefusals(const Taken& taken, std::int64_t game) {
  const auto refuse = [&](std::int64_t position, std::string_view reasons, std::string_view record) {
    rejected_.with(game, taken.receivedAt, position, reasons, record).run();
  };
  if (!taken.problem.empty()) {
    const std::string reasons = fmt::format("[{}]", quotedJson(taken.problem));
    refuse(kWholeBody, reasons, {});
  }
  for (const Rejected& each : taken.rejected)
    refuse(static_cast<std::int64_t>(each.position), each.reasons, each.record);
  for (const auto& [note, times] : taken.notes)
    note_.with(game, std::string_view(note), taken.receivedAt, static_cast<std::int64_t>(times)).run();
}

bool Insertion::insertEvent(const Row& row, std::int64_t game, std::int64_t receivedAt) {
  const auto* time = std::get_if<std::int64_t>(&row[Column::clientTs]);
  const std::int64_t clientTs = time != nullptr ? *time : 0;  // SDK errors have none
  const std::int64_t day = clientTs / kSecondsADay;
  const std::int64_t topic = dictionary_.combination(0, game, row);
  const std::int64_t segment = dictionary_.combination(1, game, row);
  const std::int64_t device = dictionary_.combination(2, game, row);
  const std::string_view userId = textOf(row, Column::userId);
  const bool hasPlayer = row[Column::userId].index() != 0;
  const std::int64_t player = hasPlayer ? dictionary_.player(game, userId, day) : -game;
  const auto uuid = uuidOf(textOf(row, Column::eventUuid));
  if (!uuid) throw SqlFailure("an event has no UUID");
  const auto session = uuidOf(textOf(row, Column::sessionId));
  const auto measure = measureOf(row);
  const auto sessionBytes = session ? std::optional(Bytes(*session)) : std::nullopt;

  event_.with(game, topic, segment, device, player, sessionBytes, Bytes(*uuid), clientTs, receivedAt, measure,
              row.record);
  bindColumns(row);
  if (event_.run() == 0) return false;
  figures_.add(sqlite3_last_insert_rowid(database_), receivedAt,
               {clientTs, measure.value_or(Figure::kNotMeasured), player, shortened(topic), shortened(segment)});
  if (!hasPlayer) return true;
  const NewEvent event{game, player, segment, day, clientTs, session, measure, row};
  tallies_.add(event);
  if (textOf(row, Column::category) == "business")
    tallies_.addPurchase(event, dictionary_.name(textOf(row, Column::currency)));
  return true;
}

void Insertion::bindColumns(const Row& row) {
  int parameter = kFirstColumn;
  for (const Column column : kEventColumns) {
    const Cell& cell = row[column];
    if (const auto* text = std::get_if<std::string_view>(&cell)) {
      event_.bind(parameter, *text);
    } else if (const auto* whole = std::get_if<std::int64_t>(&cell)) {
      event_.bind(parameter, *whole);
    } else if (const auto* number = std::get_if<double>(&cell)) {
      event_.bind(parameter, *number);
    } else {
      event_.bindNothing(parameter);
    }
    ++parameter;
  }
}

void Insertion::finish() {
  figures_.write();
  tallies_.write();
}

void Insertion::forget() {
  figures_.forget();
  tallies_.forget();
  dictionary_.forget();
}

}  // namespace collector
