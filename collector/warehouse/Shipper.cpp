#include "collector/warehouse/Shipper.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "collector/warehouse/Erasure.h"
#include "collector/warehouse/Tables.h"

namespace collector {

namespace {

constexpr auto kPlace = "handed_on";  // in `facts`

void keepPlace(sqlite3* archive, std::int64_t last) {
  Statement(archive, "INSERT OR REPLACE INTO facts(name, value) VALUES(?, ?)")
      .with(std::string_view(kPlace), last)
      .run();
}

// What the archive is called in the warehouse: the same after a restart.
std::string nameOf(sqlite3* archive) {
  Statement(archive, "INSERT OR IGNORE INTO facts(name, value) VALUES('name', lower(hex(randomblob(8))))").run();
  Statement name(archive, "SELECT value FROM facts WHERE name = 'name'");
  name.step();
  return fmt::format("zorvane-{}", name.text(0));
}

}  // namespace

std::int64_t handedOn(sqlite3* archive) {
  Statement place(archive, "SELECT CAST(value AS INTEGER) FROM facts WHERE name = ?");
  return place.with(std::string_view(kPlace)).step() ? place.integer(0) : 0;
}

Shipper::Shipper(Store& archive, WarehouseAddress warehouse, Log log, Pace pace)
    : archive_(archive),
      warehouse_(std::move(warehouse)),
      log_(std::move(log)),
      pace_(pace),
      most_(pace.most),
      thread_([this] { work(); }) {}

Shipper::~Shipper() {
  {
    std::unique_lock lock(guard_);
    ending_ = true;
    ended_.notify_all();
    ended_.wait_for(lock, pace_.ending, [&] { return isOver_; });
  }
  warehouse_.giveUp();
  thread_.join();
}

Shipper::Lag Shipper::lag() {
  Lag lag;
  {
    const std::scoped_lock lock(guard_);
    lag = lag_;
  }
  archive_.read([&](sqlite3* archive) {
    // Counting them would take longer the more there are.
    Statement waiting(archive,
                      "SELECT received_at, (SELECT max(id) FROM events) - ?1 FROM events WHERE id > ?1 ORDER BY id "
                      "LIMIT 1");
    if (waiting.with(handedOn(archive)).step()) {
      lag.oldest = waiting.integer(0);
      lag.waiting = waiting.integer(1);
    }
    lag.erasures = pendingErasures(archive);
  });
  return lag;
}

void Shipper::work() {
  auto next = pace_.firstPause;
  for (bool goesOn = true; goesOn;) {
    try {
      if (name_.empty()) prepare();
      const bool hasMore = handOn();
      note(lag_.trouble, "", "takes events again");
      next = pace_.firstPause;
      eraseNoted();
      goesOn = pause(hasMore ? std::chrono::milliseconds(0) : pace_.between);
    } catch (const std::exception& failure) {
      name_.clear();  // the tables may be gone as well
      note(lag_.trouble, failure.what(), "takes no events");
      goesOn = pause(next);
      next = std::min(2 * next, pace_.longestPause);
    }
  }
  const std::scoped_lock lock(guard_);
  isOver_ = true;
  ended_.notify_all();
}

void Shipper::prepare() {
  std::string name;
  const bool kept = archive_.writeNow([&](sqlite3* archive) {
    noteErasuresFromNowOn(archive);
    name = nameOf(archive);
  });
  if (!kept) throw WarehouseFailure("the archive can't be written");
  prepareWarehouse(warehouse_);
  name_ = name;
}

bool Shipper::handOn() {
  Handover handover;
  archive_.read([&](sqlite3* archive) { handover = nextHandover(archive, handedOn(archive), most_); });
  if (handover.count == 0) return false;
  try {
    warehouse_.insert(insertStatement(), handover.rows, name_);
  } catch (const WarehouseRefusal&) {  // it may be too much at once: memory, partitions, a proxy's limit
    most_ = std::max<std::int64_t>(1, handover.count / 2);
    throw;
  }
  most_ = std::min(2 * most_, pace_.most);
  if (!archive_.writeNow([&](sqlite3* archive) { keepPlace(archive, handover.last); }))
    throw WarehouseFailure("the archive can't keep the place");  // so these are handed on again
  const std::scoped_lock lock(guard_);
  lag_.handedOn += handover.count;
  return handover.isFull;
}

// On this thread, so that no events are on their way. Events don't wait for it: those of the players are gone from the
// archive.
void Shipper::eraseNoted() {
  std::string trouble;
  try {
    (void)collector::eraseNoted(archive_, warehouse_, name_);
  } catch (const std::exception& failure) {
    trouble = failure.what();
  }
  note(erasureTrouble_, trouble, trouble.empty() ? "erases again" : "can't erase");
}

// False when it is time to end.
bool Shipper::pause(std::chrono::milliseconds length) {
  std::unique_lock lock(guard_);
  return !ended_.wait_for(lock, length, [&] { return ending_; });
}

void Shipper::note(std::string& known, const std::string& trouble, const char* what) {
  {
    const std::scoped_lock lock(guard_);
    if (known == trouble) return;
    known = trouble;
  }
  log_(fmt::format("the warehouse {}{}{}", what, trouble.empty() ? "" : ": ", trouble));
}

}  // namespace collector
