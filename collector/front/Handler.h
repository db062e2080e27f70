// Handler is what the front asks for answers.
//
// Thread:   both operations are called on the front's one thread and must not block it.
// Lifetime: longer than the server.
#pragma once

#include <cstddef>
#include <functional>
#include <variant>

#include "collector/front/Http.h"

namespace collector::front {

class Handler {
 public:
  using Admission = std::variant<Response, std::size_t>;
  using Done = std::function<void(Answer)>;

  virtual ~Handler() = default;
  // By the head alone: the answer, and the body is never kept; or how many bytes the body may have.
  virtual Admission admit(const Head& head) = 0;
  // Takes a whole request. `done` is called once, by any thread, now or later; it may outlive the server. A request
  // whose `done` isn't called is closed unanswered in the end.
  virtual void handle(Request request, Done done) = 0;
};

}  // namespace collector::front
