#include "collector/games/Games.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "collector/base/Json.h"
#include "collector/base/Text.h"

namespace collector {

namespace {

constexpr std::size_t kKeyLength = 32;
constexpr std::size_t kSecretLength = 40;
constexpr std::size_t kMaxName = 100;

// The range from 'A' to 'z' is meant as it is, with the six characters between the upper-case and the lower-case
// letters.
bool isKey(std::string_view text, std::size_t length) {
  text = withoutFinalTerminator(text);
  const auto allowed = [](char c) { return (c >= 'A' && c <= 'z') || (c >= '0' && c <= '9'); };
  return text.size() == length && std::ranges::all_of(text, allowed);
}

std::string randomHex(std::size_t length) {
  std::array<unsigned char, kSecretLength / 2> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(length / 2)) != 1) throw std::runtime_error("there is no randomness");
  std::string text;
  for (std::size_t at = 0; at < length / 2; ++at) text += fmt::format("{:02x}", bytes[at]);
  return text;
}

constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string_view nextWord(std::string_view& line) {
  const auto end = std::min(line.find_first_of(kBlanks), line.size());
  const auto word = line.substr(0, end);
  line = trimmed(line.substr(end));
  return word;
}

bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

// Editors leave files whose last line has no end.
bool endsInALine(int file) {
  char last = '\n';
  const off_t size = ::lseek(file, 0, SEEK_END);
  return size <= 0 || ::pread(file, &last, 1, size - 1) != 1 || last == '\n';
}

}  // namespace

std::string Games::wrongWith(const Game& game) {
  if (!isKey(game.key, kKeyLength)) return fmt::format("the key is not {} characters of [A-z0-9]", kKeyLength);
  if (!isKey(game.secret, kSecretLength))
    return fmt::format("the secret is not {} characters of [A-z0-9]", kSecretLength);
  const bool isText = parseJson(quotedJson(game.name)).failure.empty() && std::ranges::none_of(game.name, isControl);
  if (game.name.size() > kMaxName || !isText)
    return fmt::format("the name is more than {} bytes, or not printable UTF-8", kMaxName);
  return "";
}

Games::Games(std::string file) : file_(std::move(file)), known_(read(file_)) {}

Games::Games(std::vector<Game> games) {
  for (Game& game : games) add(known_, std::move(game));
}

void Games::add(Known& known, Game game) {
  if (const auto wrong = wrongWith(game); !wrong.empty()) throw std::runtime_error(wrong);
  if (game.name.empty()) game.name = game.key;
  const std::string key = game.key;
  if (!known.emplace(key, std::move(game)).second) throw std::runtime_error("the key " + key + " is there twice");
}

Games::Known Games::read(const std::string& file) {
  std::ifstream lines(file);
  if (!lines) throw std::runtime_error(fmt::format("{} can't be read: {}", file, std::strerror(errno)));
  Known known;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    std::string_view rest = trimmed(line);
    if (rest.empty() || rest.front() == '#') continue;
    const auto key = nextWord(rest), secret = nextWord(rest);
    try {
      add(known, {std::string(key), std::string(secret), std::string(rest)});
    } catch (const std::runtime_error& wrong) {
      throw std::runtime_error(fmt::format("{}, line {}: {}", file, number, wrong.what()));
    }
  }
  if (lines.bad()) throw std::runtime_error(fmt::format("{} can't be read: {}", file, std::strerror(errno)));
  return known;
}

std::string Games::reload() {
  if (file_.empty()) return "";
  try {
    Known known = read(file_);
    const std::scoped_lock lock(guard_);
    // A game whose key is unknown is switched off, so an editor that empties the file first must not empty this.
    if (known.empty() && !known_.empty()) return file_ + " names no game";
    known_ = std::move(known);
    return "";
  } catch (const std::runtime_error& wrong) {
    return wrong.what();
  }
}

Game Games::add(const std::string& file, const std::string& name) {
  Game game{randomHex(kKeyLength), randomHex(kSecretLength), name};
  if (const auto wrong = wrongWith(game); !wrong.empty()) throw std::runtime_error(wrong);
  const int to = ::open(file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (to < 0) throw std::runtime_error(fmt::format("{} can't be written: {}", file, std::strerror(errno)));
  // In one piece: a collector that reads it at this moment sees the line whole or not at all.
  const std::string line = fmt::format("{}{} {} {}\n", endsInALine(to) ? "" : "\n", game.key, game.secret, game.name);
  const bool isWritten = ::write(to, line.data(), line.size()) == static_cast<ssize_t>(line.size()) && ::fsync(to) == 0;
  const int failure = errno;
  ::close(to);
  if (!isWritten) throw std::runtime_error(fmt::format("{} can't be written: {}", file, std::strerror(failure)));
  return game;
}

std::optional<std::string> Games::secretOf(std::string_view key) const {
  const std::scoped_lock lock(guard_);
  const auto found = known_.find(key);
  return found != known_.end() ? std::optional(found->second.secret) : std::nullopt;
}

std::vector<Game> Games::all() const {
  const std::scoped_lock lock(guard_);
  std::vector<Game> games;
  for (const auto& [key, game] : known_) games.push_back(game);
  return games;
}

}  // namespace collector
