// The URL session on libcurl. All requests of the process run in one multi handle, on one thread that begins with the
// first of them. Other threads only hand over orders; a request's state is touched by the transport thread alone.
#include <curl/curl.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "platform/Thread.h"

namespace zorvane {

namespace {

// Far above what a collector says of the largest batch, far below what its parsed form could cost the game. Of a larger
// answer the status counts all the same.
constexpr std::size_t kMaxBodyBytes = std::size_t{4} << 20;
constexpr const char* kTooLarge = "The answer is larger than 4 MiB";
constexpr double kLongestTimeoutSeconds = 3600;
constexpr int kLongestPollMilliseconds = 3'600'000;  // a request has its own limits, at which libcurl looks by itself
constexpr int kRetryMilliseconds = 250;  // where the process had no descriptors left to be woken or wait with

template <auto Close>
struct Closer {
  template <class T>
  void operator()(T* handle) const noexcept {
    Close(handle);
  }
};
using Easy = std::unique_ptr<CURL, Closer<curl_easy_cleanup>>;
using Multi = std::unique_ptr<CURLM, Closer<curl_multi_cleanup>>;
using HeaderList = std::unique_ptr<curl_slist, Closer<curl_slist_free_all>>;

struct Transfer {
  Transfer(ZVURLRequest asked, ZVURLSession::Completion whenDone, std::shared_ptr<const URLSessionOptions> how)
      : request(std::move(asked)), completion(std::move(whenDone)), options(std::move(how)) {}

  const ZVURLRequest request;
  ZVURLSession::Completion completion;
  const std::shared_ptr<const URLSessionOptions> options;

  // The transport thread's.
  enum class Stage { fresh, running, done } stage = Stage::fresh;
  HeaderList headers;  // outlives the handle that reads it
  std::array<char, CURL_ERROR_SIZE> errorText{};
  std::string body;
  bool isTooLarge = false;  // the body is the answer's beginning
  bool wasSent = false;
  Easy easy;
};

// Appends what arrived; less than `size` taken makes libcurl give up.
std::size_t receive(const char* bytes, std::size_t, std::size_t size, void* context) noexcept {
  auto& transfer = *static_cast<Transfer*>(context);
  try {
    const std::size_t taken = std::min(size, kMaxBodyBytes - transfer.body.size());
    transfer.body.append(bytes, taken);
    transfer.isTooLarge = taken < size;
    return taken;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

// Where a kept connection closes without an answer libcurl repeats the request on another one, although the first may
// have been taken in. It asks here before each.
int sendOnce(void* context, char*, char*, int, int) noexcept {
  const bool isRepeated = std::exchange(static_cast<Transfer*>(context)->wasSent, true);
  return isRepeated ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

bool sameName(std::string_view left, std::string_view right) {
  return left.size() == right.size() && curl_strnequal(left.data(), right.data(), left.size()) != 0;
}

bool asksFor(const ZVURLRequest& request, std::string_view header) {
  return std::ranges::any_of(request.headers, [header](const auto& entry) { return sameName(entry.first, header); });
}

void append(HeaderList& list, const std::string& line) {
  curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  [[maybe_unused]] curl_slist* const same = list.release();
  list.reset(longer);
}

std::string headerLine(std::string line, std::string_view value) {
  if (value.empty()) return line += ';';  // with a colon, libcurl would leave the header out
  return line.append(": ").append(value);
}

HeaderList headersOf(const ZVURLRequest& request) {
  HeaderList list;
  for (const auto& [name, value] : request.headers) append(list, headerLine(name, value));
  // A name without a value keeps libcurl from sending a header of its own.
  for (const char* const own : {"Accept", "Content-Type", "Expect", "User-Agent"})
    if (!asksFor(request, own)) append(list, std::string(own) + ':');
  return list;
}

// A line end in a header would let its value add headers, or a body, of its own.
bool isOneLine(std::string_view text) { return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos; }

// Null when nothing is.
const char* whatIsWrongWith(const ZVURLRequest& request) {
  if (request.method != "GET" && request.method != "POST") return "Unsupported method";
  for (const auto& [name, value] : request.headers)
    if (!isOneLine(name) || !isOneLine(value)) return "A header holds a line end";
  return nullptr;
}

// A limit that is none (zero, negative, NaN) becomes the default: without one a request could last forever.
long milliseconds(double seconds, double otherwise) {
  const double limit = seconds > 0 ? std::min(seconds, kLongestTimeoutSeconds) : otherwise;
  return std::max(1L, static_cast<long>(limit * 1000));
}

template <class Value>
void set(const Easy& easy, CURLoption option, Value value) {
  if ((curl_easy_setopt)(easy.get(), option, value) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

// The environment must not make libcurl write down the secrets of a connection.
CURLcode forgetSecrets(CURL*, void* context, void*) noexcept {
  SSL_CTX_set_keylog_callback(static_cast<SSL_CTX*>(context), nullptr);
  return CURLE_OK;
}

// What a signed body may meet on its way: the configured host alone, proved by its certificate, whatever the
// environment of the game says.
void setSafety(const Easy& easy, const URLSessionOptions& options) {
  set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  set(easy, CURLOPT_FOLLOWLOCATION, 0L);
  set(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  set(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  set(easy, CURLOPT_PROXY, "");
  set(easy, CURLOPT_NETRC, long{CURL_NETRC_IGNORED});
  set(easy, CURLOPT_SSL_CTX_FUNCTION, &forgetSecrets);
  // In place of the system's file of authorities; those of its folder count all the same.
  if (!options.certificateAuthorityFile.empty()) set(easy, CURLOPT_CAINFO, options.certificateAuthorityFile.c_str());
}

void setLimits(const Easy& easy, const URLSessionOptions& options) {
  const URLSessionOptions defaults;
  set(easy, CURLOPT_NOSIGNAL, 1L);
  set(easy, CURLOPT_QUICK_EXIT, 1L);  // or giving up a request would wait for its name look-up
  set(easy, CURLOPT_CONNECTTIMEOUT_MS, milliseconds(options.connectTimeoutSeconds, defaults.connectTimeoutSeconds));
  set(easy, CURLOPT_TIMEOUT_MS, milliseconds(options.requestTimeoutSeconds, defaults.requestTimeoutSeconds));
}

void setRequest(const Easy& easy, Transfer& transfer) {
  const ZVURLRequest& request = transfer.request;
  transfer.headers = headersOf(request);
  set(easy, CURLOPT_URL, request.url.c_str());
  set(easy, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});  // requests never overlap, so there is nothing to gain
  set(easy, CURLOPT_HTTPHEADER, transfer.headers.get());
  set(easy, CURLOPT_ERRORBUFFER, transfer.errorText.data());
  set(easy, CURLOPT_WRITEFUNCTION, &receive);
  set(easy, CURLOPT_WRITEDATA, static_cast<void*>(&transfer));
  if (request.method != "POST") return;
  set(easy, CURLOPT_PREREQFUNCTION, &sendOnce);
  set(easy, CURLOPT_PREREQDATA, static_cast<void*>(&transfer));
  set(easy, CURLOPT_POST, 1L);
  set(easy, CURLOPT_POSTFIELDS, request.body.c_str());
  set(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
}

class Transport {
 public:
  static Transport& instance() {
    static auto* const transport = new Transport;  // never destroyed: requests run until the process ends
    return *transport;
  }

  enum class Action { start, cancel };

  void order(Action action, std::shared_ptr<Transfer> transfer) {
    {
      const std::scoped_lock lock(mutex_);
      orders_.emplace_back(action, std::move(transfer));
    }
    ordered_.notify_one();
    curl_multi_wakeup(multi_.get());
  }

 private:
  using Orders = std::vector<std::pair<Action, std::shared_ptr<Transfer>>>;

  Transport() : multi_((curl_global_init(CURL_GLOBAL_DEFAULT), curl_multi_init())) {
    if (!multi_) throw std::bad_alloc();
    thread_ = startThread("zorvane net", [this] { drive(); });
  }

  void drive() noexcept {
    for (;;) {
      try {
        obey();
        int running = 0;
        curl_multi_perform(multi_.get(), &running);
        collect();
      } catch (const std::exception& failure) {
        writeConsoleLine("The transport thread failed: ", failure.what());
      }
      if (running_.empty()) waitForOrders();
      else waitForTheNetwork();
    }
  }

  void waitForOrders() {
    std::unique_lock lock(mutex_);
    ordered_.wait(lock, [this] { return !orders_.empty(); });
  }

  void waitForTheNetwork() {
    const int limit = canBeWoken_ ? kLongestPollMilliseconds : kRetryMilliseconds;
    if (curl_multi_poll(multi_.get(), nullptr, 0, limit, nullptr) != CURLM_OK)
      std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMilliseconds));  // it returned at once
  }

  void obey() {
    const Orders orders = takeOrders();
    for (const auto& [action, transfer] : orders) {
      if (action == Action::start) start(transfer);
      else cancel(*transfer);
    }
  }

  Orders takeOrders() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(orders_, {});
  }

  void start(const std::shared_ptr<Transfer>& transfer) {
    if (transfer->stage != Transfer::Stage::fresh) return;
    if (const char* const problem = whatIsWrongWith(transfer->request)) {
      fail(*transfer, ZVURLError::kOther, problem);
      return;
    }
    try {
      begin(transfer);
    } catch (const std::bad_alloc&) {
      fail(*transfer, ZVURLError::kOther, "Out of memory");
    }
  }

  void begin(const std::shared_ptr<Transfer>& transfer) {
    transfer->easy.reset(curl_easy_init());
    if (!transfer->easy) throw std::bad_alloc();
    setSafety(transfer->easy, *transfer->options);
    setLimits(transfer->easy, *transfer->options);
    setRequest(transfer->easy, *transfer);
    running_.emplace(transfer->easy.get(), transfer);
    transfer->stage = Transfer::Stage::running;
    if (curl_multi_add_handle(multi_.get(), transfer->easy.get()) != CURLM_OK) throw std::bad_alloc();
  }

  void cancel(Transfer& transfer) {
    if (transfer.stage != Transfer::Stage::done) fail(transfer, ZVURLError::kCancelled, "cancelled");
  }

  // What has run to its end, well or badly.
  void collect() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
      const CURLcode result = message->data.result;
      const auto found = running_.find(message->easy_handle);
      if (message->msg != CURLMSG_DONE || found == running_.end()) continue;
      const std::shared_ptr<Transfer> transfer = found->second;  // finishing it takes it out of the map
      if (result == CURLE_OK) finish(*transfer, std::move(transfer->body), std::nullopt);
      else if (transfer->isTooLarge)
        fail(*transfer, ZVURLError::kDataLengthExceedsMaximum, kTooLarge, std::move(transfer->body));
      else fail(*transfer, ZVURLError::kOther, textOf(result, *transfer));
    }
  }

  static const char* textOf(CURLcode result, const Transfer& transfer) {
    if (result == CURLE_ABORTED_BY_CALLBACK) return "The connection closed without an answer";
    return transfer.errorText[0] != '\0' ? transfer.errorText.data() : curl_easy_strerror(result);
  }

  // Completes the request also where there is no memory for the text: somebody waits for it.
  void fail(Transfer& transfer, int code, const char* text, std::optional<std::string> body = std::nullopt) {
    ZVURLError error{code, {}};
    try {
      error.localizedDescription = text;
    } catch (const std::bad_alloc&) {  // then without it
    }
    finish(transfer, std::move(body), std::move(error));
  }

  void finish(Transfer& transfer, std::optional<std::string> body, std::optional<ZVURLError> error) {
    transfer.stage = Transfer::Stage::done;
    const auto response = responseOf(transfer);
    const auto completion = std::exchange(transfer.completion, nullptr);
    release(transfer);
    try {
      if (completion) completion(std::move(body), response, std::move(error));
    } catch (...) {
      writeConsoleLine("The completion of a request failed.");
    }
  }

  static std::optional<ZVURLResponse> responseOf(const Transfer& transfer) {
    long status = 0;
    if (transfer.easy) curl_easy_getinfo(transfer.easy.get(), CURLINFO_RESPONSE_CODE, &status);
    return status != 0 ? std::optional(ZVURLResponse{.statusCode = status}) : std::nullopt;
  }

  void release(Transfer& transfer) {
    if (!transfer.easy) return;
    curl_multi_remove_handle(multi_.get(), transfer.easy.get());
    const auto handle = std::exchange(transfer.easy, nullptr);
    running_.erase(handle.get());
  }

  const Multi multi_;
  const bool canBeWoken_ = curl_multi_wakeup(multi_.get()) == CURLM_OK;  // while it waits for the network
  std::map<CURL*, std::shared_ptr<Transfer>> running_;                   // the transport thread's
  std::mutex mutex_;
  std::condition_variable ordered_;
  Orders orders_;  // guarded by mutex_
  std::thread thread_;
};

class CurlDataTask final : public ZVURLDataTask {
 public:
  explicit CurlDataTask(std::shared_ptr<Transfer> transfer) : transfer_(std::move(transfer)) {}
  void resume() override { Transport::instance().order(Transport::Action::start, transfer_); }
  void cancel() override { Transport::instance().order(Transport::Action::cancel, transfer_); }

 private:
  const std::shared_ptr<Transfer> transfer_;
};

class CurlURLSession final : public ZVURLSession {
 public:
  explicit CurlURLSession(const URLSessionOptions& options)
      : options_(std::make_shared<const URLSessionOptions>(options)) {}

  std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest request, Completion completion) override {
    return std::make_shared<CurlDataTask>(
        std::make_shared<Transfer>(std::move(request), std::move(completion), options_));
  }

 private:
  const std::shared_ptr<const URLSessionOptions> options_;
};

}  // namespace

std::shared_ptr<ZVURLSession> makeCurlURLSession(const URLSessionOptions& options) {
  return std::make_shared<CurlURLSession>(options);
}

}  // namespace zorvane
