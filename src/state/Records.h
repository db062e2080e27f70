// What ZVState is made of. For the files of this folder.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "state/Configuration.h"
#include "state/ErrorLimit.h"
#include "state/Identity.h"
#include "state/RemoteConfigs.h"
#include "state/SdkConfig.h"
#include "state/Session.h"
#include "state/ZVState.h"

namespace zorvane {

struct ZVState::Records {
  Configuration configuration;
  Identity identity;
  Session session;
  SdkConfig sdkConfig;
  RemoteConfigs remoteConfigs;
  ErrorLimit errorLimit;
  std::map<std::string, std::int64_t> progressionTries;
};

inline ZVState::Records& state() { return *ZVState::sharedInstance().records_; }

}  // namespace zorvane
