#include "crowd/Client.h"

#include <fmt/format.h>
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include <stdexcept>

namespace crowd {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;
using tcp = asio::ip::tcp;

namespace {

constexpr auto kConnectTime = std::chrono::seconds(15);
constexpr auto kAnswerTime = std::chrono::seconds(60);
constexpr auto kStoppedTime = std::chrono::seconds(5);  // for what is on its way when the run is stopped
constexpr auto kTurn = std::chrono::milliseconds(100);
constexpr std::size_t kLargestAnswer = std::size_t{16} << 20U;

asio::ssl::context makeTls(const Endpoint& endpoint) {
  asio::ssl::context context(asio::ssl::context::tls_client);
  if (!endpoint.secure) return context;
  context.set_verify_mode(asio::ssl::verify_peer);
  context.set_verify_callback(asio::ssl::host_name_verification(endpoint.host));
  error_code wrong;
  if (endpoint.caFile.empty()) context.set_default_verify_paths(wrong);
  else context.load_verify_file(endpoint.caFile, wrong);
  if (wrong) throw std::runtime_error(fmt::format("{} can't be used: {}", endpoint.caFile, wrong.message()));
  return context;
}

}  // namespace

// Each step is asynchronous on a loop of its own that runs until the step is done: a blocking call with deadlines.
class Client::Connection {
 public:
  Connection(const Endpoint& endpoint, const Run& run) : endpoint_(endpoint), run_(run), tls_(makeTls(endpoint)) {}

  std::optional<Answer> post(const Request& request) {
    if (!stream_ && !connect()) return std::nullopt;
    auto answer = endpoint_.secure ? exchange(*stream_, request) : exchange(stream_->next_layer(), request);
    if (!answer || !keeps_) stream_.reset();
    return answer;
  }

  std::string failure;

 private:
  using Stream = beast::ssl_stream<beast::tcp_stream>;  // without TLS, its lower layer alone is used

  bool connect() {
    error_code wrong;
    if (addresses_.empty()) addresses_ = tcp::resolver(loop_).resolve(endpoint_.host, endpoint_.port, wrong);
    if (wrong) return failed("the host's name", wrong);
    stream_.emplace(loop_, tls_);
    auto& socket = stream_->next_layer();
    socket.expires_after(kConnectTime);
    wrong = done([&](auto then) {
      socket.async_connect(addresses_, [then](error_code code, const tcp::endpoint&) { then(code); });
    });
    if (!wrong) wrong = prepare(socket);
    if (!wrong && endpoint_.secure)
      wrong = done([&](auto then) { stream_->async_handshake(asio::ssl::stream_base::client, then); });
    if (!wrong) return true;
    stream_.reset();
    return failed("connecting", wrong);
  }

  error_code prepare(beast::tcp_stream& socket) {
    error_code wrong;
    socket.socket().set_option(tcp::no_delay(true), wrong);
    if (endpoint_.secure && SSL_set_tlsext_host_name(stream_->native_handle(), endpoint_.host.c_str()) != 1)
      return make_error_code(boost::system::errc::invalid_argument);
    return wrong;
  }

  template <class Layer>
  std::optional<Answer> exchange(Layer& layer, const Request& request) {
    http::request<http::span_body<const char>> message(http::verb::post, request.target, 11);
    message.set(http::field::host, endpoint_.authority());
    message.set(http::field::authorization, request.authorization);
    if (request.gzipped) {
      message.set(http::field::content_type, "application/json");
      message.set(http::field::content_encoding, "gzip");
    }
    message.body() = {request.body.data(), request.body.size()};
    message.prepare_payload();

    beast::get_lowest_layer(layer).expires_after(kAnswerTime);
    const auto wrongSent = done(
        [&](auto then) { http::async_write(layer, message, [then](error_code code, std::size_t) { then(code); }); });
    // A collector that refuses may answer and close before it has read everything: its answer is read all the same.
    http::response_parser<http::string_body> parser;
    parser.body_limit(kLargestAnswer);
    const auto wrongRead = done([&](auto then) {
      http::async_read(layer, buffer_, parser, [then](error_code code, std::size_t) { then(code); });
    });
    if (wrongRead) {
      buffer_.clear();
      failed(wrongSent ? "sending" : "the answer", wrongSent ? wrongSent : wrongRead);
      return std::nullopt;
    }
    keeps_ = parser.get().keep_alive() && !wrongSent;
    if (!keeps_) buffer_.clear();
    return Answer{parser.get().result_int(), std::move(parser.get().body())};
  }

  template <class Start>
  error_code done(Start start) {
    std::optional<error_code> outcome;
    start([&outcome](error_code code) { outcome = code; });
    std::optional<std::chrono::steady_clock::time_point> stopped;
    loop_.restart();
    while (!outcome) {
      loop_.run_one_for(kTurn);
      if (outcome || !run_.stopping()) continue;
      const auto now = std::chrono::steady_clock::now();
      if (!stopped) stopped = now;
      if (now - *stopped > kStoppedTime) stream_->next_layer().cancel();
    }
    return *outcome;
  }

  bool failed(std::string_view what, error_code wrong) {
    failure = fmt::format("{}: {}", what, wrong.message());
    return false;
  }

  const Endpoint endpoint_;
  const Run& run_;
  asio::io_context loop_{1};
  asio::ssl::context tls_;
  tcp::resolver::results_type addresses_;
  std::optional<Stream> stream_;
  beast::flat_buffer buffer_;
  bool keeps_ = false;
};

std::string Endpoint::authority() const {
  const auto name = host.find(':') == std::string::npos ? host : '[' + host + ']';
  const bool usual = port == (secure ? "443" : "80");
  return usual ? name : name + ':' + port;
}

std::optional<Endpoint> Endpoint::parse(std::string_view url) {
  Endpoint endpoint;
  const auto scheme = url.find("://");
  if (scheme == std::string_view::npos) return std::nullopt;
  endpoint.secure = url.substr(0, scheme) == "https";
  if (!endpoint.secure && url.substr(0, scheme) != "http") return std::nullopt;
  url.remove_prefix(scheme + 3);
  if (url.ends_with('/')) url.remove_suffix(1);

  const bool bracketed = url.starts_with('[');
  const auto end = bracketed ? url.find(']') : url.find(':');
  if (bracketed && end == std::string_view::npos) return std::nullopt;
  endpoint.host = bracketed ? url.substr(1, end - 1) : url.substr(0, end);
  auto rest = end == std::string_view::npos ? std::string_view() : url.substr(bracketed ? end + 1 : end);
  endpoint.port = endpoint.secure ? "443" : "80";
  if (!rest.empty()) {
    if (rest.front() != ':') return std::nullopt;
    endpoint.port = rest.substr(1);
  }
  const bool digits = endpoint.port.find_first_not_of("0123456789") == std::string::npos;
  const bool whole = !endpoint.host.empty() && endpoint.host.find_first_of("/?#@ ") == std::string::npos;
  return whole && digits && !endpoint.port.empty() ? std::optional(endpoint) : std::nullopt;
}

Client::Client(const Endpoint& endpoint, const Run& run) : connection_(std::make_unique<Connection>(endpoint, run)) {}
Client::~Client() = default;

std::optional<Answer> Client::post(const Request& request) { return connection_->post(request); }
const std::string& Client::failure() const { return connection_->failure; }

}  // namespace crowd
