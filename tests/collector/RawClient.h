// A client that sends what a well-behaved one never would, from an address of its own.
//
// Thread: one at a time.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

namespace collector {

class RawClient {
 public:
  // `from`: any address that begins with 127.
  explicit RawClient(int port, const std::string& beginning = {}, const std::string& from = "127.0.0.1") : RawClient() {
    connect(port, beginning, from);
  }
  RawClient() {  // to be connected later
    const timeval limit{30, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  }
  ~RawClient() { ::close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  void connect(int port, const std::string& beginning = {}, const std::string& from = "127.0.0.1") {
    const auto own = addressOf(from, 0);
    const auto server = addressOf("127.0.0.1", port);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
        ::connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0)
      throw std::runtime_error("nobody listens");
    send(beginning);
  }

  bool send(std::string_view text) {
    while (!text.empty()) {
      const auto moved = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
      if (moved <= 0) return false;
      text.remove_prefix(static_cast<std::size_t>(moved));
    }
    return true;
  }
  // The next answer with its body; what there is of it when the server closes before.
  std::string answer() {
    std::size_t end = std::string::npos;
    while ((end = left_.find("\r\n\r\n")) == std::string::npos && receive()) continue;
    constexpr std::string_view kLength = "Content-Length: ";
    const auto length = left_.find(kLength);
    if (end == std::string::npos) return std::exchange(left_, {});
    auto size = end + 4;
    if (length < end) size += std::strtoul(left_.c_str() + length + kLength.size(), nullptr, 10);
    while (left_.size() < size && receive()) continue;
    const auto answer = left_.substr(0, size);
    left_.erase(0, size);
    return answer;
  }
  // So many bytes; what there is of them when the server closes before.
  std::string next(std::size_t size) {
    while (left_.size() < size && receive()) continue;
    const auto bytes = left_.substr(0, size);
    left_.erase(0, bytes.size());
    return bytes;
  }
  // All that comes until the server closes; "open" when it doesn't.
  std::string rest() {
    while (receive()) continue;
    return isClosed_ ? std::exchange(left_, {}) : "open";
  }

 private:
  static sockaddr_in addressOf(const std::string& text, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    ::inet_pton(AF_INET, text.c_str(), &address.sin_addr);
    return address;
  }
  bool receive() {
    char bytes[4096];
    const auto count = ::recv(socket_, bytes, sizeof bytes, 0);
    isClosed_ = count == 0 || (count < 0 && errno == ECONNRESET);
    if (count > 0) left_.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
  }

  const int socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string left_;
  bool isClosed_ = false;
};

}  // namespace collector
