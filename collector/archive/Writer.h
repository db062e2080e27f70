// The one that writes. While what was committed is on its way to the disk, it takes what arrives into the next
// transaction; so a commit has company when there is much to do and waits for nothing when there is not.
//
// SQLite itself doesn't wait for the disk at a commit ("synchronous = NORMAL"): a second thread syncs its log, and only
// then anybody hears of the commit. The log is read again after a power cut up to its first damage, so all of it that
// was synced is there. Others may see a commit before: what they write comes behind it in the log, so it goes with it.
//
// Thread:   keep() and run() from any. Tasks come on the writer's own thread, answers on either.
// Lifetime: in the end it still writes what is waiting.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "collector/archive/Insertion.h"
#include "collector/archive/Sql.h"
#include "collector/archive/Taken.h"

namespace collector {

class Writer {
 public:
  using Done = std::function<void(bool kept)>;
  using Task = std::function<void(sqlite3* database)>;  // in a transaction of its own; throws to undo it
  // Puts all that was committed on the disk; what went wrong, or nothing.
  using Sync = std::function<std::string()>;
  // Hears what went wrong when writing begins to fail, and nothing when it works again. Must not wait.
  using Watch = std::function<void(const std::string& failure)>;

  struct Health {
    std::size_t waiting = 0;                 // what keep() and run() were given
    std::chrono::microseconds lastWrite{0};  // from its beginning to the disk
    std::string failure;                     // of the latest that had something to write; "" when it went well
  };

  Writer(sqlite3* database, Sync disk, Watch watch = {});
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // True only when all of it is on the disk.
  void keep(std::shared_ptr<const Taken> taken, Done done);
  // Something else to write, in its turn.
  void run(Task task, Done done);
  [[nodiscard]] Health health();

 private:
  struct Job {
    std::shared_ptr<const Taken> taken;  // or
    Task task;
    Done done;
  };
  using Jobs = std::deque<Job>;
  using Clock = std::chrono::steady_clock;
  struct Committed {
    Jobs jobs = {};
    Clock::time_point since = {};  // when the latest of them began
    bool hasChanges = false;       // without, it proves nothing about the disk
  };
  enum class Next { taken, task, end };

  void add(Job job);
  void writeWaiting();  // the writing thread
  Next awaitWork();
  void writeTaken();
  bool growGroup(Jobs& group);
  void writeTask();
  void forgetIfOthersWrote();
  void committed(Committed more);
  void failed(Clock::time_point since, const Jobs& jobs, const std::string& problem);
  void syncCommitted();  // the syncing thread
  Committed awaitCommitted();
  void note(Clock::time_point since, std::string failure);

  sqlite3* const database_;
  const Sync sync_;
  const Watch watch_;
  Insertion insertion_;
  Statement version_;
  std::int64_t seen_ = 0;
  std::mutex guard_;
  std::condition_variable arrived_, committing_;
  Jobs waiting_;         // guarded by guard_, and so is what follows
  Committed committed_;  // waits for the disk
  bool isSyncing_ = false;
  bool isEnding_ = false, hasEnded_ = false;
  Health health_;  // but for what waits
  std::thread writing_, syncing_;
};

}  // namespace collector
