#include <zorvane/ZVPlatform.h>
#include <zorvane/zorvane_c.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "capi/guard.h"
#include "capi/host.h"
#include "capi/known.h"
#include "capi/tables.h"
#include "capi/texts.h"
#include "capi/url_session.h"

using namespace zorvane;

namespace {

// The structs as the first release had them; no program was built with less.
constexpr std::size_t kSmallestDevice = offsetof(zorvane_device, foundation_version) + sizeof(double);
constexpr std::size_t kSmallestPlatform = offsetof(zorvane_platform, background_seconds) + sizeof(double);

constexpr double kNothingWaits = -1;

// The loop that the host pumps. Never freed: another platform may be put in place of its own meanwhile.
using PumpedLoop = std::shared_ptr<ZVPumpedMainLoop>;
constinit std::atomic<const PumpedLoop*> pumpedLoop{nullptr};

// The smallest size of a table: no release had one without its first function.
template <class Table>
constexpr std::size_t kSmallestTable = offsetof(Table, user) + sizeof(void*) + sizeof(void (*)());

// What the caller's program knows of a struct, or a line in the log.
template <class Struct>
std::optional<Struct> wellSized(const Struct* given, std::size_t smallest, const std::string& name) {
  auto copy = known(given, smallest);
  if (!copy)
    logError("The platform is not installed: " + name +
             (given == nullptr ? " is null." : " has the size " + std::to_string(given->size) + "."));
  return copy;
}

// Puts what `make` makes of the host's table into `member`; a null table leaves the default. False: its size is wrong.
template <class Table, class Member, class Make>
bool take(const Table* given, const char* name, Member& member, Make make,
          const std::shared_ptr<HostFunctions>& functions) {
  if (given == nullptr) return true;
  const auto table = wellSized(given, kSmallestTable<Table>, name);
  if (table) member = make(*table, functions);
  return table.has_value();
}

bool takeTables(const zorvane_platform& given, ZVPlatform& platform) {
  const auto functions = std::make_shared<HostFunctions>();  // one for all: they are detached together
  return take(given.device_source, "struct zorvane_device_source", platform.device, hostDevice, functions) &&
         take(given.clock, "struct zorvane_clock", platform.clock, hostClock, functions) &&
         take(given.user_defaults, "struct zorvane_user_defaults", platform.userDefaults, hostUserDefaults,
              functions) &&
         take(given.background_tasks, "struct zorvane_background_tasks", platform.backgroundTasks, hostBackgroundTasks,
              functions) &&
         take(given.url_session, "struct zorvane_url_session", platform.makeURLSession, hostURLSessions, functions) &&
         take(given.reachability, "struct zorvane_reachability", platform.reachability, hostReachability, functions);
}

void setUnlessZero(double& value, double given) {
  if (given != 0) value = given;
}

// Empty when the host says nothing: the library's own way of finding out stays.
std::function<ZVApplicationFacts()> applicationOf(const zorvane_platform& given) {
  const std::initializer_list<const char*> all{given.bundle_identifier, given.version,      given.build,
                                               given.internal_build,    given.receipt_path, given.resource_directory};
  if (std::ranges::none_of(all, [](const char* fact) { return fact != nullptr; })) return {};
  return [facts = ZVApplicationFacts{
              .bundleIdentifier = optionalText(given.bundle_identifier),
              .version = optionalText(given.version),
              .build = optionalText(given.build),
              .internalBuild = optionalText(given.internal_build),
              .receiptPath = optionalText(given.receipt_path),
              .resourceDirectory = optionalText(given.resource_directory),
          }] { return facts; };
}

ZVPlatform platformOf(const zorvane_platform& given) {
  ZVPlatform platform;
  platform.application = applicationOf(given);
  platform.dataDirectory = textOrEmpty(given.data_directory);
  platform.collector = {textOrEmpty(given.collector_protocol), textOrEmpty(given.collector_hostname),
                        textOrEmpty(given.collector_port)};
  platform.appStoreHostname = textOrEmpty(given.app_store_hostname);
  platform.certificateAuthorityFile = textOrEmpty(given.certificate_authority_file);
  setUnlessZero(platform.connectTimeoutSeconds, given.connect_timeout_seconds);
  setUnlessZero(platform.requestTimeoutSeconds, given.request_timeout_seconds);
  setUnlessZero(platform.exitSeconds, given.exit_seconds);
  setUnlessZero(platform.backgroundSeconds, given.background_seconds);
  platform.crashHandlers = !given.without_crash_handlers;
  platform.quietConsole = given.quiet_console;
  platform.television = given.television;
  setUnlessZero(platform.eventQueueSeconds, given.event_queue_seconds);
  return platform;
}

bool install(const zorvane_platform* given) {
  const auto host = wellSized(given, kSmallestPlatform, "struct zorvane_platform");
  if (!host) return false;
  ZVPlatform platform = platformOf(*host);
  if (host->device != nullptr) {
    const auto device = wellSized(host->device, kSmallestDevice, "struct zorvane_device");
    if (!device) return false;
    platform.device = [facts = factsOf(*device)] { return facts; };
  }
  if (!takeTables(*host, platform)) return false;
  auto loop =
      host->pumped_main_loop ? std::make_unique<const PumpedLoop>(std::make_shared<ZVPumpedMainLoop>()) : nullptr;
  if (loop != nullptr) platform.mainLoop = *loop;
  if (!ZVPlatform::install(std::move(platform))) return false;
  pumpedLoop = loop.release();
  return true;
}

// Null: there is none, or this is a forked child, whose parent's threads may hold its lock.
ZVPumpedMainLoop* loopToPump() {
  const PumpedLoop* const loop = pumpedLoop;
  return loop != nullptr && !isForkedChild() ? loop->get() : nullptr;
}

}  // namespace

bool zorvane_platform_install(const struct zorvane_platform* platform) {
  return guarded([=] { return install(platform); });
}

void zorvane_did_enter_background(void) { ZVPlatform::applicationDidEnterBackground(); }
void zorvane_will_enter_foreground(void) { ZVPlatform::applicationWillEnterForeground(); }

void zorvane_main_loop_pump(void) {
  if (ZVPumpedMainLoop* const loop = loopToPump()) guarded([=] { loop->pump(); });
}

double zorvane_main_loop_seconds_until_next_task(void) {
  const ZVPumpedMainLoop* const loop = loopToPump();
  if (loop == nullptr) return kNothingWaits;
  return guarded([=] { return loop->secondsUntilNextTask().value_or(kNothingWaits); });
}
