#include "collector/client/HttpClient.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <utility>

namespace collector {

namespace {

constexpr std::size_t kMaxAnswer = std::size_t{64} << 20U;
constexpr int kLongestPollMilliseconds = 60'000;  // libcurl looks at a request's limit by itself

template <auto Close>
struct Closer {
  template <class T>
  void operator()(T* handle) const noexcept {
    Close(handle);
  }
};
using Easy = std::unique_ptr<CURL, Closer<curl_easy_cleanup>>;
using Multi = std::unique_ptr<CURLM, Closer<curl_multi_cleanup>>;
using Fields = std::unique_ptr<curl_slist, Closer<curl_slist_free_all>>;

std::string urlOf(const HttpAddress& address, const std::string& target) {
  const bool isIpv6 = address.host.find(':') != std::string::npos;
  return fmt::format("{}://{}:{}{}{}", address.isSecure ? "https" : "http",
                     isIpv6 ? fmt::format("[{}]", address.host) : address.host, address.port, address.prefix, target);
}

// One request and its answer.
class Exchange {
 public:
  Exchange(const std::string& url, const HttpRequest& request, const std::string& caFile)
      : easy_(curl_easy_init()), multi_(curl_multi_init()) {
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(request.limit.count()));
    set(CURLOPT_ERRORBUFFER, said_.data());
    set(CURLOPT_WRITEFUNCTION, &Exchange::take);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    if (!caFile.empty()) set(CURLOPT_CAINFO, caFile.c_str());
    if (request.body) {
      set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body->size()));
      set(CURLOPT_POSTFIELDS, request.body->data());
    }
    for (const std::string& field : request.fields) add(field.c_str());
    add("Expect:");  // a large body would wait for a word of the server's
    add("Content-Type:");
    set(CURLOPT_HTTPHEADER, fields_.get());
  }

  HttpAnswer run(const std::stop_token& giveUp) {
    const std::stop_callback stopping(giveUp, [this] { curl_multi_wakeup(multi_.get()); });
    curl_multi_add_handle(multi_.get(), easy_.get());
    for (int running = 1; running > 0 && !giveUp.stop_requested();)
      if (curl_multi_perform(multi_.get(), &running) != CURLM_OK ||
          (running > 0 && curl_multi_poll(multi_.get(), nullptr, 0, kLongestPollMilliseconds, nullptr) != CURLM_OK))
        throw HttpFailure("requests can't be made");
    auto answer = outcome(giveUp.stop_requested());
    curl_multi_remove_handle(multi_.get(), easy_.get());
    return answer;
  }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    curl_easy_setopt(easy_.get(), option, value);
  }
  void add(const char* field) {
    if (curl_slist* const longer = curl_slist_append(fields_.get(), field); fields_ == nullptr) fields_.reset(longer);
  }

  HttpAnswer outcome(bool isGivenUp) {
    if (isGivenUp) throw HttpFailure("given up");
    int left = 0;
    const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left);
    if (message == nullptr) throw HttpFailure("requests can't be made");
    const CURLcode result = message->data.result;
    if (result != CURLE_OK) throw HttpFailure(said_.front() != '\0' ? said_.data() : curl_easy_strerror(result));
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    return {static_cast<int>(status), std::move(body_)};
  }

  static std::size_t take(const char* bytes, std::size_t one, std::size_t count, void* exchange) {
    auto& body = static_cast<Exchange*>(exchange)->body_;
    if (body.size() + one * count > kMaxAnswer) return 0;
    body.append(bytes, one * count);
    return one * count;
  }

  std::array<char, CURL_ERROR_SIZE> said_{};
  std::string body_;
  Fields fields_;
  const Easy easy_;
  const Multi multi_;
};

}  // namespace

HttpAddress HttpAddress::read(std::string_view url, const Ports& ports) {
  constexpr auto kForm = "it is http://HOST:PORT or https://HOST:PORT";
  HttpAddress address;
  address.isSecure = url.starts_with("https://");
  if (!address.isSecure && !url.starts_with("http://")) throw HttpFailure(kForm);
  url.remove_prefix(url.find("//") + 2);
  const auto slash = std::min(url.find('/'), url.size());
  std::string_view place = url.substr(0, slash), prefix = url.substr(slash);
  while (prefix.ends_with('/')) prefix.remove_suffix(1);
  const auto bracket = place.starts_with('[') ? place.find(']') : std::string_view::npos;
  const auto colon = place.find(':', bracket == std::string_view::npos ? 0 : bracket);
  std::string_view host = place.substr(0, colon);
  if (bracket != std::string_view::npos) host = place.substr(1, bracket - 1);
  address.host = host;
  address.prefix = prefix;
  address.port = colon != std::string_view::npos ? place.substr(colon + 1)
                 : address.isSecure              ? ports.secure
                                                 : ports.plain;
  const bool isPort = !address.port.empty() && address.port.size() <= 5 &&
                      address.port.find_first_not_of("0123456789") == std::string::npos;
  const bool isPlain = url.find_first_of("?#@ \t\r\n") == std::string_view::npos;
  if (host.empty() || !isPort || !isPlain) throw HttpFailure(kForm);
  return address;
}

HttpAnswer HttpClient::ask(const HttpRequest& request) const {
  return Exchange(urlOf(address_, request.target), request, caFile_).run(end_.get_token());
}

}  // namespace collector
