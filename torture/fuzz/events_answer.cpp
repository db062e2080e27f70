// The collector's answer to a batch, whatever it is: an answer deletes the batch, none keeps it.
#include <zorvane/Zorvane.h>

#include "Library.h"

using fuzz::Library;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Library& library = Library::get();
  library.forget();
  fuzz::Input input(bytes, size);
  const long status = input.oneOf({200L, 400L, 200L, 400L, 201L, 401L, 500L, 0L});
  const int error = input.oneOf({0, 0, 0, ZVURLError::kUserCancelledAuthentication, ZVURLError::kCancelled});
  const bool answered = input.byte() % 8 != 0;
  const std::string body(input.rest());
  library.initialise();  // offline: the session's start waits
  Zorvane::addDesignEventWithEventId("an:event", 1.0);
  Zorvane::addErrorEventWithSeverity(ZVErrorSeverity::info, "an error");
  library.settle();
  fuzz::require(library.stored().size() == 3, "an event is lost before it is sent");

  library.answer = [&](const ZVURLRequest& request) {
    const bool hasBody = answered || fuzz::isInit(request);
    return fuzz::Reply{hasBody ? std::optional(body) : std::nullopt, status, error};
  };
  library.fireTimers();
  fuzz::require(library.stored().size() == (answered ? 0U : 3U), answered ? "the batch is kept" : "the batch is lost");
  library.requireThatAllIsTaken();
  return 0;
}
