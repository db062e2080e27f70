#include "collector/archive/Figures.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace collector {

namespace {

static_assert(std::endian::native == std::endian::little, "an archive can be taken to another machine");

// A stretch is also what old events go by: not too long.
constexpr std::size_t kMostAStretch = 2'048;

Bytes bytesOf(const std::vector<Figure>& figures) {
  return {reinterpret_cast<const std::uint8_t*>(figures.data()), figures.size() * sizeof(Figure)};
}

void unpack(Bytes bytes, std::vector<Figure>& figures) {
  figures.resize(bytes.size() / sizeof(Figure));
  if (!figures.empty()) std::memcpy(figures.data(), bytes.data(), figures.size() * sizeof(Figure));
}

}  // namespace

Figures::Figures(sqlite3* database)
    : insert_(database, "INSERT INTO figures(last, received_at, first_ts, last_ts, packed) VALUES(?, ?, ?, ?, ?)") {}

void Figures::add(std::int64_t event, std::int64_t receivedAt, const Figure& figure) {
  if (stretch_.size() == kMostAStretch) write();
  receivedAt_ = stretch_.empty() ? receivedAt : std::max(receivedAt_, receivedAt);
  last_ = event;
  stretch_.push_back(figure);
}

void Figures::write() {
  if (stretch_.empty()) return;
  const auto [first, last] = std::ranges::minmax_element(stretch_, {}, &Figure::clientTs);
  insert_.with(last_, receivedAt_, first->clientTs, last->clientTs, bytesOf(stretch_)).run();
  stretch_.clear();
}

FiguresBetween::FiguresBetween(sqlite3* database, std::int64_t from, std::int64_t to)
    : select_(database, "SELECT packed FROM figures WHERE last_ts >= ? AND first_ts <= ?") {
  select_.with(from, to);
}

std::span<const Figure> FiguresBetween::next() {
  stretch_.clear();
  if (select_.step()) unpack(select_.bytes(0), stretch_);
  return stretch_;
}

void eraseFigures(sqlite3* database, std::int64_t player) {
  std::vector<std::int64_t> stretches;
  Statement find(database,
                 "SELECT DISTINCT (SELECT min(last) FROM figures WHERE last >= e.id) FROM events e WHERE player = ?");
  for (find.with(player); find.step();) stretches.push_back(find.integer(0));
  Statement read(database, "SELECT packed FROM figures WHERE last = ?");
  Statement rewrite(database, "UPDATE figures SET packed = ?2 WHERE last = ?1");
  Statement remove(database, "DELETE FROM figures WHERE last = ?");
  std::vector<Figure> figures;
  for (const std::int64_t stretch : stretches) {
    if (!read.with(stretch).step()) continue;
    unpack(read.bytes(0), figures);
    read.reset();
    std::erase_if(figures, [&](const Figure& figure) { return figure.player == player; });
    if (figures.empty()) remove.with(stretch).run();
    else rewrite.with(stretch, bytesOf(figures)).run();
  }
}

}  // namespace collector
