#pragma once
// The effect's four controls. Their order is their index, which the render
// reads them by: a control inserted before another shifts it.

#include "host/param/parameters.h"

namespace StrobeQuirk {

inline constexpr int kQuirkTimeIndex = 0;       // "Quirk Time": mean gap between pulses, in frames
inline constexpr int kRandomQuirkIndex = 1;     // "Random Quirk": how far the gap may vary, in percent
inline constexpr int kIncreaseQuirkyIndex = 2;  // "Increase Quirky": the stronger, tighter look
inline constexpr int kUnmaskedIndex = 3;        // "Unmasked": the frame itself strobes, not its glow

// Appends the four records, in index order.
void defineQuirkControls(OZ::Host::Param::Parameters& store);

}  // namespace StrobeQuirk
