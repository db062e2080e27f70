#include "collector/Server.h"

#include <fmt/format.h>
#include <httplib.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>
#include <utility>

#include "collector/Connection.h"
#include "collector/Text.h"
#include "collector/Views.h"
#include "collector/Workers.h"

namespace collector {

namespace {

constexpr int kBacklog = 512;
constexpr auto kJson = "application/json";
constexpr auto kSentEncoding = "Sent-Content-Encoding";
constexpr auto kSentType = "Sent-Content-Type";

constexpr auto kWelcome =
    "zorvane-collector\n\n"
    "POST /remote_configs/v1/init?game_key=KEY&interval_seconds=0&configs_hash=HASH\n"
    "POST /v2/KEY/events\n"
    "GET  /summary\n"
    "GET  /events?after=ID&limit=N\n";

void reply(httplib::Response& response, const Answer& answer) {
  response.status = answer.status;
  response.set_content(answer.json, kJson);
}

// The HTTP library would inflate a body and take forms apart by itself, but what is signed are the bytes as sent: it
// doesn't get to see what they are.
void hide(httplib::Request& request, const char* name, const char* hidden) {
  const auto value = request.get_header_value(name);
  request.headers.erase(name);
  request.headers.erase(hidden);
  request.set_header(hidden, value);
}

Call callOf(std::string_view kind, const httplib::Request& request, std::string gameKey) {
  Call call;
  call.kind = kind;
  call.gameKey = std::move(gameKey);
  call.target = request.target;
  call.authorization = request.get_header_value("Authorization");
  call.contentEncoding = request.get_header_value(kSentEncoding);
  call.contentType = request.get_header_value(kSentType);
  return call;
}

enum class Reading { whole, tooLarge, cutShort };

Reading readBody(const httplib::ContentReader& reader, const httplib::Response& response, std::string& body) {
  bool overflow = false;
  const bool whole = reader([&](const char* bytes, std::size_t size) {
    overflow = size > Collector::kMaxBody - body.size();
    if (!overflow) body.append(bytes, size);
    return !overflow;
  });
  if (overflow || response.status == 413) return Reading::tooLarge;  // the library refuses by a length announced
  return whole ? Reading::whole : Reading::cutShort;
}

}  // namespace

class Server::Front final : public httplib::Server {
 public:
  Front(Collector& collector, TlsContext tls, Log log, const Limits& limits)
      : collector_(collector), tls_(std::move(tls)), log_(std::move(log)), limits_(limits) {
    new_task_queue = [this] { return new Workers(limits_.connections); };
    set_payload_max_length(Collector::kMaxBody);
    // The library's own default would let a second collector share the port.
    set_socket_options([](socket_t socket) {
      const int on = 1;
      ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    addRoutes();
    addHandlers();
  }
  ~Front() override {
    end();
    if (stopping_ >= 0) ::close(stopping_);
  }
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  std::optional<int> begin(const std::string& host, int port) {
    if (stopping_ < 0) return std::nullopt;
    const int bound = port == 0 ? bind_to_any_port(host) : bind_to_port(host, port) ? port : -1;
    if (bound <= 0) return std::nullopt;
    ::listen(svr_sock_, kBacklog);  // again: the library's own backlog is of five
    accepting_ = std::thread([this] { listen_after_bind(); });
    while (!is_running()) std::this_thread::yield();  // stopping it before would do nothing
    return bound;
  }

  void end() {
    if (!accepting_.joinable()) return;
    ::eventfd_write(stopping_, 1);  // never read: it stays readable, for everyone who waits
    httplib::Server::stop();
    accepting_.join();
  }

 private:
  using Take = Answer (Collector::*)(const Call&);

  bool process_and_close_socket(socket_t socket) override {
    Connection connection(socket, tls_, stopping_, limits_);
    if (!connection.shakeHands()) return false;
    bool closed = false;
    return process_request(connection, true, closed, [&](httplib::Request& request) {
      connection.expectBody();
      hide(request, "Content-Encoding", kSentEncoding);
      hide(request, "Content-Type", kSentType);
    });
  }

  void addRoutes() {
    Post("/remote_configs/v1/init", [this](const auto& request, auto& response, const auto& reader) {
      auto gameKey = percentDecoded(queryValue(request.target, "game_key"));
      receive(callOf("init", request, std::move(gameKey)), &Collector::takeInit, reader, response);
    });
    Post("/v2/([^/]+)/events", [this](const auto& request, auto& response, const auto& reader) {
      receive(callOf("events", request, request.matches[1]), &Collector::takeEvents, reader, response);
    });
    Get("/summary", [this](const auto&, auto& response) { reply(response, collector_.summary()); });
    Get("/events", [this](const auto& request, auto& response) {
      reply(response, collector_.events(queryValue(request.target, "after"), queryValue(request.target, "limit")));
    });
    Get("/", [](const auto&, auto& response) { response.set_content(kWelcome, "text/plain"); });
  }

  void addHandlers() {
    set_error_handler([](const auto&, auto& response) {
      if (response.body.empty()) response.set_content(reasonsView({"there is nothing here"}), kJson);
    });
    set_exception_handler([this](const auto&, auto& response, const std::exception_ptr& failure) {
      try {
        std::rethrow_exception(failure);
      } catch (const std::exception& known) {
        log_(known.what());
      } catch (...) {
        log_("unknown failure");
      }
      reply(response, {500, reasonsView({"the collector failed"})});
    });
    set_logger([this](const auto& request, const auto& response) {
      log_(fmt::format("{} {} {}", printable(request.method), printable(request.target), response.status));
    });
  }

  // Strangers are turned away before their body is read, so they fill no memory.
  void receive(Call call, Take take, const httplib::ContentReader& reader, httplib::Response& response) {
    if (!collector_.knows(call.gameKey)) return reply(response, collector_.refuse(call, 401, "the game is unknown"));
    switch (readBody(reader, response, call.body)) {
      case Reading::whole: return reply(response, (collector_.*take)(call));
      case Reading::tooLarge: return reply(response, collector_.refuse(call, 413, "the body is too large"));
      case Reading::cutShort: return reply(response, collector_.refuse(call, 400, "the body ended early"));
    }
  }

  Collector& collector_;
  const TlsContext tls_;
  const Log log_;
  const Limits limits_;
  const int stopping_ = ::eventfd(0, EFD_CLOEXEC);
  std::thread accepting_;
};

Server::Server(Collector& collector, TlsContext tls, Log log, const Limits& limits)
    : front_(std::make_unique<Front>(collector, std::move(tls), std::move(log), limits)) {}

Server::~Server() = default;

std::optional<int> Server::listen(const std::string& host, int port) { return front_->begin(host, port); }

void Server::stop() { front_->end(); }

}  // namespace collector
