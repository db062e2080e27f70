// Random is one stream of numbers, the same on every machine for the same seed and stream. Each player has a stream of
// its own, so that nothing depends on threads or on the order in which players are played.
//
// Thread: one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace crowd {

class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t stream);

  std::uint64_t next();                                       // 64 bits, each as likely
  double uniform();                                           // from 0, below 1
  bool chance(double probability);                            // true that often
  std::int64_t whole(std::int64_t least, std::int64_t most);  // both may come
  double exponential(double mean);
  double normal();     // mean 0, deviation 1
  std::string uuid();  // version 4, in lower case
  // A number that doesn't repeat from run to run, for runs that needn't be repeated.
  static std::uint64_t fresh();

  // One of `items`; each as likely, or as its member `weight` says.
  template <class Item, std::size_t Count>
  const Item& oneOf(const Item (&items)[Count]) {
    return items[static_cast<std::size_t>(whole(0, static_cast<std::int64_t>(Count) - 1))];
  }
  template <class Items>
  const auto& weighted(const Items& items) {
    double sum = 0;
    for (const auto& item : items) sum += item.weight;
    double left = uniform() * sum;
    for (const auto& item : items)
      if ((left -= item.weight) < 0) return item;
    return *std::begin(items);
  }

 private:
  std::uint64_t state_;
};

}  // namespace crowd
