// ClickHouse over its HTTP interface: one statement a request.
//
// Thread: any; each call has a connection of its own.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "collector/client/HttpClient.h"

namespace collector {

// The warehouse is away, or what it said.
class WarehouseFailure : public std::runtime_error {
 public:
  explicit WarehouseFailure(const std::string& what) : std::runtime_error(what) {}
};

// It is there, and refuses the statement.
class WarehouseRefusal : public WarehouseFailure {
 public:
  using WarehouseFailure::WarehouseFailure;
};

struct WarehouseAddress {
  HttpAddress server;
  std::string database;
  std::string user;  // "": the server's default
  std::string password;

  // http(s)://HOST:PORT/DATABASE. Throws WarehouseFailure with what is wrong.
  static WarehouseAddress read(std::string_view url);
};

class ClickHouse {
 public:
  explicit ClickHouse(WarehouseAddress address) : address_(std::move(address)), client_(address_.server) {}

  // The answer's text, whole. The server refuses a statement with a name while another of that name runs, even one that
  // nobody waits for any more: what must not overtake each other has the same.
  [[nodiscard]] std::string run(std::string_view sql, std::string_view name = {}) const;
  // `rows` in the format that the statement names.
  void insert(std::string_view sql, std::string_view rows, std::string_view name) const;
  // Outside of the database, which may not be there yet.
  void makeDatabase() const;
  // What is under way fails, and what comes later.
  void giveUp() { client_.giveUp(); }
  [[nodiscard]] const std::string& database() const { return address_.database; }

 private:
  std::string exchange(std::string_view settings, std::string_view body, std::string_view name = {}) const;

  const WarehouseAddress address_;
  HttpClient client_;
};

}  // namespace collector
