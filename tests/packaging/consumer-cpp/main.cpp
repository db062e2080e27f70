// A game that reports one event into the folder it is given, and exits. Tells the library's version.
#include <cstdio>
#include <utility>

#include <zorvane/Zorvane.h>

int ownNamesAreMixedUp();

int main(int count, char** arguments) {
  if (count != 2) return 2;
  ZVPlatform platform;
  platform.dataDirectory = arguments[1];
  platform.collector = {"http", "127.0.0.1", "9"};  // nobody answers there: the event stays in the folder
  platform.exitSeconds = 20;
  if (!ZVPlatform::install(std::move(platform))) return 1;
  Zorvane::configureBuild("1.0");
  Zorvane::initializeWithGameKey("1641af3f7ec9333250f7f1af63aca87f", "d9d5c9ad434d9b74b3d738a72024670b3a043faa");
  Zorvane::addDesignEventWithEventId("package:used", 1.0, {{"by", "consumer"}});
  std::printf("%s %.1f\n", ZorvaneVersionString, ZorvaneVersionNumber);
  return ownNamesAreMixedUp();
}
