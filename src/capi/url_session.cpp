#include "capi/url_session.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capi/guard.h"
#include "capi/host.h"
#include "capi/known.h"
#include "capi/numbered.h"
#include "capi/texts.h"

namespace zorvane {

namespace {

constexpr std::size_t kSmallestAnswer = offsetof(zorvane_url_answer, error_text) + sizeof(char*);

using Completion = ZVURLSession::Completion;

// The requests on their way.
auto& openRequests() {
  static auto* const requests = new Numbered<Completion>;  // never destroyed: a host may complete one at exit
  return *requests;
}

void fail(const Completion& completion, int code, std::string why) {
  if (completion) completion(std::nullopt, std::nullopt, ZVURLError{code, std::move(why)});
}

void complete(const Completion& completion, const zorvane_url_answer& answer) {
  if (answer.status == 0) {
    fail(completion, answer.error != 0 ? answer.error : ZVURLError::kOther, textOrEmpty(answer.error_text));
    return;
  }
  std::optional<std::string> body;
  if (answer.body != nullptr) body.emplace(static_cast<const char*>(answer.body), answer.body_size);
  completion(std::move(body), ZVURLResponse{.statusCode = answer.status}, std::nullopt);
}

struct Host {
  zorvane_url_session table;
  std::shared_ptr<HostFunctions> functions;
};

class HostDataTask final : public ZVURLDataTask {
 public:
  HostDataTask(Host host, ZVURLRequest request, Completion completion)
      : host_(std::move(host)), request_(std::move(request)), id_(openRequests().add(std::move(completion))) {}

  void resume() override {
    bool started = false;
    host_.functions->call([&] {
      if (host_.table.start == nullptr) return;
      started = true;
      start();
    });
    if (!started) fail(openRequests().take(id_), ZVURLError::kOther, "The host makes no requests.");
  }

  void cancel() override {
    const Completion completion = openRequests().take(id_);
    if (!completion) return;
    host_.functions->call([&] {
      if (host_.table.cancel != nullptr) host_.table.cancel(id_, host_.table.user);
    });
    fail(completion, ZVURLError::kCancelled, "cancelled");
  }

 private:
  void start() const {
    std::vector<zorvane_url_header> headers;
    for (const auto& [name, value] : request_.headers) headers.push_back({name.c_str(), value.c_str()});
    const zorvane_url_request request{
        .size = sizeof request,
        .id = id_,
        .url = request_.url.c_str(),
        .method = request_.method.c_str(),
        .headers = headers.data(),
        .header_count = headers.size(),
        .body = request_.body.data(),
        .body_size = request_.body.size(),
    };
    host_.table.start(&request, host_.table.user);
  }

  const Host host_;
  const ZVURLRequest request_;
  const std::uint64_t id_;
};

class HostURLSession final : public ZVURLSession {
 public:
  explicit HostURLSession(Host host) : host_(std::move(host)) {}
  std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest request, Completion completion) override {
    return std::make_shared<HostDataTask>(host_, std::move(request), std::move(completion));
  }

 private:
  const Host host_;
};

}  // namespace

std::function<std::shared_ptr<ZVURLSession>()> hostURLSessions(const zorvane_url_session& table,
                                                               std::shared_ptr<HostFunctions> functions) {
  return [host = Host{table, std::move(functions)}] { return std::make_shared<HostURLSession>(host); };
}

void failHostRequests() {
  for (const auto& [id, completion] : openRequests().takeAll())
    fail(completion, ZVURLError::kOther, "The host has detached its functions.");
}

}  // namespace zorvane

using namespace zorvane;

void zorvane_url_request_complete(uint64_t id, const struct zorvane_url_answer* answer) {
  if (isForkedChild()) return;
  guarded([=] {
    const Completion completion = openRequests().take(id);
    if (!completion) return;
    const auto given = answer != nullptr ? known(answer, kSmallestAnswer) : std::nullopt;
    complete(completion, given.value_or(zorvane_url_answer{}));
  });
}
