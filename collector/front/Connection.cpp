#include "collector/front/Connection.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>
#include <variant>

namespace collector::front {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr int kFirstFailure = 500;
constexpr std::size_t kHandshakeBytes = std::size_t{48} << 10U;  // what OpenSSL takes for one that is under way

const Response kTooLarge{413, "application/json", R"({"reasons":["the body is too large"]})"};

// A client that is slow has this much waiting for it in the system, besides what waits in its stream.
const boost::asio::socket_base::send_buffer_size kStreamBuffer(64 << 10);

// Streams are for people, who are told why there is none.
Response tooManyStreams() {
  Response response{503, "application/problem+json",
                    R"({"type":"about:blank","title":"Service Unavailable","status":503,)"
                    R"("detail":"too many are listening already"})"};
  response.mayFail = true;
  return response;
}

std::string addressOf(const tcp::socket& socket) {
  error_code gone;
  const auto address = socket.remote_endpoint(gone).address().to_string();
  return canonicalAddress(address).value_or(address);
}

}  // namespace

Connection::Connection(Shared& shared, tcp::socket socket)
    : shared_(shared),
      socket_(std::move(socket)),
      channel_(socket_.native_handle(), shared.tls),
      peer_(addressOf(socket_)) {}

void Connection::start() {
  if (!shared_.connections.join(shared_from_this())) return shared_.tally.count(Ending::connections);
  shared_.connections.enter(*this, Phase::waiting, Clock::now() + shared_.limits.head);
  if (!shared_.proxies.contains(peer_) && !shared_.connections.attribute(*this, peer_)) return drop(Ending::address);
  error_code failed;
  socket_.native_non_blocking(true, failed);
  socket_.set_option(tcp::no_delay(true), failed);
  waitForBytes();
}

void Connection::drop(Ending why) {
  if (!isIdle_ && state_ != State::leaving) shared_.tally.count(why);
  if (isIdle_) channel_.sayGoodbye();
  close(nameOf(why));
}

void Connection::close(std::string_view why) {
  const auto self = shared_from_this();
  if (pending_) note(stream_ ? pending_->status : 0, why);
  stream_.reset();
  state_ = State::closed;
  shared_.connections.leave(*this);
  error_code failed;
  socket_.close(failed);
}

void Connection::proceed() {
  bool going = true;
  while (going) switch (state_) {
      case State::shakingHands: going = shakeHands(); break;
      case State::reading: going = read(); break;
      case State::writing: going = write(); break;
      case State::streaming: going = stream(); break;
      case State::leaving: going = leave(); break;
      case State::handling:
      case State::resting:
      case State::closed: going = false; break;
    }
}

bool Connection::went(Channel::Step step) {
  switch (step.outcome) {
    case Channel::Outcome::moved: return true;
    case Channel::Outcome::wantsReading: return wait(tcp::socket::wait_read);
    case Channel::Outcome::wantsWriting: return wait(tcp::socket::wait_write);
    case Channel::Outcome::ended: break;
  }
  if (state_ == State::shakingHands) shared_.tally.count(Ending::tls);
  close("left");
  return false;
}

// After each piece, too: a client that sends or takes without end doesn't keep the others waiting.
bool Connection::wait(tcp::socket::wait_type what) {
  socket_.async_wait(what, [self = shared_from_this()](const error_code& failed) {
    if (!failed) self->proceed();
  });
  return false;
}

bool Connection::waitForBytes() { return channel_.holdsMore() || wait(tcp::socket::wait_read); }

bool Connection::shakeHands() {
  const auto step = channel_.shakeHands();
  const bool isOver = step.outcome == Channel::Outcome::moved;
  if (!shared_.connections.hold(*this, isOver ? 0 : kHandshakeBytes) || !went(step)) return false;
  state_ = State::reading;
  return true;
}

bool Connection::read() {
  if (!ahead_.empty()) return take(std::exchange(ahead_, {}));
  auto& buffer = shared_.buffer;
  // No more than a head may have, where one is to come: it may all be kept.
  const auto most = pending_ ? buffer.size() : std::min(buffer.size(), shared_.limits.headBytes);
  const auto step = channel_.read(buffer.data(), most);
  return went(step) && take({buffer.data(), step.bytes});
}

bool Connection::take(std::string_view bytes) {
  if (isIdle_) shared_.connections.enter(*this, Phase::waiting, Clock::now() + shared_.limits.head);
  isIdle_ = false;
  if (!reader_) reader_ = std::make_unique<RequestReader>(shared_.limits);
  while (state_ == State::reading) switch (reader_->take(bytes)) {
      case RequestReader::Stage::more: return shared_.connections.hold(*this, reader_->held()) && waitForBytes();
      case RequestReader::Stage::head: headCame(); break;
      case RequestReader::Stage::whole: requestCame(bytes.size()); break;
      case RequestReader::Stage::tooLarge: answer(kTooLarge, false); break;
      case RequestReader::Stage::malformed: malformed(); break;
    }
  ahead_ = bytes;
  return true;
}

void Connection::headCame() {
  auto& head = reader_->head();
  head.address = shared_.proxies.clientOf(peer_, head);
  head.forwarded = isForwarded(head);
  head.isSecure = shared_.tls != nullptr || shared_.proxies.isSecured(peer_, head);
  ++shared_.tally.requests;
  pending_ = {head.address, head.method, head.target, reader_->keepsAlive(), Clock::now(), reader_->held(), 0};
  sent_ = 0;
  if (shared_.proxies.contains(peer_) && !shared_.connections.attribute(*this, head.address))
    return drop(Ending::address);

  const auto admission = shared_.handler.admit(head);
  if (const auto* const refusal = std::get_if<Response>(&admission)) {
    pending_->account = refusal->account;
    return answer(*refusal, !reader_->expectsBody());
  }
  if (!reader_->expectsBody()) return;
  const auto most = std::get<std::size_t>(admission);
  if (reader_->announcedBytes().value_or(0) > most) return answer(kTooLarge, false);
  reader_->limitBody(most);
  shared_.connections.enter(*this, Phase::receiving, Clock::now() + shared_.limits.body);
  if (reader_->expectsContinue()) send(std::string(kContinue), State::reading);
}

// No answer: what somebody on the way damaged is good when it is sent again.
void Connection::malformed() {
  const auto& head = reader_->head();
  if (!pending_ && !head.method.empty())  // something for the log
    pending_ = {peer_, head.method, head.target, false, Clock::now(), reader_->held(), 0};
  drop(Ending::malformed);
}

void Connection::requestCame(std::size_t ahead) {
  pending_->received = reader_->held();
  if (!shared_.connections.hold(*this, reader_->held() + ahead)) return;
  shared_.connections.enter(*this, Phase::serving, Clock::now() + shared_.limits.answer);
  state_ = State::handling;
  Request request{std::move(reader_->head()), std::move(reader_->body())};
  reader_.reset();
  // The answer comes from another thread, perhaps when nothing of this is left.
  const auto done = [shared = shared_.shared_from_this(), self = weak_from_this(), number = ++handled_](Answer answer) {
    boost::asio::post(shared->context, [self, number, answer = std::move(answer)]() mutable {
      const auto connection = self.lock();
      if (connection && connection->handled_ == number) connection->answered(std::move(answer));
    });
  };
  shared_.handler.handle(std::move(request), done);
}

void Connection::answered(Answer answered) {
  if (state_ != State::handling) return;
  shared_.connections.hold(*this, ahead_.size());  // the handler has done with the request
  if (!answered) return drop(Ending::unanswered);
  pending_->account = std::move(answered->account);
  if (answered->stream) beginStream(std::move(*answered));
  else answer(*answered, true);
  proceed();
}

void Connection::answer(const Response& response, bool keepAlive) {
  if (response.status >= kFirstFailure && !response.mayFail) return drop(Ending::unanswered);
  if (state_ == State::reading) shared_.connections.enter(*this, Phase::serving, Clock::now() + shared_.limits.answer);
  keepAlive = keepAlive && pending_->keepsAlive && !shared_.stopping;
  pending_->status = response.status;
  send(textOf(response, keepAlive, pending_->method == "HEAD"), keepAlive ? State::reading : State::leaving);
}

void Connection::beginStream(Response response) {
  if (shared_.stopping) return drop(Ending::stopping);
  if (shared_.tally.in(Phase::streaming) >= shared_.limits.streams) return answer(tooManyStreams(), true);
  const bool isBodyless = pending_->method == "HEAD";
  ahead_ = {};  // it is the last answer
  pending_->status = response.status;
  shared_.connections.enter(*this, Phase::streaming, Clock::now() + shared_.limits.stalled);
  send(headOfStream(response), isBodyless ? State::leaving : State::streaming);
  if (isBodyless) return;
  error_code failed;
  socket_.set_option(kStreamBuffer, failed);
  stream_ = std::move(response.stream);
  stream_->awaken([shared = shared_.shared_from_this(), self = weak_from_this()] {
    boost::asio::post(shared->context, [self] {
      const auto connection = self.lock();
      if (!connection || connection->state_ != State::resting) return;
      connection->state_ = State::streaming;
      connection->proceed();
    });
  });
  watchClient();
}

// Nothing has to be written to learn that it has left. What it still says nobody asked for.
void Connection::watchClient() {
  socket_.async_wait(tcp::socket::wait_read, [self = shared_from_this()](const error_code& failed) {
    if (failed || !self->stream_) return;
    auto& buffer = self->shared_.buffer;
    if (self->channel_.read(buffer.data(), buffer.size()).outcome == Channel::Outcome::ended) self->close("left");
    else self->watchClient();
  });
}

bool Connection::stream() {
  const auto taken = stream_->take();
  if (taken.bytes.empty() && !taken.isLast) {
    shared_.connections.hold(*this, 0);
    shared_.connections.enter(*this, Phase::streaming, Clock::time_point::max());
    state_ = State::resting;
    return false;
  }
  shared_.connections.enter(*this, Phase::streaming, Clock::now() + shared_.limits.stalled);
  shared_.connections.hold(*this, Stream::kRoom);  // more may come while the client takes this
  send(chunkOf(taken.bytes, taken.isLast), taken.isLast ? State::leaving : State::streaming);
  return true;
}

void Connection::send(std::string text, State afterwards) {
  unsent_ = std::move(text);
  sent_ = 0;
  state_ = State::writing;
  afterwards_ = afterwards;
}

bool Connection::write() {
  const auto step = channel_.write(std::string_view(unsent_).substr(sent_));
  if (!went(step)) return false;
  sent_ += step.bytes;
  if (stream_) shared_.connections.enter(*this, Phase::streaming, Clock::now() + shared_.limits.stalled);
  if (sent_ < unsent_.size()) return wait(tcp::socket::wait_write);
  allSent();
  if (state_ == State::streaming) return wait(tcp::socket::wait_write);
  return !ahead_.empty() || waitForBytes();
}

void Connection::allSent() {
  unsent_ = {};
  state_ = afterwards_;
  if (pending_->status == 0) return;  // the body comes now
  if (stream_) pending_->sent += std::exchange(sent_, 0);
  if (state_ == State::streaming) return;
  note(pending_->status, {});
  stream_.reset();
  reader_.reset();
  if (state_ == State::leaving) ahead_ = {};
  shared_.connections.hold(*this, ahead_.size());
  if (state_ == State::reading) return awaitHead();
  shared_.connections.enter(*this, Phase::leaving, Clock::now() + shared_.limits.linger);
  channel_.sayGoodbye();
}

void Connection::awaitHead() {
  isIdle_ = true;
  shared_.connections.enter(*this, Phase::waiting, Clock::now() + shared_.limits.idle);
  if (shared_.proxies.contains(peer_)) shared_.connections.attribute(*this, {});  // the next may be another's
}

// Closing over bytes that nobody read resets the connection, and the reset overtakes the answer: a client that is still
// sending a refused body would never learn why.
bool Connection::leave() {
  auto& buffer = shared_.buffer;
  return went(channel_.discard(buffer.data(), buffer.size())) && wait(tcp::socket::wait_read);
}

void Connection::note(int status, std::string_view ending) {
  const auto& request = *pending_;
  shared_.log({request.address, request.method, request.target, status, ending, request.received, request.sent + sent_,
               std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - request.since), request.account});
  pending_.reset();
}

}  // namespace collector::front
