/// @file
/// Zorvane in C99: analytics for games, for engines and for languages that call C. The same library as Zorvane.h, and
/// the two may be mixed.
///
/// - Thread: any, unless a function says otherwise. A call copies its arguments, posts them to the library's work queue
///   and returns at once; calls of one thread take effect in the order in which they were made.
/// - Errors: nothing is thrown. A refused argument is a log line (standard error and the log callback), and most
///   refused events are reported to the collector as well. A function that sets something and returns bool returns
///   whether it did.
/// - Ownership: the library keeps no pointer that it is given, except callbacks with their `user`. What a ..._create()
///   or zorvane_timer_schedule() returns belongs to the caller, who passes it to the matching ..._destroy(). Null may
///   be destroyed, too.
/// - Lifetime: usable from the first static constructor to the last exit handler. In a forked child every call that
///   reaches the library does nothing.
///
/// Text is UTF-8, ends with a null byte, and is measured in UTF-16 code units. Null is absent text; it and "" differ
/// only where said. An enumeration is an int: a value outside its list is refused as any other bad argument is.
#ifndef ZORVANE_ZORVANE_C_H
#define ZORVANE_ZORVANE_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include <zorvane/ZVExport.h>

#ifdef __cplusplus
extern "C" {
#endif

/// @name Version
/// Of the library that is linked. It may be newer than this header.
/// @{

ZORVANE_API const char* zorvane_version(void);    ///< "1.4.2"
ZORVANE_API double zorvane_version_number(void);  ///< major.minor: 1.4
/// @}

/// @name Functions of the host
/// What a host may replace, each a table of functions. All of them are optional, and so is each function: null is what
/// its comment says. `size` is the sizeof of the table, `user` is passed to each of its functions. They may call
/// everything here, and must not throw or jump out. They are called until zorvane_detach_callbacks(), or until the
/// process ends.
/// @{

/// The length of a text that is not there.
#define ZORVANE_ABSENT SIZE_MAX

/// The wall clock.
struct zorvane_clock {
  size_t size;  ///< sizeof(struct zorvane_clock)
  void* user;   ///< for the functions below
  /// Seconds since 1970 in UTC, with fractions. Any thread, several at once. Null, or detached: the system's clock.
  double (*seconds_since_1970)(void* user);
};

/// A small key-value store that survives restarts. On the work queue, and on a thread that handles a crash.
struct zorvane_user_defaults {
  size_t size;  ///< sizeof(struct zorvane_user_defaults)
  void* user;   ///< for the functions below
  /// Copies the text of `key` into `buffer` of `capacity` bytes, with a null byte at the end, and returns its length
  /// without that; ZORVANE_ABSENT: there is no such key. Of a text that is too long only the length is needed: the
  /// function is called again with more room. Null, or detached: there is no key.
  size_t (*get)(const char* key, char* buffer, size_t capacity, void* user);
  void (*set)(const char* key, const char* value, void* user);  ///< in place of a former value
  void (*remove)(const char* key, void* user);                  ///< nothing when it is not there
  bool (*synchronize)(void* user);                              ///< flushes to storage; false when that failed
};

/// Keeps the process alive while work that began in time is finished. Any thread, several at once.
struct zorvane_background_tasks {
  size_t size;  ///< sizeof(struct zorvane_background_tasks)
  void* user;   ///< for the functions below
  /// A task has begun. Where its time runs out before it ends, the host calls zorvane_background_task_expired(task).
  void (*begin)(uint64_t task, void* user);
  void (*end)(uint64_t task, void* user);  ///< it has ended
  /// At exit: returns when no task is open, or after `seconds`. On the thread that exits.
  void (*wait_at_exit)(double seconds, void* user);
};

/// Time ran out for a task that is still open. Nothing when it has ended.
ZORVANE_API void zorvane_background_task_expired(uint64_t task);

/// A header of a request.
struct zorvane_url_header {
  const char* name;   ///< "Content-Type"
  const char* value;  ///< of it
};

/// A request, valid until `start` returns.
struct zorvane_url_request {
  size_t size;                               ///< sizeof(struct zorvane_url_request), as the library knows it
  uint64_t id;                               ///< of this request in this process, never 0
  const char* url;                           ///< whole: "https://host/path?query"
  const char* method;                        ///< "GET" or "POST"
  const struct zorvane_url_header* headers;  ///< all that are sent, besides those that HTTP itself needs
  size_t header_count;                       ///< of them
  const void* body;                          ///< bytes
  size_t body_size;                          ///< of them
};

/// Why there is no answer.
enum {
  ZORVANE_URL_ERROR_OTHER = -1,             ///< no connection, a wrong certificate, a time-out ...
  ZORVANE_URL_ERROR_CANCELLED = -999,       ///< the request was cancelled
  ZORVANE_URL_ERROR_AUTHENTICATION = -1012  ///< the server refused, which counts as a status of 401
};

/// An answer, or why there is none.
struct zorvane_url_answer {
  size_t size;             ///< sizeof(struct zorvane_url_answer)
  int status;              ///< 200; 0: no answer
  const void* body;        ///< bytes; null: none
  size_t body_size;        ///< of them
  int error;               ///< without an answer: one of those above; 0: other
  const char* error_text;  ///< without an answer: for the log; may be null
};

/// Makes requests. Called on the work queue and on the library's other threads, also while a crash is handled.
struct zorvane_url_session {
  size_t size;  ///< sizeof(struct zorvane_url_session)
  void* user;   ///< for the functions below
  /// Starts the request, which must be finite in time: the library waits for zorvane_url_request_complete(). Null, or
  /// detached: there is no network.
  void (*start)(const struct zorvane_url_request* request, void* user);
  /// Ends the request; the library doesn't wait for it any more. Null: it may go on.
  void (*cancel)(uint64_t id, void* user);
};

/// Ends a request, on any thread, also from inside `start`. Once: later calls, and those for a cancelled request, do
/// nothing. `answer` is copied; null is no answer.
ZORVANE_API void zorvane_url_request_complete(uint64_t id, const struct zorvane_url_answer* answer);

/// Bits of a path's flags.
enum {
  ZORVANE_REACHABLE = 0x2,               ///< there is a path
  ZORVANE_CONNECTION_REQUIRED = 0x4,     ///< once a connection is made
  ZORVANE_CONNECTION_ON_TRAFFIC = 0x8,   ///< traffic makes it
  ZORVANE_INTERVENTION_REQUIRED = 0x10,  ///< only the user can make it
  ZORVANE_CONNECTION_ON_DEMAND = 0x20,   ///< asking for the host makes it
  ZORVANE_IS_DIRECT = 0x20000,           ///< no gateway in between
  ZORVANE_IS_CELLULAR = 0x40000          ///< over a cellular network
};

/// What the system knows about the path to a host. Any thread, several at once.
struct zorvane_reachability {
  size_t size;  ///< sizeof(struct zorvane_reachability)
  void* user;   ///< for the functions below
  /// Reads the flags of the path to `host_name`, or to the IPv4 `address` where that is null; 0.0.0.0 is the internet
  /// in general. False: they can't be read. Null, or detached: they can't.
  bool (*flags)(const char* host_name, const uint8_t address[4], uint32_t* flags, void* user);
};

/// The host reports a network change. The library reads the flags again, and calls the reachability callback, on the
/// calling thread.
ZORVANE_API void zorvane_reachability_changed(void);

/// Facts about the device. They replace all of those that the library would find out.
struct zorvane_device {
  size_t size;                         ///< sizeof(struct zorvane_device)
  const char* system_version;          ///< "17.2"
  const char* hardware_name;           ///< "x86_64"
  const char* vendor_identifier;       ///< canonical UUID text
  const char* advertising_identifier;  ///< canonical UUID text
  int tracking_status;                 ///< 0 not determined, 1 restricted, 2 denied, 3 authorized
  bool never_asks_for_tracking;        ///< true: a system before version 14, where tracking_status says nothing ...
  bool advertising_tracking_enabled;   ///< ... and this counts
  double foundation_version;           ///< 0: 2000; 993 and lower are systems of version 6 and before

  // What events say of the system, 1 to 64 characters each; the rest of a longer text is cut off.
  const char* platform_name;  ///< field "platform", "linux"; null or "": "ios"
  const char* maker;          ///< field "manufacturer", "valve"; null or "": "apple"
  const char* system_line;    ///< field "os_version"; null or "": platform and `system_version`, "ios 17.2"
};

/// Facts about the device that may change.
struct zorvane_device_source {
  size_t size;  ///< sizeof(struct zorvane_device_source)
  void* user;   ///< for the function below
  /// Fills in `device`, whose `size` is what the library knows of it and whose rest is 0. Its texts must stay valid
  /// until the next call on the same thread. Any thread, several at once, and often: it must be quick. Detached: the
  /// facts of the last call.
  void (*read)(struct zorvane_device* device, void* user);
};
/// @}

/// @name The platform
/// What the host knows better than the library. Optional.
///
/// The structs grow at their end, so `size` says how much of one its program knows: set it to sizeof the struct, and
/// everything that is not needed to 0, which is the default:
///
///     struct zorvane_platform platform = {0};
///     platform.size = sizeof platform;
///     platform.bundle_identifier = "com.example.game";
///     zorvane_platform_install(&platform);
/// @{

/// Facts about the application, and the host's choices.
struct zorvane_platform {
  size_t size;  ///< sizeof(struct zorvane_platform)

  // The application. With all of these null the program's file name is the bundle identifier.
  const char* bundle_identifier;   ///< "com.company.game": names the data directory, too
  const char* version;             ///< shown to players, "1.4.2"
  const char* build;               ///< "1421"
  const char* internal_build;      ///< a build number of the studio's own, shown in crash reports
  const char* receipt_path;        ///< file of the store's receipt
  const char* resource_directory;  ///< where the application's own files are

  const struct zorvane_device* device;  ///< null: what the library finds out
  const char* data_directory;           ///< null: the user's data directory, under the bundle identifier

  // Where events go.
  const char* collector_protocol;          ///< "https" or "http"; null: https
  const char* collector_hostname;          ///< null: the host that the library was built for
  const char* collector_port;              ///< null: the protocol's own
  const char* app_store_hostname;          ///< null: the host that the library was built for
  const char* certificate_authority_file;  ///< PEM, an extra one for development
  double connect_timeout_seconds;          ///< 0: 15
  double request_timeout_seconds;          ///< 0: 60; the answer included

  /// True: the library's main loop is the host's own. The thread that installs the platform is the main thread and
  /// calls zorvane_main_loop_pump() every frame. False: the library has a thread for it.
  bool pumped_main_loop;

  // How long a normal exit may wait for posted work to be stored, and for a request that began in the background.
  double exit_seconds;        ///< 0: 1.5; below 0: not at all
  double background_seconds;  ///< 0: 5; below 0: not at all

  /// True: no crash handlers, neither for signals nor for C++ exceptions, from the start: for a process whose runtime
  /// uses signals for itself, or that reports its crashes itself.
  bool without_crash_handlers;

  /// How often the library sends what waits: 0.1 to 3600, 0: 8. Shorter for development.
  double event_queue_seconds;
  /// True: log lines go to the log callback, and to observers in C++, alone, not to standard error.
  bool quiet_console;
  /// True: the system may remove an application's files at any time, as a television's does: events are kept in memory,
  /// and state in `user_defaults`.
  bool television;

  const struct zorvane_device_source* device_source;        ///< null: `device`
  const struct zorvane_clock* clock;                        ///< null: the system's
  const struct zorvane_user_defaults* user_defaults;        ///< null: a small file in the data directory
  const struct zorvane_background_tasks* background_tasks;  ///< null: open ones delay a normal exit
  const struct zorvane_url_session* url_session;            ///< null: HTTP and TLS on a thread of the library's own
  const struct zorvane_reachability* reachability;          ///< null: the kernel's routes and links
};

/// Puts the platform in force. On the main thread, before the first other call but zorvane_set_log_callback(). False,
/// with a log line: it comes too late, is null, or it or a table in it has a `size` smaller than any release had;
/// nothing is changed. Texts and tables are copied.
ZORVANE_API bool zorvane_platform_install(const struct zorvane_platform* platform);

/// The application went to the background: its session ends. Main thread.
ZORVANE_API void zorvane_did_enter_background(void);
/// The application returns to the foreground: a new session starts. Main thread.
ZORVANE_API void zorvane_will_enter_foreground(void);

/// Runs what is due on a pumped main loop, then returns; does nothing without one. Main thread.
ZORVANE_API void zorvane_main_loop_pump(void);
/// Seconds until zorvane_main_loop_pump() has something to run; below 0: nothing waits. Main thread.
ZORVANE_API double zorvane_main_loop_seconds_until_next_task(void);
/// @}

/// @name Callbacks
/// Each at most one; null removes it. They may call everything here, and must not throw or jump out.
///
/// Once a function here that sets or removes a callback has returned, the former one isn't running on any thread and
/// won't be called again: its `user` may be freed. So don't call it while holding what the callback waits for. Only
/// from inside a function of the host it doesn't wait: a call on another thread may still be running.
/// @{

/// Detaches every function that the host has given: callbacks, tasks of timers, and the functions of its platform. Once
/// this has returned none of them is running on any thread and none will be called again, under the rule above; each
/// says what counts instead. Requests that the host has not completed have no answer. Callbacks may be set again
/// afterwards.
ZORVANE_API void zorvane_detach_callbacks(void);

/// The severity of a log line.
enum { ZORVANE_LOG_ERROR = 0, ZORVANE_LOG_WARNING = 1, ZORVANE_LOG_INFO = 2, ZORVANE_LOG_DEBUG = 3 };

/// A line of the log. On the thread that wrote it, most often the library's work queue, but also one that calls the
/// library; on several at once. Lines that the callback causes on its own thread aren't reported. `line`: valid during
/// the call.
typedef void (*zorvane_log_callback)(int type, const char* line, void* user);
/// Sets or removes the log callback; may come before everything else.
ZORVANE_API void zorvane_set_log_callback(zorvane_log_callback callback, void* user);

/// Remote configurations have arrived: to be set before initialisation. On the work queue: anything
/// slow delays the library. Replaces a delegate that was set in C++.
typedef void (*zorvane_remote_configs_callback)(void* user);
/// Sets or removes that callback.
ZORVANE_API void zorvane_set_remote_configs_callback(zorvane_remote_configs_callback callback, void* user);

/// A session has begun: events are taken into it, and zorvane_end_session() ends it. On the work queue.
typedef void (*zorvane_session_started_callback)(void* user);
/// Sets or removes that callback.
ZORVANE_API void zorvane_set_session_started_callback(zorvane_session_started_callback callback, void* user);

/// The path to the collector changed. On the main loop, or where the host reports the change.
typedef void (*zorvane_reachability_callback)(void* user);
/// Sets or removes that callback.
ZORVANE_API void zorvane_set_reachability_callback(zorvane_reachability_callback callback, void* user);
/// @}

/// @name Maps
/// Text keys to values, in the order in which the keys were first set: custom fields, impression data.
/// One thread at a time. A function that is given a map copies it; null is an empty one.
/// @{

/// A JSON object.
typedef struct zorvane_map zorvane_map;

ZORVANE_API zorvane_map* zorvane_map_create(void);       ///< an empty one; null: out of memory
ZORVANE_API void zorvane_map_destroy(zorvane_map* map);  ///< nothing for null
ZORVANE_API void zorvane_map_clear(zorvane_map* map);    ///< removes every entry
/// Sets `key`, in place of the value it had. False: `map` or `key` is null, or out of memory.
ZORVANE_API bool zorvane_map_set_int64(zorvane_map* map, const char* key, int64_t value);
/// The same for a double.
ZORVANE_API bool zorvane_map_set_double(zorvane_map* map, const char* key, double value);
/// The same for a boolean.
ZORVANE_API bool zorvane_map_set_bool(zorvane_map* map, const char* key, bool value);
/// The same for text; null is JSON's null.
ZORVANE_API bool zorvane_map_set_text(zorvane_map* map, const char* key, const char* value);
/// The same for a nested object.
ZORVANE_API bool zorvane_map_set_map(zorvane_map* map, const char* key, const zorvane_map* value);
/// An array of the values of `elements`; their keys don't matter.
ZORVANE_API bool zorvane_map_set_array(zorvane_map* map, const char* key, const zorvane_map* elements);
/// @}

/// @name Configuration
/// Before initialisation. Once the library is ready these are refused. A value that breaks its rule changes nothing,
/// with a line in the log.
/// @{

/// The game's own build, "1.4.2": 1 to 32 characters.
ZORVANE_API void zorvane_configure_build(const char* build);
/// The player's id in the game's own terms, instead of a device identifier or a random one: 1 to 64 characters.
ZORVANE_API void zorvane_configure_user_id(const char* user_id);
/// For engine wrappers: "unity 5.6.1". One of unity, unreal, corona, marmalade, cocos2d, xamarin, lumberyard, air,
/// gamemaker, defold, nativescript, cordova, construct, stencyl and godot, a space, one to three numbers of up to five
/// digits. "air" is no engine. Too late is ignored silently.
ZORVANE_API void zorvane_configure_sdk_version(const char* wrapper_version);
/// For games in an engine: its name and version, by the rule above. Too late is ignored silently.
ZORVANE_API void zorvane_configure_engine_version(const char* engine_version);
/// Takes the build from the application's `version` at each session start. Too late is ignored silently.
ZORVANE_API void zorvane_configure_auto_detect_app_version(bool enabled);
/// The values that each custom dimension may take: 1 to 20 values of 1 to 32 characters. Here as below a list that is
/// null, or has a null in it, is refused.
ZORVANE_API void zorvane_configure_available_custom_dimensions01(const char* const* values, size_t count);
/// The same for the second dimension.
ZORVANE_API void zorvane_configure_available_custom_dimensions02(const char* const* values, size_t count);
/// The same for the third dimension.
ZORVANE_API void zorvane_configure_available_custom_dimensions03(const char* const* values, size_t count);
/// The game's own currencies: 1 to 20 of 1 to 64 letters.
ZORVANE_API void zorvane_configure_available_resource_currencies(const char* const* currencies, size_t count);
/// What is bought with them or earned: 1 to 20 item types of 1 to 32 characters of [A-Za-z0-9 -_.()!?].
ZORVANE_API void zorvane_configure_available_resource_item_types(const char* const* item_types, size_t count);
/// Stores the keys for zorvane_initialize_configured(): 32 and 40 letters and digits.
ZORVANE_API void zorvane_configure_game_key(const char* game_key, const char* game_secret);
/// @}

/// @name Initialisation
/// Once. Restores what earlier runs stored, starts a session and the event queue.
/// @{

/// With the keys of the game. `game_key`: 32 letters and digits, `game_secret`: 40. Others are refused with a warning,
/// and nothing starts. The crash handlers are installed in any case, unless a switch keeps them away;
/// ZVCrashReporting.h says what they do.
ZORVANE_API void zorvane_initialize(const char* game_key, const char* game_secret);
/// The same with the keys of zorvane_configure_game_key(); without them, a warning and nothing starts.
ZORVANE_API void zorvane_initialize_configured(void);

/// The state of the crash handlers: no initialise call has decided yet; they are installed, and from here on a host may
/// replace them by its own; they were not installed, because of a switch, or because no thread could be started.
enum {
  ZORVANE_CRASH_HANDLERS_UNDECIDED = 0,
  ZORVANE_CRASH_HANDLERS_INSTALLED = 1,
  ZORVANE_CRASH_HANDLERS_KEPT_AWAY = 2
};

/// Puts the crash handlers in force, as the initialise calls do: only to put them back after replacing them.
ZORVANE_API void zorvane_set_uncaught_exception_handlers(void);

/// Waits until the initialise call has decided; its work is done on the library's thread. At most `seconds`, and not at
/// all on that thread or in a forked child. Neither the network nor the session's start is waited for. Returns
/// one of the above.
ZORVANE_API int zorvane_wait_for_crash_handlers(double seconds);
/// @}

/// @name Switches
/// At any time.
/// @{

ZORVANE_API void zorvane_set_enabled_info_log(bool enabled);     ///< off by default
ZORVANE_API void zorvane_set_enabled_verbose_log(bool enabled);  ///< off by default; prints every event as JSON
ZORVANE_API void zorvane_set_enabled_warning_log(bool enabled);  ///< on by default
ZORVANE_API void zorvane_set_enable_debug_log(bool enabled);     ///< off by default; takes effect at once
/// The game starts and ends sessions itself, by zorvane_start_session() and zorvane_end_session(); off by default. They
/// read the switch on the caller's thread, but it is set on the work queue: right after this call they may still find
/// it off.
ZORVANE_API void zorvane_set_enabled_manual_session_handling(bool enabled);
/// Crashes are reported; on by default. Off before initialisation: no crash handlers are installed. Off later: they
/// stay and report nothing; a fault still ends the process as it would without them, but one of their signals that a
/// process sends has no effect.
ZORVANE_API void zorvane_set_enabled_error_reporting(bool enabled);
/// Events are stored and sent; on by default. Off: events are dropped instead of being stored, and nothing is sent but
/// the init call, without a user id. What waits on disk stays there.
ZORVANE_API void zorvane_set_enabled_event_submission(bool enabled);
/// Moves events, not the init call, to another collector: "https://host/v2". Not checked; takes effect at once.
ZORVANE_API void zorvane_set_base_url(const char* base_url);
/// @}

/// @name Events
/// After initialisation, in an open session. Before and in between they are dropped with a warning.
/// `custom_fields`: up to 50 entries; keys of 1 to 64 characters of [A-Za-z0-9_], values numbers, booleans or text of 1
/// to 256 characters. An entry that breaks a rule is left out, with a warning and an error event. Null or empty: the
/// global custom fields are used instead. `merge_fields`: the global custom fields are added to `custom_fields`, whose
/// values win. A part is 1 to 64 characters of [A-Za-z0-9 -_.()!?].
/// @{

/// Purchases with real money. `currency`: three capitals, "USD". `amount`: 0 or more, in the currency's smallest unit.
/// `item_type`, `item_id`: a part each. `cart_type`: where the purchase began, up to 32 characters or absent.
/// `receipt`: the store's receipt as base64; absent: none. `fetch_receipt`: it is read from the platform's
/// `receipt_path` instead, on the caller's thread; an event whose receipt can't be read is dropped.
ZORVANE_API void zorvane_add_business_event(const char* currency, int64_t amount, const char* item_type,
                                            const char* item_id, const char* cart_type, const char* receipt,
                                            bool fetch_receipt, const zorvane_map* custom_fields, bool merge_fields);

/// Whether the player gained or spent.
enum { ZORVANE_FLOW_SOURCE = 1, ZORVANE_FLOW_SINK = 2 };

/// What the player gains and spends of the game's own currencies. `currency` and `item_type`: of the configured lists.
/// `amount`: above 0, whichever way it flows; NAN is absent, and refused. `item_id`: a part.
ZORVANE_API void zorvane_add_resource_event(int flow_type, const char* currency, double amount, const char* item_type,
                                            const char* item_id, const zorvane_map* custom_fields, bool merge_fields);

/// The state of an attempt at a level or the like.
enum { ZORVANE_PROGRESSION_START = 1, ZORVANE_PROGRESSION_COMPLETE = 2, ZORVANE_PROGRESSION_FAIL = 3 };

/// Levels and the like. `progression01` to `progression03`: a part each; the third, or the second and the third, may be
/// absent. A complete carries the number of tries since the last one. `score`: not kept with a start.
ZORVANE_API void zorvane_add_progression_event(int status, const char* progression01, const char* progression02,
                                               const char* progression03, const zorvane_map* custom_fields,
                                               bool merge_fields);
/// The same with a score.
ZORVANE_API void zorvane_add_progression_event_with_score(int status, const char* progression01,
                                                          const char* progression02, const char* progression03,
                                                          int64_t score, const zorvane_map* custom_fields,
                                                          bool merge_fields);

/// Anything that the game counts or measures. `event_id`: 1 to 5 parts, joined by ":". `value`: any finite number; 0
/// without one.
ZORVANE_API void zorvane_add_design_event(const char* event_id, const zorvane_map* custom_fields, bool merge_fields);
/// The same with a value.
ZORVANE_API void zorvane_add_design_event_with_value(const char* event_id, double value,
                                                     const zorvane_map* custom_fields, bool merge_fields);

/// How bad an error is.
enum {
  ZORVANE_SEVERITY_DEBUG = 1,
  ZORVANE_SEVERITY_INFO = 2,
  ZORVANE_SEVERITY_WARNING = 3,
  ZORVANE_SEVERITY_ERROR = 4,
  ZORVANE_SEVERITY_CRITICAL = 5
};

/// The game's own errors. `message`: up to 8192 characters.
ZORVANE_API void zorvane_add_error_event(int severity, const char* message, const zorvane_map* custom_fields,
                                         bool merge_fields);

/// What happened with an ad.
enum {
  ZORVANE_AD_CLICKED = 1,
  ZORVANE_AD_SHOW = 2,
  ZORVANE_AD_FAILED_SHOW = 3,
  ZORVANE_AD_REWARD_RECEIVED = 4,
  ZORVANE_AD_REQUEST = 5,
  ZORVANE_AD_LOADED = 6
};
/// What kind of ad it is.
enum {
  ZORVANE_AD_TYPE_VIDEO = 1,
  ZORVANE_AD_TYPE_REWARDED_VIDEO = 2,
  ZORVANE_AD_TYPE_PLAYABLE = 3,
  ZORVANE_AD_TYPE_INTERSTITIAL = 4,
  ZORVANE_AD_TYPE_OFFER_WALL = 5,
  ZORVANE_AD_TYPE_BANNER = 6
};
/// Why an ad was not shown.
enum {
  ZORVANE_AD_ERROR_UNKNOWN = 1,
  ZORVANE_AD_ERROR_OFFLINE = 2,
  ZORVANE_AD_ERROR_NO_FILL = 3,
  ZORVANE_AD_ERROR_INTERNAL_ERROR = 4,
  ZORVANE_AD_ERROR_INVALID_REQUEST = 5,
  ZORVANE_AD_ERROR_UNABLE_TO_PRECACHE = 6
};

/// Ads. `ad_sdk_name`: 1 to 32 characters. `ad_placement`: 1 to 64. `duration`: milliseconds, kept with videos and
/// rewarded videos. `no_ad_reason`: kept with a failed show; a value outside its list is left out.
ZORVANE_API void zorvane_add_ad_event(int action, int ad_type, const char* ad_sdk_name, const char* ad_placement,
                                      const zorvane_map* custom_fields, bool merge_fields);
/// The same with a duration.
ZORVANE_API void zorvane_add_ad_event_with_duration(int action, int ad_type, const char* ad_sdk_name,
                                                    const char* ad_placement, int64_t duration,
                                                    const zorvane_map* custom_fields, bool merge_fields);
/// The same with the reason of a failed show.
ZORVANE_API void zorvane_add_ad_event_with_reason(int action, int ad_type, const char* ad_sdk_name,
                                                  const char* ad_placement, int no_ad_reason,
                                                  const zorvane_map* custom_fields, bool merge_fields);
/// "VIDEO", "REWARDED_VIDEO" and so on, for good; null for a value outside the list.
ZORVANE_API const char* zorvane_ad_type_name(int ad_type);

#define ZORVANE_AD_NETWORK_MOPUB "mopub"             ///< the name of an ad network
#define ZORVANE_AD_NETWORK_FYBER "fyber"             ///< the name of an ad network
#define ZORVANE_AD_NETWORK_IRON_SOURCE "ironsource"  ///< the name of an ad network
#define ZORVANE_AD_NETWORK_TOP_ON "topon"            ///< the name of an ad network
#define ZORVANE_AD_NETWORK_HYPER_BID "hyperbid"      ///< the name of an ad network
#define ZORVANE_AD_NETWORK_MAX "max"                 ///< the name of an ad network
#define ZORVANE_AD_NETWORK_AEQUUS "aequus"           ///< the name of an ad network
#define ZORVANE_AD_NETWORK_AD_MOB "admob"            ///< the name of an ad network

/// Data of an ad network about an ad that was shown. `ad_network_name`: one of those above. `ad_network_version`: up to
/// four numbers, joined by ".". `impression_data`: at least one entry, nested as the network has it.
ZORVANE_API void zorvane_add_impression_event(const char* ad_network_name, const char* ad_network_version,
                                              const zorvane_map* impression_data, const zorvane_map* custom_fields,
                                              bool merge_fields);
/// @}

/// @name Sending
/// By itself, the library sends what waits every `event_queue_seconds` of the platform.
/// @{

/// Sends what waits now, up to about 500 events: for a game that is about to end. Refused with a warning where no
/// session is open or event submission is switched off.
ZORVANE_API void zorvane_flush(void);
/// @}

/// @name Sessions by hand, with manual session handling on
/// Without it they are refused with a warning.
/// @{

/// Ends the session that is open, if one is, and starts another. That takes until the collector has answered the init
/// call, or failed to; the session callback is called then. Events that are reported meanwhile belong to the new
/// session, but zorvane_end_session() right after this call is refused, which leaves the session open: wait for the
/// callback.
ZORVANE_API void zorvane_start_session(void);
/// Ends the session and sends what waits. Events are dropped until the next session begins. Refused with a warning
/// where no session is open, and while a session's start is under way.
ZORVANE_API void zorvane_end_session(void);
/// @}

/// @name What is added to every event
/// At any time.
/// @{

/// A value of the configured list, others are refused with a warning; null or "" clears the dimension. Remembered
/// across runs.
ZORVANE_API void zorvane_set_custom_dimension01(const char* value);
/// The same for the second dimension.
ZORVANE_API void zorvane_set_custom_dimension02(const char* value);
/// The same for the third dimension.
ZORVANE_API void zorvane_set_custom_dimension03(const char* value);
/// Replaces the global custom fields; null or an empty map clears them. Not remembered across runs.
ZORVANE_API void zorvane_set_global_custom_event_fields(const zorvane_map* fields);
/// @}

/// @name What the collector sent at the session's start
/// Answered at once, on the caller's thread.
///
/// A text goes into the caller's `buffer` of `capacity` bytes with its null byte at the end; one that is too long is
/// cut, never inside a character. Returned is the length in bytes of the whole text, without the null byte: it was cut
/// when that is `capacity` or more. ZORVANE_ABSENT: there is no text, and "" in the buffer. A capacity of 0 only
/// measures.
/// @{

/// The value of `key` as text: a number in decimal, a boolean as 1 or 0. Where there is none, a warning and
/// `default_value`, which may be absent.
ZORVANE_API size_t zorvane_remote_configs_value(const char* key, const char* default_value, char* buffer,
                                                size_t capacity);

/// All of them, for display, not for parsing.
ZORVANE_API size_t zorvane_remote_configs_content(char* buffer, size_t capacity);
ZORVANE_API size_t zorvane_ab_testing_id(char* buffer, size_t capacity);          ///< absent before initialisation
ZORVANE_API size_t zorvane_ab_testing_variant_id(char* buffer, size_t capacity);  ///< absent before initialisation
/// True once a session's start has settled them, also where the collector gave no answer and there are none.
ZORVANE_API bool zorvane_is_remote_configs_ready(void);
/// @}

/// @name Named timers
/// How long something took, by the wall clock, to be reported as a duration.
/// Run at once, on the caller's thread; use them from one thread at a time. A key that has no timer is a warning.
/// @{

ZORVANE_API void zorvane_start_timer(const char* key);   ///< makes it, at 0 and paused; it runs from a resume on
ZORVANE_API void zorvane_pause_timer(const char* key);   ///< stops counting and keeps what was counted
ZORVANE_API void zorvane_resume_timer(const char* key);  ///< counts on
/// Pauses it and returns the milliseconds counted so far; 0 when there is no such timer.
ZORVANE_API int64_t zorvane_stop_timer(const char* key);
/// @}

/// @name Timers with a task
/// It runs after an interval, once or repeatedly, on the thread that scheduled it. The main loop's thread runs its
/// timers by itself; any other calls zorvane_timers_serve() regularly.
/// @{

/// A task with its interval.
typedef struct zorvane_timer zorvane_timer;

/// `seconds`: from now, and from each run to the next; 0 and less: at the next opportunity. `task`: null does
/// nothing. Null: out of memory, or in a forked child.
ZORVANE_API zorvane_timer* zorvane_timer_schedule(double seconds, void (*task)(void* user), void* user, bool repeats);
/// Whether a run is still to come.
ZORVANE_API bool zorvane_timer_is_valid(const zorvane_timer* timer);
/// Stops the timer and frees it. Once this has returned its task isn't running on any thread and won't run again:
/// `user` may be freed. Only inside a function of the host, such as the task itself, it doesn't wait for one that is
/// running.
ZORVANE_API void zorvane_timer_destroy(zorvane_timer* timer);
/// Runs what is due of the calling thread's timers.
ZORVANE_API void zorvane_timers_serve(void);
/// @}

#ifdef __cplusplus
}
#endif

#endif
