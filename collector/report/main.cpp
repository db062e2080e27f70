#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "collector/archive/Readers.h"
#include "collector/questions/ArchiveEngine.h"
#include "collector/questions/WarehouseEngine.h"
#include "collector/report/AlignedTable.h"
#include "collector/report/Options.h"
#include "collector/warehouse/ClickHouse.h"
#include "collector/warehouse/Credentials.h"

using namespace collector;
using namespace collector::report;

namespace {

constexpr int kDays = 30;

// Where a question is asked.
class Source {
 public:
  virtual ~Source() = default;
  virtual Engine& engine() = 0;
  virtual std::vector<std::string> games() = 0;
};

class ArchiveSource final : public Source {
 public:
  explicit ArchiveSource(const std::string& path) : archive_(path) {
    if (!std::filesystem::exists(path)) throw std::runtime_error(path + ": there is no such database");
  }
  Engine& engine() override { return engine_; }
  std::vector<std::string> games() override {
    std::vector<std::string> games;
    archive_.read([&](sqlite3* database) {
      Statement rows(database, "SELECT key FROM games ORDER BY key");
      while (rows.step()) games.emplace_back(rows.text(0));
    });
    return games;
  }

 private:
  Readers archive_;
  ArchiveEngine engine_{archive_};
};

class WarehouseSource final : public Source {
 public:
  explicit WarehouseSource(const Options& options)
      : warehouse_(warehouseAddress(options.warehouse, options.warehouseCredentialsFile)) {}
  Engine& engine() override { return engine_; }
  std::vector<std::string> games() override {
    std::vector<std::string> games;
    const std::string lines = warehouse_.run("SELECT DISTINCT game FROM player_days ORDER BY game");
    for (std::size_t from = 0, end = 0; (end = lines.find('\n', from)) != std::string::npos; from = end + 1)
      games.push_back(lines.substr(from, end - from));
    return games;
  }

 private:
  ClickHouse warehouse_;
  WarehouseEngine engine_{warehouse_};
};

std::string onlyGame(Source& source) {
  const auto games = source.games();
  if (games.size() == 1) return games.front();
  std::string said = games.empty() ? "there are no events" : "there are several games: --game takes one of";
  for (const std::string& game : games) said += ' ' + game;
  throw std::runtime_error(said);
}

std::int64_t today() {
  return std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now()).time_since_epoch().count();
}

// What wasn't given.
void complete(std::map<std::string, std::string>& parameters, Source& source) {
  if (!parameters.contains("game")) parameters["game"] = onlyGame(source);
  const auto to = parameters.try_emplace("to", dateOf(today())).first->second;
  if (!parameters.contains("from")) parameters["from"] = dateOf(dayOf("to", to) - (kDays - 1));
}

std::string textOf(const Table& table, Form form) {
  switch (form) {
    case Form::csv: return asCsv(table);
    case Form::json: return asJson(table) + '\n';
    case Form::table: break;
  }
  return asText(table);
}

int answer(Options options) {
  std::unique_ptr<Source> source;
  if (options.warehouse.empty()) source = std::make_unique<ArchiveSource>(options.databaseFile);
  else source = std::make_unique<WarehouseSource>(options);
  complete(options.parameters, *source);
  const std::string text = textOf(ask(source->engine(), *options.question, options.parameters), options.form);
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!isWritten) throw std::runtime_error("the answer can't be written");
  return 0;
}

int complain(const char* problem, int status) {
  std::fputs(fmt::format("zorvane-report: {}\n", problem).c_str(), stderr);
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    auto options = readOptions(count, arguments);
    if (const auto* status = std::get_if<int>(&options)) return *status;
    return answer(std::get<Options>(std::move(options)));
  } catch (const BadQuestion& bad) {
    return complain(bad.what(), kBadUsage);
  } catch (const std::exception& failure) {
    return complain(failure.what(), 1);
  }
}
