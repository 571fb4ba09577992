#pragma once
// The controls the frei0r adapter adds behind the effect's own: what a
// frei0r host cannot tell the plug-in by itself. They live in the same store
// as the effect's controls and are clamped by it the same way.

#include "host/param/parameters.h"

namespace OZ::Host::Frei0r {

// Where the adapter's controls landed in a store.
struct AdapterControls {
  int frameRate;     // "Frame Rate": frames per second of the clip, 0.01 to 1000, default 25
  int milliseconds;  // "Time In Milliseconds": the host's time is in ms (ffmpeg), default off
  int threads;       // "Threads": 0 one per processor, else that many, up to 64; default 0
};

// Appends the three records after whatever the store holds.
AdapterControls appendAdapterControls(OZ::Host::Param::Parameters& store);

// What a host may show beside each of the three, in the order appended.
extern const char* const kAdapterControlExplanations[3];

// The thread count a value of "Threads" asks for: rounded, 0 meaning one
// per processor.
std::uint64_t threadsSetting(double value);

}  // namespace OZ::Host::Frei0r
