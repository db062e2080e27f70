/// @file
/// ZVRemoteConfigsDelegate is notified when remote configurations have arrived.
///
/// - Thread: called on the library's work queue, with no lock held. The getters of Zorvane may be called from here;
///   anything slow delays the library.
/// - Lifetime: the library keeps a weak reference; the game owns the delegate.
#pragma once

#include <zorvane/ZVExport.h>

/// Is notified when remote configurations have arrived. Its thread and lifetime: ZVRemoteConfigsDelegate.h.
class ZORVANE_API ZVRemoteConfigsDelegate {
 public:
  /// For the game's class that derives from this one.
  virtual ~ZVRemoteConfigsDelegate();
  /// At each session's start that has some. What it throws is logged.
  virtual void onRemoteConfigsUpdated() = 0;
};
