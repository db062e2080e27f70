// Service is the collector behind its front: the archive, the warehouse, configurations, games, and who answers what.
//
// Thread:   its parts have their own.
// Lifetime: made before the front, gone after it.
#pragma once

#include <memory>
#include <string>

#include "collector/Options.h"
#include "collector/base/Log.h"
#include "collector/front/Handler.h"
#include "collector/front/Settings.h"
#include "collector/front/Tally.h"

namespace collector {

class Service {
 public:
  // Throws std::runtime_error with what is wrong with the options or the files that they name.
  Service(const Options& options, Log& log);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  front::Handler& handler();
  void note(const front::Visit& visit);   // each that is over
  void watch(const front::Tally& tally);  // for the metrics; lives as long as requests come
  std::string reloadGames();              // what is wrong with the file; then those known before stay

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace collector
