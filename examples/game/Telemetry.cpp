#include "Telemetry.h"

#include <zorvane/Zorvane.h>

#include <atomic>
#include <cstdlib>
#include <utility>

namespace {

constexpr const char* kGameKey = "8abd34525196ff0ad667d9f522f1bb1a";
constexpr const char* kGameSecret = "bd698b827264cb9517fbc9ce731177608fe254ea";
constexpr const char* kVersion = "1.0.0";

constexpr const char* kCoins = "coins";
constexpr const char* kAdSdk = "sponsor";
constexpr const char* kAdPlacement = "between_caves";
constexpr const char* kAdTimer = "ad";

void install(const Telemetry::Setup& setup, const std::shared_ptr<ZVMainLoop>& loop) {
  ZVPlatform platform;
  platform.application = [receipt = setup.receiptFile] {
    return ZVApplicationFacts{
        .bundleIdentifier = "com.example.coin-cave", .version = kVersion, .build = kVersion, .receiptPath = receipt};
  };
  platform.mainLoop = loop;
  platform.dataDirectory = setup.folder;
  platform.certificateAuthorityFile = setup.caFile;
  if (setup.collector) platform.collector = *setup.collector;
  ZVPlatform::install(std::move(platform));
}

std::string nameOf(int cave) { return "cave" + std::to_string(cave); }

// A remote configuration is text from outside: what is no number, or would break the game, does not count.
double numberFromRemote(const char* key, double otherwise, double least, double most) {
  const auto text = Zorvane::getRemoteConfigsValueAsString(key, std::to_string(otherwise));
  char* end = nullptr;
  const double number = text ? std::strtod(text->c_str(), &end) : otherwise;
  return end != nullptr && *end == '\0' && number >= least && number <= most ? number : otherwise;
}

}  // namespace

// Called on the library's thread, so it only leaves word for the game's.
class Telemetry::RulesListener : public ZVRemoteConfigsDelegate {
 public:
  void onRemoteConfigsUpdated() override { arrived = true; }
  std::atomic<bool> arrived{false};
};

Telemetry::Telemetry(const Setup& setup) : listener_(std::make_shared<RulesListener>()) {
  install(setup, loop_);
  Zorvane::configureBuild(kVersion);
  Zorvane::configureAvailableCustomDimensions01({"easy", "hard"});
  Zorvane::configureAvailableResourceCurrencies({kCoins});
  Zorvane::configureAvailableResourceItemTypes({"cave", "shop", "ad"});
  Zorvane::setRemoteConfigsDelegate(listener_);
  Zorvane::initializeWithGameKey(kGameKey, kGameSecret);
  reported_.add("session start");
}

void Telemetry::pump() {
  loop_->pump();
  if (listener_->arrived.exchange(false)) readRules();
}

void Telemetry::readRules() {
  connected_ = true;
  rules_.hazardSpeed = numberFromRemote("hazard_speed", 1, 0.25, 3);
  rules_.coinValue = static_cast<int>(numberFromRemote("coin_value", 1, 1, 10));
  // On every event from here on, so that what players do can be told apart by the rules they had.
  Zorvane::setGlobalCustomEventFields({{"hazard_speed", rules_.hazardSpeed}, {"coin_value", rules_.coinValue}});
}

void Telemetry::enterBackground() {
  if (std::exchange(background_, true)) return;
  connected_ = false;
  if (adRuns_) Zorvane::pauseTimer(kAdTimer);
  ZVPlatform::applicationDidEnterBackground();
  reported_.add("session end");
}

void Telemetry::enterForeground() {
  if (!std::exchange(background_, false)) return;
  ZVPlatform::applicationWillEnterForeground();
  if (adRuns_) Zorvane::resumeTimer(kAdTimer);
  reported_.add("session start");
}

void Telemetry::chooseDifficulty(const std::string& difficulty) { Zorvane::setCustomDimension01(difficulty); }

void Telemetry::startCave(int cave) {
  Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::start, nameOf(cave), nullptr, nullptr);
  reported_.add("progression start " + nameOf(cave));
}

void Telemetry::leaveCave(int cave, int score) {
  Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, nameOf(cave), nullptr, nullptr, score);
  reported_.add("progression fail " + nameOf(cave) + " " + std::to_string(score));
}

void Telemetry::die(int cave, const World& world) {
  // Fields of its own besides the global ones.
  const std::string id = "death:" + nameOf(cave) + ":" + world.killer;
  Zorvane::addDesignEventWithEventId(id, world.seconds(), {{"coins_left", world.coins.size()}}, true);
  reported_.add("design " + id);
  leaveCave(cave, world.score());
}

void Telemetry::completeCave(int cave, int score, int coins) {
  Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::complete, nameOf(cave), nullptr, nullptr,
                                                    score);
  Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::source, kCoins, coins, "cave", nameOf(cave));
  reported_.add("progression complete " + nameOf(cave) + " " + std::to_string(score));
  reported_.add("resource +" + std::to_string(coins) + " coins");
}

void Telemetry::buyShield(int coins) {
  Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::sink, kCoins, coins, "shop", "shield");
  reported_.add("resource -" + std::to_string(coins) + " coins");
}

// The library reads the receipt from the file that the platform names.
void Telemetry::buyCoinPack(int coins, std::int64_t cents) {
  constexpr bool kFetchReceipt = true;
  Zorvane::addBusinessEventWithCurrency("USD", cents, "coin_pack", "coins_" + std::to_string(coins), "shop",
                                        kFetchReceipt);
  Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::source, kCoins, coins, "shop", "coin_pack");
  reported_.add("business coins:" + std::to_string(coins));
  reported_.add("resource +" + std::to_string(coins) + " coins");
}

void Telemetry::beginAd() {
  for (const ZVAdAction action : {ZVAdAction::request, ZVAdAction::loaded})
    Zorvane::addAdEventWithAction(action, ZVAdType::rewardedVideo, kAdSdk, kAdPlacement);
  adRuns_ = true;
  Zorvane::startTimer(kAdTimer);  // at 0 and paused
  Zorvane::resumeTimer(kAdTimer);
  reported_.add("ad loaded");
}

void Telemetry::endAd(int reward) {
  adRuns_ = false;
  const std::int64_t milliseconds = Zorvane::stopTimer(kAdTimer);
  Zorvane::addAdEventWithAction(ZVAdAction::show, ZVAdType::rewardedVideo, kAdSdk, kAdPlacement, milliseconds);
  Zorvane::addAdEventWithAction(ZVAdAction::rewardReceived, ZVAdType::rewardedVideo, kAdSdk, kAdPlacement);
  Zorvane::addImpressionEventWithAdNetworkName("max", "11.4.2", {{"ad_unit", kAdPlacement}, {"revenue", 0.012}});
  Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::source, kCoins, reward, "ad", kAdPlacement);
  reported_.add("ad show, impression");
  reported_.add("resource +" + std::to_string(reward) + " coins");
}

void Telemetry::reportProblem(const std::string& what) {
  Zorvane::addErrorEventWithSeverity(ZVErrorSeverity::warning, what);
  reported_.add("error " + what);
}
