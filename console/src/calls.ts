// The code with which a game fills an empty page.
export const CALLS = {
  start: 'Zorvane::initializeWithGameKey("GAME KEY", "GAME SECRET");',
  build: 'Zorvane::configureBuild("1.4.2"); // before the game initialises the library',
  purchase: 'Zorvane::addBusinessEventWithCurrency("USD", 299, "offer", "starter_pack", "shop", false);',
  impression:
    'Zorvane::addImpressionEventWithAdNetworkName("max", "11.4.2", {{"revenue", 0.012}, {"currency", "USD"}});',
  level: 'Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::start, "castle", "gate", nullptr);',
  resource: [
    "// before the game initialises the library:",
    'Zorvane::configureAvailableResourceCurrencies({"coins"});',
    'Zorvane::configureAvailableResourceItemTypes({"level"});',
    "// when a player has earned or spent something:",
    'Zorvane::addResourceEventWithFlowType(ZVResourceFlowType::source, "coins", 25, "level", "castle");',
  ].join("\n"),
  design: 'Zorvane::addDesignEventWithEventId("fight:boss:hits", 12);',
  error: 'Zorvane::addErrorEventWithSeverity(ZVErrorSeverity::warning, "a frame took longer than 100 ms");',
  ad: 'Zorvane::addAdEventWithAction(ZVAdAction::show, ZVAdType::rewardedVideo, "max", "after_level");',
  configuration: 'Zorvane::getRemoteConfigsValueAsString("lives", "3");',
} as const;
