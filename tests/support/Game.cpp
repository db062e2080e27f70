#include "support/Game.h"

#include <atomic>
#include <memory>
#include <stdexcept>

#include <zorvane/Zorvane.h>

#include "codecs/ZVHelpers.h"
#include "device/ZVDevice.h"
#include "events/ZVEvents.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "transport/ZVHTTPApi.h"
#include "values/Text.h"

using namespace zorvane;

using std::chrono::milliseconds;

Game::Game(const TestPlatform::Change& change) : platform(TestPlatform::make(collector, change)) {
  static bool libraryIsUp = false;
  if (libraryIsUp) restart();        // a second game of one test: nothing of the first may shine through
  Zorvane::setEnableDebugLog(true);  // the first call brings the library up
  libraryIsUp = true;
  settle();
}

void Game::start() {
  Zorvane::initializeWithGameKey(kKey, kSecret);
  settle();
}

void Game::settle() {
  const auto idle = [] { return ZVThreading::sharedInstance().queue.drain(milliseconds(20)); };
  if (!platform.loop->runUntil(idle, std::chrono::seconds(30))) throw std::runtime_error("the work queue is stuck");
}

void Game::onQueue(const std::function<void()>& task) {
  ZVThreading::performTaskOnZVThreadWithBlock(task);
  settle();
}

void Game::restart() {
  onQueue([] {
    ZVStore::setSharedInstance(nullptr);
    ZVHTTPApi::setSharedInstance(nullptr);
    ZVEvents::setSharedInstance(nullptr);
    ZVDevice::setSharedInstance(nullptr);
    ZVState::setSharedInstance(nullptr);
    ZVStore::ensureDatabase(false);
  });
}

ZVStore::Rows Game::query(const std::string& sql) {
  ZVStore::Rows rows;
  onQueue([&] { rows = ZVStore::executeQuerySyncWithSql(sql).value_or(ZVStore::Rows()); });
  return rows;
}

std::vector<ZVMap> Game::stored(std::string_view category) {
  std::vector<ZVMap> events;
  for (const auto& row :
       query("SELECT event FROM zv_events WHERE category = '" + std::string(category) + "' ORDER BY rowid"))
    events.push_back(*ZVHelpers::dictionaryWithJsonString(*row.find("event"))->ifMap());
  return events;
}

std::vector<ZVMap> Game::eventsOf(const LoopbackServer::Request& request) {
  const auto body =
      request.header("Content-Encoding") == "gzip" ? ZVHelpers::gzipDeflateWithData(request.body) : request.body;
  const auto parsed = ZVHelpers::dictionaryWithJsonString(body);
  std::vector<ZVMap> events;
  if (parsed && parsed->ifArray() != nullptr)
    for (const ZVValue& event : *parsed->ifArray())
      if (event.ifMap() != nullptr) events.push_back(*event.ifMap());
  return events;
}

std::vector<ZVMap> Game::sentTo(const LoopbackServer& collector, std::string_view category) {
  std::vector<ZVMap> found;
  for (const auto& request : collector.requests(LoopbackServer::kEvents))
    for (ZVMap& event : eventsOf(request))
      if (shown(event, "category") == category) found.push_back(std::move(event));
  return found;
}

std::string shown(const ZVMap& map, std::string_view key) {
  const ZVValue* value = map.find(key);
  return value != nullptr ? describe(*value) : "(none)";
}
