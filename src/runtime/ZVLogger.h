// ZVLogger writes every line that the library has to say, and posts each as k_ZV_LoggerMessageNotification.
//
// Thread:   any; observers hear of a line on the thread that wrote it.
// Domains:  0 "ZV/Analytics", nearly everything; 1 "ZV/System".
// Text:     valid UTF-8; other bytes become U+FFFD.
// Nothing is thrown: a message that can't be formatted is replaced by its level's fixed line.
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <zorvane/ZVTypes.h>

namespace zorvane {

class ZVLogger {
 public:
  enum class Level { error, warning, info, verbose, debug };

  static ZVLogger& sharedInstance();
  static std::unique_ptr<ZVLogger> setSharedInstance(std::unique_ptr<ZVLogger> instance);

  // Error, warning, debug, info and verbose info. `format` in {fmt}'s notation, checked when compiled.
  template <class... Args>
  static void e(int domain, fmt::format_string<Args...> format, Args&&... args) noexcept {
    log(Level::error, domain, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  static void w(int domain, fmt::format_string<Args...> format, Args&&... args) noexcept {
    log(Level::warning, domain, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  static void d(int domain, fmt::format_string<Args...> format, Args&&... args) noexcept {
    log(Level::debug, domain, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  static void i(int domain, fmt::format_string<Args...> format, Args&&... args) noexcept {
    log(Level::info, domain, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  static void ii(int domain, fmt::format_string<Args...> format, Args&&... args) noexcept {
    log(Level::verbose, domain, format, fmt::make_format_args(args...));
  }

  // True when a line of that level would be written: saves work that only the line needs.
  static bool isEnabled(Level level, int domain) noexcept;
  static std::string_view getMessageTagForDomain(int domain) noexcept;
  static void sendNotificationMessage(std::string_view line, int messageType) noexcept;

  static void setAnalyticsLog(bool enabled);
  static void setOrbitLog(bool enabled);
  static void setVerboseLog(bool enabled);
  static void setWarningLog(bool enabled);

  // A stale value only decides whether one line is shown, so the switches are read without further order.
  std::atomic<bool> verboseLogEnabled{false};
  std::atomic<bool> orbitLogEnabled{false};  // gates nothing
  std::atomic<bool> analyticsLogEnabled{false};
  std::atomic<bool> debugEnabled{false};
  std::atomic<bool> warningLogEnabled{true};

 private:
  static void log(Level level, int domain, fmt::string_view format, fmt::format_args args) noexcept;
};

}  // namespace zorvane

// Absent text prints as "(null)". Without widths and the like, which would bring much of {fmt} into each program.
template <>
struct fmt::formatter<ZVText> {
  constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
  auto format(const ZVText& text, fmt::format_context& context) const {
    return std::ranges::copy(text.orNull(), context.out()).out;
  }
};
