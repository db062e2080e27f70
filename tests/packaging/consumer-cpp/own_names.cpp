// What a game may call its own although the library has something of that name: classes, functions, a copy of
// RapidJSON.
#include <string>
#include <string_view>

class TaskQueue {
 public:
  void post();
  int posted = 0;
};
void TaskQueue::post() { ++posted; }

struct Condition {
  explicit Condition(std::string_view name);
  std::string sql;
};
Condition::Condition(std::string_view name) : sql(name) {}

bool isValidUtf8(std::string_view text) noexcept;
bool isValidUtf8(std::string_view text) noexcept { return text.empty(); }

int platform();
int platform() { return 3; }

namespace rapidjson {
struct Reader {
  int Parse();
};
int Reader::Parse() { return 4; }
}  // namespace rapidjson

// Non-zero when one of the names led elsewhere.
int ownNamesAreMixedUp();
int ownNamesAreMixedUp() {
  TaskQueue queue;
  queue.post();
  return queue.posted == 1 && Condition("own").sql == "own" && !isValidUtf8("own") && platform() == 3 &&
                 rapidjson::Reader().Parse() == 4
             ? 0
             : 3;
}
