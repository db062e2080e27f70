#include "transport/ZVHTTPSessionDataTask.h"

#include "platform/Platform.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

namespace {

constexpr int kSystem = 1;  // the log's domain for the library's inner life

bool isUnauthorized(long status, const std::optional<ZVURLError>& error) {
  return status == 401 || (status == 0 && error && error->code == ZVURLError::kUserCancelledAuthentication);
}

}  // namespace

std::shared_ptr<ZVHTTPSessionDataTask> ZVHTTPSessionDataTask::initWithRequest(ZVURLRequest request) {
  return std::shared_ptr<ZVHTTPSessionDataTask>(new ZVHTTPSessionDataTask(std::move(request)));
}

ZVHTTPSessionDataTask::ZVHTTPSessionDataTask(ZVURLRequest request) : request_(std::move(request)) {}

void ZVHTTPSessionDataTask::performRequestWithSuccess(OnSuccess success, OnFailure failure, OnProgress progress) {
  std::shared_ptr<ZVURLDataTask> dataTask;
  {
    const std::scoped_lock lock(guard_);
    onSuccess_ = std::move(success);
    onFailure_ = std::move(failure);
    onProgress_ = std::move(progress);
    if (!session_) {
      session_ = platform().makeURLSession();
      dataTask_ = session_->dataTask(request_, [self = shared_from_this()](auto body, auto response, auto error) {
        self->complete(body, response, error);
      });
      dataTask = dataTask_;
    }
  }
  if (dataTask) dataTask->resume();  // without the lock: the completion may be on its way at once
  else ZVLogger::d(kSystem, "Cannot call performRequestWithSuccess twice on same instance.");
}

void ZVHTTPSessionDataTask::cancelSessionAndTask(bool notify) {
  ZVLogger::d(kSystem, "Cancelling HTTP Async request");
  std::shared_ptr<ZVURLDataTask> dataTask;
  {
    const std::scoped_lock lock(guard_);
    dataTask = dataTask_;
  }
  if (dataTask) dataTask->cancel();
  if (notify) fail(std::nullopt, std::nullopt);
}

void ZVHTTPSessionDataTask::cancelSessionAndTask() {
  cancelSessionAndTask(true);
  ZVLogger::d(kSystem, "Timeout HTTP Async request");
}

void ZVHTTPSessionDataTask::complete(const std::optional<std::string>& body,
                                     const std::optional<ZVURLResponse>& response,
                                     const std::optional<ZVURLError>& error) {
  if (!response || !response->isHTTP) {
    ZVLogger::d(kSystem, "ZVHTTPSessionDataTask response is not a NSHTTPURLResponse. Failing.");
    fail(std::nullopt, std::nullopt);  // and on: the failure is reported a second time, with what is known of it
  }
  const long status = response ? response->statusCode : 0;
  if (!body) {
    if (response && error)
      ZVLogger::d(kSystem, "Error description: {}, Status code: {}", error->localizedDescription, status);
    else ZVLogger::d(kSystem, "ZVHTTPSessionDataTask had no data and no error/response.");
    fail(error, response);
  } else if (status == 200) {
    succeed(*body, *response);
  } else if (isUnauthorized(status, error)) {
    ZVLogger::d(kSystem, "ZVHTTPSessionDataTask request. 401 - Unauthorized.");
    fail(error, response);
  } else if (status == 400) {
    ZVLogger::d(kSystem, "ZVHTTPSessionDataTask request. 400 - Bad Request.");
    fail(error, response);
  } else if (status == 500) {
    ZVLogger::d(kSystem, "ZVHTTPSessionDataTask request. 500 - Internal Server Error.");
    fail(error, response);
  } else {
    ZVLogger::d(kSystem, "ZVHTTPSessionDataTask request. Unknown error");
    fail(std::nullopt, std::nullopt);
  }
}

void ZVHTTPSessionDataTask::succeed(const std::string& body, const ZVURLResponse& response) {
  OnSuccess callback;
  {
    const std::scoped_lock lock(guard_);
    callback = onSuccess_;
  }
  if (callback) callback(body, response);
}

void ZVHTTPSessionDataTask::fail(const std::optional<ZVURLError>& error, const std::optional<ZVURLResponse>& response) {
  OnFailure callback;
  {
    const std::scoped_lock lock(guard_);
    callback = onFailure_;
  }
  if (callback) callback(error, response);
}

}  // namespace zorvane
