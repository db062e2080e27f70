#include "collector/archive/Writer.h"

#include <sqlite3.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace collector {

Writer::Writer(sqlite3* database, Sync disk, Watch watch)
    : database_(database),
      sync_(std::move(disk)),
      watch_(std::move(watch)),
      insertion_(database_),
      version_(database_, "PRAGMA data_version"),
      writing_([this] { writeWaiting(); }),
      syncing_([this] { syncCommitted(); }) {}

Writer::~Writer() {
  {
    const std::scoped_lock lock(guard_);
    isEnding_ = true;
  }
  arrived_.notify_one();
  writing_.join();
  {
    const std::scoped_lock lock(guard_);
    hasEnded_ = true;
  }
  committing_.notify_one();
  syncing_.join();
}

void Writer::keep(std::shared_ptr<const Taken> taken, Done done) { add({std::move(taken), {}, std::move(done)}); }

void Writer::run(Task task, Done done) { add({nullptr, std::move(task), std::move(done)}); }

Writer::Health Writer::health() {
  const std::scoped_lock lock(guard_);
  Health health = health_;
  health.waiting = waiting_.size();
  return health;
}

void Writer::add(Job job) {
  {
    const std::scoped_lock lock(guard_);
    waiting_.push_back(std::move(job));
  }
  arrived_.notify_one();
}

void Writer::writeWaiting() {
  for (auto next = awaitWork(); next != Next::end; next = awaitWork()) {
    if (next == Next::task) writeTask();
    else writeTaken();
  }
}

Writer::Next Writer::awaitWork() {
  std::unique_lock lock(guard_);
  arrived_.wait(lock, [&] { return isEnding_ || !waiting_.empty(); });
  if (waiting_.empty()) return Next::end;
  return waiting_.front().taken ? Next::taken : Next::task;
}

void Writer::writeTaken() {
  Jobs group;
  const auto since = Clock::now();
  const auto before = sqlite3_total_changes64(database_);
  try {
    Transaction transaction(database_);
    forgetIfOthersWrote();
    for (std::size_t at = 0; growGroup(group);)
      for (; at < group.size(); ++at) insertion_.insert(*group[at].taken);
    insertion_.finish();
    transaction.commit();
    committed({std::move(group), since, sqlite3_total_changes64(database_) != before});
  } catch (const std::exception& failure) {  // locked, full, out of memory: the games keep their events
    insertion_.forget();
    if (group.empty()) growGroup(group);
    failed(since, group, failure.what());
  }
}

// Adds what has arrived, for as long as the disk is busy. False when the group is to be committed.
bool Writer::growGroup(Jobs& group) {
  const auto hasMore = [&] { return !waiting_.empty() && waiting_.front().taken; };
  const auto mustCommit = [&] { return isEnding_ || !waiting_.empty() || (committed_.jobs.empty() && !isSyncing_); };
  std::unique_lock lock(guard_);
  if (!group.empty()) arrived_.wait(lock, [&] { return hasMore() || mustCommit(); });
  if (!hasMore() || (!group.empty() && committed_.jobs.empty() && !isSyncing_)) return false;
  for (; hasMore(); waiting_.pop_front()) group.push_back(std::move(waiting_.front()));
  return true;
}

void Writer::writeTask() {
  Jobs one;
  {
    const std::scoped_lock lock(guard_);
    one.push_back(std::move(waiting_.front()));
    waiting_.pop_front();
  }
  const auto since = Clock::now();
  const auto before = sqlite3_total_changes64(database_);
  try {
    Transaction transaction(database_);
    one.front().task(database_);
    transaction.commit();
    insertion_.forget();
    committed({std::move(one), since, sqlite3_total_changes64(database_) != before});
  } catch (const SqlFailure& failure) {
    failed(since, one, failure.what());
  } catch (const std::exception&) {  // the task's own: it says nothing of the disk
    one.front().done(false);
  }
}

// What another connection or a task has changed may be what the numbers in mind stand for.
void Writer::forgetIfOthersWrote() {
  version_.step();
  const std::int64_t version = version_.integer(0);
  version_.reset();
  if (std::exchange(seen_, version) != version) insertion_.forget();
}

void Writer::committed(Committed more) {
  {
    const std::scoped_lock lock(guard_);
    committed_.since = more.since;
    committed_.hasChanges |= more.hasChanges;
    std::move(more.jobs.begin(), more.jobs.end(), std::back_inserter(committed_.jobs));
  }
  committing_.notify_one();
}

void Writer::failed(Clock::time_point since, const Jobs& jobs, const std::string& problem) {
  note(since, problem);
  for (const Job& job : jobs) job.done(false);
}

// What was answered goes away before more is waited for: it may be large.
void Writer::syncCommitted() {
  for (bool wasKept = true;;) {
    const Committed now = awaitCommitted();
    if (now.jobs.empty()) return;
    std::string problem = sync_();
    const bool kept = problem.empty();
    if (now.hasChanges || !kept || !wasKept) note(now.since, std::move(problem));
    wasKept = kept;
    {
      const std::scoped_lock lock(guard_);
      isSyncing_ = false;
    }
    arrived_.notify_one();
    for (const Job& job : now.jobs) job.done(kept);
  }
}

Writer::Committed Writer::awaitCommitted() {
  std::unique_lock lock(guard_);
  committing_.wait(lock, [&] { return hasEnded_ || !committed_.jobs.empty(); });
  isSyncing_ = !committed_.jobs.empty();
  return std::exchange(committed_, {});
}

void Writer::note(Clock::time_point since, std::string failure) {
  const auto took = Clock::now() - since;
  const std::scoped_lock lock(guard_);
  if (watch_ && failure.empty() != health_.failure.empty()) watch_(failure);
  health_.failure = std::move(failure);
  if (health_.failure.empty()) health_.lastWrite = std::chrono::duration_cast<std::chrono::microseconds>(took);
}

}  // namespace collector
