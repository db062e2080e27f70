/// @file
/// ZVNotificationCenter delivers the notifications of the process: log lines, network changes, the application's change
/// to the background and the foreground.
///
/// - Thread: any. Observers are called on the thread that posts, before post() returns; most often the work queue. An
///   observer may call anything of Zorvane, and may add and remove observers.
/// - Lifetime: one centre for the process, never destroyed.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include <zorvane/ZVExport.h>
#include <zorvane/ZVTypes.h>

/// A log line was written. User info: "type" (0 error, 1 warning, 2 info, 3 debug) and "message" (the whole line).
ZORVANE_API extern const char* const k_ZV_LoggerMessageNotification;
/// A session has begun: events are taken into it, and Zorvane::endSession() ends it. No object, no user info.
ZORVANE_API extern const char* const k_ZV_SessionDidStartNotification;
/// The path to the collector changed. The object is the library's monitor; no user info.
ZORVANE_API extern const char* const k_ZV_ReachabilityChangedNotification;

/// What an observer receives. Valid during the call.
struct ZVNotification {
  std::string_view name;         ///< of the notification
  const void* object = nullptr;  ///< its subject; null: none
  const ZVMap& userInfo;         ///< details, under the notification's own keys
};

/// The notification centre. Its threads and lifetime: ZVNotificationCenter.h.
class ZORVANE_API ZVNotificationCenter {
 public:
  using Observer = std::function<void(const ZVNotification&)>;  ///< called on the thread that posts
  using Token = std::uint64_t;                                  ///< never 0

  /// Calls `observer` for every notification called `name`. What it throws is swallowed. The token removes it again.
  /// Throws only where memory runs out.
  static Token addObserver(std::string_view name, Observer observer);
  /// Once this returns no new call begins; one on another thread may still be running.
  static void removeObserver(Token token) noexcept;
  /// Calls the observers of `name`, one after another, and returns.
  static void post(std::string_view name, const void* object, const ZVMap& userInfo) noexcept;
  /// Whether `name` has an observer. If not, a notification need not be built.
  static bool hasObservers(std::string_view name) noexcept;
};
