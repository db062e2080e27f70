// BareQueue is the least that handing an event to another thread costs: one node with copies of its arguments, one
// exchange, and a thread that looks every few milliseconds and throws the nodes away.
//
// Thread:   post() from any; the rest belongs to the queue's own thread.
// Lifetime: the destructor joins the thread; what was posted by then is freed.
#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <thread>

#include <zorvane/ZVTypes.h>

class BareQueue {
 public:
  BareQueue();
  ~BareQueue();
  BareQueue(const BareQueue&) = delete;
  BareQueue& operator=(const BareQueue&) = delete;

  void post(std::string_view eventId, double value, const ZVMap& customFields);

 private:
  struct Node {
    std::string eventId;
    double value = 0;
    ZVMap customFields;
    std::atomic<Node*> next{nullptr};
  };

  void discardAll();

  Node* front_ = new Node;  // was taken already: the list is never without a node
  alignas(64) std::atomic<Node*> back_{front_};
  std::atomic<bool> stopping_{false};
  std::thread worker_;
};
