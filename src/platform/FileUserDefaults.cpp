// A change is written at once, so that a crash of the game loses nothing; it is safe from a crash of the machine after
// synchronize().
#include <mutex>
#include <utility>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "platform/Files.h"
#include "platform/UserDefaultsText.h"

namespace zorvane {

namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20;  // a few short values are all that is kept

// The file's bytes, none when there is no such file; absent when it can't be read.
std::optional<std::string> readAll(const std::string& path) {
  auto content = readRegularFile(path, kMaxFileBytes);
  return content || !isNothingThere(path) ? content : std::optional<std::string>("");
}

class FileUserDefaults final : public ZVUserDefaults {
 public:
  explicit FileUserDefaults(std::function<std::string()> locate) : locate_(std::move(locate)) {}

  std::optional<std::string> stringForKey(std::string_view key) const override {
    const std::scoped_lock lock(mutex_);
    const Values& all = values();
    const auto found = all.find(key);
    return found != all.end() ? std::optional(found->second) : std::nullopt;
  }

  void setString(std::string_view key, std::string_view value) override {
    const std::scoped_lock lock(mutex_);
    const auto [entry, added] = values().try_emplace(std::string(key), value);
    if (!added && entry->second == value) return;
    entry->second = value;
    write(Durability::none);
  }

  void removeKey(std::string_view key) override {
    const std::scoped_lock lock(mutex_);
    const auto entry = values().find(key);
    if (entry == values().end()) return;
    values().erase(entry);
    write(Durability::none);
  }

  bool synchronize() override {
    const std::scoped_lock lock(mutex_);
    if (!flushed_) write(Durability::flushed);
    return flushed_;
  }

 private:
  using Values = UserDefaultsValues;

  // Read when first asked for: the object may be made on the game's thread.
  Values& values() const {
    if (!values_) values_ = load();
    return *values_;
  }

  Values load() const {
    path_ = locate_();
    const auto text = readAll(path_);
    if (!text) {
      writeConsoleLine("The user defaults can't be read: ", path_);
      inReach_ = false;
      return {};
    }
    if (text->empty()) return {};
    auto parsed = parse(*text);
    if (!parsed) writeConsoleLine("The user defaults are damaged and start empty: ", path_);
    else if (isFirstFormOfUserDefaults(*text)) replace(*parsed, Durability::flushed);
    return std::move(parsed).value_or(Values());
  }

  static std::optional<Values> parse(std::string_view text) {
    return isFirstFormOfUserDefaults(text) ? readFirstFormOfUserDefaults(text) : readUserDefaults(text);
  }

  // What lies there may be good and only out of reach for now, so it is not replaced; once it is back, it joins what
  // was set meanwhile.
  bool isInReach() {
    if (inReach_) return true;
    const auto text = readAll(path_);
    if (!text) return false;
    if (auto kept = parse(*text)) values_->merge(*kept);
    inReach_ = true;
    return true;
  }

  bool replace(const Values& values, Durability durability) const {
    const std::string text = userDefaultsText(values);
    return text.size() <= kMaxFileBytes && replaceFile(path_, text, durability);  // a larger one couldn't be read again
  }

  void write(Durability durability) {
    values();
    const bool written = isInReach() && replace(*values_, durability);
    if (!written && !failureIsKnown_) writeConsoleLine("The user defaults can't be written: ", path_);
    failureIsKnown_ = !written;
    flushed_ = written && durability == Durability::flushed;
  }

  const std::function<std::string()> locate_;
  mutable std::mutex mutex_;
  mutable std::string path_;              // guarded by mutex_; known once the values were read
  mutable std::optional<Values> values_;  // guarded by mutex_; absent until read
  mutable bool inReach_ = true;           // guarded by mutex_; false: there is a file that could not be read
  bool failureIsKnown_ = false;           // guarded by mutex_
  bool flushed_ = true;                   // guarded by mutex_; false: the machine could lose a change
};

}  // namespace

std::shared_ptr<ZVUserDefaults> makeFileUserDefaults(std::function<std::string()> locate) {
  return std::make_shared<FileUserDefaults>(std::move(locate));
}

}  // namespace zorvane
