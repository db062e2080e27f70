// Who the player is: the identifiers that there are, and the choice among them.
//
// Thread: the work queue.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

class Identity {
 public:
  void setCustom(ZVText userId) { custom_ = userId.copy(); }
  void adoptRandom(std::string userId) { random_ = std::move(userId); }
  void preferIdfv(bool preferred) { prefersIdfv_ = preferred; }
  [[nodiscard]] bool prefersIdfv() const { return prefersIdfv_; }
  [[nodiscard]] std::string idfa() const { return idfa_.value_or(""); }
  [[nodiscard]] std::string idfv() const { return idfv_.value_or(""); }

  void readDevice();  // its two identifiers
  std::string userId();
  void makeRandomIfNeeded();

  // The identifier that was chosen last, in this run or an earlier one.
  static std::optional<std::string> lastUsed();
  void keepLastUsed(std::string_view identifier);

 private:
  std::string use(std::string_view how, const std::string& identifier);

  bool prefersIdfv_ = false;
  std::optional<std::string> idfa_;
  std::optional<std::string> idfv_;
  std::optional<std::string> custom_;
  std::optional<std::string> random_;
  std::optional<std::string> flushed_;  // the last used one that is safe in the user defaults
};

}  // namespace zorvane
