// Follower keeps the configurations of this collector those of another one, their home. They are kept in the archive,
// so this collector starts and serves while the home is away.
//
// Thread:   has its own, which asks the home every few seconds; the operations any.
// Lifetime: shorter than the store's; its end waits for nothing.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "collector/archive/Store.h"
#include "collector/client/HttpClient.h"
#include "collector/configs/ConfigurationStore.h"

namespace collector {

class Follower {
 public:
  struct Home {
    std::string url;     // of the collector, without a path
    std::string token;   // for reading
    std::string caFile;  // to trust in place of the system's; "": the system's
    std::chrono::milliseconds between = std::chrono::seconds(5);
    std::chrono::milliseconds limit = std::chrono::seconds(10);  // for an answer
  };
  // Throws HttpFailure when the URL is none. `log` gets a line when the home goes away or comes back.
  Follower(Home home, Store& archive, ConfigurationStore& configurations, std::function<void(std::string_view)> log);
  ~Follower();
  Follower(const Follower&) = delete;
  Follower& operator=(const Follower&) = delete;

  // When the home was last known to have what is in force here, also before a restart; absent: never.
  [[nodiscard]] std::optional<std::int64_t> confirmedAt();

 private:
  void work();
  void ask();  // throws with what is wrong
  void confirm(std::int64_t now);
  bool pause();

  const Home home_;
  Store& archive_;
  ConfigurationStore& configurations_;
  const std::function<void(std::string_view)> log_;
  HttpClient client_;
  std::string trouble_;         // the thread's
  std::int64_t writtenAt_ = 0;  // the thread's
  std::mutex guard_;
  std::condition_variable ended_;
  std::optional<std::int64_t> confirmedAt_;  // guarded by guard_
  bool ending_ = false;                      // guarded by guard_
  std::thread thread_;
};

// What a home tells its followers: {"revision": "...", "games": [{"game": KEY, "version": 3, ..., "document": TEXT}]},
// without the games where the follower has that revision.
std::string homeAnswer(ConfigurationStore& configurations, std::string_view revisionOfFollower);

}  // namespace collector
