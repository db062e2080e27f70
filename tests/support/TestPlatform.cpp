#include "support/TestPlatform.h"

#include <algorithm>
#include <utility>

#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "support/LoopbackServer.h"

using namespace zorvane;

namespace {

constexpr auto kLookAgain = std::chrono::milliseconds(5);
constexpr const char* kDiscardPort = "9";

}  // namespace

void FakeMainLoop::post(Task task) {
  const std::scoped_lock lock(mutex_);
  tasks_.push_back(std::move(task));
  posted_.notify_all();
}

ZVMainLoop::TimerId FakeMainLoop::scheduleTimer(double seconds, Task task) {
  const std::scoped_lock lock(mutex_);
  timers_.emplace(++lastTimer_, Timer{now_ + seconds, std::move(task)});
  return lastTimer_;
}

void FakeMainLoop::cancelTimer(TimerId timer) {
  const std::scoped_lock lock(mutex_);
  timers_.erase(timer);
}

std::size_t FakeMainLoop::timers() const {
  const std::scoped_lock lock(mutex_);
  return timers_.size();
}

ZVMainLoop::Task FakeMainLoop::takeTask() {
  const std::scoped_lock lock(mutex_);
  if (tasks_.empty()) return nullptr;
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  return task;
}

ZVMainLoop::Task FakeMainLoop::takeTimer(double until) {
  const std::scoped_lock lock(mutex_);
  const auto next =
      std::ranges::min_element(timers_, {}, [](const auto& entry) { return std::pair(entry.second.due, entry.first); });
  if (next == timers_.end() || next->second.due > until) return nullptr;
  now_ = std::max(now_, next->second.due);
  return std::move(timers_.extract(next).mapped().task);
}

void FakeMainLoop::pump() {
  while (const Task task = takeTask()) task();
}

void FakeMainLoop::advance(double seconds) {
  pump();
  const double until = now_ + seconds;  // only this thread changes it
  while (const Task task = takeTimer(until)) {
    task();
    pump();
  }
  const std::scoped_lock lock(mutex_);
  now_ = until;
}

bool FakeMainLoop::runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (true) {
    pump();
    if (done()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::unique_lock lock(mutex_);
    posted_.wait_for(lock, kLookAgain, [this] { return !tasks_.empty(); });
  }
}

TestPlatform TestPlatform::make(const LoopbackServer* server, const Change& change) {
  TestPlatform made;
  ZVPlatform platform;
  platform.application = [asked = made.device] { return asked->application(); };
  platform.device = [asked = made.device] { return asked->device(); };
  platform.dataDirectory = made.folder.path();
  platform.mainLoop = made.loop;
  platform.reachability = made.network;
  platform.clock = made.clock;
  platform.collector = {"http", "127.0.0.1", kDiscardPort};
  if (server != nullptr) {
    platform.collector = {server->protocol(), "127.0.0.1", std::to_string(server->port())};
    platform.certificateAuthorityFile = server->caFile();
  }
  platform.appStoreHostname = "127.0.0.1";
  platform.connectTimeoutSeconds = 5;
  platform.requestTimeoutSeconds = 10;
  platform.exitSeconds = 0.2;
  platform.backgroundSeconds = 0.2;
  if (change) change(platform);
  replacePlatform(std::move(platform));
  return made;
}

LogCapture::LogCapture(Levels levels) {
  if (levels == Levels::all) {
    ZVLogger& logger = ZVLogger::sharedInstance();
    logger.analyticsLogEnabled = logger.verboseLogEnabled = logger.debugEnabled = logger.warningLogEnabled = true;
  }
  const auto keep = [lines = lines_](const ZVNotification& notification) {
    const std::string line = *notification.userInfo.find("message")->ifString();
    lines->with([&](auto& all) { all.push_back(line); });
  };
  observer_ = ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, keep);
}

LogCapture::~LogCapture() { ZVNotificationCenter::removeObserver(observer_); }

std::vector<std::string> LogCapture::lines() const {
  return lines_->with([](const auto& all) { return all; });
}

std::size_t LogCapture::count(std::string_view text) const {
  const auto has = [text](const std::string& line) { return line.find(text) != line.npos; };
  return static_cast<std::size_t>(std::ranges::count_if(lines(), has));
}

void LogCapture::clear() {
  lines_->with([](auto& all) { all.clear(); });
}
