// Events for an archive, and what tests ask of its file.
//
// Thread: the test's.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "collector/archive/Figures.h"
#include "collector/archive/Store.h"
#include "collector/archive/Upkeep.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"

namespace collector {

inline constexpr std::int64_t kDay = 86'400;
inline constexpr std::int64_t kFirstDay = 20'000;
inline const std::string kGame = "0123456789abcdef0123456789abcdef";

struct Event {
  std::uint64_t number = 0;  // makes its UUID
  std::string category = "design";
  std::string user = "ann";      // "" for none
  std::int64_t day = kFirstDay;  // of its own time
  std::int64_t second = 0;       // in that
  int session = 1;
  std::string id = "level:1";
  double value = 1.5;
  std::string build = "1.0";
};

inline std::string uuidText(std::uint64_t number) {
  return fmt::format("{:08x}-0000-4000-8000-{:012x}", number, number);
}

class Batch : public Taken {
 public:
  explicit Batch(std::int64_t received = kFirstDay * kDay) {
    game = kGame;
    receivedAt = received;
  }
  Batch& add(const Event& event) {
    Row& row = rows.emplace_back();
    row[Column::category] = own(event.category);
    row[Column::eventUuid] = own(uuidText(event.number));
    row[Column::platform] = "linux";
    row[Column::build] = own(event.build);
    if (!event.user.empty()) {
      row[Column::userId] = own(event.user);
      row[Column::sessionId] = own(uuidText(0x5E000000U + static_cast<std::uint64_t>(event.session)));
      row[Column::clientTs] = event.day * kDay + event.second;
    }
    if (event.category == "design") row[Column::eventId] = own(event.id);
    if (event.category == "business") {
      row[Column::currency] = own("EUR");
      row[Column::amount] = std::floor(event.value);
    } else if (event.category == "session_end") {
      row[Column::length] = static_cast<std::int64_t>(event.value);
    } else {
      row[Column::value] = event.value;
    }
    row.record = own(fmt::format(R"({{"user_id":"{}","event_uuid":"{}"}})", event.user, uuidText(event.number)));
    return *this;
  }
  Batch& refuse(const std::string& record) {
    rejected.push_back({rejected.size(), R"(["it is wrong"])", own(record)});
    return *this;
  }

 private:
  std::string_view own(std::string text) { return texts_.emplace_back(std::move(text)); }
  std::deque<std::string> texts_;
};

inline std::shared_ptr<Batch> batchOf(const std::vector<Event>& events, std::int64_t received = kFirstDay * kDay) {
  auto batch = std::make_shared<Batch>(received);
  for (const Event& event : events) batch->add(event);
  return batch;
}

inline std::future<bool> keeping(Store& store, std::shared_ptr<const Taken> taken) {
  const auto kept = std::make_shared<std::promise<bool>>();
  store.keep(std::move(taken), [kept](bool is) { kept->set_value(is); });
  return kept->get_future();
}
inline bool keep(Store& store, const std::vector<Event>& events, std::int64_t received = kFirstDay * kDay) {
  return keeping(store, batchOf(events, received)).get();
}

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The small tables and the figures say what the events say.
inline void expectTalliesOfItsEvents(const std::string& file) {
  const auto expectSame = [&](const std::string& kept, const std::string& made) {
    for (const auto& sql : {kept + " EXCEPT " + made, made + " EXCEPT " + kept})
      EXPECT_EQ(countRows(file, "SELECT count(*) FROM (" + sql + ")"), 0U) << sql;
  };
  const std::string kCategory = "(SELECT n.text FROM topics t JOIN names n ON n.id = t.category WHERE t.id = topic)";
  const std::string kEvents =
      "(SELECT *, client_ts / 86400 AS day, " + kCategory + " AS category FROM events WHERE player > 0)";
  expectSame("SELECT id, first_day, last_day FROM players",
             "SELECT player, min(day), max(day) FROM " + kEvents + " GROUP BY player");
  expectSame("SELECT * FROM player_days",
             "SELECT game, day, player, segment, count(*), sum(category = 'user'), sum(category = 'session_end'), "
             "sum(iif(category = 'session_end', length, 0)) FROM " +
                 kEvents + " GROUP BY game, day, player, segment");
  expectSame("SELECT player, session, first_ts, last_ts, length, events FROM sessions",
             "SELECT player, session, min(client_ts), max(client_ts), max(length), count(*) FROM " + kEvents +
                 " WHERE session IS NOT NULL GROUP BY player, session");
  expectSame("SELECT player, purchases, amount, first_day FROM spending",
             "SELECT player, count(*), CAST(sum(amount) AS INTEGER), min(day) FROM " + kEvents +
                 " WHERE category = 'business' GROUP BY player");
  std::multiset<std::vector<std::int64_t>> kept, made;
  const auto database = openDatabase(file, OpenFor::reading);
  FiguresBetween all(database.get(), 0, INT64_MAX);
  for (auto stretch = all.next(); !stretch.empty(); stretch = all.next())
    for (const Figure& each : stretch)
      kept.insert({each.clientTs, each.measure, each.player, each.topic, each.segment});
  Statement events(database.get(), "SELECT client_ts, ifnull(measure, ?), player, topic, segment FROM events");
  for (events.with(Figure::kNotMeasured); events.step();)
    made.insert({events.integer(0), events.integer(1), events.integer(2), events.integer(3), events.integer(4)});
  EXPECT_EQ(kept, made);
}

}  // namespace collector
