// ZVHTTPApi is the client of the collector: it builds, signs and sends every request and sorts every answer into one
// kind.
//
// Thread:   init, events and the app-store lookup on the work queue, which they hold until the answer is in; SDK error
//           events from any thread; setBaseUrl() from any thread.
// Lifetime: one instance, kept for the life of the process.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVPlatform.h>
#include <zorvane/ZVTypes.h>

#include "runtime/Guarded.h"
#include "values/GameKeys.h"

namespace zorvane {

enum class ZVHTTPApiResponse : int {
  NoResponse = 0,
  BadResponse = 1,
  Reserved = 2,  // never produced; callers treat it like NoResponse
  JsonEncodeFailed = 3,
  JsonDecodeFailed = 4,
  InternalServerError = 5,
  BadRequest = 6,
  Unauthorized = 7,
  UnknownResponseCode = 8,
  Ok = 9,
  Created = 10,
};

class AnswerWait;

class ZVHTTPApi {
 public:
  struct Answer {
    ZVHTTPApiResponse kind = ZVHTTPApiResponse::NoResponse;
    std::optional<ZVValue> content;  // the parsed body, where the exchange hands it out
  };
  struct RawAnswer {
    std::optional<std::string> body;
    std::optional<ZVURLResponse> response;
    std::optional<ZVURLError> error;
  };
  using SuccessCallback = std::function<void(const std::string& body, const ZVURLResponse& response)>;
  using ErrorCallback =
      std::function<void(const std::optional<ZVURLError>& error, const std::optional<ZVURLResponse>& response)>;

  ZVHTTPApi();

  static ZVHTTPApi& sharedInstance();
  static std::unique_ptr<ZVHTTPApi> setSharedInstance(std::unique_ptr<ZVHTTPApi> instance);

  // `annotations`: the body, asked for when it is needed. The content, on success, is the cleaned map.
  Answer requestInitReturningDict(const GameKeys& keys, std::string_view configsHash, ZVMap (*annotations)());
  // `eventArray`: a list of records as JSON; absent where it could not be written.
  Answer sendEventsInArray(const GameKeys& keys, const std::optional<std::string>& eventArray);
  Answer requestItunesInfoReturningDict(std::string_view bundleId);
  // Returns at once. The callbacks may be empty.
  void sendSdkErrorEventWithFormData(const ZVValue& events, std::string_view gameKey, std::string_view secretKey,
                                     SuccessCallback success = {}, ErrorCallback error = {});

  static ZVURLRequest createRequestWithPayload(std::string_view json, std::string url, bool usingGzip,
                                               std::string_view gameSecret);
  static ZVURLRequest createGETRequestWithUrl(std::string url);
  static ZVHTTPApiResponse processRequestResponse(const RawAnswer& answer, std::string_view requestId);
  static std::optional<ZVMap> validateAndCleanInitRequestResponse(const std::optional<ZVValue>& response,
                                                                  bool configsCreated);
  static std::string makeRequestAuthSha256Hash(std::string_view body, std::string_view gameSecret);
  [[nodiscard]] std::string getApiHostname() const { return hostname; }

  // Holds the calling thread until the request has completed or was given up.
  RawAnswer sendSynchronousRequest(ZVURLRequest request);

  void setBaseUrl(ZVText url);
  [[nodiscard]] std::string getBaseUrl() const;

  // The process is about to exit: a request that holds the work queue is given up, later ones are not made.
  void giveUpRequests() noexcept;
  // After a crash: what held the work queue is given up, the report is sent.
  void makeRequestsAgain() noexcept;

  std::string httpProtocol;
  std::string hostname;
  std::string port;  // empty: the protocol's own
  std::string version = "v2";
  std::string remoteConfigsVersion = "v1";
  std::string remoteConfigsBaseUrl;
  std::string initializeUrlPath = "init";
  std::string eventsUrlPath = "events";
  bool useGzip = true;

 private:
  struct Call;
  void warnOfChangedTrouble(std::string_view url, const std::string& trouble);
  // Sends, waits, sorts the answer and logs what became of it. `json`: the body before its compression, for the log.
  Answer exchange(const Call& call, ZVURLRequest request, ZVText json);
  [[nodiscard]] std::string eventsUrl(std::string_view gameKey) const;

  Guarded<std::string> baseUrl_;
  std::shared_ptr<ZVURLSession> session_;
  const std::shared_ptr<AnswerWait> wait_;
  // What went wrong last, as a number; 0: nothing. Also touched by a thread that crashes, while the work queue sends.
  std::atomic<std::size_t> trouble_{0};
};

}  // namespace zorvane
