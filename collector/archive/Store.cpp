#include "collector/archive/Store.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <utility>

#include "collector/archive/Migration.h"

namespace collector {

namespace {

// Commits don't wait for the disk, answers do: see Writer. What is deleted is overwritten, as erased players have to
// be.
constexpr auto kSettings = "PRAGMA synchronous = NORMAL; PRAGMA cache_size = -65536; PRAGMA secure_delete = ON";

int openFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (file < 0) throw SqlFailure(fmt::format("{} can't be opened: {}", path, std::strerror(errno)));
  return file;
}

void setUp(sqlite3* database, Store::Use use) {
  checkVersion(database);
  if (use == Store::Use::beside && !isUpToDate(database)) throw SqlFailure("a collector has to open it first");
  Statement mode(database, "PRAGMA journal_mode = WAL");
  if (!mode.step() || mode.text(0) != "wal") throw SqlFailure("it can't have a log that others read");
  mode.reset();
  execute(database, kSettings);
  bringUpToDate(database);
}

Database openForWriting(const std::string& path, Store::Use use) {
  // SQLite would let the umask decide who may read it; its log and its index take this file's mode.
  ::close(openFile(path));
  auto database = openDatabase(path, OpenFor::writing);
  try {
    setUp(database.get(), use);
  } catch (const SqlFailure& failure) {
    throw SqlFailure(fmt::format("{} can't be used: {}", path, failure.what()));
  }
  return database;
}

}  // namespace

Occupation::Occupation(const std::string& path) : file_(openFile(path + "-lock")) {
  if (::flock(file_, LOCK_EX | LOCK_NB) == 0) return;
  ::close(file_);
  throw SqlFailure(fmt::format("{} is in use by another collector", path));
}

Occupation::~Occupation() { ::close(file_); }

Store::Store(const std::string& path, Use use, Writer::Watch watch)
    : occupation_(use == Use::alone ? std::make_unique<Occupation>(path) : nullptr),
      database_(openForWriting(path, use)),
      log_(path, database_.get()),
      readers_(path),
      writer_(
          database_.get(), [this] { return log_.sync(); }, std::move(watch)) {}

bool Store::writeNow(const Writer::Task& task) {
  std::promise<bool> done;
  writer_.run(task, [&](bool kept) { done.set_value(kept); });
  return done.get_future().get();
}

}  // namespace collector
