// The defaults of the platform edge. Which file implements them is the build's choice, one folder a platform.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <zorvane/ZVPlatform.h>

namespace zorvane {

ZVApplicationFacts defaultApplicationFacts();  // the program's own name as its identifier
ZVDeviceFacts defaultDeviceFacts();
std::string defaultDataDirectory(const std::string& applicationIdentifier);  // not made yet

std::shared_ptr<ZVClock> makeSystemClock();
// Key-value pairs in one file, replaced as a whole; unchanged values are not written again.
// `locate` names the file, once it is needed.
std::shared_ptr<ZVUserDefaults> makeFileUserDefaults(std::function<std::string()> locate);
inline std::shared_ptr<ZVUserDefaults> makeFileUserDefaults(const std::string& path) {
  return makeFileUserDefaults([path] { return path; });
}
std::shared_ptr<ZVMainLoop> makeOwnThreadMainLoop();
// Open tasks keep a normal exit waiting; outside an exit they are only counted.
std::shared_ptr<ZVBackgroundTasks> makeExitDelayingBackgroundTasks();
// The kernel's routes and links. Changes are reported on `mainLoop`.
std::shared_ptr<ZVReachabilitySource> makeKernelReachability(std::shared_ptr<ZVMainLoop> mainLoop);

struct URLSessionOptions {
  std::string certificateAuthorityFile;  // PEM, an extra one
  double connectTimeoutSeconds = 15;
  double requestTimeoutSeconds = 60;
};
// A session of its own; all of them are driven by the one transport thread.
std::shared_ptr<ZVURLSession> makeCurlURLSession(const URLSessionOptions& options);

}  // namespace zorvane
