// The platform in force, every member filled: what the host installed, and the defaults for the rest.
//
// Thread:   any.
// Lifetime: resolved on first use and kept until the process ends.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <zorvane/ZVPlatform.h>

namespace zorvane {

// Posted when the host reports that the application left the foreground or comes back to it; no object, no user info.
inline constexpr std::string_view kDidEnterBackgroundNotification = "UIApplicationDidEnterBackgroundNotification";
inline constexpr std::string_view kWillEnterForegroundNotification = "UIApplicationWillEnterForegroundNotification";

const ZVPlatform& platform();

// The data directory of the application, made (mode 0700) when it is missing. Where it can't be made,
// opening a file there fails.
std::string applicationDataDirectory();

// True: log lines go to observers alone. As the host installed it, and without putting a platform in force: a line may
// be written before one is installed.
bool isConsoleQuiet() noexcept;

// Puts `replacement` in place of the platform in force, for tests. Nothing else may run meanwhile.
void replacePlatform(ZVPlatform replacement);

// True once the platform is in force: too late to install another.
bool isPlatformInForce() noexcept;

}  // namespace zorvane
