#pragma once
// The vector HSVCC kernels: four pixels at a time, transposed so that each
// vector holds one component of four pixels, converted with masks instead
// of branches, and transposed back. The levels differ only in how a block
// is moved (transposition, widening) and in select and floor; the formula
// is written once, here.
//
// For level files only. Everything is templated on the level, and nothing
// here calls <cmath>. Where blocks round differently from the per-pixel
// path, docs/rounding.md ("HSVCC") gives the reasons.

#include <emmintrin.h>
#include <smmintrin.h>
#include <tmmintrin.h>

#include <cstdint>

#include "image/filters/hsvcc_kernels.h"
#include "image/filters/hsvcc_pixel.h"
#include "image/filters/processor_flags.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"
#include "image/progress.h"
#include "image/vector_pixels.h"
#include "image/views.h"

namespace OZ::Image {

// Lane selection and floor, the two places where SSE4.1 has instructions
// of its own. Both forms give the same bits (floor: for |x| below 2^31).
template <class Level>
struct HsvccLanes {
  static constexpr bool blends = Level::level == KernelLevel::SSE41;

  // mask ? whenSet : otherwise, lane by lane.
  static __m128 select(__m128 mask, __m128 whenSet, __m128 otherwise) {
    return selectLanes<Level>(mask, whenSet, otherwise);
  }

  static __m128 select(__m128i mask, __m128 whenSet, __m128 otherwise) {
    return select(_mm_castsi128_ps(mask), whenSet, otherwise);
  }

  // floor(x) as integers; out of range gives the processor's 0x80000000.
  static __m128i floorToInt(__m128 x) {
    if constexpr (blends) {
      return _mm_cvttps_epi32(_mm_floor_ps(x));
    } else {
      // Truncate, then step down where truncation went up (negative x).
      const __m128i truncated = _mm_cvttps_epi32(x);
      const __m128 roseAbove = _mm_cmpgt_ps(_mm_cvtepi32_ps(truncated), x);
      return _mm_add_epi32(truncated, _mm_castps_si128(roseAbove));
    }
  }
};

// The HSV round trip on four lanes: the per-pixel formula without a jump.
// Forced inline, with load and store, so the block stays in registers.
// Division by the colour spread happens once, as a reciprocal; the hue is
// scaled by a multiplication and wrapped in both directions.
template <class Level>
struct HsvccLaneConversion {
  using Lanes = HsvccLanes<Level>;

  explicit HsvccLaneConversion(const HsvccSettings& settings)
      : hueShift(_mm_set1_ps(settings.hueShift)),
        saturationScale(_mm_set1_ps(settings.saturationScale)),
        valueScale(_mm_set1_ps(settings.valueScale)) {}

  [[gnu::always_inline]] void apply(__m128& red, __m128& green, __m128& blue) const {
    const __m128 zero = _mm_setzero_ps();
    const __m128 one = _mm_set1_ps(1.0f);

    const __m128 value = _mm_max_ps(blue, _mm_max_ps(green, red));
    const __m128 delta = _mm_sub_ps(value, _mm_min_ps(blue, _mm_min_ps(green, red)));
    const __m128 saturation = _mm_and_ps(_mm_cmpgt_ps(value, zero), _mm_div_ps(delta, value));

    // Hue in sixths, all three candidates, then the one of the largest
    // channel (red first, then green); none where the pixel is grey.
    const __m128 reciprocal = _mm_div_ps(one, delta);
    const __m128 redHue = _mm_mul_ps(_mm_sub_ps(green, blue), reciprocal);
    const __m128 greenHue = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(blue, red), reciprocal), _mm_set1_ps(2.0f));
    const __m128 blueHue = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(red, green), reciprocal), _mm_set1_ps(4.0f));
    __m128 hue =
        Lanes::select(_mm_cmpeq_ps(value, red), redHue, Lanes::select(_mm_cmpeq_ps(value, green), greenHue, blueHue));
    hue = _mm_andnot_ps(_mm_cmpeq_ps(delta, zero), hue);

    // To turns, shift, and wrap: once up before the shift; down, up and
    // down again after it. Adding a masked 1.0 leaves other lanes exact.
    hue = _mm_mul_ps(hue, _mm_set1_ps(0.16666667f));
    hue = _mm_add_ps(hue, _mm_and_ps(_mm_cmplt_ps(hue, zero), one));
    hue = _mm_add_ps(hue, hueShift);
    hue = _mm_sub_ps(hue, _mm_and_ps(_mm_cmpge_ps(hue, one), one));
    hue = _mm_add_ps(hue, _mm_and_ps(_mm_cmplt_ps(hue, zero), one));
    hue = _mm_sub_ps(hue, _mm_and_ps(_mm_cmpge_ps(hue, one), one));

    const __m128 scaledSaturation = _mm_mul_ps(saturation, saturationScale);
    const __m128 scaledValue = _mm_mul_ps(value, valueScale);
    const __m128 sector = _mm_mul_ps(hue, _mm_set1_ps(6.0f));
    const __m128i whole = Lanes::floorToInt(sector);
    __m128 fraction = _mm_sub_ps(sector, _mm_cvtepi32_ps(whole));
    const __m128i even = _mm_cmpeq_epi32(_mm_and_si128(whole, _mm_set1_epi32(1)), _mm_setzero_si128());
    fraction = Lanes::select(even, _mm_sub_ps(one, fraction), fraction);
    const __m128 low = _mm_mul_ps(_mm_sub_ps(one, scaledSaturation), scaledValue);
    const __m128 ramp = _mm_mul_ps(_mm_sub_ps(one, _mm_mul_ps(fraction, scaledSaturation)), scaledValue);

    // The per-pixel table, row by row: sectors 1 to 5, anything else is 0.
    const __m128i s1 = _mm_cmpeq_epi32(whole, _mm_set1_epi32(1));
    const __m128i s2 = _mm_cmpeq_epi32(whole, _mm_set1_epi32(2));
    const __m128i s3 = _mm_cmpeq_epi32(whole, _mm_set1_epi32(3));
    const __m128i s4 = _mm_cmpeq_epi32(whole, _mm_set1_epi32(4));
    const __m128i s5 = _mm_cmpeq_epi32(whole, _mm_set1_epi32(5));
    red = Lanes::select(_mm_or_si128(s1, s4), ramp, Lanes::select(_mm_or_si128(s2, s3), low, scaledValue));
    green = Lanes::select(_mm_or_si128(s1, s2), scaledValue, Lanes::select(_mm_or_si128(s4, s5), low, ramp));
    blue = Lanes::select(_mm_or_si128(s3, s4), scaledValue, Lanes::select(_mm_or_si128(s2, s5), ramp, low));
  }

  __m128 hueShift, saturationScale, valueScale;
};

// Blocks of four pixels move through the shared vector block code.
template <class Level, class Layout>
using HsvccBlock = VectorBlock<Level, Layout>;

// The rows of one band. Pixels outside the source's valid rectangle, the
// head of each inner row until the target is 16-byte aligned, and the tail
// go through the per-pixel helper; the rest in blocks of four.
template <class Level, class Layout>
struct HsvccRowSpans {
  using Pixel = HsvccPixel<Level, Layout>;
  using Block = HsvccBlock<Level, Layout>;
  static constexpr int bytes = Layout::bytes;

  const TargetView& target;
  const SourceView& source;
  HsvccSettings settings;
  HsvccLaneConversion<Level> conversion;

  // pixelAt's arithmetic in this level's own copy.
  template <class View>
  static auto* at(const View& view, std::int32_t x, std::int32_t y) {
    return view.data + (std::int64_t(y) - view.rect.y0) * view.stride + (std::int64_t(x) - view.rect.x0) * bytes;
  }

  static bool aligned(const void* address) { return (reinterpret_cast<std::uintptr_t>(address) & 15) == 0; }

  void edge(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 <= x0) return;
    unsigned char* out = at(target, x0, y);
    const unsigned char* in = at(source, x0, y);
    for (std::int32_t x = x0; x < x1; ++x, out += bytes, in += bytes) Pixel::convert(out, in, settings);
  }

  void inner(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 <= x0) return;
    unsigned char* out = at(target, x0, y);
    const unsigned char* in = at(source, x0, y);
    std::int32_t x = x0;
    for (; x < x1 && !aligned(out); ++x, out += bytes, in += bytes) Pixel::convert(out, in, settings);
    const std::int32_t blocks = (x1 - x) / 4;
    const bool sourceAligned = aligned(in);
    if (sourceAligned && settings.identity)
      runBlocks<true, true>(out, in, blocks, conversion);
    else if (sourceAligned)
      runBlocks<true, false>(out, in, blocks, conversion);
    else if (settings.identity)
      runBlocks<false, true>(out, in, blocks, conversion);
    else
      runBlocks<false, false>(out, in, blocks, conversion);
    x += 4 * blocks;
    out += blocks * Block::bytes;
    in += blocks * Block::bytes;
    for (; x < x1; ++x, out += bytes, in += bytes) Pixel::convert(out, in, settings);
  }

  // The conversion comes by value: a local that the byte stores cannot
  // alias, so its constants stay in registers across the loop.
  template <bool AlignedSource, bool Identity>
  static void runBlocks(unsigned char* out, const unsigned char* in, std::int32_t blocks,
                        HsvccLaneConversion<Level> conversion) {
    using Channels = HsvccChannels<Layout>;
    for (; blocks > 0; --blocks, out += Block::bytes, in += Block::bytes) {
      typename Block::Components c = Block::template load<AlignedSource>(in);
      if constexpr (!Identity) conversion.apply(c.lane[Channels::red], c.lane[Channels::green], c.lane[Channels::blue]);
      Block::store(out, c);
    }
  }
};

template <class Level, class Layout>
bool runHsvccLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                   float hueShift, float saturationScale, float valueScale) {
  noteLevelRun(Level::level);
  SourceView unbordered = source;
  unbordered.border = {0, 0, 0, 0};
  const HsvccSettings settings(hueShift, saturationScale, valueScale);
  HsvccRowSpans<Level, Layout> spans{target, unbordered, settings, HsvccLaneConversion<Level>(settings)};
  walkBand<Level>(band, innerRect<Level>(band, unbordered), progress, spans);
  return true;
}

// One level entry's explicit instantiation; each level file expands it
// for its level over OZ_FOR_EACH_LAYOUT.
#define OZ_HSVCC_LEVEL_ENTRY(Level, Layout)                                                                       \
  template bool runHsvccLevel<Level, Layout>(const TargetView&, const SourceView&, const Rect&, Progress&, float, \
                                             float, float);

}  // namespace OZ::Image
