#include "collector/front/Server.h"

#include <fmt/format.h>
#include <signal.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <utility>

#include "collector/front/Connection.h"

namespace collector::front {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;
using Clock = Connections::Clock;

constexpr int kBacklog = 4'096;
constexpr std::chrono::milliseconds kPause{100};     // before the next accept, after one that failed
constexpr std::chrono::milliseconds kTick{100};      // how late a deadline is noticed
constexpr std::chrono::milliseconds kLastTicks{10};  // the same, and that all is done, while the server stops

// OpenSSL writes to sockets as to files: one that the client has closed would end the process.
void ignoreBrokenPipes() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

class Server::Core final : public Shared {
 public:
  using Shared::Shared;

  int listen(const std::string& host, int port) {
    error_code failed;
    tcp::resolver resolver(context);
    const auto found = resolver.resolve(host, std::to_string(port), tcp::resolver::passive, failed);
    for (const auto& each : found) {
      failed = listenOn(each.endpoint());
      if (failed) continue;
      awaitClient();
      return acceptor_.local_endpoint().port();
    }
    throw std::runtime_error(fmt::format("can't listen on {}, port {}: {}", host, port, failed.message()));
  }

  void serve() {
    ignoreBrokenPipes();
    for (;;) try {
        context.run();
        return;
      } catch (const std::exception&) {  // out of memory: what was at work then is closed at its deadline
      }
  }

  void end() {
    stopping = true;
    stopBy_ = Clock::now() + limits.stop;
    error_code failed;
    acceptor_.close(failed);
    pause_.cancel();
    for (const auto phase : {Phase::waiting, Phase::receiving, Phase::streaming})
      connections.drop(phase, Ending::stopping);
    tick();
  }

 private:
  error_code listenOn(const tcp::endpoint& endpoint) {
    error_code failed;
    acceptor_.close(failed);
    acceptor_.open(endpoint.protocol(), failed);
    if (!failed) acceptor_.set_option(tcp::acceptor::reuse_address(true), failed);
    if (!failed) acceptor_.bind(endpoint, failed);
    if (!failed) acceptor_.listen(kBacklog, failed);
    if (!failed) acceptor_.non_blocking(true, failed);
    return failed;
  }

  void awaitClient() {
    acceptor_.async_wait(tcp::acceptor::wait_read, [this](const error_code&) {
      if (!stopping) accept();
    });
  }

  // A client is there: without a descriptor for it, one goes that hasn't asked anything yet.
  void accept() {
    error_code failed;
    auto socket = acceptor_.accept(failed);
    if (failed == boost::asio::error::no_descriptors && connections.dropOne(Ending::connections))
      socket = acceptor_.accept(failed);
    if (failed && failed != boost::asio::error::would_block) return acceptLater();
    awaitClient();  // first: the next one comes also where there is no memory for this one
    if (!failed) begin(std::move(socket));
  }

  void acceptLater() {
    pause_.expires_after(kPause);
    pause_.async_wait([this](const error_code&) {
      if (!stopping) awaitClient();
    });
  }

  void begin(tcp::socket socket) {
    ++tally.accepted;
    std::make_shared<Connection>(*this, std::move(socket))->start();
    if (!ticking_) tick();
  }

  // Looks for deadlines that have passed, as long as there are connections: a timer for each would be set and taken
  // back several times a request.
  void tick() {
    ticking_ = true;
    ticks_.expires_after(stopping ? kLastTicks : kTick);
    ticks_.async_wait([this](const error_code& replaced) {
      if (replaced) return;
      ticking_ = false;
      if (!connections.isEmpty()) tick();  // first: what fails for want of memory is tried again
      if (stopping && Clock::now() >= stopBy_) connections.dropAll(Ending::stopping);
      else connections.dropOverdue(Clock::now());
    });
  }

  tcp::acceptor acceptor_{context};
  boost::asio::steady_timer pause_{context}, ticks_{context};
  bool ticking_ = false;
  Clock::time_point stopBy_;
};

Server::Server(Handler& handler, Settings settings) : core_(std::make_shared<Core>(handler, std::move(settings))) {}

Server::~Server() {
  try {
    stop();
  } catch (...) {
    std::abort();  // its thread can't be asked to end, and uses what goes away
  }
}

int Server::listen(const std::string& host, int port) {
  const int bound = core_->listen(host, port);
  serving_ = std::thread([core = core_.get()] { core->serve(); });
  return bound;
}

void Server::renewTls(TlsContext tls) {
  boost::asio::post(core_->context,
                    [core = core_.get(), tls = std::move(tls)]() mutable { core->tls = std::move(tls); });
}

void Server::stop() {
  if (!serving_.joinable()) return;
  boost::asio::post(core_->context, [core = core_.get()] { core->end(); });
  serving_.join();
}

const Tally& Server::tally() const { return core_->tally; }

}  // namespace collector::front
