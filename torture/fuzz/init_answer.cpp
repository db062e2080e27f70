// The collector's answer to an init call, whatever it is: the session goes on, this run and the next one, and no event
// becomes unwritable by what the answer brought in.
#include <zorvane/Zorvane.h>

#include "Library.h"
#include "state/ZVState.h"

using namespace zorvane;

using fuzz::Library;

namespace {

void reportAndCheck(Library& library, const char* where) {
  const auto before = library.stored().size();
  Zorvane::addDesignEventWithEventId("an:event", 1.0);
  library.settle();
  if (ZVState::isEnabled()) fuzz::require(library.stored().size() == before + 1, "an event is lost", where);
  library.requireThatAllIsTaken();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Library& library = Library::get();
  library.forget();
  fuzz::Input input(bytes, size);
  const long status = input.oneOf({201L, 200L, 201L, 400L, 401L, 500L, 0L, 302L});
  const int error = input.oneOf({0, 0, 0, ZVURLError::kUserCancelledAuthentication, ZVURLError::kOther});
  const std::string body(input.rest());
  library.answer = [&](const ZVURLRequest& request) {
    return fuzz::isInit(request) ? fuzz::Reply{body, status, error} : fuzz::Reply{};
  };
  library.initialise();
  reportAndCheck(library, "in the session of the answer");
  (void)Zorvane::getRemoteConfigsContentAsString();
  (void)Zorvane::getRemoteConfigsValueAsString("key", "default");
  (void)Zorvane::getABTestingId();

  library.restart();
  library.answer = nullptr;
  library.initialise();
  reportAndCheck(library, "in the next run, offline");
  return 0;
}
