#include "effect/pulse_schedule.h"

namespace StrobeQuirk {

PulseSettings pulseSettings(double quirkTime, double randomQuirk) {
  return {float(quirkTime), float(randomQuirk / 100.0)};
}

float pulseOpacity(float frame, const PulseSettings& settings, PulseWalk& walk) {
  if (frame < 0.0f) return 0.0f;
  for (;;) {
    const float end = walk.pulseStart + 2.0f;
    if (end > frame) return 1.0f;
    Rand48State random = walk.random;
    const float r = nextRandom(random);
    float gap = ((r + r + -1.0f) * settings.spread + 1.0f) * settings.base;
    gap = gap > 1.0f ? gap : 1.0f;
    const float next = end + gap;
    if (!(frame >= next)) return 0.0f;  // in the gap: the walk stays at this pulse
    walk.pulseStart = next;
    walk.random = random;
  }
}

}  // namespace StrobeQuirk
