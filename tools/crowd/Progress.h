// Progress says on standard error how far a run has come: a line that is rewritten on a terminal, one now and then
// elsewhere.
//
// Thread:   one of its own.
// Lifetime: speaks from construction to destruction; the run outlives it.
#pragma once

#include <atomic>
#include <thread>

#include "crowd/Run.h"
#include "crowd/Visits.h"

namespace crowd {

class Progress {
 public:
  Progress(const Run& run, const Period& period, bool quiet);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void speak();

  const Run& run_;
  const Period period_;
  std::atomic<bool> ending_{false};
  std::thread thread_;
};

}  // namespace crowd
