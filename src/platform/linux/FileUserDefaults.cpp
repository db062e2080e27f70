// The file: a line "zorvane user defaults 1 <bytes>", then a line "key<tab>value" for each pair. <bytes> counts what
// follows, so a file that was cut short is noticed. Line ends, tabs and backslashes in keys and values are escaped.
//
// A change is written at once, so that a crash of the game loses nothing; it is safe from a crash of the machine after
// synchronize().
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "platform/Files.h"
#include "platform/linux/FileDescriptor.h"

namespace zorvane {

namespace {

constexpr std::string_view kHeader = "zorvane user defaults 1 ";
constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20;  // a few short values are all that is kept
using Values = std::map<std::string, std::string, std::less<>>;

constexpr auto kEscapes = std::to_array<std::pair<char, char>>({{'\\', '\\'}, {'\n', 'n'}, {'\t', 't'}});

void appendEscaped(std::string& line, std::string_view text) {
  for (const char character : text) {
    char escaped = '\0';
    for (const auto& [raw, letter] : kEscapes)
      if (raw == character) escaped = letter;
    if (escaped == '\0') line += character;
    else line.append({'\\', escaped});
  }
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      plain += text[at];
      continue;
    }
    if (++at == text.size()) return std::nullopt;
    const std::size_t before = plain.size();
    for (const auto& [raw, letter] : kEscapes)
      if (letter == text[at]) plain += raw;
    if (plain.size() == before) return std::nullopt;
  }
  return plain;
}

std::string fileText(const Values& values) {
  std::string lines;
  for (const auto& [key, value] : values) {
    appendEscaped(lines, key);
    lines += '\t';
    appendEscaped(lines, value);
    lines += '\n';
  }
  return std::string(kHeader) + std::to_string(lines.size()) + '\n' + lines;
}

// The text up to `separator`, which goes with it; absent when there is none.
std::optional<std::string_view> cutOff(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end + 1);
  return part;
}

// Absent when the text is not a whole file.
std::optional<Values> parse(std::string_view text) {
  const auto header = cutOff(text, '\n');
  if (!header || *header != std::string(kHeader) + std::to_string(text.size())) return std::nullopt;
  Values values;
  while (!text.empty()) {
    auto line = cutOff(text, '\n');
    const auto key = line ? cutOff(*line, '\t') : std::nullopt;
    if (!key) return std::nullopt;
    auto plainKey = unescaped(*key);
    auto plainValue = unescaped(*line);
    if (!plainKey || !plainValue) return std::nullopt;
    values.insert_or_assign(std::move(*plainKey), std::move(*plainValue));
  }
  return values;
}

// A link that leads nowhere isn't nothing: what it leads to may be on a disk that comes later.
bool isNothingThere(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

// The file's bytes, none when there is no such file; absent when it can't be read.
std::optional<std::string> readAll(const std::string& path) {
  auto content = readRegularFile(path, kMaxFileBytes);
  return content || !isNothingThere(path) ? content : std::optional<std::string>("");
}

bool writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

enum class Durability { none, flushed };

bool writeTemporary(int file, std::string_view text, Durability durability) {
  return file >= 0 && writeAll(file, text) && (durability == Durability::none || fsync(file) == 0);
}

bool flushDirectory(const std::string& path) {
  const FileDescriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory.valid() && fsync(directory.get()) == 0;
}

// Readers see the old file or the new one, never a part.
bool replaceFile(const std::string& path, std::string_view text, Durability durability) {
  if (text.size() > kMaxFileBytes) return false;  // it could not be read again
  const std::string directory = std::filesystem::path(path).parent_path().string();
  makeDirectories(directory);
  std::string temporary = path + ".XXXXXX";  // a name of its own: another process of the game may write as well
  const FileDescriptor file(mkostemp(temporary.data(), O_CLOEXEC));  // mode 0600
  if (writeTemporary(file.get(), text, durability) && std::rename(temporary.c_str(), path.c_str()) == 0)
    return durability == Durability::none || flushDirectory(directory);
  if (file.valid()) unlink(temporary.c_str());
  return false;
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
  // Read when first asked for: whoever makes the object may be on the game's thread.
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
    if (auto parsed = parse(*text)) return std::move(*parsed);
    writeConsoleLine("The user defaults are damaged and start empty: ", path_);
    return {};
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

  void write(Durability durability) {
    values();
    const bool written = isInReach() && replaceFile(path_, fileText(*values_), durability);
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
