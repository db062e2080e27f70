#include "collector/archive/Dictionary.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <iterator>

namespace collector {

namespace {

// What is looked up often stays known; a stream of ever new ones is forgotten at once instead of growing.
constexpr std::size_t kMostKnown = 100'000;

std::string finding(const Combinations& combinations) {
  std::string sql = fmt::format("SELECT id FROM {} WHERE game = ?1", combinations.table);
  int parameter = 1;
  for (const Column column : combinations.columns) sql += fmt::format(" AND {} = ?{}", nameOf(column), ++parameter);
  return sql;
}

std::string adding(const Combinations& combinations) {
  std::string columns = "game", marks = "?1";
  int parameter = 1;
  for (const Column column : combinations.columns) {
    columns += fmt::format(", {}", nameOf(column));
    marks += fmt::format(", ?{}", ++parameter);
  }
  return fmt::format("INSERT INTO {}({}) VALUES({})", combinations.table, columns, marks);
}

}  // namespace

Dictionary::Book::Book(sqlite3* database, const std::string& finding, const std::string& adding)
    : find(database, finding), add(database, adding) {}

Dictionary::Dictionary(sqlite3* database)
    : database_(database),
      games_(database, "SELECT id FROM games WHERE key = ?", "INSERT INTO games(key) VALUES(?)"),
      names_(database, "SELECT id FROM names WHERE text = ?", "INSERT INTO names(text) VALUES(?)"),
      players_(database, "SELECT id FROM players WHERE game = ?1 AND user_id = ?2",
               "INSERT INTO players(game, user_id, first_day, last_day) VALUES(?1, ?2, ?3, ?3)") {
  for (const Combinations& each : kCombinations) combinations_.emplace_back(database, finding(each), adding(each));
}

template <class Bind>
std::int64_t Dictionary::lookUp(Book& book, std::string_view key, Bind bind) {
  // Records of a batch have much in common.
  if (book.lastNumber != 0 && book.lastKey == key) return book.lastNumber;
  book.lastKey = key;
  if (const auto known = book.numbers.find(key); known != book.numbers.end()) return book.lastNumber = known->second;
  book.lastNumber = 0;
  const std::string own(key);  // making one may look up others
  bind(book.find, false);
  const bool isThere = book.find.step();
  std::int64_t number = isThere ? book.find.integer(0) : 0;
  book.find.reset();
  if (!isThere) {
    bind(book.add, true);
    book.add.run();
    number = sqlite3_last_insert_rowid(database_);
  }
  if (book.numbers.size() == kMostKnown) book.numbers.clear();
  book.numbers.emplace(own, number);
  book.lastKey = own;
  return book.lastNumber = number;
}

void Dictionary::beginKey(std::int64_t game) {
  key_.clear();
  addToKey(static_cast<std::size_t>(game));
}

// Numbers of a fixed width: no text can look like one and its neighbour.
void Dictionary::addToKey(std::size_t number) { key_.append(reinterpret_cast<const char*>(&number), sizeof(number)); }

std::int64_t Dictionary::game(std::string_view key) {
  return lookUp(games_, key, [&](Statement& statement, bool) { statement.with(key); });
}

std::int64_t Dictionary::name(std::string_view text) {
  return lookUp(names_, text, [&](Statement& statement, bool) { statement.with(text); });
}

std::int64_t Dictionary::combination(std::size_t which, std::int64_t game, const Row& row) {
  const auto columns = kCombinations[which].columns;
  beginKey(game);
  for (const Column column : columns) {
    const std::string_view text = textOf(row, column);
    addToKey(text.size());
    key_ += text;
  }
  return lookUp(combinations_[which], key_, [&](Statement& statement, bool) {
    std::vector<std::int64_t> numbers;
    for (const Column column : columns) numbers.push_back(name(textOf(row, column)));
    int parameter = 1;
    statement.bind(parameter, game);
    for (const std::int64_t number : numbers) statement.bind(++parameter, number);
  });
}

std::int64_t Dictionary::player(std::int64_t game, std::string_view userId, std::int64_t day) {
  beginKey(game);
  key_ += userId;
  return lookUp(players_, key_, [&](Statement& statement, bool isNew) {
    statement.bind(1, game);
    statement.bind(2, userId);
    if (isNew) statement.bind(3, day);
  });
}

void Dictionary::forget() {
  for (Book* book : {&games_, &names_, &players_}) book->forget();
  for (Book& book : combinations_) book.forget();
}

}  // namespace collector
