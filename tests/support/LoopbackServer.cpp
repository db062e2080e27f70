#include "support/LoopbackServer.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "platform/Thread.h"
#include "support/Certificate.h"
#include "support/TemporaryFolder.h"

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

LoopbackServer::Answer answerWithoutScript(const std::string& path) {
  if (path.starts_with(LoopbackServer::kInit))
    return {200, "{\"server_ts\":" + std::to_string(std::time(nullptr)) + '}'};
  return {200, "[]"};
}

void put(const LoopbackServer::Answer& answer, httplib::Response& response) {
  response.status = answer.status;
  response.set_content(answer.body, answer.contentType);
  for (const auto& [name, value] : answer.headers) response.set_header(name, value);
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

struct LoopbackServer::State {
  enum class Mode { answering, hanging, tearing, slamming };

  State(Security security, const std::string& certified) : protocol(security == Security::tls ? "https" : "http") {
    if (security == Security::tls) {
      const std::string pem = folder.file("ca.pem");
      writeCertificate(pem, certified);
      server = std::make_unique<httplib::SSLServer>(pem.c_str(), pem.c_str());
    } else {
      server = std::make_unique<httplib::Server>();
    }
    serve();
  }

  ~State() {
    setMode(Mode::answering);
    server->stop();
    thread.join();
  }

  void serve() {
    const auto handle = [this](const httplib::Request& request, httplib::Response& response) {
      handleRequest(request, response);
    };
    server->Get(".*", handle);
    server->Post(".*", handle);
    server->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
      if (mode() == Mode::slamming) return httplib::Server::HandlerResponse::Handled;
      rename(const_cast<httplib::Request&>(request).headers, kEncoding, kHiddenEncoding);
      return httplib::Server::HandlerResponse::Unhandled;
    });
    server->set_keep_alive_max_count(1);
    port = server->bind_to_any_port("127.0.0.1");
    // A thread of this kind is hit by no signal, and hands that on to those that the server makes.
    thread = startThread("loopback", [this] { server->listen_after_bind(); });
    while (!server->is_running()) std::this_thread::yield();  // a stop() before that would be lost
  }

  void handleRequest(const httplib::Request& request, httplib::Response& response) {
    std::unique_lock lock(mutex);
    requests.push_back(recordOf(request));
    changed.notify_all();
    if (currentMode == Mode::tearing) return putHalf(response);
    changed.wait(lock, [this] { return currentMode != Mode::hanging; });
    put(nextAnswer(request.path), response);
  }

  Answer nextAnswer(const std::string& path) {
    for (auto& [beginning, answers] : script) {
      if (!path.starts_with(beginning)) continue;
      Answer next = answers.front();
      if (answers.size() > 1) answers.pop_front();
      return next;
    }
    return answerWithoutScript(path);
  }

  Mode mode() {
    const std::scoped_lock lock(mutex);
    return currentMode;
  }
  void setMode(Mode next) {
    const std::scoped_lock lock(mutex);
    currentMode = next;
    changed.notify_all();
  }

  const std::string protocol;
  TemporaryFolder folder;
  std::unique_ptr<httplib::Server> server;
  int port = 0;

  std::mutex mutex;
  std::condition_variable changed;
  Mode currentMode = Mode::answering;                // guarded by mutex
  std::vector<Request> requests;                     // guarded by mutex
  std::map<std::string, std::deque<Answer>> script;  // guarded by mutex; beginning of the path to answers
  std::thread thread;
};

std::optional<std::string> LoopbackServer::Request::header(std::string_view name) const {
  const auto lower = [](unsigned char byte) { return std::tolower(byte); };
  for (const auto& [candidate, value] : headers)
    if (std::ranges::equal(candidate, name, {}, lower, lower)) return value;
  return std::nullopt;
}

LoopbackServer::LoopbackServer(Security security, const std::string& certified)
    : state_(std::make_unique<State>(security, certified)) {}
LoopbackServer::~LoopbackServer() = default;

std::string LoopbackServer::protocol() const { return state_->protocol; }
int LoopbackServer::port() const { return state_->port; }

std::string LoopbackServer::url(const std::string& path) const {
  return protocol() + "://127.0.0.1:" + std::to_string(port()) + path;
}

std::string LoopbackServer::caFile() const { return protocol() == "https" ? state_->folder.file("ca.pem") : ""; }

void LoopbackServer::answer(const std::string& pathBeginning, Answer answer) {
  const std::scoped_lock lock(state_->mutex);
  state_->script[pathBeginning].push_back(std::move(answer));
}

void LoopbackServer::answerOnly(const std::string& pathBeginning, Answer answer) {
  const std::scoped_lock lock(state_->mutex);
  state_->script[pathBeginning] = {std::move(answer)};
}

void LoopbackServer::hang() { state_->setMode(State::Mode::hanging); }
void LoopbackServer::tear() { state_->setMode(State::Mode::tearing); }
void LoopbackServer::slam() { state_->setMode(State::Mode::slamming); }
void LoopbackServer::resume() { state_->setMode(State::Mode::answering); }

std::vector<LoopbackServer::Request> LoopbackServer::requests() const { return requests(""); }

std::vector<LoopbackServer::Request> LoopbackServer::requests(std::string_view pathBeginning) const {
  const std::scoped_lock lock(state_->mutex);
  std::vector<Request> found;
  std::ranges::copy_if(state_->requests, std::back_inserter(found),
                       [&](const Request& request) { return request.target.starts_with(pathBeginning); });
  return found;
}

bool LoopbackServer::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, limit, [&] { return state_->requests.size() >= count; });
}
