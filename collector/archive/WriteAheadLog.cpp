#include "collector/archive/WriteAheadLog.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace collector {

namespace {

// A page that changes often is moved once in so many pages of the log.
constexpr int kPagesToMove = 4'000;
constexpr int kMostPages = 12'000;

int openLog(const std::string& path) {
  const int file = ::open((path + "-wal").c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) throw SqlFailure(fmt::format("{}-wal can't be opened: {}", path, std::strerror(errno)));
  return file;
}

// One that has read nothing yet knows of no log, and would move none.
Database openMover(const std::string& path) {
  auto database = openDatabase(path, OpenFor::writing);
  execute(database.get(), "SELECT count(*) FROM sqlite_master");
  return database;
}

}  // namespace

WriteAheadLog::WriteAheadLog(const std::string& path, sqlite3* writer)
    : writer_(writer), mover_(openMover(path)), file_(openLog(path)), thread_([this] { work(); }) {
  sqlite3_wal_hook(writer_, &WriteAheadLog::onCommit, this);  // in place of SQLite's own, which moves it at a commit
}

WriteAheadLog::~WriteAheadLog() {
  sqlite3_wal_hook(writer_, nullptr, nullptr);
  {
    const std::scoped_lock lock(guard_);
    ending_ = true;
  }
  grown_.notify_one();
  thread_.join();
  ::close(file_);
}

std::string WriteAheadLog::sync() {
  if (isDoubtful_) {  // the file gets the pages instead
    auto problem = empty();
    isDoubtful_ = !problem.empty();
    return problem;
  }
  int result = ::fdatasync(file_);
  while (result != 0 && errno == EINTR) result = ::fdatasync(file_);
  if (result == 0) return "";
  isDoubtful_ = true;
  return fmt::format("the log can't be synced: {}", std::strerror(errno));
}

std::string WriteAheadLog::empty() {
  const std::scoped_lock lock(moving_);
  int left = 0;
  const int result = sqlite3_wal_checkpoint_v2(mover_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, &left, nullptr);
  return result == SQLITE_OK && left == 0 ? ""
                                          : fmt::format("the log can't be moved: {}", sqlite3_errmsg(mover_.get()));
}

// The log begins from the front again only when all of it is in the file, which under a steady load is never so when
// the mover is done. So once it has grown long the writer moves the little that is left, before it writes more.
int WriteAheadLog::onCommit(void* log, sqlite3* writer, const char*, int pages) {
  auto& self = *static_cast<WriteAheadLog*>(log);
  std::unique_lock lock(self.guard_);
  if (std::exchange(self.isRestDue_, false))
    sqlite3_wal_checkpoint_v2(writer, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  if (pages < self.pages_) self.moved_ = 0;
  self.pages_ = pages;
  const bool isDue = self.isMovingDue();
  lock.unlock();
  if (isDue) self.grown_.notify_one();
  return SQLITE_OK;
}

void WriteAheadLog::work() {
  std::unique_lock lock(guard_);
  for (;;) {
    grown_.wait(lock, [&] { return ending_ || isMovingDue(); });
    if (ending_) return;
    moved_ = pages_;
    lock.unlock();
    {
      const std::scoped_lock moving(moving_);
      sqlite3_wal_checkpoint_v2(mover_.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    }
    lock.lock();
    isRestDue_ = pages_ >= kMostPages;
  }
}

bool WriteAheadLog::isMovingDue() const { return pages_ - moved_ >= kPagesToMove; }

}  // namespace collector
