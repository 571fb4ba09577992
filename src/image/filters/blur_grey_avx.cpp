// The AVX build of the blur's grey lines: colour and alpha of four lines
// in one 256-bit float vector, and two lines' feedback in one 256-bit
// vector of doubles, where a line of four channels fills one alone. The
// arithmetic of every lane is that of blur_lines_avx.cpp (and so of the
// SSE2 builds), operation for operation, so each channel stores the same
// bytes. The second pass reads four neighbouring pairs and writes four
// neighbouring pixels at once.

#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "image/filters/balance_kernel.h"
#include "image/filters/blur_avx_arithmetic.h"
#include "image/filters/blur_lines_vector.h"

namespace OZ::Image {

template <bool IntoPairs, bool AlphaFirst>
struct BlurGreyLanes<AVXLevel, IntoPairs, AlphaFirst> : BlurAvxArithmetic {
  static constexpr int linesPerGroup = 4;
  static constexpr int doublesPerGroup = 2;
  using Floats = __m256;    // colour and alpha of lines 0 and 1, then of lines 2 and 3
  using Doubles = __m256d;  // colour and alpha of two lines

  // Where a pixel holds them; any colour component stands for all three.
  static constexpr int kColour = AlphaFirst ? 1 : 0;
  static constexpr int kAlpha = AlphaFirst ? 0 : 3;

  template <BlurSamples Kind>
  using Component = std::conditional_t<Kind == BlurSamples::Float32, float,
                                       std::conditional_t<Kind == BlurSamples::Unsigned8, std::uint8_t, std::uint16_t>>;

  static __m256 fromIntegers(__m128i low, __m128i high) {
    return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(low), high, 1));
  }

  // The group's line k lies k line steps on; a group of fewer lines
  // repeats its last.
  static const unsigned char* line(const unsigned char* sample, std::int64_t lineStep, int lines, int k) {
    return sample + (k < lines ? k : lines - 1) * lineStep;
  }

  template <BlurSamples Kind, bool Whole>
  static Floats load(const unsigned char* sample, std::int64_t lineStep, int lines) {
    if constexpr (Whole && !IntoPairs) {
      // Four neighbouring pairs.
      if constexpr (Kind == BlurSamples::Float32) {
        return _mm256_loadu_ps(reinterpret_cast<const float*>(sample));
      } else if constexpr (Kind == BlurSamples::Unsigned8) {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(sample));
        return fromIntegers(_mm_cvtepu8_epi32(bytes), _mm_cvtepu8_epi32(_mm_srli_si128(bytes, 4)));
      } else {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sample));
        return fromIntegers(_mm_cvtepu16_epi32(words), _mm_cvtepu16_epi32(_mm_srli_si128(words, 8)));
      }
    } else if constexpr (IntoPairs) {
      // Colour and alpha out of four pixels.
      const unsigned char* at[4];
#pragma GCC unroll 4
      for (int k = 0; k < 4; ++k) at[k] = line(sample, lineStep, lines, k);
      if constexpr (Kind == BlurSamples::Float32) {
        constexpr int pick = AlphaFirst ? _MM_SHUFFLE(0, 1, 0, 1) : _MM_SHUFFLE(3, 0, 3, 0);
        auto pixel = [&](int k) { return _mm_loadu_ps(reinterpret_cast<const float*>(at[k])); };
        const __m128 low = _mm_shuffle_ps(pixel(0), pixel(1), pick);
        const __m128 high = _mm_shuffle_ps(pixel(2), pixel(3), pick);
        return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
      } else if constexpr (Kind == BlurSamples::Unsigned8) {
        // Gathered in registers: four 4-byte stores read back as one
        // 16-byte load cannot be forwarded, and stall every sample.
        auto pixel = [&](int k) {
          std::int32_t word;
          std::memcpy(&word, at[k], 4);
          return _mm_cvtsi32_si128(word);
        };
        const __m128i pixels =
            _mm_unpacklo_epi64(_mm_unpacklo_epi32(pixel(0), pixel(1)), _mm_unpacklo_epi32(pixel(2), pixel(3)));
        const __m128i pick = AlphaFirst ? _mm_setr_epi8(1, 0, 5, 4, 9, 8, 13, 12, -1, -1, -1, -1, -1, -1, -1, -1)
                                        : _mm_setr_epi8(0, 3, 4, 7, 8, 11, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m128i bytes = _mm_shuffle_epi8(pixels, pick);
        return fromIntegers(_mm_cvtepu8_epi32(bytes), _mm_cvtepu8_epi32(_mm_srli_si128(bytes, 4)));
      } else {
        auto pixels = [&](int k) {
          return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at[k])),
                                    _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at[k + 1])));
        };
        const __m128i pick = AlphaFirst ? _mm_setr_epi8(2, 3, 0, 1, 10, 11, 8, 9, -1, -1, -1, -1, -1, -1, -1, -1)
                                        : _mm_setr_epi8(0, 1, 6, 7, 8, 9, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1);
        return fromIntegers(_mm_cvtepu16_epi32(_mm_shuffle_epi8(pixels(0), pick)),
                            _mm_cvtepu16_epi32(_mm_shuffle_epi8(pixels(2), pick)));
      }
    } else {
      // Pairs one by one: a group the strip fills only in part.
      using C = Component<Kind>;
      C values[8];
      for (int k = 0; k < 4; ++k) std::memcpy(&values[2 * k], line(sample, lineStep, lines, k), 2 * sizeof(C));
      if constexpr (Kind == BlurSamples::Float32)
        return _mm256_loadu_ps(values);
      else
        return _mm256_setr_ps(float(values[0]), float(values[1]), float(values[2]), float(values[3]), float(values[4]),
                              float(values[5]), float(values[6]), float(values[7]));
    }
  }

  template <BlurSamples Kind, bool Whole>
  static void store(unsigned char* sample, std::int64_t lineStep, int lines, Floats v) {
    if constexpr (Whole && !IntoPairs) {
      // Four neighbouring pixels, the colour in each of its three places.
      if constexpr (Kind == BlurSamples::Float32) {
        constexpr int first = AlphaFirst ? _MM_SHUFFLE(0, 0, 0, 1) : _MM_SHUFFLE(1, 0, 0, 0);
        constexpr int second = AlphaFirst ? _MM_SHUFFLE(2, 2, 2, 3) : _MM_SHUFFLE(3, 2, 2, 2);
        const __m128 low = _mm256_castps256_ps128(v), high = _mm256_extractf128_ps(v, 1);
        float* out = reinterpret_cast<float*>(sample);
        _mm_storeu_ps(out, _mm_shuffle_ps(low, low, first));
        _mm_storeu_ps(out + 4, _mm_shuffle_ps(low, low, second));
        _mm_storeu_ps(out + 8, _mm_shuffle_ps(high, high, first));
        _mm_storeu_ps(out + 12, _mm_shuffle_ps(high, high, second));
      } else if constexpr (Kind == BlurSamples::Unsigned8) {
        const __m128i spread = AlphaFirst ? _mm_setr_epi8(1, 0, 0, 0, 3, 2, 2, 2, 5, 4, 4, 4, 7, 6, 6, 6)
                                          : _mm_setr_epi8(0, 0, 0, 1, 2, 2, 2, 3, 4, 4, 4, 5, 6, 6, 6, 7);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sample), _mm_shuffle_epi8(storedComponents<Kind>(v), spread));
      } else {
        const __m128i words = storedComponents<Kind>(v);
        const __m128i spread = AlphaFirst ? _mm_setr_epi8(2, 3, 0, 1, 0, 1, 0, 1, 6, 7, 4, 5, 4, 5, 4, 5)
                                          : _mm_setr_epi8(0, 1, 0, 1, 0, 1, 2, 3, 4, 5, 4, 5, 4, 5, 6, 7);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sample), _mm_shuffle_epi8(words, spread));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sample) + 1, _mm_shuffle_epi8(_mm_srli_si128(words, 8), spread));
      }
    } else if constexpr (IntoPairs) {
      // Each line's pair straight out of the register: through a copy on
      // the stack, every pair waits for the copy to be forwarded.
      if constexpr (Kind == BlurSamples::Float32) {
        const __m128 low = _mm256_castps256_ps128(v), high = _mm256_extractf128_ps(v, 1);
        _mm_storel_pi(reinterpret_cast<__m64*>(sample), low);
        if (lines > 1) _mm_storeh_pi(reinterpret_cast<__m64*>(sample + lineStep), low);
        if (lines > 2) _mm_storel_pi(reinterpret_cast<__m64*>(sample + 2 * lineStep), high);
        if (lines > 3) _mm_storeh_pi(reinterpret_cast<__m64*>(sample + 3 * lineStep), high);
      } else {
        // A pair is one 16-bit word at 8 bits, one 32-bit word at 16.
        using Pair = std::conditional_t<Kind == BlurSamples::Unsigned8, std::uint16_t, std::uint32_t>;
        const __m128i pairs = storedComponents<Kind>(v);
        auto pairOf = [&]<int K>() {
          if constexpr (Kind == BlurSamples::Unsigned8)
            return Pair(_mm_extract_epi16(pairs, K));
          else
            return Pair(_mm_extract_epi32(pairs, K));
        };
        auto put = [&](int k, Pair pair) { std::memcpy(sample + k * lineStep, &pair, sizeof pair); };
        put(0, pairOf.template operator()<0>());
        if (lines > 1) put(1, pairOf.template operator()<1>());
        if (lines > 2) put(2, pairOf.template operator()<2>());
        if (lines > 3) put(3, pairOf.template operator()<3>());
      }
    } else {
      using C = Component<Kind>;
      C values[32 / sizeof(C)];  // room for a whole vector of any kind
      if constexpr (Kind == BlurSamples::Float32)
        _mm256_storeu_ps(values, v);
      else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(values), storedComponents<Kind>(v));
      // Lines past the group's last would only repeat it.
      for (int k = 0; k < lines && k < 4; ++k) write(sample + k * lineStep, values[2 * k], values[2 * k + 1]);
    }
  }

  template <class C>
  static void write(unsigned char* sample, C colour, C alpha) {
    if constexpr (IntoPairs) {
      const C pair[2] = {colour, alpha};
      std::memcpy(sample, pair, sizeof pair);
    } else {
      C pixel[4] = {colour, colour, colour, colour};
      pixel[kAlpha] = alpha;
      std::memcpy(sample, pixel, sizeof pixel);
    }
  }
};

// The levels' mapping of float pixels, two at a time, one a half
// (BalanceVectorPixel::map, operation for operation).
template <bool AlphaFirst>
struct AvxLevelsMap {
  using Levels =
      BalanceVectorPixel<AVXLevel, PixelLayout<float, AlphaFirst ? ChannelOrder::AlphaFirst : ChannelOrder::AlphaLast>,
                         true, false>;

  explicit AvxLevelsMap(const LevelsFirst& first) {
    const Levels levels = Levels::linear(first.scale, first.offset);
    scale = _mm256_set_m128(levels.scale, levels.scale);
    offset = _mm256_set_m128(levels.offset, levels.offset);
  }

  __m256 operator()(__m256 pixels) const {
    const __m256 value = _mm256_add_ps(_mm256_mul_ps(pixels, scale), offset);
    return _mm256_min_ps(_mm256_max_ps(value, _mm256_setzero_ps()), _mm256_set1_ps(1.0f));
  }

  // Pixels k and k + 2 of a group, mapped, one a half.
  __m256 pixels(const unsigned char* sample, std::int64_t lineStep, int lines, int k) const {
    auto pixel = [&](int at) {
      return _mm_loadu_ps(
          reinterpret_cast<const float*>(BlurGreyLanes<AVXLevel, true, AlphaFirst>::line(sample, lineStep, lines, at)));
    };
    return (*this)(_mm256_set_m128(pixel(k + 2), pixel(k)));
  }

  __m256 scale, offset;
};

template <bool AlphaFirst>
struct BlurGreyLevelsLanes<AVXLevel, AlphaFirst> : BlurGreyLanes<AVXLevel, true, AlphaFirst> {
  explicit BlurGreyLevelsLanes(const LevelsFirst& first) : map(first) {}

  // Float pixels only. Lines 0 and 2 share a vector, as do 1 and 3, so
  // that in-lane shuffles leave colour and alpha in the group's order.
  template <BlurSamples Kind, bool>
  __m256 load(const unsigned char* sample, std::int64_t lineStep, int lines) const {
    static_assert(Kind == BlurSamples::Float32);
    using Picks = GreyPicks<AlphaFirst>;
    const __m256 even = map.pixels(sample, lineStep, lines, 0), odd = map.pixels(sample, lineStep, lines, 1);
    const __m256 largest =
        _mm256_max_ps(_mm256_shuffle_ps(even, odd, Picks::first), _mm256_shuffle_ps(even, odd, Picks::second));
    return _mm256_max_ps(largest, _mm256_shuffle_ps(even, odd, Picks::third));
  }

  AvxLevelsMap<AlphaFirst> map;
};

template <bool AlphaFirst>
struct BlurGreyLevelsColourLanes<AVXLevel, AlphaFirst> : BlurAvxArithmetic {
  static constexpr int linesPerGroup = 8;
  static constexpr int doublesPerGroup = 2;
  using Floats = __m256;  // the colour of eight lines, held as 0, 1, 4, 5, 2, 3, 6, 7
  using Doubles = __m256d;
  static constexpr int kAlpha = AlphaFirst ? 0 : 3;

  BlurGreyLevelsColourLanes(const LevelsFirst& first, const BlurLines& lines, const unsigned char* alphas,
                            bool* sawOther)
      : map(first), alphas(alphas), first(lines.first), sawOther(sawOther) {
    const __m256 pixel = map.pixels(lines.source, 0, 1, 0);
    expected = _mm256_permute_ps(pixel, _MM_SHUFFLE(kAlpha, kAlpha, kAlpha, kAlpha));
  }

  float expectedAlpha() const { return _mm256_cvtss_f32(expected); }

  // The limits leave neither NaN nor −0: equal values are equal alphas.
  void settle() const {
    if (_mm256_movemask_ps(differs)) *sawOther = true;
  }

  void atSample(std::int64_t j) const {
    alpha = _mm256_broadcast_ss(reinterpret_cast<const float*>(alphas + (j - first) * 8) + 1);
  }

  // Eight pixels mapped, four channels taken apart in the group's order,
  // the colour the largest of three.
  template <BlurSamples Kind, bool>
  [[gnu::always_inline]] Floats load(const unsigned char* sample, std::int64_t lineStep, int lines) const {
    static_assert(Kind == BlurSamples::Float32);
    const __m256 p02 = map.pixels(sample, lineStep, lines, 0), p13 = map.pixels(sample, lineStep, lines, 1);
    const __m256 p46 = map.pixels(sample, lineStep, lines, 4), p57 = map.pixels(sample, lineStep, lines, 5);
    const __m256 low0123 = _mm256_unpacklo_ps(p02, p13), high0123 = _mm256_unpackhi_ps(p02, p13);
    const __m256 low4567 = _mm256_unpacklo_ps(p46, p57), high4567 = _mm256_unpackhi_ps(p46, p57);
    auto channel = [&](int c) {
      const __m256 from0123 = c < 2 ? low0123 : high0123, from4567 = c < 2 ? low4567 : high4567;
      return c % 2 ? _mm256_shuffle_ps(from0123, from4567, _MM_SHUFFLE(3, 2, 3, 2))
                   : _mm256_shuffle_ps(from0123, from4567, _MM_SHUFFLE(1, 0, 1, 0));
    };
    constexpr int kColour = AlphaFirst ? 1 : 0;
    differs = _mm256_or_ps(differs, _mm256_cmp_ps(channel(kAlpha), expected, _CMP_NEQ_UQ));
    return _mm256_max_ps(_mm256_max_ps(channel(kColour), channel(kColour + 1)), channel(kColour + 2));
  }

  // Each line's pair straight out of the register, the alpha the sample's.
  template <BlurSamples Kind, bool>
  [[gnu::always_inline]] void store(unsigned char* sample, std::int64_t lineStep, int lines, Floats v) const {
    static_assert(Kind == BlurSamples::Float32);
    auto put = [&](__m256 pairs, int k) {
      const __m128 low = _mm256_castps256_ps128(pairs), high = _mm256_extractf128_ps(pairs, 1);
      if (lines > k) _mm_storel_pi(reinterpret_cast<__m64*>(sample + k * lineStep), low);
      if (lines > k + 1) _mm_storeh_pi(reinterpret_cast<__m64*>(sample + (k + 1) * lineStep), low);
      if (lines > k + 2) _mm_storel_pi(reinterpret_cast<__m64*>(sample + (k + 2) * lineStep), high);
      if (lines > k + 3) _mm_storeh_pi(reinterpret_cast<__m64*>(sample + (k + 3) * lineStep), high);
    };
    put(_mm256_unpacklo_ps(v, alpha), 0);
    put(_mm256_unpackhi_ps(v, alpha), 4);
  }

  AvxLevelsMap<AlphaFirst> map;
  const unsigned char* alphas;  // the filtered constant line, pairs
  std::int64_t first;
  bool* sawOther;
  __m256 expected;                               // the first pixel's alpha, mapped, in every lane
  mutable __m256 differs = _mm256_setzero_ps();  // lanes of any alpha loaded that differed
  mutable __m256 alpha = _mm256_setzero_ps();    // that of the sample being stored
};

template <bool AlphaFirst>
struct BlurGreyColourLanes<AVXLevel, AlphaFirst> : BlurAvxArithmetic {
  static constexpr int linesPerGroup = 8;
  static constexpr int doublesPerGroup = 2;
  using Floats = __m256;  // the colour of eight lines; a whole group holds them as 0, 1, 4, 5, 2, 3, 6, 7
  using Doubles = __m256d;
  static constexpr int kAlpha = AlphaFirst ? 0 : 3;

  BlurGreyColourLanes(const unsigned char* alphas, std::int64_t first) : alphas(alphas), first(first) {}

  void atSample(std::int64_t j) const {
    alpha = _mm256_broadcast_ss(reinterpret_cast<const float*>(alphas + (j - first) * 16) + kAlpha);
  }

  template <BlurSamples Kind, bool Whole>
  static Floats load(const unsigned char* sample, std::int64_t lineStep, int lines) {
    static_assert(Kind == BlurSamples::Float32);
    if constexpr (Whole) {
      // Eight neighbouring pairs.
      const float* pairs = reinterpret_cast<const float*>(sample);
      return _mm256_shuffle_ps(_mm256_loadu_ps(pairs), _mm256_loadu_ps(pairs + 8), _MM_SHUFFLE(2, 0, 2, 0));
    } else {
      float colours[8];
      for (int k = 0; k < 8; ++k)
        std::memcpy(&colours[k], sample + (k < lines ? k : lines - 1) * lineStep, sizeof(float));
      return _mm256_loadu_ps(colours);
    }
  }

  template <BlurSamples Kind, bool Whole>
  void store(unsigned char* sample, std::int64_t lineStep, int lines, Floats v) const {
    static_assert(Kind == BlurSamples::Float32);
    if constexpr (Whole) {
      // Eight neighbouring pixels: columns k and k + 2 come out of one
      // in-lane shuffle, and two of those make four pixels in order.
      float* out = reinterpret_cast<float*>(sample);
      auto four = [&](__m256 twice, __m256 withAlpha, float* at) {
        const __m256 even = AlphaFirst ? _mm256_shuffle_ps(withAlpha, twice, _MM_SHUFFLE(1, 0, 1, 0))
                                       : _mm256_shuffle_ps(twice, withAlpha, _MM_SHUFFLE(1, 0, 1, 0));
        const __m256 odd = AlphaFirst ? _mm256_shuffle_ps(withAlpha, twice, _MM_SHUFFLE(3, 2, 3, 2))
                                      : _mm256_shuffle_ps(twice, withAlpha, _MM_SHUFFLE(3, 2, 3, 2));
        _mm256_storeu_ps(at, _mm256_permute2f128_ps(even, odd, 0x20));
        _mm256_storeu_ps(at + 8, _mm256_permute2f128_ps(even, odd, 0x31));
      };
      four(_mm256_unpacklo_ps(v, v), AlphaFirst ? _mm256_unpacklo_ps(alpha, v) : _mm256_unpacklo_ps(v, alpha), out);
      four(_mm256_unpackhi_ps(v, v), AlphaFirst ? _mm256_unpackhi_ps(alpha, v) : _mm256_unpackhi_ps(v, alpha),
           out + 16);
    } else {
      float colours[8];
      _mm256_storeu_ps(colours, v);
      const float a = _mm256_cvtss_f32(alpha);
      for (int k = 0; k < lines && k < 8; ++k) {
        float pixel[4] = {colours[k], colours[k], colours[k], colours[k]};
        pixel[kAlpha] = a;
        std::memcpy(sample + k * lineStep, pixel, sizeof pixel);
      }
    }
  }

  const unsigned char* alphas;  // the filtered constant column, pixels
  std::int64_t first;
  mutable __m256 alpha = _mm256_setzero_ps();  // that of the sample being stored
};

template void blurGreyVectorLines<AVXLevel>(BlurSamples, const BlurLines&, const BlurGrey&, const DericheCoefficients&,
                                            std::int64_t, std::int64_t, void*, std::int32_t, Progress&, std::int64_t,
                                            std::int64_t);

}  // namespace OZ::Image
