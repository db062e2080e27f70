// Numbers for what comes again and again: games, names, combinations of them, players. New ones are made on the way.
//
// Thread:   the writer's.
// Lifetime: of its database. After a transaction that was undone, forget(): its numbers are gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "collector/archive/Schema.h"
#include "collector/archive/Sql.h"

namespace collector {

class Dictionary {
 public:
  explicit Dictionary(sqlite3* database);

  std::int64_t game(std::string_view key);
  std::int64_t name(std::string_view text);
  // Of kCombinations[which].
  std::int64_t combination(std::size_t which, std::int64_t game, const Row& row);
  // A new player's days begin and end with `day`.
  std::int64_t player(std::int64_t game, std::string_view userId, std::int64_t day);
  void forget();

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };

  // One kind of numbers: the known ones, and how to ask for and to make one.
  struct Book {
    Book(sqlite3* database, const std::string& finding, const std::string& adding);
    void forget() {
      numbers.clear();
      lastNumber = 0;
    }
    std::unordered_map<std::string, std::int64_t, Hash, std::equal_to<>> numbers;
    std::string lastKey;
    std::int64_t lastNumber = 0;  // of it; 0: none
    Statement find;
    Statement add;
  };
  template <class Bind>
  std::int64_t lookUp(Book& book, std::string_view key, Bind bind);

  void beginKey(std::int64_t game);
  void addToKey(std::size_t number);

  sqlite3* const database_;
  Book games_;
  Book names_;
  Book players_;
  std::vector<Book> combinations_;
  std::string key_;  // of a combination or a player, while it is looked up
};

}  // namespace collector
