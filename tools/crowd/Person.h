// Person is what stays the same of a player: who it is, on which device, how it plays and what it spends.
//
// Thread: any; values.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "crowd/Random.h"
#include "crowd/World.h"

namespace crowd {

struct Person {
  std::uint32_t number = 0;
  const Platform* platform = nullptr;
  const Country* country = nullptr;
  std::string_view device;
  std::string userId, idfa, idfv;
  std::string_view trackingStatus;
  std::array<std::string_view, 3> dimensions;
  std::string_view ownVariant;  // of the crowd's own experiment
  double skill = 0;             // added to the probability of passing a level
  double devotion = 0;          // from 0, below 1: the lower, the longer it stays
  double spending = 0;          // probability of a purchase, each round played
};

Person makePerson(std::uint32_t number, Random& random);

}  // namespace crowd
