#include "collector/WarehouseServer.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace collector {

namespace {

constexpr auto kPatience = std::chrono::minutes(2);

std::array<int, 2> freePorts() {
  std::array<int, 2> ports{}, sockets{};
  for (std::size_t at = 0; at < ports.size(); ++at) {
    sockets[at] = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (::bind(sockets[at], plain, size) != 0 || ::getsockname(sockets[at], plain, &size) != 0)
      throw std::runtime_error("no free port");
    ports[at] = ntohs(address.sin_port);
  }
  for (const int socket : sockets) ::close(socket);
  return ports;
}

constexpr auto kConfig = R"(<yandex>
  <logger><level>warning</level><log>{0}/log</log><errorlog>{0}/errors</errorlog></logger>
  <http_port>{1}</http_port><tcp_port>{2}</tcp_port><listen_host>127.0.0.1</listen_host>
  <path>{0}/data/</path><tmp_path>{0}/tmp/</tmp_path><users_config>users.xml</users_config>
  <default_profile>default</default_profile><default_database>default</default_database>
  <mark_cache_size>67108864</mark_cache_size><max_concurrent_queries>50</max_concurrent_queries>
</yandex>
)";
constexpr auto kUsers = R"(<yandex>
  <profiles><default><max_memory_usage>2000000000</max_memory_usage><max_threads>2</max_threads></default>
    <readonly><readonly>2</readonly></readonly></profiles>
  <users>
    <default><password></password><networks><ip>127.0.0.1</ip></networks><profile>default</profile><quota>default</quota></default>
    <keeper><password>it's "secret"</password><networks><ip>127.0.0.1</ip></networks><profile>default</profile><quota>default</quota></keeper>
    <reader><password></password><networks><ip>127.0.0.1</ip></networks><profile>readonly</profile><quota>default</quota></reader>
  </users>
  <quotas><default><interval><duration>3600</duration><queries>0</queries><errors>0</errors><result_rows>0</result_rows>
    <read_rows>0</read_rows><execution_time>0</execution_time></interval></default></quotas>
</yandex>
)";

}  // namespace

WarehouseServer::WarehouseServer() {
  const auto [http, tcp] = freePorts();
  port_ = http;
  std::ofstream(folder_.file("config.xml")) << fmt::format(kConfig, folder_.path(), http, tcp);
  std::ofstream(folder_.file("users.xml")) << kUsers;
  for (const char* each : {"data", "tmp"}) std::filesystem::create_directory(folder_.file(each));
  start();
}

void WarehouseServer::start() {
  process_.emplace(folder_.path(),
                   std::vector<std::string>{CLICKHOUSE_SERVER, "--config-file=" + folder_.file("config.xml")});
  const ClickHouse server(address("default"));
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    try {
      if (server.run("SELECT 1") == "1\n") return;
    } catch (const WarehouseFailure& failure) {
      if (process_->wait(std::chrono::milliseconds(50)) != ChildProcess::kRuns ||
          std::chrono::steady_clock::now() > end)
        throw std::runtime_error(fmt::format("the server doesn't start: {}\n{}", failure.what(), process_->errors()));
    }
  }
}

void WarehouseServer::kill(int signal) {
  process_->kill(signal);
  if (signal == SIGKILL) process_->wait();
}

std::string WarehouseServer::url(const std::string& database) const {
  return fmt::format("http://127.0.0.1:{}/{}", port_, database);
}

}  // namespace collector
