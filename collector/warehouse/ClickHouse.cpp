#include "collector/warehouse/ClickHouse.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <utility>

#include "collector/base/Text.h"

namespace collector {

namespace {

constexpr int kGood = 200;
constexpr auto kMaxQuery = 64 << 20;               // bytes: ids of players may be long
constexpr std::size_t kMaxSaid = 500;              // of a refusal
constexpr auto kLimit = std::chrono::seconds(60);  // of an exchange, and of the server's work

std::string encoded(std::string_view text) {
  std::string query;
  for (const char each : text) {
    const auto byte = static_cast<unsigned char>(each);
    if (std::isalnum(byte) != 0 || each == '_' || each == '-' || each == '.') query += each;
    else query += fmt::format("%{:02X}", byte);
  }
  return query;
}

HttpAnswer answerTo(const HttpClient& client, const HttpRequest& request) {
  try {
    return client.ask(request);
  } catch (const HttpFailure& failure) {
    throw WarehouseFailure(failure.what());
  }
}

}  // namespace

WarehouseAddress WarehouseAddress::read(std::string_view url) {
  constexpr auto kForm = "it is http://HOST:PORT/DATABASE, the database of letters, digits and _";
  if (url.find('@') != std::string_view::npos) throw WarehouseFailure("user and password stand in a file");
  try {
    WarehouseAddress address{HttpAddress::read(url, {"8123", "8443"}), "", "", ""};
    const std::string path = std::exchange(address.server.prefix, "");
    address.database = path.substr(std::min<std::size_t>(1, path.size()));
    const auto isWord = [](unsigned char each) { return std::isalnum(each) != 0 || each == '_'; };
    if (!address.database.empty() && std::ranges::all_of(address.database, isWord)) return address;
  } catch (const HttpFailure&) {  // it is said in other words
  }
  throw WarehouseFailure(kForm);
}

std::string ClickHouse::exchange(std::string_view settings, std::string_view body, std::string_view name) const {
  // The answer is complete before its status is sent: otherwise a failure would stand amid the rows of a good one.
  HttpRequest request{
      .target = fmt::format("/?wait_end_of_query=1&max_query_size={}&max_execution_time={}", kMaxQuery, kLimit.count()),
      .body = body,
      .limit = kLimit};
  if (!name.empty()) request.target += "&query_id=" + encoded(name);
  request.target += settings;
  if (!address_.user.empty())
    request.fields = {"X-ClickHouse-User: " + address_.user, "X-ClickHouse-Key: " + address_.password};
  const HttpAnswer answer = answerTo(client_, request);
  if (answer.status == kGood) return answer.body;
  const std::string_view said = std::string_view(answer.body).substr(0, kMaxSaid);
  throw WarehouseRefusal(said.empty() ? fmt::format("status {}", answer.status)
                                      : printable(said.substr(0, said.find('\n'))));
}

std::string ClickHouse::run(std::string_view sql, std::string_view name) const {
  return exchange("&database=" + address_.database, sql, name);
}

// The tables remove what comes twice themselves. Where the server leaves out a block that it has had before, views of
// it would not see it either; and a distributed table answers once its shards have the rows.
void ClickHouse::insert(std::string_view sql, std::string_view rows, std::string_view name) const {
  exchange(fmt::format("&database={}&insert_deduplicate=0&insert_distributed_sync=1&query={}", address_.database,
                       encoded(sql)),
           rows, name);
}

void ClickHouse::makeDatabase() const {
  exchange("", fmt::format("CREATE DATABASE IF NOT EXISTS {}", address_.database));
}

}  // namespace collector
