// TestPlatform puts a platform in force whose clock, device, network and main loop the test controls. Files are real,
// in a temporary folder, and so is HTTP.
//
// Thread:   the test's, which is the main thread; the fakes' setters and getters from any.
// Lifetime: the platform stays in force when the object goes; its folder does not.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/ZVPlatform.h>

#include "runtime/Guarded.h"
#include "support/TemporaryFolder.h"

class LoopbackServer;

class FakeClock final : public ZVClock {
 public:
  double secondsSince1970() const override { return now_; }
  void set(double secondsSince1970) { now_ = secondsSince1970; }
  void advance(double seconds) { now_ = now_ + seconds; }

 private:
  std::atomic<double> now_{1'700'000'000};
};

// What the device and the application say of themselves.
class FakeDevice {
 public:
  void change(const std::function<void(ZVDeviceFacts&, ZVApplicationFacts&)>& change) {
    facts_.with([&](Facts& facts) { change(facts.device, facts.application); });
  }
  ZVDeviceFacts device() {
    return facts_.with([](Facts& facts) { return facts.device; });
  }
  ZVApplicationFacts application() {
    return facts_.with([](Facts& facts) { return facts.application; });
  }

 private:
  struct Facts {
    ZVDeviceFacts device{.systemVersion = "17.2", .hardwareName = "Phone12,1"};
    ZVApplicationFacts application{.bundleIdentifier = "com.example.game", .version = "1.4.2", .build = "1421"};
  };
  zorvane::Guarded<Facts> facts_;
};

// The main loop of a test: its thread is the one that made it, and its time passes by advance().
class FakeMainLoop final : public ZVMainLoop {
 public:
  bool isMainThread() const override { return std::this_thread::get_id() == thread_; }
  void post(Task task) override;
  TimerId scheduleTimer(double seconds, Task task) override;
  void cancelTimer(TimerId timer) override;

  void pump();                   // runs what was posted, and what that posts
  void advance(double seconds);  // pumps, then fires what becomes due, in order
  // Pumps until `done` says so. The work queue hands tasks over to this loop and waits, so a test that waits for the
  // queue must pump meanwhile. False when `limit` ran out.
  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::minutes(1));
  std::size_t timers() const;  // those that have not fired

 private:
  struct Timer {
    double due = 0;
    Task task;
  };
  Task takeTask();
  Task takeTimer(double until);

  const std::thread::id thread_ = std::this_thread::get_id();
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<Task> tasks_;           // guarded by mutex_
  std::map<TimerId, Timer> timers_;  // guarded by mutex_
  TimerId lastTimer_ = 0;            // guarded by mutex_
  double now_ = 0;                   // guarded by mutex_; seconds since the loop was made
};

// A network whose flags the test sets; absent flags can't be read.
class FakeReachability final : public ZVReachabilitySource {
 public:
  bool accepts(const ZVReachabilityTarget&) const override { return !refuses_; }
  std::optional<std::uint32_t> flags(const ZVReachabilityTarget& target) const override {
    return state_.with([&](State& state) {
      state.targets.push_back(target);
      return state.flags;
    });
  }
  WatchId watch(std::function<void()> changed) override {
    if (refuses_) return 0;
    return state_.with([&](State& state) {
      state.watchers.emplace(++state.lastWatch, std::move(changed));
      return state.lastWatch;
    });
  }
  void unwatch(WatchId watch) override {
    state_.with([&](State& state) { state.watchers.erase(watch); });
  }

  // Reports to nobody.
  void set(std::optional<std::uint32_t> flags) {
    state_.with([&](State& state) { state.flags = flags; });
  }
  // Calls the watchers, on the calling thread.
  void tell() {
    for (const auto& [id, changed] : state_.with([](State& state) { return state.watchers; })) changed();
  }
  void refuse(bool refuses) { refuses_ = refuses; }
  // What flags were asked for.
  std::vector<ZVReachabilityTarget> targets() const {
    return state_.with([](State& state) { return state.targets; });
  }

 private:
  struct State {
    std::vector<ZVReachabilityTarget> targets;
    std::optional<std::uint32_t> flags{kReachable};
    std::map<WatchId, std::function<void()>> watchers;
    WatchId lastWatch = 0;
  };
  std::atomic<bool> refuses_{false};
  mutable zorvane::Guarded<State> state_;
};

struct TestPlatform {
  using Change = std::function<void(ZVPlatform&)>;

  // Requests go to `server`; without one, to a port where nobody listens. `change` has the last word.
  static TestPlatform make(const LoopbackServer& server, const Change& change = {}) { return make(&server, change); }
  static TestPlatform make(const Change& change = {}) { return make(nullptr, change); }

  TemporaryFolder folder;
  std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
  std::shared_ptr<FakeDevice> device = std::make_shared<FakeDevice>();
  std::shared_ptr<FakeMainLoop> loop = std::make_shared<FakeMainLoop>();
  std::shared_ptr<FakeReachability> network = std::make_shared<FakeReachability>();

 private:
  static TestPlatform make(const LoopbackServer* server, const Change& change);
};

// Collects the lines that the library logs.
class LogCapture {
 public:
  enum class Levels { all, asTheyAre };

  explicit LogCapture(Levels levels = Levels::all);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  [[nodiscard]] std::vector<std::string> lines() const;
  [[nodiscard]] std::size_t count(std::string_view text) const;  // lines with `text` in them
  [[nodiscard]] bool contains(std::string_view text) const { return count(text) > 0; }
  void clear();

 private:
  // Shared with the observer: a line may be on its way while this goes.
  using Lines = zorvane::Guarded<std::vector<std::string>>;
  const std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
  ZVNotificationCenter::Token observer_ = 0;
};
