#pragma once
// The hue/saturation filter's full desaturation (saturation factor 0, no
// hue shift, value factor 1) by a short route. The HSV round trip of such a
// pixel ends with every colour channel at its value, the largest of the
// three; these kernels set that value directly, and store exactly what the
// general kernel of the same level stores:
//   - 8 bits: the largest stored channel (normalising, scaling back and
//     either store rounding give every value back unchanged);
//   - 16 bits: the largest, limited to 32768; alpha as the general kernel
//     leaves it (copied by its single-pixel path, limited to 32768 in its
//     four-pixel blocks), so the row walk is the general kernel's;
//   - floats: the largest, for pixels whose channels lie in 0 to 2^64 and
//     whose spread is 0 or at least 2^-64. Any other pixel (negative, not
//     finite, a spread whose reciprocal overflows in the vector blocks)
//     goes through the general conversion of its level, block for block.

#include "image/pixel_format.h"
#include "image/progress.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

// A levels step that feeds the desaturation, run on each pixel as it is
// read so that its image is never stored: levels without a curve, limited
// at white (runBalanceBand with gamma 1 and clamp). Each pixel gets exactly
// what the levels kernel of the same flag word would have stored; without
// a curve the levels arithmetic is the same at SSE2 and SSSE3, so the step
// runs at the desaturation's own level.
struct LevelsFirst {
  float scale;
  float offset;  // on the 0..1 scale, as runBalanceBand takes it
};

// One band of the filter with hue shift 0, saturation factor 0 and value
// factor 1 (its caller checks them), level by the flag word as runHsvccBand chooses it (1024, 256,
// 64, scalar). Depths other than 8, 16, 32 do nothing. Returns true when
// every pixel took the short route, so that the band's colour channels are
// known to be equal; false when some went through the general conversion.
// With `levels`, source is the levels step's input.
bool runDesaturationBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source,
                         const Rect& band, Progress& progress, const LevelsFirst* levels = nullptr);

// The kernels behind it, one per level, layout and first step (AsStored or
// LevelsFirst); each level's entries are instantiated in its own file
// (desaturation_sse2.cpp, _ssse3, _sse41).
struct AsStored {};
template <class Level, class Layout, class First>
bool runDesaturationLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                          const First& first);

}  // namespace OZ::Image
