#include "effect/rand48.h"

namespace StrobeQuirk {

void seedRandom(Rand48State& state) { state = {0x330E, 0xABCD, 0x1234, 0xE66D, 0xDEEC, 0x0005, 0x000B}; }

float nextRandom(Rand48State& state) {
  // state × multiplier + increment, mod 2^48, sixteen bits at a time. The
  // sums may wrap in 32 bits; only carries into bits that are dropped get
  // lost, so the low 16 bits of each word are exact.
  const std::uint32_t a = state.state0, b = state.state1, c = state.state2;
  const std::uint32_t m0 = state.multiplier0, m1 = state.multiplier1, m2 = state.multiplier2;
  const std::uint32_t x = state.increment + a * m0;
  const std::uint32_t y = b * m0 + (x >> 16) + m1 * a;
  const std::uint32_t z = m2 * a + (m1 * b + c * m0) + (y >> 16);
  state.state0 = std::uint16_t(x);
  state.state1 = std::uint16_t(y);
  state.state2 = std::uint16_t(z);
  const double sum = double(float(state.state0)) * 0x1p-48 + double(float(state.state1)) * 0x1p-32 +
                     double(float(state.state2)) * 0x1p-16;
  return float(sum);
}

}  // namespace StrobeQuirk
