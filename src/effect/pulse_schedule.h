#pragma once
// The pulse schedule: from frame 0, pulses of two frames, each followed by a
// gap drawn at random around the base. All in 32-bit floats, in a fixed
// order, so that a frame's pulse depends only on its number and the two
// controls.

#include <cstdint>

#include "effect/rand48.h"

namespace StrobeQuirk {

// The two controls as the schedule takes them: "Quirk Time" narrowed to
// float, and "Random Quirk" ÷ 100 in double, then narrowed.
struct PulseSettings {
  float base;
  float spread;
};
PulseSettings pulseSettings(double quirkTime, double randomQuirk);

// Where a walk through the schedule stands: the start of a pulse that lies
// at or before every frame asked so far, and the generator at that point.
struct PulseWalk {
  float pulseStart = 0.0f;
  Rand48State random;
};

// 1.0 when frame lies in a pulse, 0.0 in a gap or before frame 0. Walks on
// from `walk`, which must not lie beyond frame; leaves it at the last pulse
// start at or before frame, so a caller asking increasing frames can go on
// from there and get exactly what a replay from frame 0 gives.
float pulseOpacity(float frame, const PulseSettings& settings, PulseWalk& walk);

}  // namespace StrobeQuirk
