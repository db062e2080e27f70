// ZVHTTPSessionDataTask performs one request on a session of its own and reports the outcome by callbacks.
//
// Thread:   started by one thread; the callbacks run on the session's thread, never on the work queue.
// Lifetime: a started task keeps itself alive until the request has completed.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <zorvane/ZVPlatform.h>

namespace zorvane {

class ZVHTTPSessionDataTask : public std::enable_shared_from_this<ZVHTTPSessionDataTask> {
 public:
  using OnSuccess = std::function<void(const std::string& body, const ZVURLResponse& response)>;
  // On any kind of failure, possibly with both absent, and possibly twice for one request.
  using OnFailure =
      std::function<void(const std::optional<ZVURLError>& error, const std::optional<ZVURLResponse>& response)>;
  using OnProgress = std::function<void()>;  // kept, never called

  static std::shared_ptr<ZVHTTPSessionDataTask> initWithRequest(ZVURLRequest request);

  void performRequestWithSuccess(OnSuccess success, OnFailure failure, OnProgress progress);
  void cancelSessionAndTask(bool notify);
  void cancelSessionAndTask();  // the time-out entry

 private:
  explicit ZVHTTPSessionDataTask(ZVURLRequest request);
  void complete(const std::optional<std::string>& body, const std::optional<ZVURLResponse>& response,
                const std::optional<ZVURLError>& error);
  void succeed(const std::string& body, const ZVURLResponse& response);
  void fail(const std::optional<ZVURLError>& error, const std::optional<ZVURLResponse>& response);

  const ZVURLRequest request_;
  std::mutex guard_;
  std::shared_ptr<ZVURLSession> session_;    // guarded by guard_; its presence marks the task as started
  std::shared_ptr<ZVURLDataTask> dataTask_;  // guarded by guard_
  OnSuccess onSuccess_;                      // guarded by guard_
  OnFailure onFailure_;                      // guarded by guard_
  OnProgress onProgress_;                    // guarded by guard_
};

}  // namespace zorvane
