// Whatever is sent to the collector's port, with an archive behind it: it goes on serving, and no answer says that it
// failed.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>

#include "Fuzz.h"
#include "collector/Service.h"
#include "collector/base/Signature.h"
#include "collector/front/Server.h"

namespace {

using namespace std::chrono_literals;

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');

struct Folder {
  Folder() { fuzz::require(::mkdtemp(path.data()) != nullptr, "no temporary folder"); }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string path = (std::filesystem::temp_directory_path() / "zorvane-fuzz-XXXXXX").string();
};

struct Serving {
  collector::Log log{fuzz::console};
  collector::Service service{options(), log};
  collector::front::Server server{service.handler(), {limits()}};
  int port = server.listen("127.0.0.1", 0);

  Serving() { service.watch(server.tally()); }
  static collector::Options options() {
    static const Folder folder;
    collector::Options options;
    options.games = {{kKey, kSecret, "game"}};
    options.databaseFile = folder.path + "/archive.sqlite";
    return options;
  }
  static collector::front::Limits limits() {
    collector::front::Limits limits;
    limits.head = limits.body = limits.answer = limits.idle = 5s;
    return limits;
  }
};

class Client {
 public:
  explicit Client(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const linger reset{1, 0};  // no port waits to be used again
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const timeval limit{20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    fuzz::require(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                  "no connection");
  }
  ~Client() { ::close(socket_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  std::string exchange(std::string_view text) {
    while (!text.empty()) {
      const auto moved = again([&] { return ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL); });
      if (moved <= 0) break;  // it has closed, and may have answered
      text.remove_prefix(static_cast<std::size_t>(moved));
    }
    ::shutdown(socket_, SHUT_WR);
    std::string answer;
    std::array<char, 4096> bytes{};
    ssize_t moved = 0;
    while ((moved = again([&] { return ::recv(socket_, bytes.data(), bytes.size(), 0); })) > 0)
      answer.append(bytes.data(), static_cast<std::size_t>(moved));
    fuzz::require(moved == 0 || errno == ECONNRESET, "the connection stays open", std::strerror(errno));
    return answer;
  }

 private:
  // libFuzzer watches the time by a signal.
  template <class Call>
  static ssize_t again(Call call) {
    ssize_t moved = 0;
    do moved = call();
    while (moved < 0 && errno == EINTR);
    return moved;
  }

  const int socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

// A request of which any part may be wrong.
std::string requestOf(fuzz::Input& input) {
  std::string target = input.oneOf({"/v2/", "/remote_configs/v1/init?interval_seconds=0&game_key=", "/metrics?",
                                    "/api/refused?game=", "/api/configurations?game=", "/api/player?game=", "/"});
  if (target == "/v2/") target += (input.byte() % 8 == 0 ? input.text() : kKey) + "/events";
  else if (input.flag())
    target += (input.flag() ? kKey : "") + "&configs_hash=" + input.text() + "&limit=" + input.text();
  std::string head = fmt::format("{} {} HTTP/{}\r\n", input.oneOf({"POST", "GET", "POST", "PUT", "DELETE", "HEAD"}),
                                 target, input.oneOf({"1.1", "1.1", "1.0", "2", "9.9"}));
  std::string body = input.flag() ? "[]" : input.text();
  bool framed = false;
  for (unsigned left = input.byte() % 6; left > 0; --left) {
    switch (input.byte() % 8) {
      case 0: head += "Content-Encoding: gzip\r\n"; break;
      case 1: head += "Transfer-Encoding: chunked\r\n", framed = true; break;
      case 2: head += fmt::format("Content-Length: {}\r\n", input.whole()), framed = true; break;
      case 3: head += "Content-Type: multipart/form-data; boundary=" + input.text() + "\r\n"; break;
      case 4: head += "Range: bytes=" + input.text() + "\r\n"; break;
      case 5: head += "Expect: 100-continue\r\n"; break;
      case 6: head += input.text() + ": " + input.text() + "\r\n"; break;
      default: head += "Authorization: " + input.text() + "\r\n";
    }
  }
  if (!framed) head += fmt::format("Content-Length: {}\r\n", body.size());
  return head + "Authorization: " + collector::signatureOf(body, kSecret) + "\r\n\r\n" + body;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static auto* const serving = new Serving;
  fuzz::require(serving->port != 0, "the collector doesn't listen");
  fuzz::Input input(bytes, size);
  const bool raw = input.flag();
  const auto answer = Client(serving->port).exchange(raw ? std::string(input.rest()) : requestOf(input));
  fuzz::require(answer.empty() || (answer.starts_with("HTTP/1.1 ") && !answer.starts_with("HTTP/1.1 5")),
                "an answer that is none, or says that the collector failed", answer);
  return 0;
}
