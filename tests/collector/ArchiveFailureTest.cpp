#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include "collector/Archives.h"

namespace collector {
namespace {

class FailingArchive : public testing::Test {
 protected:
  std::vector<Event> many(std::uint64_t from) const {
    std::vector<Event> events;
    for (std::uint64_t number = from; number < from + 2'000; ++number)
      events.push_back({.number = number, .id = std::string(200, 'x')});
    return events;
  }
  void expectAllKeptOnce(std::size_t events) {
    EXPECT_EQ(countRows(file_, "SELECT count(*) FROM events"), events);
    EXPECT_THAT(textsOf(file_, "PRAGMA integrity_check"), testing::ElementsAre("ok"));
    expectTalliesOfItsEvents(file_);
  }

  TemporaryFolder folder_;
  const std::string file_ = folder_.file("archive.sqlite");
};

TEST_F(FailingArchive, KeepsNothingWhileItCannotAndAllOfItAfterwards) {
  struct Case {
    std::string what;
    std::function<std::shared_ptr<void>(Store&)> begin;  // lasts as long as its result
    std::string failure;
  };
  const auto undo = [](auto task) { return std::shared_ptr<void>(nullptr, [task](void*) { task(); }); };
  const auto limitPages = [](Store& store, const std::string& pages) {
    EXPECT_TRUE(store.writeNow([&](sqlite3* database) { execute(database, "PRAGMA max_page_count = " + pages); }));
  };
  std::uint64_t next = 1;
  Store store(file_);
  ASSERT_TRUE(keep(store, {{.number = next++}}));
  for (const auto& [what, begin, failure] :
       std::vector<Case>{{"full",
                          [&](Store& full) {
                            limitPages(full, "60");
                            return undo([&] { limitPages(full, "1000000"); });
                          },
                          "full"},
                         {"locked", [&](Store&) { return lockDatabase(file_); }, "locked"},
                         {"out of memory",
                          [&](Store&) {
                            sqlite3_hard_heap_limit64(sqlite3_memory_used() + 30'000);
                            return undo([] { sqlite3_hard_heap_limit64(0); });
                          },
                          "memory"}}) {
    const auto events = many(next);
    auto trouble = begin(store);
    EXPECT_FALSE(keep(store, events)) << what;
    EXPECT_TRUE(what != "full" || store.writeNow([](sqlite3*) {})) << "which says nothing of the disk";
    EXPECT_THAT(store.health().failure, testing::HasSubstr(failure)) << what;
    trouble.reset();
    EXPECT_TRUE(keep(store, events)) << what << ": " << store.health().failure;
    EXPECT_EQ(store.health().failure, "") << what;
    next += events.size();
    expectAllKeptOnce(next - 1);
  }
}

// Numbers of events that were acknowledged go through a pipe, which a kill doesn't empty.
class Child {
 public:
  explicit Child(const std::function<void(int pipe)>& run) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      run(ends[1]);
      ::_exit(0);
    }
    ::close(ends[1]);
    pipe_ = ends[0];
  }
  ~Child() {
    ::close(pipe_);
    if (pid_ > 0) end();
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  std::uint64_t read() const {  // 0 at the end
    std::uint64_t number = 0;
    return ::read(pipe_, &number, sizeof(number)) == sizeof(number) ? number : 0;
  }
  void kill() { ::kill(pid_, SIGKILL); }
  int end() {
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return status;
  }

 private:
  pid_t pid_ = -1;
  int pipe_ = -1;
};

void acknowledge(int pipe, std::uint64_t number) {
  if (::write(pipe, &number, sizeof(number)) != sizeof(number)) ::_exit(2);
}

TEST_F(FailingArchive, HoldsWhatWasAcknowledgedBeforeAKill) {
  constexpr int kKills = 30;
  std::set<std::string> acknowledged;
  for (int round = 0; round < kKills; ++round) {
    Child child([&](int pipe) {
      Store store(file_);
      for (std::uint64_t number = static_cast<std::uint64_t>(round) * 1'000'000 + 1;; ++number) {
        const auto user = fmt::format("player {}", number % 50);
        store.keep(batchOf({{.number = number, .user = user}, {.number = number + 500'000, .user = user}}),
                   [pipe, number](bool kept) {
                     if (kept) acknowledge(pipe, number);
                   });
        if (number % 20 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
    std::uint64_t number = child.read();
    ASSERT_NE(number, 0U);
    std::thread killer([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(round));
      child.kill();
    });
    for (; number != 0; number = child.read())
      for (const auto each : {number, number + 500'000}) acknowledged.insert(uuidText(each));
    killer.join();
    child.end();
  }
  std::set<std::string> there;
  for (std::string uuid : textsOf(file_, "SELECT event_uuid FROM event")) {
    for (const std::size_t at : {8U, 13U, 18U, 23U}) uuid.insert(at, "-");
    EXPECT_TRUE(there.insert(uuid).second) << uuid << " is there twice";
  }
  std::vector<std::string> lost;
  std::ranges::set_difference(acknowledged, there, std::back_inserter(lost));
  EXPECT_THAT(lost, testing::IsEmpty());
  EXPECT_GT(acknowledged.size(), 100U);
  expectAllKeptOnce(there.size());
}

TEST_F(FailingArchive, GoesOnWhenTheDiskHasRoomAgain) {
  Child child([&](int pipe) {
    std::signal(SIGXFSZ, SIG_IGN);  // so that writing fails instead
    Store store(file_);
    const rlimit small{400'000, RLIM_INFINITY}, large{RLIM_INFINITY, RLIM_INFINITY};
    ::setrlimit(RLIMIT_FSIZE, &small);
    std::uint64_t number = 1;
    for (; keep(store, many(number)); number += 2'000) acknowledge(pipe, number);
    ::setrlimit(RLIMIT_FSIZE, &large);
    if (!keep(store, many(number))) ::_exit(3);
    acknowledge(pipe, number);
    if (!keep(store, {{.number = 1'000'000}})) ::_exit(4);
  });
  std::size_t batches = 0;
  for (; child.read() != 0;) ++batches;
  EXPECT_EQ(child.end(), 0);
  EXPECT_GE(batches, 1U);
  expectAllKeptOnce(batches * 2'000 + 1);
}

TEST_F(FailingArchive, SaysWhyItCannotBeOpened) {
  struct Case {
    std::string path, message;
  };
  std::filesystem::create_symlink(file_, folder_.file("link"));
  std::filesystem::create_directory(folder_.file("folder"));
  for (const auto& [path, message] :
       std::vector<Case>{{folder_.file("none/archive.sqlite"), "No such file or directory"},
                         {folder_.file("folder"), "s a directory"},
                         {folder_.file("link"), "symbolic links"}})
    EXPECT_THAT([&] { Store store(path); }, testing::ThrowsMessage<SqlFailure>(testing::HasSubstr(message))) << path;
}

}  // namespace
}  // namespace collector
