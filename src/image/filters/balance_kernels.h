#pragma once
// Levels of a band: maps an input range of colour values onto an output
// range, optionally through a gamma curve, on the three colour channels.
// The filter node sits on top of this; here are the format driver and the
// kernels, as plain functions on views.

#include "image/filters/processor_flags.h"
#include "image/pixel_format.h"
#include "image/progress.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

// One band of the levels operation on the three colour channels. Chooses the
// variant (clamp, gamma == 1.0 exactly), then the level by the processor flag
// word (bits 1024 then 64, each entry may decline, scalar last). Depths other
// than 8, 16, 32 do nothing. scale and offset come from the filter's
// getScaleOffset (offset unscaled, on the 0..1 scale); gamma is the field.
void runBalanceBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source, const Rect& band,
                    Progress& progress, float scale, float offset, float gamma, bool clamp);

// The linear part of the mapping: an empty input range gives the steepest
// allowed slope, 255, so it becomes a hard threshold.
void balanceScaleOffset(float inBlack, float inWhite, float outBlack, float outWhite, float& scale, float& offset);

// The gamma variants' exponent from a value: its reciprocal, or 999.99994
// (the reciprocal of 0.001) for values up to 0.001, zero, negative or NaN.
// The driver applies it to gamma, and each vector level applies it once
// more to what it is given, so the vector levels raise to gamma itself and
// the scalar kernel to 1 / gamma (docs/rounding.md).
template <class Level>
float balanceExponent(float value) {
  return value > 0.001f ? 1.0f / value : 999.99994f;
}

// The vector kernels behind runBalanceBand, one per layout and variant. A
// level entry returns whether it took the band. It gets offset unscaled and
// exponent as the driver formed it (unused without a curve). Each level's
// entries are instantiated in that level's own file (balance_sse2.cpp,
// balance_sse41.cpp).
template <class Level, class Layout, bool Clamp, bool Gamma>
bool runBalanceLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                     float scale, float offset, float exponent);

}  // namespace OZ::Image
