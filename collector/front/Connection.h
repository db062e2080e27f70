// Connection is one client: reads its requests one after the other, has each admitted and handled, writes the answers
// in that order.
//
// Thread:   the front's, which serves all of them: what a request takes here is microseconds, and nothing is locked.
// Lifetime: until it is closed, by the client, by a deadline or for want of room; kept by Connections.
#pragma once

#include <any>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collector/front/Channel.h"
#include "collector/front/Connections.h"
#include "collector/front/Handler.h"
#include "collector/front/Settings.h"
#include "collector/front/Stream.h"
#include "collector/front/Wire.h"

namespace collector::front {

// What all connections have in common.
struct Shared : std::enable_shared_from_this<Shared> {
  Shared(Handler& toAsk, Settings settings)
      : handler(toAsk),
        limits(settings.limits),
        proxies(std::move(settings.proxies)),
        log(std::move(settings.log)),
        tls(std::move(settings.tls)) {}

  boost::asio::io_context context{1};
  Handler& handler;
  const Limits limits;
  const Proxies proxies;
  const Log log;
  TlsContext tls;  // of connections to come
  bool stopping = false;
  Tally tally;
  Connections connections{limits, tally};
  std::array<char, std::size_t{64} << 10U> buffer{};  // of the one that reads
};

class Connection final : public Connections::Entry, public std::enable_shared_from_this<Connection> {
 public:
  Connection(Shared& shared, boost::asio::ip::tcp::socket socket);

  void start();
  void drop(Ending why) override;

 private:
  using Clock = Connections::Clock;
  enum class State { shakingHands, reading, handling, writing, streaming, resting, leaving, closed };

  // Each of these does what the state asks for. False: something has to be waited for, or nothing is left to do.
  bool shakeHands();
  bool read();
  bool write();
  bool stream();
  bool leave();
  void proceed();
  bool went(Channel::Step step);
  bool wait(boost::asio::ip::tcp::socket::wait_type what);
  bool waitForBytes();

  bool take(std::string_view bytes);
  void headCame();
  void malformed();
  void requestCame(std::size_t ahead);
  void answered(Answer answer);
  void answer(const Response& response, bool keepAlive);
  void beginStream(Response response);
  void watchClient();
  void send(std::string text, State afterwards);
  void allSent();
  void awaitHead();
  void close(std::string_view why);
  void note(int status, std::string_view ending);

  // A request from its whole head to its answer, for the log.
  struct Pending {
    std::string address, method, target;
    bool keepsAlive;
    Clock::time_point since;
    std::size_t received;
    int status;            // 0 until there is an answer
    std::size_t sent = 0;  // of a stream, before what is being sent now
    std::any account = {};
  };

  Shared& shared_;
  boost::asio::ip::tcp::socket socket_;
  Channel channel_;
  const std::string peer_;
  State state_ = State::shakingHands;
  State afterwards_ = State::closed;       // follows State::writing
  bool isIdle_ = false;                    // between two requests
  std::unique_ptr<RequestReader> reader_;  // of the request that comes in
  std::string ahead_;                      // what came behind it
  std::string unsent_;
  std::size_t sent_ = 0;
  std::optional<Pending> pending_;
  std::shared_ptr<Stream> stream_;  // the answer to it, when it is one
  std::uint64_t handled_ = 0;       // requests
};

}  // namespace collector::front
