#pragma once
// The vector levels kernel, shared by the level files: one pixel is one
// vector, the four lanes its four channels, so no shuffling between pixels
// is needed. Alpha travels through the same lanes as the colour, with lane
// values that leave it alone without a curve (scale 1, offset 0) and send
// it to power 0 with one. Only for level files; each instantiates its own
// level's copies.

#include <emmintrin.h>

#include "image/filters/balance_kernels.h"
#include "image/filters/vector_power.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"
#include "image/vector_pixels.h"

namespace OZ::Image {

template <class Level, class Layout, bool Clamp, bool Gamma>
struct BalanceVectorPixel {
  __m128 scale;
  __m128 offset;
  __m128 exponent;

  // Lane values in memory order: colour lanes get the mapping, the alpha
  // lane 1.0, 0 and 0.
  static __m128 lanes(float colour, float alpha) {
    return Layout::alphaFirst ? _mm_setr_ps(alpha, colour, colour, colour) : _mm_setr_ps(colour, colour, colour, alpha);
  }

  // The lanes for a mapping without a curve; offset on the 0..1 scale.
  static BalanceVectorPixel linear(float scale, float offset) {
    if constexpr (!Layout::isFloat) offset *= Layout::white;
    return {lanes(scale, 1.0f), lanes(offset, 0.0f), _mm_setzero_ps()};
  }

  // The same mapping in every lane: one colour channel of four pixels.
  static BalanceVectorPixel colourOnly(float scale, float offset) {
    if constexpr (!Layout::isFloat) offset *= Layout::white;
    return {_mm_set1_ps(scale), _mm_set1_ps(offset), _mm_setzero_ps()};
  }

  // Negative results become 0 (so does NaN: maxps returns its second
  // operand); the integer stores saturate at white on their own.
  __m128 map(__m128 value) const {
    if constexpr (Gamma) value = VectorPower<Level>::power(value, exponent);
    value = _mm_add_ps(_mm_mul_ps(value, scale), offset);
    value = _mm_max_ps(value, _mm_setzero_ps());
    if constexpr (Clamp) value = _mm_min_ps(value, _mm_set1_ps(Layout::white));
    return value;
  }

  void operator()(unsigned char* out, const unsigned char* in) const {
    VectorPixels<Level, Layout>::store(out, map(VectorPixels<Level, Layout>::load(in)));
  }
};

template <class Level, class Layout, bool Clamp, bool Gamma>
bool runBalanceLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                     float scale, float offset, float exponent) {
  using Pixel = BalanceVectorPixel<Level, Layout, Clamp, Gamma>;
  noteLevelRun(Level::level);
  Pixel pixel = Pixel::linear(scale, offset);
  // The exponent is derived once more here: the vector levels raise to
  // gamma where the scalar kernel raises to 1 / gamma (docs/rounding.md).
  if constexpr (Gamma) pixel.exponent = Pixel::lanes(balanceExponent<Level>(exponent), 0.0f);
  // A pixel needs no neighbours, so every piece of the walk does the same
  // work and the source is taken as valid throughout.
  SourceView whole = source;
  whole.border = {0, 0, 0, 0};
  walkPixels<Level, Layout::bytes>(target, band, progress, pixel, whole);
  return true;
}

// Explicit instantiation of one level's 24 entries, in that level's file.
#define OZ_BALANCE_LEVEL_VARIANTS(Level, Layout)                                                                \
  template bool runBalanceLevel<Level, Layout, false, false>(const TargetView&, const SourceView&, const Rect&, \
                                                             Progress&, float, float, float);                   \
  template bool runBalanceLevel<Level, Layout, false, true>(const TargetView&, const SourceView&, const Rect&,  \
                                                            Progress&, float, float, float);                    \
  template bool runBalanceLevel<Level, Layout, true, false>(const TargetView&, const SourceView&, const Rect&,  \
                                                            Progress&, float, float, float);                    \
  template bool runBalanceLevel<Level, Layout, true, true>(const TargetView&, const SourceView&, const Rect&,   \
                                                           Progress&, float, float, float);

}  // namespace OZ::Image
