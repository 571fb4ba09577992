#pragma once
// What the vector levels do with a row of a blend. Values are normalised
// to 1.0 white on the way in (8 bits by x 0.003921569, 16 bits by 2^-15)
// and rounded to nearest even and saturated on the way out: rounding and
// wrapping differ from the scalar kernels on purpose (docs/rounding.md).
//
// The inner span of a row: single pixels until the output is 16-byte
// aligned, then four pixels at a time (aligned or unaligned loads, chosen
// per row by the two sources; the store is always aligned), then the rest
// one at a time. A single pixel keeps its four channels in the four lanes
// of one register; modes without such a lane form use the scalar pixel
// routine there instead, rounding and all.
//
// Level files only; everything is templated on the level.

#include <emmintrin.h>
#include <smmintrin.h>

#include <cstdint>

#include "image/blend/blend_kernel.h"
#include "image/blend/blend_kernels.h"
#include "image/blend/blend_lanes.h"
#include "image/pixel_layout.h"
#include "image/shortcuts.h"
#include "image/vector_pixels.h"

namespace OZ::Image {

template <class Level, class Layout, class Mode>
struct BlendSpans {
  using M = VectorMath<Level>;
  using V = Lanes<Level>;
  using Block = VectorBlock<Level, Layout>;
  using Unit = UnitPixels<Level, Layout>;
  using Channels = BlendChannels<Layout>;
  static constexpr int bytes = Layout::bytes;
  static constexpr bool hasLaneForm =
      Mode::lanes == LanePath::Everywhere || (Mode::lanes == LanePath::FloatOnly && Layout::isFloat);

  const TargetView& target;
  const SourceView& first;
  const SourceView& second;
  float opacity;

  // pixelAt's arithmetic in this level's own copy.
  template <class View>
  static auto* at(const View& view, std::int32_t x, std::int32_t y) {
    return view.data + (std::int64_t(y) - view.rect.y0) * view.stride + (std::int64_t(x) - view.rect.x0) * bytes;
  }
  static bool aligned(const void* address) { return (reinterpret_cast<std::uintptr_t>(address) & 15) == 0; }

  void edge(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 <= x0) return;
    unsigned char* out = at(target, x0, y);
    const unsigned char* a = at(first, x0, y);
    const unsigned char* b = at(second, x0, y);
    for (std::int32_t x = x0; x < x1; ++x, out += bytes, a += bytes, b += bytes) onePixel(out, a, b, opacity);
  }

  void inner(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 <= x0) return;
    unsigned char* out = at(target, x0, y);
    const unsigned char* a = at(first, x0, y);
    const unsigned char* b = at(second, x0, y);
    std::int32_t x = x0;
    for (; x < x1 && !aligned(out); ++x, out += bytes, a += bytes, b += bytes) onePixel(out, a, b, opacity);
    const std::int32_t blocks = (x1 - x) / 4;
    if (aligned(a) && aligned(b))
      fourPixelRuns<true>(out, a, b, blocks, opacity);
    else
      fourPixelRuns<false>(out, a, b, blocks, opacity);
    x += 4 * blocks;
    out += 4 * bytes * blocks;
    a += 4 * bytes * blocks;
    b += 4 * bytes * blocks;
    for (; x < x1; ++x, out += bytes, a += bytes, b += bytes) onePixel(out, a, b, opacity);
  }

  // ---------------------------------------------------------- four pixels

  template <bool AlignedLoads>
  static void fourPixelRuns(unsigned char* out, const unsigned char* a, const unsigned char* b, std::int32_t blocks,
                            float opacity) {
    const V opacityLanes(opacity);
    if constexpr (Mode::shape == FormulaShape::AlphaOnly) {
      if (shortcutEnabled(kShortcutBlendColourAsStored)) {
        for (; blocks > 0; --blocks, out += Block::bytes, a += Block::bytes, b += Block::bytes)
          fourAlphas<AlignedLoads>(out, a, b, opacityLanes);
        return;
      }
    }
    for (; blocks > 0; --blocks, out += Block::bytes, a += Block::bytes, b += Block::bytes)
      fourPixels<AlignedLoads>(out, a, b, opacityLanes);
  }

  // fourPixels for a mode that changes alpha alone, without taking A's
  // colour through floats: the same alpha, the same stored colour.
  template <bool AlignedLoads>
  [[gnu::always_inline]] static void fourAlphas(unsigned char* out, const unsigned char* a, const unsigned char* b,
                                                V opacity) {
    const typename Block::Components pb = Block::template load<AlignedLoads>(b);
    Alphas<V> k;
    k.a = V(Block::template loadAlpha<AlignedLoads>(a));
    k.b = V(pb.lane[Channels::alpha]) * opacity;
    k.r = (k.a + k.b) - k.a * k.b;
    k.w = M::select(k.r > 0.0f, k.b / k.r, k.b);
    V luma = 0.0f;
    if constexpr (Mode::usesLuma) luma = lumaFraction<M>(colourOf(pb));
    Block::template storeAlpha<AlignedLoads>(out, a, Mode::template alpha<M>(luma, k).v);
  }

  template <bool AlignedLoads>
  [[gnu::always_inline]] static void fourPixels(unsigned char* out, const unsigned char* a, const unsigned char* b,
                                                V opacity) {
    const typename Block::Components pa = Block::template load<AlignedLoads>(a);
    const typename Block::Components pb = Block::template load<AlignedLoads>(b);
    Alphas<V> k;
    k.a = V(pa.lane[Channels::alpha]);
    k.b = V(pb.lane[Channels::alpha]) * opacity;
    k.r = (k.a + k.b) - k.a * k.b;
    k.w = M::select(k.r > 0.0f, k.b / k.r, k.b);  // a true division, four at once
    typename Block::Components result = pa;
    if constexpr (Mode::shape == FormulaShape::AlphaOnly) {
      V luma = 0.0f;
      if constexpr (Mode::usesLuma) luma = lumaFraction<M>(colourOf(pb));
      result.lane[Channels::alpha] = Mode::template alpha<M>(luma, k).v;
    } else {
      const Colour<V> A = colourOf(pa), B = colourOf(pb);
      const Colour<V> m = mixColour<Mode, M>(A, B, k);
      result.lane[Channels::red] = applyForm<Mode, M>(m.red, A.red, B.red, k).v;
      result.lane[Channels::green] = applyForm<Mode, M>(m.green, A.green, B.green, k).v;
      result.lane[Channels::blue] = applyForm<Mode, M>(m.blue, A.blue, B.blue, k).v;
      result.lane[Channels::alpha] = Mode::template resultAlpha<M>(k).v;
    }
    Block::store(out, result);
  }

  static Colour<V> colourOf(const typename Block::Components& pixels) {
    return {V(pixels.lane[Channels::red]), V(pixels.lane[Channels::green]), V(pixels.lane[Channels::blue])};
  }

  // ----------------------------------------------------------- one pixel

  static void onePixel(unsigned char* out, const unsigned char* a, const unsigned char* b, float opacity) {
    if constexpr (hasLaneForm)
      lanePixel(out, a, b, opacity);
    else
      BlendScalarPixel<Level, Layout, Mode>::blend(out, a, b, opacity);
  }

  template <int Lane>
  static __m128 broadcast(__m128 value) {
    return _mm_shuffle_ps(value, value, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
  }

  // value with its lane Lane replaced by lane 0 of other.
  template <int Lane>
  static __m128 withLane(__m128 value, __m128 other) {
    if constexpr (hasSSE41<Level>) {
      return _mm_insert_ps(value, other, Lane << 4);
    } else if constexpr (Lane == 0) {
      return _mm_move_ss(value, other);
    } else {
      static_assert(Lane == 3);
      return _mm_shuffle_ps(value, _mm_unpackhi_ps(value, _mm_shuffle_ps(other, other, 0)), _MM_SHUFFLE(1, 0, 1, 0));
    }
  }

  // One pixel from broadcast channels, in memory order.
  static __m128 gather(const Colour<V>& colour, __m128 alpha) {
    if constexpr (Layout::alphaFirst)
      return _mm_movelh_ps(_mm_unpacklo_ps(alpha, colour.red.v), _mm_unpacklo_ps(colour.green.v, colour.blue.v));
    else
      return _mm_movelh_ps(_mm_unpacklo_ps(colour.blue.v, colour.green.v), _mm_unpacklo_ps(colour.red.v, alpha));
  }

  static Colour<V> broadcastColour(__m128 pixel) {
    return {V(broadcast<Channels::red>(pixel)), V(broadcast<Channels::green>(pixel)),
            V(broadcast<Channels::blue>(pixel))};
  }

  static void lanePixel(unsigned char* out, const unsigned char* a, const unsigned char* b, float opacity) {
    const __m128 pa = Unit::load(a), pb = Unit::load(b);
    // The compositing step in lane 0, then across the lanes.
    const __m128 alphaA = broadcast<Channels::alpha>(pa);
    const __m128 alphaB = _mm_mul_ss(broadcast<Channels::alpha>(pb), _mm_set_ss(opacity));
    const __m128 r = _mm_sub_ss(_mm_add_ss(alphaA, alphaB), _mm_mul_ss(alphaA, alphaB));
    const __m128 w = selectLanes<Level>(_mm_cmpgt_ss(r, _mm_setzero_ps()), _mm_div_ss(alphaB, r), alphaB);
    const Alphas<V> k{V(alphaA), V(broadcast<0>(alphaB)), V(broadcast<0>(r)), V(broadcast<0>(w))};

    __m128 result;
    if constexpr (Mode::shape == FormulaShape::AlphaOnly) {
      V luma = 0.0f;
      if constexpr (Mode::usesLuma) luma = lumaFraction<M>(broadcastColour(pb));
      result = withLane<Channels::alpha>(pa, Mode::template alpha<M>(luma, k).v);
    } else if constexpr (Mode::shape == FormulaShape::WholeColour) {
      const Colour<V> A = broadcastColour(pa), B = broadcastColour(pb);
      const Colour<V> m = mixColour<Mode, M>(A, B, k);
      const Colour<V> mixed{applyForm<Mode, M>(m.red, A.red, B.red, k), applyForm<Mode, M>(m.green, A.green, B.green, k),
                            applyForm<Mode, M>(m.blue, A.blue, B.blue, k)};
      result = gather(mixed, Mode::template resultAlpha<M>(k).v);
    } else {
      const V A(pa), B(pb);
      const V mixed = applyForm<Mode, M>(Mode::template mix<M>(A, B, k), A, B, k);
      result = withLane<Channels::alpha>(mixed.v, Mode::template resultAlpha<M>(k).v);
    }
    Unit::store(out, result);
  }
};

template <class Level, class Layout>
bool runBlendLevel(const TargetView& target, const SourceView& first, const SourceView& second, const Rect& band,
                   Progress& progress, std::uint32_t mode, float opacity) {
  noteLevelRun(Level::level);
  runBlendMode<Level, Layout>(target, first, second, band, progress, mode, opacity);
  return true;
}

// One level's six entries, for its level file.
#define OZ_BLEND_LEVEL_ENTRY(Level, Layout)                                                                    \
  template bool runBlendLevel<Level, Layout>(const TargetView&, const SourceView&, const SourceView&, const Rect&, \
                                             Progress&, std::uint32_t, float);

}  // namespace OZ::Image
