#pragma once
// The 48-bit linear congruential generator of the drand48 family, with its
// default seed, kept in 16-bit words.

#include <cstdint>

namespace StrobeQuirk {

struct Rand48State {
  std::uint16_t state0;  // lowest
  std::uint16_t state1;
  std::uint16_t state2;  // highest
  std::uint16_t multiplier0;
  std::uint16_t multiplier1;
  std::uint16_t multiplier2;
  std::uint16_t increment;
};

void seedRandom(Rand48State& state);

// The next number from 0 to 1. A state near the top may round up to 1.0 in
// the final narrowing to float.
float nextRandom(Rand48State& state);

}  // namespace StrobeQuirk
