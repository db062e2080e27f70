#include <zorvane/ZVNotificationCenter.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "values/Lasting.h"

namespace {

struct Registration {
  ZVNotificationCenter::Token token;
  std::string name;
  std::shared_ptr<const ZVNotificationCenter::Observer> observer;
};

struct Registry {
  std::mutex mutex;
  std::vector<Registration> registrations;    // guarded by mutex
  ZVNotificationCenter::Token lastToken = 0;  // guarded by mutex
  std::atomic<bool> empty{true};

  std::vector<std::shared_ptr<const ZVNotificationCenter::Observer>> observersOf(std::string_view name) {
    const std::scoped_lock lock(mutex);
    std::vector<std::shared_ptr<const ZVNotificationCenter::Observer>> found;
    for (const Registration& registration : registrations)
      if (registration.name == name) found.push_back(registration.observer);
    return found;
  }
};

Registry& registry() noexcept { return zorvane::lasting<Registry>(); }

}  // namespace

ZVNotificationCenter::Token ZVNotificationCenter::addObserver(std::string_view name, Observer observer) {
  Registry& all = registry();
  const std::scoped_lock lock(all.mutex);
  all.registrations.push_back(
      {++all.lastToken, std::string(name), std::make_shared<const Observer>(std::move(observer))});
  all.empty = false;
  return all.lastToken;
}

void ZVNotificationCenter::removeObserver(Token token) noexcept {
  Registry& all = registry();
  std::shared_ptr<const Observer> removed;  // destroyed without the lock: what it owns may call in here
  const std::scoped_lock lock(all.mutex);
  const auto found = std::ranges::find(all.registrations, token, &Registration::token);
  if (found == all.registrations.end()) return;
  removed = std::move(found->observer);
  all.registrations.erase(found);
  all.empty = all.registrations.empty();
}

bool ZVNotificationCenter::hasObservers(std::string_view name) noexcept {
  Registry& all = registry();
  if (all.empty) return false;
  const std::scoped_lock lock(all.mutex);
  return std::ranges::any_of(all.registrations, [name](const Registration& entry) { return entry.name == name; });
}

void ZVNotificationCenter::post(std::string_view name, const void* object, const ZVMap& userInfo) noexcept {
  try {
    // Called without the lock: an observer may add and remove observers, and post.
    for (const auto& observer : registry().observersOf(name)) {
      try {
        (*observer)({name, object, userInfo});
      } catch (...) {  // the observer's own affair; the others still hear of it
      }
    }
  } catch (...) {  // out of memory: nobody can be notified
  }
}
