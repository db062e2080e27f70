// The command line: what the collector is to do, and how.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "collector/base/Log.h"
#include "collector/front/Address.h"
#include "collector/games/Games.h"

namespace collector {

inline constexpr auto kDatabaseFile = "zorvane-collector.sqlite";
inline constexpr auto kGamesFile = "/etc/zorvane-collector/games";

// To serve.
struct Options {
  std::string host = "127.0.0.1";
  int port = 8080;
  std::string tlsCertificate, tlsKey;
  front::Proxies proxies;
  std::vector<Game> games;
  std::string gamesFile;
  std::string configsFile;
  std::string configurationsHome, configurationsTokenFile, configurationsCaFile;
  std::string readingTokenFile, editingTokenFile;
  std::string warehouse, warehouseCredentialsFile;
  std::int64_t keepDays = 0;  // 0: for good
  std::string databaseFile = kDatabaseFile;
  Log::Form logForm = Log::Form::text;
  bool logAddresses = false;  // whole ones
  bool quiet = false;

  // Others than this machine can come, directly or through a proxy.
  [[nodiscard]] bool isExposed() const;
};

struct AddGame {
  std::string name;
  std::string gamesFile = kGamesFile;
};

struct BackUp {
  std::string target;
  std::string databaseFile = kDatabaseFile;
};

struct Erase {
  std::string game;
  std::string userId;
  std::string databaseFile = kDatabaseFile;
};

inline constexpr int kBadUsage = 2;

std::string_view versionText();  // of the collector: "0.9.0"

// What to do; or the status to end with, once the help, the version or what is wrong is printed.
using Command = std::variant<Options, AddGame, BackUp, Erase, int>;
Command readCommand(int count, const char* const* arguments);

}  // namespace collector
