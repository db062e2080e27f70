#include <sys/utsname.h>

#include "platform/Defaults.h"

namespace zorvane {

ZVDeviceFacts defaultDeviceFacts() {
  ZVDeviceFacts facts;
  utsname system{};
  if (uname(&system) == 0) {
    facts.systemVersion = system.release;
    facts.hardwareName = system.machine;
  }
  return facts;
}

}  // namespace zorvane
