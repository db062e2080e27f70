// Told when remote configurations have arrived.
//
// Thread:   called on the library's work queue, while the configurations are locked: the getters of Zorvane may be
//           called from here, and anything slow holds up the library.
// Lifetime: the library keeps a weak reference; the game owns the delegate.
#pragma once

#include <zorvane/ZVExport.h>

class ZORVANE_API ZVRemoteConfigsDelegate {
 public:
  virtual ~ZVRemoteConfigsDelegate();
  virtual void onRemoteConfigsUpdated() = 0;  // at each session's start that has some; what it throws is logged
};
