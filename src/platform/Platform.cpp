#include "platform/Platform.h"

#include <atomic>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/ZVRemoteConfigsDelegate.h>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "values/Lasting.h"

ZVClock::~ZVClock() = default;
ZVUserDefaults::~ZVUserDefaults() = default;
ZVMainLoop::~ZVMainLoop() = default;
ZVBackgroundTasks::~ZVBackgroundTasks() = default;
ZVURLDataTask::~ZVURLDataTask() = default;
ZVURLSession::~ZVURLSession() = default;
ZVReachabilitySource::~ZVReachabilitySource() = default;
ZVRemoteConfigsDelegate::~ZVRemoteConfigsDelegate() = default;

namespace zorvane {
namespace {

struct Slot {
  std::mutex mutex;
  ZVPlatform chosen;                         // guarded by mutex; what the host installed, its gaps still empty
  std::unique_ptr<const ZVPlatform> filled;  // guarded by mutex
  std::atomic<const ZVPlatform*> inForce{nullptr};
  std::atomic<bool> quietConsole{false};

  void putInForce(ZVPlatform platform) {
    quietConsole = platform.quietConsole;
    auto next = std::make_unique<const ZVPlatform>(std::move(platform));
    inForce.store(next.get(), std::memory_order_release);  // first: threads that end with the old one may ask
    filled.swap(next);
  }
};

Slot& slot() noexcept { return lasting<Slot>(); }

// What a host's function throws must not come up in the middle of the library: it counts as having nothing to say.
template <class Facts>
std::function<Facts()> guarded(std::function<Facts()> ask) {
  return [ask = std::move(ask)] {
    try {
      return ask();
    } catch (...) {
      return Facts{};
    }
  };
}

std::string directoryFor(const ZVApplicationFacts& facts) {
  return defaultDataDirectory(facts.bundleIdentifier ? *facts.bundleIdentifier
                                                     : defaultApplicationFacts().bundleIdentifier.value_or("unknown"));
}

// Asks no function of the host's: it may call the facade, which needs the platform that is being made here.
ZVPlatform withDefaults(ZVPlatform platform) {
  platform.application = platform.application ? guarded(std::move(platform.application)) : defaultApplicationFacts;
  platform.device = platform.device ? guarded(std::move(platform.device)) : defaultDeviceFacts;
  std::error_code unknown;  // the working directory may change later
  if (!platform.dataDirectory.empty())
    if (const auto whole = std::filesystem::absolute(platform.dataDirectory, unknown); !unknown)
      platform.dataDirectory = whole.string();
  if (!platform.userDefaults)
    platform.userDefaults = makeFileUserDefaults([] { return applicationDataDirectory() + "/user_defaults"; });
  if (!platform.mainLoop) platform.mainLoop = makeOwnThreadMainLoop();
  if (!platform.backgroundTasks) platform.backgroundTasks = makeExitDelayingBackgroundTasks();
  if (!platform.reachability) platform.reachability = makeKernelReachability(platform.mainLoop);
  if (!platform.clock) platform.clock = makeSystemClock();
  if (!platform.makeURLSession)
    platform.makeURLSession =
        [options = URLSessionOptions{platform.certificateAuthorityFile, platform.connectTimeoutSeconds,
                                     platform.requestTimeoutSeconds}] { return makeCurlURLSession(options); };
  if (platform.collector.protocol.empty()) platform.collector.protocol = "https";
  if (platform.collector.hostname.empty()) platform.collector.hostname = ZORVANE_COLLECTOR_HOST;
  if (platform.appStoreHostname.empty()) platform.appStoreHostname = ZORVANE_APP_STORE_HOST;
  return platform;
}

void postApplicationState(std::string_view name) noexcept {
  if (inForkedChild()) return;  // the session belongs to the parent
  ZVNotificationCenter::post(name, nullptr, ZVMap());
}

}  // namespace

const ZVPlatform& platform() {
  Slot& slot = zorvane::slot();
  if (const ZVPlatform* inForce = slot.inForce.load(std::memory_order_acquire)) return *inForce;
  const std::scoped_lock lock(slot.mutex);
  if (!slot.filled) slot.putInForce(withDefaults(slot.chosen));
  return *slot.filled;
}

std::string applicationDataDirectory() {
  const ZVPlatform& edge = platform();
  std::string directory = edge.dataDirectory.empty() ? directoryFor(edge.application()) : edge.dataDirectory;
  makeDirectories(directory);
  return directory;
}

void replacePlatform(ZVPlatform replacement) {
  ZVPlatform filled = withDefaults(std::move(replacement));
  const std::scoped_lock lock(slot().mutex);
  slot().putInForce(std::move(filled));
}

bool isConsoleQuiet() noexcept { return slot().quietConsole; }

bool isPlatformInForce() noexcept { return slot().inForce.load(std::memory_order_acquire) != nullptr; }

}  // namespace zorvane

using namespace zorvane;

bool ZVPlatform::install(ZVPlatform platform) noexcept {
  try {
    Slot& slot = zorvane::slot();
    const std::scoped_lock lock(slot.mutex);
    if (!slot.filled) {
      slot.quietConsole = platform.quietConsole;
      slot.chosen = std::move(platform);
      return true;
    }
    writeConsoleLine("Error: a platform can be installed before the first call of Zorvane only.");
  } catch (...) {  // no lock or no memory: the defaults stay
  }
  return false;
}

void ZVPlatform::applicationDidEnterBackground() noexcept { postApplicationState(kDidEnterBackgroundNotification); }

void ZVPlatform::applicationWillEnterForeground() noexcept { postApplicationState(kWillEnterForegroundNotification); }
