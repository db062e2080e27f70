// LoopbackServer is an HTTP or HTTPS server on 127.0.0.1 that records every request and answers as it is set up, or
// misbehaves.
//
// Thread:   any, every operation; requests are served on threads of its own, each on a connection of its own.
// Lifetime: serves from construction to destruction, which lets go of requests that hang.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/TemporaryFolder.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

// Writes a self-signed certificate and its key to one PEM file, or throws. `names`: "IP:127.0.0.1,DNS:localhost".
void writeCertificate(const std::string& path, const std::string& names);

class LoopbackServer {
 public:
  static constexpr const char* kInit = "/remote_configs";  // beginnings of the collector's paths
  static constexpr const char* kEvents = "/v2";

  using Headers = std::vector<std::pair<std::string, std::string>>;  // sorted by name
  struct Request {
    std::string method;
    std::string target;  // with the query
    Headers headers;
    std::string body;  // as sent: compressed stays compressed

    [[nodiscard]] std::optional<std::string> header(std::string_view name) const;  // in any case
  };
  struct Answer {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";
    Headers headers = {};
  };
  enum class Security { plain, tls };

  // `certified`: the names in the certificate that is made for a TLS server.
  explicit LoopbackServer(Security security = Security::plain,
                          const std::string& certified = "IP:127.0.0.1,DNS:localhost");
  ~LoopbackServer();

  [[nodiscard]] const std::string& protocol() const { return protocol_; }  // "http" or "https"
  [[nodiscard]] int port() const { return port_; }                         // the kernel's choice
  [[nodiscard]] std::string url(const std::string& path) const;
  [[nodiscard]] std::string caFile() const;  // PEM; empty without TLS

  // Puts an answer behind those that wait for paths with this beginning. The last one stays and repeats. Without any:
  // init gets the server's time, everything else an empty array.
  void answer(const std::string& pathBeginning, Answer answer);
  // The same, after forgetting those that wait.
  void answerOnly(const std::string& pathBeginning, Answer answer);

  void hang() { behave(Mode::hanging); }      // no answer to what comes from now on, until resume()
  void tear() { behave(Mode::tearing); }      // closes the connection in the middle of the answer
  void slam() { behave(Mode::slamming); }     // closes the connection before the request's body was read
  void resume() { behave(Mode::answering); }  // answers, also what hangs

  // In the order in which they had arrived completely.
  [[nodiscard]] std::vector<Request> requests(std::string_view pathBeginning = {}) const;
  // False when fewer than `count` had come within `limit`.
  [[nodiscard]] bool waitForRequests(std::size_t count,
                                     std::chrono::milliseconds limit = std::chrono::minutes(1)) const;

 private:
  enum class Mode { answering, hanging, tearing, slamming };
  void behave(Mode mode);
  void handle(const httplib::Request& request, httplib::Response& response);
  Answer nextAnswer(const std::string& path);

  const std::string protocol_;
  TemporaryFolder folder_;
  std::unique_ptr<httplib::Server> server_;
  int port_ = 0;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  Mode mode_ = Mode::answering;                       // guarded by mutex_
  std::vector<Request> requests_;                     // guarded by mutex_
  std::map<std::string, std::deque<Answer>> script_;  // guarded by mutex_; beginning of the path to answers
  std::thread thread_;
};
