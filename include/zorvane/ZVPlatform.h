// The platform edge: what Zorvane asks of the machine it runs on, and what a host may put in its place.
//
// Every member has a Linux default, so a game on Linux usually sets the application's facts and no more:
//
//   ZVPlatform platform;
//   platform.application = [] { return ZVApplicationFacts{.bundleIdentifier = "com.example.game", .version = "1.4"}; };
//   ZVPlatform::install(std::move(platform));  // before the first call of Zorvane
//
// Thread:   install() and the application-state calls on the game's main thread; the interfaces say where each of
//           their operations is called.
// Lifetime: what is installed is kept until the process ends.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <zorvane/ZVExport.h>

// What the host knows of the application. Absent where it does not say.
struct ZVApplicationFacts {
  std::optional<std::string> bundleIdentifier = {};  // "com.company.game": names the data directory, too
  std::optional<std::string> version = {};           // shown to players, "1.4.2"
  std::optional<std::string> build = {};             // "1421"
  std::optional<std::string> internalBuild = {};     // a build number of the studio's own, shown in crash reports
  std::optional<std::string> receiptPath = {};       // file of the store's receipt
  std::optional<std::string> resourceDirectory = {};
};

// What the host knows of the device. The defaults are those of a machine without advertising services.
struct ZVDeviceFacts {
  std::string systemVersion = {};                         // "17.2"
  std::string hardwareName = {};                          // "x86_64"
  std::optional<std::string> vendorIdentifier = {};       // canonical UUID text
  std::optional<std::string> advertisingIdentifier = {};  // canonical UUID text
  bool asksForTracking = true;  // the system asks the player (version 14 and later): `trackingStatus` counts
  int trackingStatus = 0;       // 0 not determined, 1 restricted, 2 denied, 3 authorized
  bool advertisingTrackingEnabled = false;  // counts when the system does not ask
  double foundationVersion = 2000.0;        // 993 and lower are systems of version 6 and before
};

// Where events go: protocol://hostname[:port].
struct ZVCollectorEndpoint {
  std::string protocol = {};  // "https" or "http"; empty: https
  std::string hostname = {};  // empty: the host that the library was built for
  std::string port = {};      // empty: the protocol's own
};

class ZORVANE_API ZVClock {
 public:
  virtual ~ZVClock();
  virtual double secondsSince1970() const = 0;  // any thread
};

// A small key-value store that survives restarts. Called on the work queue.
class ZORVANE_API ZVUserDefaults {
 public:
  virtual ~ZVUserDefaults();
  virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;
  virtual void setString(std::string_view key, std::string_view value) = 0;
  virtual void removeKey(std::string_view key) = 0;
  virtual bool synchronize() = 0;  // flushes to storage; false when that failed
};

// The loop that hosts timers and takes hand-overs. Any thread.
class ZORVANE_API ZVMainLoop {
 public:
  using Task = std::function<void()>;
  using TimerId = std::uint64_t;  // never 0

  virtual ~ZVMainLoop();
  virtual bool isMainThread() const = 0;
  virtual void post(Task task) = 0;                              // runs soon, in posting order, on the loop's thread
  virtual TimerId scheduleTimer(double seconds, Task task) = 0;  // fires once
  virtual void cancelTimer(TimerId timer) = 0;                   // nothing when it has fired
};

// A main loop that the host drives from its own. The thread that made it is the main thread; call pump() there, every
// frame or at secondsUntilNextTask().
class ZORVANE_API ZVPumpedMainLoop final : public ZVMainLoop {
 public:
  ZVPumpedMainLoop();
  ~ZVPumpedMainLoop() override;
  bool isMainThread() const override;
  void post(Task task) override;
  TimerId scheduleTimer(double seconds, Task task) override;
  void cancelTimer(TimerId timer) override;

  void pump();                                         // runs what is due, then returns
  std::optional<double> secondsUntilNextTask() const;  // absent: nothing waits

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Keeps the process alive while work that began in time is finished. Any thread.
class ZORVANE_API ZVBackgroundTasks {
 public:
  using TaskId = std::uint64_t;

  virtual ~ZVBackgroundTasks();
  virtual TaskId begin(std::function<void()> expired) = 0;  // `expired`: time ran out before end()
  virtual void end(TaskId task) = 0;
  virtual void waitAtExit(double seconds) = 0;  // until no task is open; those open by then expire
};

struct ZVURLRequest {
  std::string url;
  std::string method;
  std::vector<std::pair<std::string, std::string>> headers;  // all that is sent, beside what HTTP itself needs
  std::string body;
};

struct ZVURLResponse {
  long statusCode = 0;
  bool isHTTP = true;
};

struct ZVURLError {
  static constexpr int kCancelled = -999;
  static constexpr int kUserCancelledAuthentication = -1012;
  static constexpr int kOther = -1;
  int code = kOther;
  std::string localizedDescription;
};

// One request. resume() starts it; the completion runs once, also after cancel(). Any thread.
class ZORVANE_API ZVURLDataTask {
 public:
  virtual ~ZVURLDataTask();
  virtual void resume() = 0;
  virtual void cancel() = 0;
};

class ZORVANE_API ZVURLSession {
 public:
  // Body, response and error as they came, each absent when it did not. A body of no bytes is present and empty.
  using Completion = std::function<void(std::optional<std::string> body, std::optional<ZVURLResponse> response,
                                        std::optional<ZVURLError> error)>;
  virtual ~ZVURLSession();
  // The completion runs on a thread of the session, never on the work queue. The request is finite in time.
  virtual std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest request, Completion completion) = 0;
};

// What reachability is asked for: a host by name, or an IPv4 address.
struct ZVReachabilityTarget {
  std::string hostName;                   // used when not empty
  std::array<std::uint8_t, 4> address{};  // 0.0.0.0 means the internet in general
};

class ZORVANE_API ZVReachabilitySource {
 public:
  using WatchId = std::uint64_t;  // never 0

  // Bits of flags().
  static constexpr std::uint32_t kReachable = 0x2;
  static constexpr std::uint32_t kConnectionRequired = 0x4;
  static constexpr std::uint32_t kConnectionOnTraffic = 0x8;
  static constexpr std::uint32_t kInterventionRequired = 0x10;
  static constexpr std::uint32_t kConnectionOnDemand = 0x20;
  static constexpr std::uint32_t kIsDirect = 0x20000;
  static constexpr std::uint32_t kIsCellular = 0x40000;

  virtual ~ZVReachabilitySource();
  virtual bool accepts(const ZVReachabilityTarget& target) const = 0;  // false: no monitor for such a target
  virtual std::optional<std::uint32_t> flags(const ZVReachabilityTarget& target) const = 0;  // absent: can't be read
  // `changed` runs on the main loop after each change. 0 when the system refuses.
  virtual WatchId watch(std::function<void()> changed) = 0;
  virtual void unwatch(WatchId watch) = 0;
};

struct ZORVANE_API ZVPlatform {
  std::function<ZVApplicationFacts()> application;
  std::function<ZVDeviceFacts()> device;
  std::string dataDirectory;  // empty: the user's data directory, under the application's identifier
  std::shared_ptr<ZVUserDefaults> userDefaults;
  std::shared_ptr<ZVMainLoop> mainLoop;
  std::shared_ptr<ZVBackgroundTasks> backgroundTasks;
  std::function<std::shared_ptr<ZVURLSession>()> makeURLSession;
  std::shared_ptr<ZVReachabilitySource> reachability;
  std::shared_ptr<ZVClock> clock;

  ZVCollectorEndpoint collector;
  std::string appStoreHostname;          // empty: the host that the library was built for
  std::string certificateAuthorityFile;  // PEM, an extra one for development
  double connectTimeoutSeconds = 15;
  double requestTimeoutSeconds = 60;
  double exitSeconds = 1.5;      // how long a normal exit may wait for posted work to be stored; 0: not at all
  double backgroundSeconds = 5;  // how long a normal exit may wait for an open background task

  // Puts `platform` in force; whatever it leaves empty takes the default. Before the first call of Zorvane; later it
  // logs an error, changes nothing and returns false.
  static bool install(ZVPlatform platform) noexcept;

  // The host tells that the application went to the background (its session ends) or comes back (a new one starts).
  static void applicationDidEnterBackground() noexcept;
  static void applicationWillEnterForeground() noexcept;
};
