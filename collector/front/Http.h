// Requests and answers as plain values.
//
// Thread: any; values and pure functions.
#pragma once

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace collector::front {

class Stream;

bool isSameName(std::string_view one, std::string_view other) noexcept;  // of fields: case doesn't matter

struct Field {
  std::string name, value;
};

struct Head {
  std::string method, target;
  std::vector<Field> fields = {};  // as they were sent
  std::string address = {};        // IP address of the client, for limits and the log
  bool forwarded = false;          // a field says that a proxy forwarded the request
  bool isSecure = false;           // the client's own connection is by TLS

  // The value of the first field of that name; empty when there is none.
  [[nodiscard]] std::string_view field(std::string_view name) const noexcept;
};

struct Request {
  Head head;
  std::string body;
};

struct Response {
  int status = 200;
  std::string type, body;
  std::vector<Field> fields = {};  // besides Content-Type, Content-Length and Connection
  std::any account = {};           // what the handler has to say to the log; the front carries it only
  bool mayFail = false;            // who asked deletes nothing on a failure: a status from 500 on is sent, too
  std::shared_ptr<Stream> stream = nullptr;  // in place of a body
};

// Absent: the connection is closed. A client deletes what it sent on any answer and keeps it when there is none, so
// this is how everything ends that can't be kept whole. A status from 500 on is taken for no answer.
using Answer = std::optional<Response>;

}  // namespace collector::front
