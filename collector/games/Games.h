// The games whose reports are taken: a file with a line for each, "KEY SECRET NAME", the name up to the line's end.
// Empty lines and those that begin with "#" say nothing.
//
// Thread:   any. What is known is read again by reload(); requests under way keep what they have.
// Lifetime: as long as the collector.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

struct Game {
  std::string key;     // 32 characters of [A-z0-9]
  std::string secret;  // 40 of them
  std::string name;    // for people; the key where there is none
};

class Games {
 public:
  // What is wrong with one, "" when nothing is.
  static std::string wrongWith(const Game& game);
  // Makes a game's keys and adds it to the file, which it makes when there is none, its owner's alone. Throws
  // std::runtime_error with what is wrong.
  static Game add(const std::string& file, const std::string& name);

  // From a file, or given. Both throw std::runtime_error with what is wrong, and the line.
  explicit Games(std::string file);
  explicit Games(std::vector<Game> games);

  // Reads the file again. What is wrong with it, "" when nothing is; else those known before stay.
  std::string reload();
  [[nodiscard]] std::optional<std::string> secretOf(std::string_view key) const;
  [[nodiscard]] std::vector<Game> all() const;

 private:
  using Known = std::map<std::string, Game, std::less<>>;
  static Known read(const std::string& file);
  static void add(Known& known, Game game);

  const std::string file_;
  mutable std::mutex guard_;
  Known known_;  // guarded by guard_
};

}  // namespace collector
