// A game that is as small as can be, for what the library adds to its size; with BARE, without the library.
#ifndef BARE
#include <zorvane/Zorvane.h>
#endif

int main() {
#ifndef BARE
  Zorvane::configureBuild("1.0");
  Zorvane::initializeWithGameKey("0123456789abcdef0123456789abcdef", "0123456789abcdef0123456789abcdef01234567");
  Zorvane::addDesignEventWithEventId("level:done");
#endif
}
