#include "crowd/Random.h"

#include <cmath>
#include <numbers>
#include <random>

namespace crowd {

namespace {

constexpr std::uint64_t kStep = 0x9e3779b97f4a7c15U;

// The finaliser of SplitMix64.
std::uint64_t mixed(std::uint64_t bits) {
  bits = (bits ^ (bits >> 30U)) * 0xbf58476d1ce4e5b9U;
  bits = (bits ^ (bits >> 27U)) * 0x94d049bb133111ebU;
  return bits ^ (bits >> 31U);
}

}  // namespace

Random::Random(std::uint64_t seed, std::uint64_t stream) : state_(mixed(mixed(seed + kStep) ^ (stream * kStep))) {}

std::uint64_t Random::next() { return mixed(state_ += kStep); }

double Random::uniform() { return static_cast<double>(next() >> 11U) * 0x1p-53; }

bool Random::chance(double probability) { return uniform() < probability; }

std::int64_t Random::whole(std::int64_t least, std::int64_t most) {
  return least + static_cast<std::int64_t>(uniform() * static_cast<double>(most - least + 1));
}

double Random::exponential(double mean) { return -mean * std::log1p(-uniform()); }

double Random::normal() {
  const double radius = std::sqrt(-2 * std::log1p(-uniform()));
  return radius * std::cos(2 * std::numbers::pi * uniform());
}

std::string Random::uuid() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text(36, '-');
  std::uint64_t bits = 0;
  std::size_t taken = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (at == 8 || at == 13 || at == 18 || at == 23) continue;
    if (taken++ % 16 == 0) bits = next();
    text[at] = kDigits[bits & 15U];
    bits >>= 4U;
  }
  text[14] = '4';
  text[19] = kDigits[8U + (bits & 3U)];
  return text;
}

std::uint64_t Random::fresh() {
  std::random_device device;
  return (std::uint64_t{device()} << 32U) | device();
}

}  // namespace crowd
