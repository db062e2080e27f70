/// @file
/// ZVPlatform: what Zorvane needs of the system it runs on, and what a host may replace.
///
/// Every member has a Linux default, so a game on Linux usually sets the application's facts and no more:
///
///     ZVPlatform platform;
///     platform.application = [] { return ZVApplicationFacts{.bundleIdentifier = "com.example.game"}; };
///     ZVPlatform::install(std::move(platform));  // before the first call of Zorvane
///
/// - Thread: install() and the application-state calls on the game's main thread; functions and interfaces say where
///   they are called.
/// - Errors: a host's function that throws counts as one that gives no facts. The interfaces must not throw.
/// - Lifetime: what is installed is kept until the process ends.
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

/// Facts about the application. Each is absent unless the host gives it.
struct ZVApplicationFacts {
  std::optional<std::string> bundleIdentifier = {};   ///< "com.company.game": names the data directory, too
  std::optional<std::string> version = {};            ///< shown to players, "1.4.2"
  std::optional<std::string> build = {};              ///< "1421"
  std::optional<std::string> internalBuild = {};      ///< a build number of the studio's own, shown in crash reports
  std::optional<std::string> receiptPath = {};        ///< file of the store's receipt
  std::optional<std::string> resourceDirectory = {};  ///< where the application's own files are
};

/// Facts about the device. The defaults are those of a machine without advertising services.
struct ZVDeviceFacts {
  std::string systemVersion = {};                         ///< "17.2"
  std::string hardwareName = {};                          ///< "x86_64"
  std::optional<std::string> vendorIdentifier = {};       ///< canonical UUID text
  std::optional<std::string> advertisingIdentifier = {};  ///< canonical UUID text
  bool asksForTracking = true;  ///< the system asks the player (version 14 and later): `trackingStatus` counts
  int trackingStatus = 0;       ///< 0 not determined, 1 restricted, 2 denied, 3 authorized
  bool advertisingTrackingEnabled = false;  ///< counts when the system does not ask
  // What events say of the system, 1 to 64 characters each; the rest of a longer text is cut off. An empty text, or one
  // that is not UTF-8, counts as absent.
  std::optional<std::string> platformName = {};  ///< field "platform", "linux"; absent: "ios"
  std::optional<std::string> maker = {};         ///< field "manufacturer", "valve"; absent: "apple"
  std::optional<std::string> systemLine = {};  ///< field "os_version"; absent: platform and `systemVersion`, "ios 17.2"
  double foundationVersion = 2000.0;           ///< 993 and lower are systems of version 6 and before
};

/// Where events go: protocol://hostname[:port].
struct ZVCollectorEndpoint {
  std::string protocol = {};  ///< "https" or "http"; empty: https
  std::string hostname = {};  ///< empty: the host that the library was built for
  std::string port = {};      ///< empty: the protocol's own
};

/// The wall clock. Called on any thread, on several at once.
class ZORVANE_API ZVClock {
 public:
  virtual ~ZVClock();
  virtual double secondsSince1970() const = 0;  ///< with fractions, in UTC
};

/// A small key-value store that survives restarts. Called on the work queue, and on a thread that handles a crash. On a
/// television, synchronize() is also called on the thread that reports the background or ends a session, while the work
/// queue may be inside another operation.
class ZORVANE_API ZVUserDefaults {
 public:
  virtual ~ZVUserDefaults();
  virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;  ///< absent: there is no such key
  virtual void setString(std::string_view key, std::string_view value) = 0;         ///< in place of a former value
  virtual void removeKey(std::string_view key) = 0;                                 ///< nothing when it is not there
  virtual bool synchronize() = 0;  ///< flushes to storage; false when that failed
};

/// The loop that runs timers and tasks of the main thread. Called on any thread, on several at once.
class ZORVANE_API ZVMainLoop {
 public:
  using Task = std::function<void()>;  ///< a task that throws must not end the loop
  using TimerId = std::uint64_t;       ///< never 0

  virtual ~ZVMainLoop();
  virtual bool isMainThread() const = 0;                         ///< whether the calling thread is the loop's
  virtual void post(Task task) = 0;                              ///< runs soon, in posting order, on the loop's thread
  virtual TimerId scheduleTimer(double seconds, Task task) = 0;  ///< fires once
  virtual void cancelTimer(TimerId timer) = 0;                   ///< nothing when it has fired
};

/// A main loop that the host drives from its own. The thread that made it is the main thread; call pump() there, every
/// frame or at secondsUntilNextTask().
class ZORVANE_API ZVPumpedMainLoop final : public ZVMainLoop {
 public:
  /// The calling thread becomes the main thread.
  ZVPumpedMainLoop();

  ~ZVPumpedMainLoop() override;
  bool isMainThread() const override;
  void post(Task task) override;
  TimerId scheduleTimer(double seconds, Task task) override;
  void cancelTimer(TimerId timer) override;

  /// On the main thread. Runs what is due, then returns; what a task throws is logged and swallowed.
  void pump();
  /// Any thread. Absent: nothing waits.
  std::optional<double> secondsUntilNextTask() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Keeps the process alive while work that began in time is finished. Called on any thread, on several at once;
/// waitAtExit() on the thread that exits.
class ZORVANE_API ZVBackgroundTasks {
 public:
  using TaskId = std::uint64_t;  ///< any number

  virtual ~ZVBackgroundTasks();
  virtual TaskId begin(std::function<void()> expired) = 0;  ///< `expired`: time ran out before end()
  virtual void end(TaskId task) = 0;                        ///< nothing when the task has ended
  virtual void waitAtExit(double seconds) = 0;              ///< until no task is open; those open by then expire
};

/// A request.
struct ZVURLRequest {
  std::string url;     ///< whole: "https://host/path?query"
  std::string method;  ///< "GET" or "POST"
  /// All that are sent, besides those that HTTP itself needs.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;  ///< bytes
};

/// An answer, besides its body.
struct ZVURLResponse {
  long statusCode = 0;  ///< 200; 0: none
  bool isHTTP = true;   ///< false: an answer in another protocol
};

/// Why there is no answer, or not the whole of it.
struct ZVURLError {
  static constexpr int kCancelled = -999;                     ///< the task was cancelled
  static constexpr int kUserCancelledAuthentication = -1012;  ///< the server refused, which counts as a status of 401
  static constexpr int kDataLengthExceedsMaximum = -1103;     ///< the body is the beginning of one that is too large
  static constexpr int kOther = -1;                           ///< no connection, a wrong certificate, a time-out ...
  int code = kOther;                                          ///< one of those above
  std::string localizedDescription;                           ///< for the log
};

/// One request. Called on any thread.
class ZORVANE_API ZVURLDataTask {
 public:
  virtual ~ZVURLDataTask();
  virtual void resume() = 0;  ///< starts it; the completion will run once
  virtual void cancel() = 0;  ///< ends it; the completion still runs, with kCancelled
};

/// Makes requests. Called on the work queue and on the library's other threads, also while a crash is handled.
class ZORVANE_API ZVURLSession {
 public:
  /// Body, response and error as they came, each absent when it did not. A body of no bytes is present and empty.
  using Completion = std::function<void(std::optional<std::string> body, std::optional<ZVURLResponse> response,
                                        std::optional<ZVURLError> error)>;

  virtual ~ZVURLSession();
  /// The completion runs on a thread of the session, never on the work queue. The request is finite in time.
  virtual std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest request, Completion completion) = 0;
};

/// A host by name, or an IPv4 address, whose reachability is asked for.
struct ZVReachabilityTarget {
  std::string hostName;                   ///< used when not empty
  std::array<std::uint8_t, 4> address{};  ///< 0.0.0.0 means the internet in general
};

/// What the system knows about the path to a host. Called on any thread, on several at once.
class ZORVANE_API ZVReachabilitySource {
 public:
  using WatchId = std::uint64_t;  ///< never 0

  static constexpr std::uint32_t kReachable = 0x2;              ///< a bit of flags(): there is a path
  static constexpr std::uint32_t kConnectionRequired = 0x4;     ///< a bit of flags(): once a connection is made
  static constexpr std::uint32_t kConnectionOnTraffic = 0x8;    ///< a bit of flags(): traffic makes it
  static constexpr std::uint32_t kInterventionRequired = 0x10;  ///< a bit of flags(): only the user can make it
  static constexpr std::uint32_t kConnectionOnDemand = 0x20;    ///< a bit of flags(): asking for the host makes it
  static constexpr std::uint32_t kIsDirect = 0x20000;           ///< a bit of flags(): no gateway in between
  static constexpr std::uint32_t kIsCellular = 0x40000;         ///< a bit of flags(): over a cellular network

  virtual ~ZVReachabilitySource();
  virtual bool accepts(const ZVReachabilityTarget& target) const = 0;  ///< false: no monitor for such a target
  virtual std::optional<std::uint32_t> flags(const ZVReachabilityTarget& target) const = 0;  ///< absent: can't be read
  /// `changed` runs on the main loop after each change. 0 when the system refuses.
  virtual WatchId watch(std::function<void()> changed) = 0;
  /// Ends what watch() began; nothing for 0.
  virtual void unwatch(WatchId watch) = 0;
};

/// What a host may replace. Every member may stay as it is.
struct ZORVANE_API ZVPlatform {
  /// Asked on the work queue, on a thread that reports a purchase whose receipt is to be read, on one that installs the
  /// crash handlers and on one that handles a crash: they must be safe to call on several threads at once, and quick,
  /// for they are called often. Empty: the program's file name is the identifier, the kernel's release and architecture
  /// are the device.
  std::function<ZVApplicationFacts()> application;
  /// Facts about the device, asked as `application` is.
  std::function<ZVDeviceFacts()> device;

  /// The system may remove an application's files at any time, as a television's does: events are kept in memory, and
  /// state in `userDefaults`.
  bool television = false;

  std::string dataDirectory;  ///< empty: the user's data directory, under the application's identifier
  std::shared_ptr<ZVUserDefaults> userDefaults;        ///< null: a small file in the data directory
  std::shared_ptr<ZVMainLoop> mainLoop;                ///< null: a thread of the library's own
  std::shared_ptr<ZVBackgroundTasks> backgroundTasks;  ///< null: open ones delay a normal exit
  /// Called on the work queue and on a thread that handles a crash. Empty: HTTP and TLS on a thread of the library's
  /// own.
  std::function<std::shared_ptr<ZVURLSession>()> makeURLSession;

  std::shared_ptr<ZVReachabilitySource> reachability;  ///< null: what the kernel says of routes and links
  std::shared_ptr<ZVClock> clock;                      ///< null: the system's

  /// True: log lines go to the observers of k_ZV_LoggerMessageNotification alone, not to standard error. What has no
  /// observer still goes there: the first lines of a crash, failures of the platform edge itself.
  bool quietConsole = false;

  /// False: no crash handlers, neither for signals nor for exceptions, from the start: for a process whose runtime uses
  /// signals for itself, or that reports its crashes itself. Error events that the game reports are not affected.
  bool crashHandlers = true;

  ZVCollectorEndpoint collector;  ///< where events go, until Zorvane::setBaseUrl() says otherwise
  std::string appStoreHostname;   ///< empty: the host that the library was built for
  /// PEM, for development: trusted by the library's own sessions, besides the system's folder of authorities.
  std::string certificateAuthorityFile;

  double connectTimeoutSeconds = 15;  ///< of the library's own sessions; 0 and less: the default
  double requestTimeoutSeconds = 60;  ///< of the library's own sessions, the answer included; 0 and less: the default
  /// How long a normal exit may wait for posted work to be stored; a third of it is kept for what static objects report
  /// last. 0: not at all.
  double exitSeconds = 1.5;
  double backgroundSeconds = 5;  ///< how long a normal exit may wait for an open background task
  /// How long the library waits from the end of one run of the event queue to the next: 0.1 to 3600. Anything else is a
  /// warning and the default. A shorter one is for development: it costs a player's battery.
  double eventQueueSeconds = 8;

  /// Puts `platform` in force, with defaults for what it leaves empty. Before the first call of Zorvane; later it
  /// logs an error, changes nothing and returns false.
  static bool install(ZVPlatform platform) noexcept;

  /// The host reports that the application went to the background: the session ends. Returns at once; does nothing
  /// before the first call of Zorvane.
  static void applicationDidEnterBackground() noexcept;
  /// The host reports that the application returns to the foreground: a new session starts. Returns at once, as above.
  static void applicationWillEnterForeground() noexcept;
};
