#include "transport/ZVHTTPApi.h"

#include <algorithm>
#include <array>
#include <atomic>

#include <fmt/format.h>

#include "codecs/digests.h"
#include "codecs/gzip.h"
#include "codecs/json.h"
#include "platform/Platform.h"
#include "runtime/SdkErrorReporter.h"
#include "runtime/SharedInstance.h"
#include "runtime/ZVLogger.h"
#include "transport/AnswerWait.h"
#include "transport/ZVHTTPSessionDataTask.h"
#include "values/Text.h"

namespace zorvane {

namespace {

using Kind = ZVHTTPApiResponse;

constinit SharedInstance<ZVHTTPApi> shared;

// The configurations are kept in the database and go out with every event: an answer that is larger than this, or
// becomes so when it is written again (a slash takes two characters then, 1e15 sixteen), would fill it for good.
constexpr std::size_t kMaxInitAnswerBytes = std::size_t{256} * 1024;
// Of an undecodable body more is reported than an SDK error event can hold, and not the whole.
constexpr std::size_t kMaxReportedLength = 4096;
// The hash becomes a part of a URL as it is.
constexpr std::size_t kMaxConfigsHashBytes = 1024;

struct StatusKind {
  long status;
  Kind kind;
  std::string_view meaning;  // logged; empty: no line
};
constexpr auto kStatusKinds = std::to_array<StatusKind>({
    {200, Kind::Ok, ""},
    {201, Kind::Created, ""},
    {401, Kind::Unauthorized, "401 - Unauthorized."},
    {400, Kind::BadRequest, "400 - Bad Request."},
    {500, Kind::InternalServerError, "500 - Internal Server Error."},
});

struct InitField {
  std::string_view name;
  bool (*isOfType)(const ZVValue&);
  bool onlyOfCreatedConfigs;
};
constexpr bool (*kIsText)(const ZVValue&) = [](const ZVValue& value) { return value.ifString() != nullptr; };
constexpr auto kInitFields = std::to_array<InitField>({
    {"server_ts", [](const ZVValue& value) { return value.isNumber(); }, false},
    {"configs", [](const ZVValue& value) { return value.ifArray() != nullptr; }, true},
    {"configs_hash", kIsText, true},
    {"ab_id", kIsText, true},
    {"ab_variant_id", kIsText, true},
});

// Some lines quote whole bodies; what only they need is not made while they are off.
bool isDebugLogged() { return ZVLogger::isEnabled(ZVLogger::Level::debug, 0); }

std::string describe(const std::optional<ZVValue>& value) { return zorvane::describe(value.value_or(nullptr)); }

std::string header(const ZVURLRequest& request, std::string_view name) {
  for (const auto& [key, value] : request.headers)
    if (key == name) return value;
  return {};
}

// Of a body that is the beginning of a larger one nothing can be decoded, even if that much is a document.
std::optional<ZVValue> decoded(const ZVHTTPApi::RawAnswer& answer) {
  const bool isCut = answer.error && answer.error->code == ZVURLError::kDataLengthExceedsMaximum;
  return answer.body && !isCut ? readJsonAnswer(*answer.body) : std::nullopt;
}

// Bytes that are not UTF-8 are no text, and so no reason.
std::string_view reasonOf(std::string_view body) {
  return isValidUtf8(body) ? prefixOfUtf16Length(body, kMaxReportedLength) : std::string_view();
}

constexpr std::string_view kAnswered = "it was answered";

// What went wrong, in words; "" when nothing did, or when nobody waited for the answer.
std::string troubleOf(const ZVHTTPApi::RawAnswer& answer, bool isTaken, bool isDecoded) {
  if (!answer.body) return answer.error ? answer.error->localizedDescription : "";
  const long status = answer.response ? answer.response->statusCode : 0;
  if (!isTaken) return fmt::format("{}, with the status {}", kAnswered, status);
  return isDecoded ? "" : fmt::format("{}, with the status {}, but no JSON", kAnswered, status);
}

// A failure's words without what changes from one time to the next, as the milliseconds that it took.
std::string causeOf(std::string trouble) {
  if (!trouble.starts_with(kAnswered)) std::erase_if(trouble, [](char c) { return c >= '0' && c <= '9'; });
  return trouble;
}

bool mayBeKept(std::size_t bytes) {
  if (bytes <= kMaxInitAnswerBytes) return true;
  ZVLogger::w(0, "The init call's answer is too large: {} bytes, and {} are allowed", bytes, kMaxInitAnswerBytes);
  return false;
}

// A hash that can't stand in a URL would keep every later init call from being made. Without one the collector sends
// all of the configuration.
std::string_view usableHash(std::string_view hash) {
  const auto isOfUrl = [](char character) {
    return character > ' ' && character <= '~' &&
           std::string_view("\"#<>\\^`{|}").find(character) == std::string_view::npos;
  };
  return hash.size() <= kMaxConfigsHashBytes && std::ranges::all_of(hash, isOfUrl) ? hash : "";
}

// What the session's thread leaves for the waiting one. A thread that gives up waiting leaves it to the session.
struct Exchange {
  ZVHTTPApi::RawAnswer answer;  // written before, read after `answered`
  std::atomic<bool> answered{false};
};

}  // namespace

ZVHTTPApi::ZVHTTPApi()
    : httpProtocol(platform().collector.protocol),
      hostname(platform().collector.hostname),
      port(platform().collector.port),
      session_(platform().makeURLSession()),
      wait_(std::make_shared<AnswerWait>()) {
  const std::string host = port.empty() ? hostname : hostname + ":" + port;
  setBaseUrl(fmt::format("{}://{}/{}", httpProtocol, host, version));
  remoteConfigsBaseUrl = fmt::format("{}://{}/remote_configs/{}", httpProtocol, host, remoteConfigsVersion);
}

ZVHTTPApi& ZVHTTPApi::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVHTTPApi> ZVHTTPApi::setSharedInstance(std::unique_ptr<ZVHTTPApi> instance) {
  return shared.exchange(std::move(instance));
}

// What tells the exchanges apart.
struct ZVHTTPApi::Call {
  std::string_view name;       // in the line of a failure
  std::string_view requestId;  // in that of a status
  bool isInit = false;         // 201 is a success as well, whose content is kept; any content is shown
  bool saysWhatIsNoJson = false;
  bool isOfCollector = false;          // what keeps it from being answered is warned of
  std::optional<SdkErrorArea> area{};  // of the report of what is no JSON

  [[nodiscard]] bool takes(Kind kind) const {
    return kind == Kind::BadRequest || kind == Kind::Ok || (isInit && kind == Kind::Created);
  }
};

ZVHTTPApi::Answer ZVHTTPApi::requestInitReturningDict(const GameKeys& keys, std::string_view configsHash,
                                                      ZVMap (*annotations)()) {
  constexpr Call kCall{.name = "Init",
                       .requestId = "Init",
                       .isInit = true,
                       .saysWhatIsNoJson = true,
                       .isOfCollector = true,
                       .area = SdkErrorArea::initHttp};
  const std::string url = fmt::format("{}/{}?game_key={}&interval_seconds=0&configs_hash={}", remoteConfigsBaseUrl,
                                      initializeUrlPath, keys.gameKey, usableHash(configsHash));
  ZVLogger::d(0, "Sending 'init' URL: {}", url);
  const auto json = writeJson(annotations());
  if (!json) return {Kind::JsonEncodeFailed, std::nullopt};
  Answer answer = exchange(kCall, createRequestWithPayload(*json, url, true, keys.gameSecret), *json);
  if (answer.kind != Kind::Ok && answer.kind != Kind::Created) return answer;
  auto cleaned = validateAndCleanInitRequestResponse(answer.content, answer.kind == Kind::Created);
  const auto written = cleaned ? writeJson(*cleaned) : std::nullopt;
  if (!written || !mayBeKept(written->size())) return {Kind::BadResponse, std::nullopt};
  return {answer.kind, *std::move(cleaned)};
}

ZVHTTPApi::Answer ZVHTTPApi::sendEventsInArray(const GameKeys& keys, const std::optional<std::string>& eventArray) {
  constexpr Call kCall{
      .name = "Events", .requestId = "Events", .isOfCollector = true, .area = SdkErrorArea::eventsHttp};
  if (!eventArray || *eventArray == "[]") ZVLogger::d(0, "sendEventsInArray called with missing eventArray");
  std::string url = eventsUrl(keys.gameKey);
  ZVLogger::d(0, "Sending 'events' URL: {}", url);
  if (!eventArray) {
    ZVLogger::d(0, "sendEventsInArray JSON encoding failed of eventArray");
    return {Kind::JsonEncodeFailed, std::nullopt};
  }
  return exchange(kCall, createRequestWithPayload(*eventArray, std::move(url), useGzip, keys.gameSecret), *eventArray);
}

ZVHTTPApi::Answer ZVHTTPApi::requestItunesInfoReturningDict(std::string_view bundleId) {
  constexpr Call kCall{.name = "Itunes", .requestId = "Itunes Seearch", .saysWhatIsNoJson = true};
  std::string url = fmt::format("http://{}/lookup?bundleId={}", platform().appStoreHostname, bundleId);
  ZVLogger::d(0, "Calling itunes search.' URL: {}", url);
  return exchange(kCall, createGETRequestWithUrl(std::move(url)), {});
}

ZVHTTPApi::Answer ZVHTTPApi::exchange(const Call& call, ZVURLRequest request, ZVText json) {
  const std::string url = request.url;
  const std::string authorization = header(request, "Authorization");
  const RawAnswer answer = sendSynchronousRequest(std::move(request));
  auto content = decoded(answer);
  if (call.isInit && isDebugLogged()) ZVLogger::d(0, "init request content: {}", describe(content));

  const Kind kind = processRequestResponse(answer, call.requestId);
  if (call.isOfCollector) warnOfChangedTrouble(url, troubleOf(answer, call.takes(kind), content.has_value()));
  if (!call.takes(kind)) {
    if (!json.present()) ZVLogger::d(0, "Failed {} Call. URL: {}", call.name, url);
    else
      ZVLogger::d(0, "Failed {} Call. URL: {}, Authorization: {}, JSONString: {}", call.name, url, authorization, json);
    return {kind, std::nullopt};
  }
  if (!content) {
    if (call.saysWhatIsNoJson) ZVLogger::d(0, "Failed {} Call. Json decoding failed", call.name);
    if (call.area)
      reportSdkError({.category = SdkErrorCategory::http,
                      .area = *call.area,
                      .action = SdkErrorAction::failHttpJsonDecode,
                      .reason = std::string(reasonOf(*answer.body))});
    return {Kind::JsonDecodeFailed, std::nullopt};
  }
  if (kind == Kind::BadRequest) {
    if (isDebugLogged()) ZVLogger::d(0, "Failed {} Call. Bad request. Response: {}", call.name, describe(content));
  } else if (call.isInit && !mayBeKept(answer.body->size())) {
    return {Kind::BadResponse, std::nullopt};
  }
  return {kind, std::move(content)};
}

// The lines of a failure are the same whatever the reason, run after run. This one comes when the reason changes.
void ZVHTTPApi::warnOfChangedTrouble(std::string_view url, const std::string& trouble) {
  const std::size_t number = trouble.empty() ? 0 : std::hash<std::string>()(causeOf(trouble)) | 1U;
  if (trouble_.exchange(number, std::memory_order_relaxed) == number || trouble.empty()) return;
  ZVLogger::w(0, "Could not send to {}: {}", url, trouble);
}

void ZVHTTPApi::sendSdkErrorEventWithFormData(const ZVValue& events, std::string_view gameKey,
                                              std::string_view secretKey, SuccessCallback success,
                                              ErrorCallback error) {
  // What can't be written is sent as an empty body: the request alone tells the collector of trouble.
  std::string body = writeJson(events).value_or("");
  std::string signature = hmacSha256(secretKey, body);
  const auto task = ZVHTTPSessionDataTask::initWithRequest(
      {eventsUrl(gameKey), "POST", {{"Authorization", std::move(signature)}}, std::move(body)});
  const auto fail = [error = std::move(error)](const std::optional<ZVURLError>& failure,
                                               const std::optional<ZVURLResponse>& response) {
    if (error) error(failure, response);
  };
  task->performRequestWithSuccess(
      [success = std::move(success), fail](const std::string& answer, const ZVURLResponse& response) {
        if (response.statusCode != 200) fail(std::nullopt, response);
        else if (success) success(answer, response);
      },
      fail, {});
}

ZVURLRequest ZVHTTPApi::createRequestWithPayload(std::string_view json, std::string url, bool usingGzip,
                                                 std::string_view gameSecret) {
  ZVURLRequest request{std::move(url), "POST", {{"Content-Type", "application/json"}}, {}};
  // Without the memory to compress it the body goes out as it is: an empty one would be refused, with all that is in
  // it.
  auto compressed = usingGzip ? compress(json) : std::nullopt;
  if (compressed) {
    request.body = *std::move(compressed);
    request.headers.emplace_back("Content-Encoding", "gzip");
    if (isDebugLogged())
      ZVLogger::d(0, "Gzip stats. Size: {}, Compressed: {}, Content: {}", utf16Length(json).value_or(0),
                  request.body.size(), json);
  } else {
    request.body = json;
  }
  request.headers.emplace_back("Authorization", hmacSha256(gameSecret, request.body));
  return request;
}

ZVURLRequest ZVHTTPApi::createGETRequestWithUrl(std::string url) { return {std::move(url), "GET", {}, {}}; }

ZVHTTPApiResponse ZVHTTPApi::processRequestResponse(const RawAnswer& answer, std::string_view requestId) {
  const long status = answer.response ? answer.response->statusCode : 0;
  if (!answer.body) {
    ZVLogger::d(0, "{} request. failed. Might be no connection. Description: {}, Status code: {}", requestId,
                answer.error ? ZVText(answer.error->localizedDescription) : ZVText(), status);
    return Kind::NoResponse;
  }
  // A refused authentication can also reach us as an error without a status.
  const bool wasRefused = status == 0 && answer.error && answer.error->code == ZVURLError::kUserCancelledAuthentication;
  for (const StatusKind& row : kStatusKinds) {
    if (row.status != (wasRefused ? 401 : status)) continue;
    if (!row.meaning.empty()) ZVLogger::d(0, "{} request. {}", requestId, row.meaning);
    return row.kind;
  }
  return Kind::UnknownResponseCode;
}

std::optional<ZVMap> ZVHTTPApi::validateAndCleanInitRequestResponse(const std::optional<ZVValue>& response,
                                                                    bool configsCreated) {
  const ZVMap* const fields = response ? response->ifMap() : nullptr;
  if (fields == nullptr) {
    ZVLogger::w(0, "validateInitRequestResponse failed - no response dictionary.");
    return std::nullopt;
  }
  ZVMap cleaned;
  for (const InitField& field : kInitFields) {
    const ZVValue* const value = fields->find(field.name);
    if (value == nullptr || (field.onlyOfCreatedConfigs && !configsCreated)) continue;
    if (!field.isOfType(*value)) {
      ZVLogger::w(0, "validateInitRequestResponse failed - invalid type in '{}' field.", field.name);
      return std::nullopt;
    }
    cleaned.set(std::string(field.name), *value);
  }
  return cleaned;
}

std::string ZVHTTPApi::makeRequestAuthSha256Hash(std::string_view body, std::string_view gameSecret) {
  return sha256(std::string(body).append(gameSecret));
}

ZVHTTPApi::RawAnswer ZVHTTPApi::sendSynchronousRequest(ZVURLRequest request) {
  if (wait_->isGivingUp()) return {};
  // There was no memory to sign it: a wrong signature would be answered, and the answer would delete what was sent.
  if (request.method == "POST" && header(request, "Authorization").empty()) return {};
  const auto exchange = std::make_shared<Exchange>();
  const auto task =
      session_->dataTask(std::move(request), [exchange, wait = wait_](auto body, auto response, auto error) {
        exchange->answer = {std::move(body), std::move(response), std::move(error)};
        wait->answer(exchange->answered);
      });
  task->resume();
  if (wait_->waitFor(exchange->answered)) return std::move(exchange->answer);
  task->cancel();
  return {};
}

void ZVHTTPApi::giveUpRequests() noexcept { wait_->setGivingUp(true); }
void ZVHTTPApi::makeRequestsAgain() noexcept { wait_->setGivingUp(false); }

void ZVHTTPApi::setBaseUrl(ZVText url) {
  baseUrl_.with([&](std::string& baseUrl) { baseUrl = url.view(); });
}

std::string ZVHTTPApi::getBaseUrl() const {
  return baseUrl_.with([](const std::string& baseUrl) { return baseUrl; });
}

std::string ZVHTTPApi::eventsUrl(std::string_view gameKey) const {
  return fmt::format("{}/{}/{}", getBaseUrl(), gameKey, eventsUrlPath);
}

}  // namespace zorvane
