// What is done to a collector's files, while it runs or not.
#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "collector/archive/Store.h"
#include "collector/archive/Upkeep.h"
#include "collector/commands/Commands.h"
#include "collector/warehouse/Erasure.h"

namespace collector {

namespace {

constexpr auto kForWarehouse = std::chrono::seconds(10);  // to erase a player there; then it is pending

// Opening one for writing would make it.
void expectArchive(const std::string& path) {
  if (!std::filesystem::is_regular_file(path)) throw std::runtime_error(path + ": there is no such database");
}

}  // namespace

int run(const AddGame& command) {
  const Game game = Games::add(command.gamesFile, command.name);
  fmt::print("key     {}\nsecret  {}\n\nIt is in {}. A collector that runs takes its reports after a SIGHUP.\n",
             game.key, game.secret, command.gamesFile);
  return 0;
}

int run(const BackUp& command) {
  expectArchive(command.databaseFile);
  backUp(command.databaseFile, command.target);
  fmt::print("{}: {} bytes\n", command.target, std::filesystem::file_size(command.target));
  return 0;
}

int run(const Erase& command) {
  expectArchive(command.databaseFile);
  Store archive(command.databaseFile, Store::Use::beside);
  const auto erased = erase(archive, command.game, command.userId, kForWarehouse);
  if (!erased) throw std::runtime_error(archive.health().failure);
  if (erased->isInLog)
    throw std::runtime_error("the player is erased, but still stands in the log, which somebody reads: run it again");
  fmt::print("{} events erased\n", erased->events);
  if (erased->isPending) fmt::print("The warehouse follows as soon as the collector reaches it.\n");
  return 0;
}

}  // namespace collector
