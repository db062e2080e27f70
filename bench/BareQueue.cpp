#include "bench/BareQueue.h"

#include <chrono>

BareQueue::BareQueue()
    : worker_([this] {
        while (!stopping_.load(std::memory_order_relaxed)) {
          discardAll();
          std::this_thread::sleep_for(std::chrono::milliseconds(4));
        }
      }) {}

BareQueue::~BareQueue() {
  stopping_.store(true, std::memory_order_relaxed);
  worker_.join();
  discardAll();
  delete front_;
}

void BareQueue::post(std::string_view eventId, double value, const ZVMap& customFields) {
  Node* node = new Node{std::string(eventId), value, customFields};
  back_.exchange(node, std::memory_order_acq_rel)->next.store(node, std::memory_order_release);
}

void BareQueue::discardAll() {
  while (Node* next = front_->next.load(std::memory_order_acquire)) {
    delete front_;
    front_ = next;
  }
}
