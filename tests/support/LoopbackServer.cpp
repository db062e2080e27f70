#include "support/LoopbackServer.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "platform/Thread.h"

using namespace zorvane;

namespace {

// The server would inflate a compressed body; under another name the header is none of its business.
constexpr const char* kEncoding = "Content-Encoding";
constexpr const char* kHiddenEncoding = "Content-Encoding-As-Sent";
constexpr auto kAddedByTheServer =
    std::to_array<std::string_view>({"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR", "LOCAL_PORT"});

void rename(httplib::Headers& headers, const std::string& from, const std::string& to) {
  for (auto found = headers.find(from); found != headers.end(); found = headers.find(from)) {
    headers.emplace(to, std::move(found->second));
    headers.erase(found);
  }
}

LoopbackServer::Request recordOf(const httplib::Request& request) {
  httplib::Headers sent = request.headers;
  rename(sent, kHiddenEncoding, kEncoding);
  LoopbackServer::Request record{request.method, request.target, {}, request.body};
  for (const auto& [name, value] : sent)
    if (std::ranges::find(kAddedByTheServer, name) == kAddedByTheServer.end()) record.headers.emplace_back(name, value);
  return record;
}

void putHalf(httplib::Response& response) {
  constexpr std::size_t kPromised = 1000;
  response.set_content_provider(kPromised, "application/json",
                                [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                  constexpr std::string_view kHalf = "{\"half\":";
                                  if (offset == 0) sink.write(kHalf.data(), kHalf.size());
                                  return offset == 0;  // then no more, and the connection ends
                                });
}

}  // namespace

void writeCertificate(const std::string& path, const std::string& names) {
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 1 -subj '/CN=Loopback server' "
      "-addext subjectAltName=" +
      names + " -keyout " + path + " -out " + path + ".certificate 2>/dev/null && cat " + path + ".certificate >>" +
      path;
  if (std::system(command.c_str()) != 0) throw std::runtime_error("the certificate could not be made");
}

LoopbackServer::LoopbackServer(Security security, const std::string& certified)
    : protocol_(security == Security::tls ? "https" : "http") {
  if (security == Security::tls) {
    const std::string pem = folder_.file("ca.pem");
    writeCertificate(pem, certified);
    server_ = std::make_unique<httplib::SSLServer>(pem.c_str(), pem.c_str());
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
    handle(request, response);
  };
  server_->Get(".*", handler);
  server_->Post(".*", handler);
  server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
    const std::scoped_lock lock(mutex_);
    if (mode_ == Mode::slamming) return httplib::Server::HandlerResponse::Handled;
    rename(const_cast<httplib::Request&>(request).headers, kEncoding, kHiddenEncoding);
    return httplib::Server::HandlerResponse::Unhandled;
  });
  server_->set_keep_alive_max_count(1);
  port_ = server_->bind_to_any_port("127.0.0.1");
  // A thread of this kind is hit by no signal, and hands that on to those that the server makes.
  thread_ = startThread("loopback", [this] { server_->listen_after_bind(); });
  while (!server_->is_running()) std::this_thread::yield();  // a stop() before that would be lost
}

LoopbackServer::~LoopbackServer() {
  behave(Mode::answering);
  server_->stop();
  thread_.join();
}

void LoopbackServer::behave(Mode mode) {
  const std::scoped_lock lock(mutex_);
  mode_ = mode;
  changed_.notify_all();
}

void LoopbackServer::handle(const httplib::Request& request, httplib::Response& response) {
  std::unique_lock lock(mutex_);
  requests_.push_back(recordOf(request));
  changed_.notify_all();
  if (mode_ == Mode::tearing) return putHalf(response);
  changed_.wait(lock, [this] { return mode_ != Mode::hanging; });
  const Answer answer = nextAnswer(request.path);
  response.status = answer.status;
  response.set_content(answer.body, answer.contentType);
  for (const auto& [name, value] : answer.headers) response.set_header(name, value);
}

LoopbackServer::Answer LoopbackServer::nextAnswer(const std::string& path) {
  for (auto& [beginning, answers] : script_) {
    if (!path.starts_with(beginning)) continue;
    Answer next = answers.front();
    if (answers.size() > 1) answers.pop_front();
    return next;
  }
  return {200, path.starts_with(kInit) ? "{\"server_ts\":" + std::to_string(std::time(nullptr)) + '}' : "[]"};
}

std::optional<std::string> LoopbackServer::Request::header(std::string_view name) const {
  const auto lower = [](unsigned char byte) { return std::tolower(byte); };
  for (const auto& [candidate, value] : headers)
    if (std::ranges::equal(candidate, name, {}, lower, lower)) return value;
  return std::nullopt;
}

std::string LoopbackServer::url(const std::string& path) const {
  return protocol_ + "://127.0.0.1:" + std::to_string(port_) + path;
}

std::string LoopbackServer::caFile() const { return protocol_ == "https" ? folder_.file("ca.pem") : ""; }

void LoopbackServer::answer(const std::string& pathBeginning, Answer answer) {
  const std::scoped_lock lock(mutex_);
  script_[pathBeginning].push_back(std::move(answer));
}

void LoopbackServer::answerOnly(const std::string& pathBeginning, Answer answer) {
  const std::scoped_lock lock(mutex_);
  script_[pathBeginning] = {std::move(answer)};
}

std::vector<LoopbackServer::Request> LoopbackServer::requests(std::string_view pathBeginning) const {
  const std::scoped_lock lock(mutex_);
  std::vector<Request> found;
  std::ranges::copy_if(requests_, std::back_inserter(found),
                       [&](const Request& request) { return request.target.starts_with(pathBeginning); });
  return found;
}

bool LoopbackServer::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [&] { return requests_.size() >= count; });
}
