#pragma once
// The vector kernels of the full desaturation. The row walk is the general
// HSVCC kernel's (single pixels outside the source's valid rectangle and
// until the target is 16-byte aligned, then blocks of four, then the
// rest), since at 16 bits alpha depends on it. Integer blocks stay in
// integers: the largest of three channels is an unsigned maximum, and the
// 16-bit block's limit to 32768 covers both its colour and its alpha. Float
// blocks are cut short where every lane qualifies, and handed to the
// general kernel where one does not.
//
// For level files only; everything is templated on the level.

#include <emmintrin.h>
#include <smmintrin.h>

#include <cstdint>

#include "image/filters/balance_kernel.h"
#include "image/filters/desaturation_kernels.h"
#include "image/filters/desaturation_pixel.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"
#include "image/vector_pixels.h"

namespace OZ::Image {

// Four 8-bit pixels' largest colour byte, each in the low byte of its pixel.
template <class Layout>
__m128i largestColourBytes(__m128i pixels) {
  const __m128i low = _mm_set1_epi32(0xFF);
  if constexpr (Layout::alphaFirst) {
    const __m128i largest = _mm_max_epu8(_mm_srli_epi32(pixels, 8), _mm_srli_epi32(pixels, 16));
    return _mm_and_si128(_mm_max_epu8(largest, _mm_srli_epi32(pixels, 24)), low);
  } else {
    const __m128i largest = _mm_max_epu8(pixels, _mm_srli_epi32(pixels, 8));
    return _mm_and_si128(_mm_max_epu8(largest, _mm_srli_epi32(pixels, 16)), low);
  }
}

// Four 8-bit pixels with every colour byte set to value (0..255 in each
// pixel's low byte) and alpha kept.
template <class Layout>
__m128i withColourBytes(__m128i pixels, __m128i value) {
  if constexpr (Layout::alphaFirst) {
    const __m128i colour = _mm_or_si128(_mm_or_si128(_mm_slli_epi32(value, 8), _mm_slli_epi32(value, 16)),
                                        _mm_slli_epi32(value, 24));
    return _mm_or_si128(colour, _mm_and_si128(pixels, _mm_set1_epi32(0xFF)));
  } else {
    const __m128i colour = _mm_or_si128(_mm_or_si128(value, _mm_slli_epi32(value, 8)), _mm_slli_epi32(value, 16));
    return _mm_or_si128(colour, _mm_andnot_si128(_mm_set1_epi32(0x00FFFFFF), pixels));
  }
}

// Four 8-bit pixels: the largest colour byte into all three, alpha kept
// (the general block normalises and rounds it back to itself).
template <class Level, class Layout>
__m128i desaturateBytes(__m128i pixels) {
  return withColourBytes<Layout>(pixels, largestColourBytes<Layout>(pixels));
}

// Two 16-bit pixels' largest colour word, each in the low word of its pixel.
template <class Level, class Layout>
__m128i largestColourWords(__m128i pixels) {
  using Words = UnsignedWords<Level>;
  const __m128i low = _mm_set_epi32(0, 0xFFFF, 0, 0xFFFF);
  if constexpr (Layout::alphaFirst) {
    const __m128i largest = Words::max(_mm_srli_epi64(pixels, 16), _mm_srli_epi64(pixels, 32));
    return _mm_and_si128(Words::max(largest, _mm_srli_epi64(pixels, 48)), low);
  } else {
    const __m128i largest = Words::max(pixels, _mm_srli_epi64(pixels, 16));
    return _mm_and_si128(Words::max(largest, _mm_srli_epi64(pixels, 32)), low);
  }
}

// Two 16-bit pixels with every colour word set to value (in each pixel's
// low word), then every word limited to 32768, as the general block stores
// colour and alpha.
template <class Level, class Layout>
__m128i withColourWords(__m128i pixels, __m128i value) {
  __m128i colour;
  if constexpr (Layout::alphaFirst) {
    colour = _mm_or_si128(_mm_or_si128(_mm_slli_epi64(value, 16), _mm_slli_epi64(value, 32)), _mm_slli_epi64(value, 48));
    colour = _mm_or_si128(colour, _mm_and_si128(pixels, _mm_set_epi32(0, 0xFFFF, 0, 0xFFFF)));
  } else {
    colour = _mm_or_si128(_mm_or_si128(value, _mm_slli_epi64(value, 16)), _mm_slli_epi64(value, 32));
    colour = _mm_or_si128(colour, _mm_andnot_si128(_mm_set_epi32(0xFFFF, -1, 0xFFFF, -1), pixels));
  }
  return UnsignedWords<Level>::min(colour, _mm_set1_epi16(std::int16_t(-32768)));
}

// Two 16-bit pixels: the largest colour word into all three, then the limit.
template <class Level, class Layout>
__m128i desaturateWords(__m128i pixels) {
  return withColourWords<Level, Layout>(pixels, largestColourWords<Level, Layout>(pixels));
}

// How the spans read pixels: as the source stores them, or through the
// levels step first, in registers. Either way a block's stores, and the
// pixel handed to a single-pixel conversion, hold what the desaturation
// would have read from the stored image.
template <class Level, class Layout, class First>
struct DesaturationReader;

template <class Level, class Layout>
struct DesaturationReader<Level, Layout, AsStored> {
  using Block = VectorBlock<Level, Layout>;

  explicit DesaturationReader(const AsStored&) {}

  static constexpr bool channelsInRange = false;  // floats may be anything

  const unsigned char* pixel(const unsigned char* in, unsigned char* /*scratch*/) const { return in; }

  // Four 8-bit or two 16-bit pixels.
  template <bool Aligned>
  __m128i bytes(const unsigned char* in) const {
    return Block::template loadBytes<Aligned>(in);
  }

  // Four 8-bit pixels, desaturated.
  template <bool Aligned>
  __m128i desaturatedBytes(const unsigned char* in) const {
    return desaturateBytes<Level, Layout>(bytes<Aligned>(in));
  }

  // Four 16-bit pixels, desaturated, in two halves.
  template <bool Aligned>
  void desaturatedWords(const unsigned char* in, __m128i& first, __m128i& second) const {
    first = desaturateWords<Level, Layout>(bytes<Aligned>(in));
    second = desaturateWords<Level, Layout>(bytes<Aligned>(in + 16));
  }

  // Four float pixels, one a vector.
  template <bool Aligned>
  void pixels(const unsigned char* in, __m128 (&pixel)[4]) const {
    const float* values = reinterpret_cast<const float*>(in);
    _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) pixel[k] = Aligned ? _mm_load_ps(values + 4 * k) : _mm_loadu_ps(values + 4 * k);
  }
};

template <class Level, class Layout>
struct DesaturationReader<Level, Layout, LevelsFirst> {
  using Levels = BalanceVectorPixel<Level, Layout, true, false>;
  using Pixels = VectorPixels<Level, Layout>;

  explicit DesaturationReader(const LevelsFirst& first)
      : levels(Levels::linear(first.scale, first.offset)),
        colourLevels(Levels::colourOnly(first.scale, first.offset)),
        rising(first.scale >= 0.0f) {}

  // The levels' limits leave every channel in 0 to white, never NaN.
  static constexpr bool channelsInRange = true;

  const unsigned char* pixel(const unsigned char* in, unsigned char* scratch) const {
    levels(scratch, in);
    return scratch;
  }

  template <bool>
  __m128i bytes(const unsigned char* in) const {
    if constexpr (Layout::depth == 8)
      return Pixels::narrow8(mapped(in), mapped(in + 4), mapped(in + 8), mapped(in + 12));
    else
      return Pixels::narrow16(mapped(in), mapped(in + 8));
  }

  template <bool>
  void pixels(const unsigned char* in, __m128 (&pixel)[4]) const {
    _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) pixel[k] = mapped(in + 16 * k);
  }

  // A rising mapping keeps the largest channel the largest, and at 8 bits
  // leaves alpha as it is: the largest byte goes through the levels alone,
  // one lane a pixel. A falling one maps every channel first. The same
  // holds for words below.
  template <bool Aligned>
  __m128i desaturatedBytes(const unsigned char* in) const {
    if (!rising) return desaturateBytes<Level, Layout>(bytes<Aligned>(in));
    const __m128i stored = VectorBlock<Level, Layout>::template loadBytes<Aligned>(in);
    const __m128 largest = _mm_cvtepi32_ps(largestColourBytes<Layout>(stored));
    // In 0..255 after the levels' limits: the store needs no saturation.
    return withColourBytes<Layout>(stored, _mm_cvtps_epi32(colourLevels.map(largest)));
  }

  // At 16 bits the levels leave alpha at most 32768, as the block's own
  // limit does.
  template <bool Aligned>
  void desaturatedWords(const unsigned char* in, __m128i& first, __m128i& second) const {
    if (!rising) {
      first = desaturateWords<Level, Layout>(bytes<Aligned>(in));
      second = desaturateWords<Level, Layout>(bytes<Aligned>(in + 16));
      return;
    }
    using Block = VectorBlock<Level, Layout>;
    const __m128i storedFirst = Block::template loadBytes<Aligned>(in);
    const __m128i storedSecond = Block::template loadBytes<Aligned>(in + 16);
    // The four largest words side by side, one 32-bit lane a pixel.
    const __m128i largest = _mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(largestColourWords<Level, Layout>(storedFirst)),
                       _mm_castsi128_ps(largestColourWords<Level, Layout>(storedSecond)), _MM_SHUFFLE(2, 0, 2, 0)));
    // In 0..32768 after the levels' limits: the store needs no saturation.
    const __m128i value = _mm_cvtps_epi32(colourLevels.map(_mm_cvtepi32_ps(largest)));
    first = withColourWords<Level, Layout>(storedFirst, _mm_unpacklo_epi32(value, _mm_setzero_si128()));
    second = withColourWords<Level, Layout>(storedSecond, _mm_unpackhi_epi32(value, _mm_setzero_si128()));
  }

  __m128 mapped(const unsigned char* in) const { return levels.map(Pixels::load(in)); }

  Levels levels;
  Levels colourLevels;  // every lane a colour channel
  bool rising;
};

template <class Level, class Layout, class First>
struct DesaturationRowSpans {
  using Pixel = DesaturationPixel<Level, Layout>;
  using Block = VectorBlock<Level, Layout>;
  static constexpr int bytes = Layout::bytes;

  using Reader = DesaturationReader<Level, Layout, First>;

  const TargetView& target;
  const SourceView& source;
  const Reader reader;
  bool allShort = true;  // no pixel needed the general conversion

  template <class View>
  static auto* at(const View& view, std::int32_t x, std::int32_t y) {
    return view.data + (std::int64_t(y) - view.rect.y0) * view.stride + (std::int64_t(x) - view.rect.x0) * bytes;
  }

  static bool aligned(const void* address) { return (reinterpret_cast<std::uintptr_t>(address) & 15) == 0; }

  void pixels(unsigned char* out, const unsigned char* in, std::int32_t count) {
    alignas(16) unsigned char scratch[16];
    bool all = true;
    for (; count > 0; --count, out += bytes, in += bytes) all &= Pixel::convert(out, reader.pixel(in, scratch));
    allShort &= all;
  }

  void edge(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 > x0) pixels(at(target, x0, y), at(source, x0, y), x1 - x0);
  }

  void inner(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 <= x0) return;
    unsigned char* out = at(target, x0, y);
    const unsigned char* in = at(source, x0, y);
    std::int32_t head = 0;
    while (x0 + head < x1 && !aligned(out + head * bytes)) ++head;
    pixels(out, in, head);
    out += head * bytes;
    in += head * bytes;
    const std::int32_t blocks = (x1 - x0 - head) / 4;
    const bool all = aligned(in) ? runBlocks<true>(out, in, blocks) : runBlocks<false>(out, in, blocks);
    allShort &= all;
    pixels(out + blocks * Block::bytes, in + blocks * Block::bytes, x1 - x0 - head - 4 * blocks);
  }

  template <bool AlignedSource>
  bool runBlocks(unsigned char* out, const unsigned char* in, std::int32_t blocks) const {
    bool all = true;
    for (; blocks > 0; --blocks, out += Block::bytes, in += Block::bytes) {
      if constexpr (Layout::depth == 8) {
        _mm_store_si128(reinterpret_cast<__m128i*>(out), reader.template desaturatedBytes<AlignedSource>(in));
      } else if constexpr (Layout::depth == 16) {
        __m128i first, second;
        reader.template desaturatedWords<AlignedSource>(in, first, second);
        _mm_store_si128(reinterpret_cast<__m128i*>(out), first);
        _mm_store_si128(reinterpret_cast<__m128i*>(out) + 1, second);
      } else {
        all &= floatBlock<AlignedSource>(out, in);
      }
    }
    return all;
  }

  template <bool AlignedSource>
  [[gnu::always_inline]] bool floatBlock(unsigned char* out, const unsigned char* in) const {
    using Channels = HsvccChannels<Layout>;
    __m128 pixel[4];
    reader.template pixels<AlignedSource>(in, pixel);
    typename Block::Components c{{pixel[0], pixel[1], pixel[2], pixel[3]}};
    _MM_TRANSPOSE4_PS(c.lane[0], c.lane[1], c.lane[2], c.lane[3]);
    __m128& red = c.lane[Channels::red];
    __m128& green = c.lane[Channels::green];
    __m128& blue = c.lane[Channels::blue];
    // The general conversion's maximum, operand for operand.
    const __m128 value = _mm_max_ps(blue, _mm_max_ps(green, red));
    const __m128 smallest = _mm_min_ps(blue, _mm_min_ps(green, red));
    const __m128 spread = _mm_sub_ps(value, smallest);
    const __m128 zero = _mm_setzero_ps();
    __m128 qualifies = _mm_or_ps(_mm_cmpeq_ps(spread, zero), _mm_cmpge_ps(spread, _mm_set1_ps(0x1p-64f)));
    if constexpr (!Reader::channelsInRange) {
      const __m128 top = _mm_set1_ps(0x1p64f);
      auto inRange = [&](__m128 channel) { return _mm_and_ps(_mm_cmpge_ps(channel, zero), _mm_cmple_ps(channel, top)); };
      qualifies = _mm_and_ps(_mm_and_ps(inRange(red), _mm_and_ps(inRange(green), inRange(blue))), qualifies);
    }
    if (_mm_movemask_ps(qualifies) != 15) {
      // One general block, in place on what was read: the target is aligned.
      float* values = reinterpret_cast<float*>(out);
      _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) _mm_store_ps(values + 4 * k, pixel[k]);
      Pixel::general(out, out, 4);
      return false;
    }
    red = green = blue = value;
    Block::store(out, c);
    return true;
  }
};

template <class Level, class Layout, class First>
bool runDesaturationLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                          const First& first) {
  noteLevelRun(Level::level);
  SourceView unbordered = source;
  unbordered.border = {0, 0, 0, 0};
  DesaturationRowSpans<Level, Layout, First> spans{target, unbordered, DesaturationReader<Level, Layout, First>(first)};
  walkBand<Level>(band, innerRect<Level>(band, unbordered), progress, spans);
  return spans.allShort;
}

#define OZ_DESATURATION_LEVEL_ENTRY(Level, Layout)                                                             \
  template bool runDesaturationLevel<Level, Layout, AsStored>(const TargetView&, const SourceView&, const Rect&,    \
                                                              Progress&, const AsStored&);                          \
  template bool runDesaturationLevel<Level, Layout, LevelsFirst>(const TargetView&, const SourceView&, const Rect&, \
                                                                 Progress&, const LevelsFirst&);

}  // namespace OZ::Image
