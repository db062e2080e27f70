#include "device/ZVDevice.h"

#include <array>
#include <filesystem>
#include <utility>

#include <zorvane/ZVNotificationCenter.h>

#include "device/ZVReachability.h"
#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "runtime/ZVLogger.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constinit SharedInstance<ZVDevice> shared;

constexpr std::string_view kUnassignedIdentifier = "unassigned";
constexpr std::string_view kNoVersion = "0.0.0";
constexpr std::size_t kMaxModelUnits = 32;
constexpr std::size_t kMaxSystemUnits = 64;
constexpr int kAuthorized = 3;
constexpr int kLastFoundationOfIos6 = 993;

struct Connection {
  std::string_view name;
  std::string_view reading;
};
constexpr auto kConnections = std::to_array<Connection>({
    // by ZVReachability::Status
    {"offline", "Access Not Available"},
    {"wifi", "Reachable WiFi"},
    {"wwan", "Reachable WWAN"},
});
constexpr auto kConsents = std::to_array<std::string_view>({"not_determined", "restricted", "denied", "authorized"});

// The row of a number that the platform gave; null when there is none.
template <class Table>
const typename Table::value_type* rowOf(const Table& table, int number) {
  return std::in_range<std::size_t>(number) && static_cast<std::size_t>(number) < table.size()
             ? &table[static_cast<std::size_t>(number)]
             : nullptr;
}

// Text that is not UTF-8 could be neither stored nor sent: it counts as absent.
std::optional<std::string> sound(std::optional<std::string> fact) {
  return fact && isValidUtf8(*fact) ? std::move(fact) : std::nullopt;
}

// What the host says of the system, or else what events have always said.
std::string systemText(std::optional<std::string> fact, std::string_view otherwise) {
  const auto given = sound(std::move(fact));
  return std::string(given && !given->empty() ? prefixOfUtf16Length(*given, kMaxSystemUnits) : otherwise);
}

template <class Answer, class Compute>
const Answer& kept(std::optional<Answer>& field, Compute compute) {
  if (!field) field = compute();
  return *field;
}

std::string readBundleIdentifier() {
  auto identifier = ZVDevice::getBundleIdentifier();
  if (!identifier) {
    ZVLogger::w(0, "The app bundle identifier is null. Check your build settings.");
    return std::string(kUnassignedIdentifier);
  }
  if (!ZVValidator::validateBundleIdentifier(identifier))
    ZVLogger::w(0,
                "The declared bundle identifier is not matching the pattern \"com.company_name.app_name\". String: {}.",
                *identifier);
  return std::move(*identifier);
}

std::string readAppVersion() {
  auto version = sound(platform().application().version);
  if (!version) {
    ZVLogger::w(0, "The app version is null - using default value '0.0.0'. Check your general project settings.");
    return std::string(kNoVersion);
  }
  if (!ZVValidator::validateAppVersion(version))
    ZVLogger::i(0, "The app version should not be longer than 64 characterss. Given string: '{}'", *version);
  return std::move(*version);
}

std::string readAppBuild() {
  auto build = sound(platform().application().build);
  if (!build) {
    ZVLogger::w(0, "The app build is null - using default value '0.0.0'. Check your general project settings.");
    return std::string(kNoVersion);
  }
  if (!ZVValidator::validateAppBuild(build))
    ZVLogger::i(0, "The app build should not be longer than 64 characters. Given string: '{}'", *build);
  return std::move(*build);
}

std::string readDeviceModel() {
  const auto model = sound(platform().device().hardwareName);
  if (!model || model->empty()) return "unknown";
  return std::string(prefixOfUtf16Length(*model, kMaxModelUnits));
}

bool readLimitedAdTracking() {
  const ZVDeviceFacts device = platform().device();
  const bool limited =
      device.asksForTracking ? device.trackingStatus != kAuthorized : !device.advertisingTrackingEnabled;
  if (limited) ZVLogger::d(0, "Checked limited ad tracking status: has limited ad tracking enabled.");
  else ZVLogger::d(0, "Checked limited ad tracking status: does NOT have limited ad tracking enabled.");
  return limited;
}

// The negative line has a control character before the identifier's name: readers of the log know it so.
bool isZero(std::string_view name, const std::optional<std::string>& identifier) {
  const bool zero = !identifier || identifier->empty() || *identifier == ZVDevice::kZeroIdentifier;
  if (zero) ZVLogger::d(0, "Checked {}: is zero or None", name);
  else ZVLogger::d(0, "Checked \x10{}: is NOT zero or None", name);
  return zero;
}

bool readJailbroken(const ZVDevice& device) {
  if (platform().television) {
    ZVLogger::d(0, "Skip jailbroken check on tvOS.");
    return false;
  }
  const bool jailbroken = device.checkJailbroken();
  if (jailbroken) ZVLogger::d(0, "Checked jailbroken status: device is jailbroken.");
  else ZVLogger::d(0, "Checked jailbroken status: device is NOT jailbroken.");
  return jailbroken;
}

bool readTestflightBuild(const ZVDevice& device) {
  const bool testflight = device.isRunningInTestFlightEnvironment();
  if (testflight) ZVLogger::d(0, "Checked testflight status: is in testflight mode.");
  else ZVLogger::d(0, "Checked testflight status: is NOT in testflight mode.");
  return testflight;
}

}  // namespace

ZVDevice::ZVDevice() : hostReachability_(ZVReachability::reachabilityWithHostName(platform().collector.hostname)) {
  // Only this monitor has a started notifier, and the object of a notification that a game made up could be anything.
  observer_ = ZVNotificationCenter::addObserver(
      k_ZV_ReachabilityChangedNotification, [this](const ZVNotification& notification) {
        if (hostReachability_ && notification.object == hostReachability_.get())
          reachabilityChanged(*hostReachability_);
      });
  if (hostReachability_) hostReachability_->startNotifier();
}

ZVDevice::~ZVDevice() { ZVNotificationCenter::removeObserver(observer_); }

ZVDevice& ZVDevice::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVDevice> ZVDevice::setSharedInstance(std::unique_ptr<ZVDevice> instance) {
  return shared.exchange(std::move(instance));
}

std::string ZVDevice::osPlatform() {
  return kept(sharedInstance().osPlatform_, [] { return systemText(platform().device().platformName, "ios"); });
}

std::string ZVDevice::deviceMake() {
  return kept(sharedInstance().deviceMake_, [] { return systemText(platform().device().maker, "apple"); });
}

std::string ZVDevice::osVersion() {
  return kept(sharedInstance().osVersion_, [] { return sound(platform().device().systemVersion).value_or(""); });
}

std::string ZVDevice::osLine() {
  return kept(sharedInstance().osLine_,
              [] { return systemText(platform().device().systemLine, osPlatform() + ' ' + osVersion()); });
}

std::string ZVDevice::deviceModel() { return kept(sharedInstance().deviceModel_, readDeviceModel); }
std::string ZVDevice::connectionType() { return sharedInstance().getConnectionType(); }

std::string ZVDevice::appBundleIdentifier() {
  return kept(sharedInstance().appBundleIdentifier_, readBundleIdentifier);
}

std::string ZVDevice::appVersion() { return kept(sharedInstance().appVersion_, readAppVersion); }
std::string ZVDevice::appBuild() { return kept(sharedInstance().appBuild_, readAppBuild); }

std::string ZVDevice::idfaConsent() {
  std::optional<std::string>& consent = sharedInstance().idfaConsent_;
  if (consent) return *consent;
  const ZVDeviceFacts device = platform().device();
  if (!device.asksForTracking) return "";
  const std::string_view* const name = rowOf(kConsents, device.trackingStatus);
  return consent.emplace(name != nullptr ? *name : kConsents.front());
}

std::string ZVDevice::idfa() {
  const ZVDeviceFacts device = platform().device();
  const bool refused = device.asksForTracking && device.trackingStatus != kAuthorized;
  if (refused) ZVLogger::i(0, "trackingAuthorizationStatus is not 'authorized', so can't get IDFA");
  const auto given = refused ? std::nullopt : sound(device.advertisingIdentifier);
  std::string identifier = given.value_or(std::string(kZeroIdentifier));
  ZVLogger::d(0, "Getting idfa: {}", identifier);
  return identifier;
}

std::optional<std::string> ZVDevice::idfv() {
  auto identifier = sound(platform().device().vendorIdentifier);
  ZVLogger::d(0, "Getting idfv: {}", ZVText(identifier));
  return identifier;
}

std::optional<std::string> ZVDevice::getBundleIdentifier() { return sound(platform().application().bundleIdentifier); }

bool ZVDevice::isLimitedAdTracking() { return kept(sharedInstance().limitedAdTracking_, readLimitedAdTracking); }

bool ZVDevice::isJailbroken() {
  ZVDevice& device = sharedInstance();
  return kept(device.jailbroken_, [&] { return readJailbroken(device); });
}

bool ZVDevice::isTestflightBuild() {
  ZVDevice& device = sharedInstance();
  {
    const std::scoped_lock lock(device.guard_);
    if (device.testflightBuild_) return *device.testflightBuild_;
  }
  const bool testflight = readTestflightBuild(device);  // writes a line, and an observer of it may ask again
  device.setTestflightBuild(testflight);
  return testflight;
}

bool ZVDevice::isZeroIdfa() {
  return kept(sharedInstance().zeroIdfa_, [] { return isZero("idfa", idfa()); });
}

bool ZVDevice::isZeroIdfv() {
  return kept(sharedInstance().zeroIdfv_, [] { return isZero("idfv", idfv()); });
}

void ZVDevice::clearCachedResults() {
  ZVDevice& device = sharedInstance();
  device.limitedAdTracking_.reset();
  device.jailbroken_.reset();
  device.zeroIdfa_.reset();
  device.zeroIdfv_.reset();
  device.idfaConsent_.reset();
  const std::scoped_lock lock(device.guard_);
  device.testflightBuild_.reset();
}

bool ZVDevice::deviceIsLowerOrEqualToIos6() {
  if (platform().television) return false;
  return platform().device().foundationVersion < kLastFoundationOfIos6 + 1;
}

bool ZVDevice::hasEmbeddedMobileProvision() const {
  const auto resources = platform().application().resourceDirectory;
  std::error_code failure;
  return resources && std::filesystem::exists(std::filesystem::path(*resources) / "embedded.mobileprovision", failure);
}

void ZVDevice::reachabilityChanged(const ZVReachability& monitor) {
  const Connection* const connection = rowOf(kConnections, monitor.currentReachabilityStatus());
  if (connection == nullptr) return;
  ZVLogger::d(0, "Reachability changed: {}", connection->reading);
  const std::scoped_lock lock(guard_);
  connectionType_ = connection->name;
}

void ZVDevice::setTestflightBuild(bool value) {
  const std::scoped_lock lock(guard_);
  testflightBuild_ = value;
}

std::string ZVDevice::getConnectionType() {
  {
    const std::scoped_lock lock(guard_);
    if (connectionType_) return *connectionType_;
  }
  const auto internet = ZVReachability::reachabilityForInternetConnection();
  const Connection* const connection = internet ? rowOf(kConnections, internet->currentReachabilityStatus()) : nullptr;
  const std::scoped_lock lock(guard_);  // again: reading may take a moment, and a change that came meanwhile is newer
  if (!connectionType_ && connection != nullptr) connectionType_ = connection->name;
  return connectionType_.value_or("");
}

}  // namespace zorvane
