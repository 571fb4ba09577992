// The SSE2 build of the blur's grey lines: colour and alpha of two lines
// in one float vector, and each line's two channels of feedback in one
// register of doubles, where a line of four channels needs two. The
// arithmetic of every lane is that of blur_lines_sse2.cpp, operation for
// operation, so each channel stores the same bytes.

#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "image/filters/balance_kernel.h"
#include "image/filters/blur_lines_vector.h"

namespace OZ::Image {

template <bool IntoPairs, bool AlphaFirst>
struct BlurGreyLanes<SSE2Level, IntoPairs, AlphaFirst> {
  static constexpr int linesPerGroup = 2;
  static constexpr int doublesPerGroup = 2;
  using Floats = __m128;   // colour and alpha of the first line, then of the second
  using Doubles = __m128d;  // colour and alpha of one line
  struct Feedback {
    __m128d d1, d2, d3, d4;
  };

  // Where a pixel holds them; any colour component stands for all three.
  static constexpr int kColour = AlphaFirst ? 1 : 0;
  static constexpr int kAlpha = AlphaFirst ? 0 : 3;

  static Floats set(float v) { return _mm_set1_ps(v); }
  static Floats add(Floats a, Floats b) { return _mm_add_ps(a, b); }
  static Floats mul(Floats a, Floats b) { return _mm_mul_ps(a, b); }
  static Floats divide(Floats a, Floats b) { return _mm_div_ps(a, b); }

  static Feedback feedbackOf(const DericheCoefficients& c) {
    return {_mm_set1_pd(c.d1), _mm_set1_pd(c.d2), _mm_set1_pd(c.d3), _mm_set1_pd(c.d4)};
  }

  static void widen(Floats v, Doubles* lines) {
    lines[0] = _mm_cvtps_pd(v);
    lines[1] = _mm_cvtps_pd(_mm_movehl_ps(v, v));
  }

  static Doubles subtract(Doubles ff, Doubles h1, Doubles h2, Doubles h3, Doubles h4, const Feedback& d) {
    Doubles v = _mm_sub_pd(ff, _mm_mul_pd(d.d1, h1));
    v = _mm_sub_pd(v, _mm_mul_pd(d.d2, h2));
    v = _mm_sub_pd(v, _mm_mul_pd(d.d3, h3));
    return _mm_sub_pd(v, _mm_mul_pd(d.d4, h4));
  }

  static Floats sumToFloats(const Doubles* p, const Doubles* q) {
    return _mm_movelh_ps(_mm_cvtpd_ps(_mm_add_pd(p[0], q[0])), _mm_cvtpd_ps(_mm_add_pd(p[1], q[1])));
  }

  // One sample's colour and alpha as its source holds them.
  template <class Component>
  static void read(const unsigned char* sample, Component& colour, Component& alpha) {
    constexpr int bytes = int(sizeof(Component));
    std::memcpy(&colour, sample + (IntoPairs ? kColour : 0) * bytes, bytes);
    std::memcpy(&alpha, sample + (IntoPairs ? kAlpha : 1) * bytes, bytes);
  }

  // One sample as its output holds it: a pair, or a pixel of three equal
  // colour components.
  template <class Component>
  static void write(unsigned char* sample, Component colour, Component alpha) {
    constexpr int bytes = int(sizeof(Component));
    if constexpr (IntoPairs) {
      std::memcpy(sample, &colour, bytes);
      std::memcpy(sample + bytes, &alpha, bytes);
    } else {
      Component pixel[4] = {colour, colour, colour, colour};
      pixel[kAlpha] = alpha;
      std::memcpy(sample, pixel, sizeof pixel);
    }
  }

  template <BlurSamples Kind, bool Whole>
  static Floats load(const unsigned char* sample, std::int64_t lineStep, int lines) {
    const unsigned char* second = sample + (lines > 1 ? lineStep : 0);
    if constexpr (Kind == BlurSamples::Float32) {
      if constexpr (IntoPairs) {
        const __m128 first = _mm_loadu_ps(reinterpret_cast<const float*>(sample));
        const __m128 other = _mm_loadu_ps(reinterpret_cast<const float*>(second));
        return _mm_shuffle_ps(first, other, AlphaFirst ? _MM_SHUFFLE(0, 1, 0, 1) : _MM_SHUFFLE(3, 0, 3, 0));
      } else {
        return _mm_castpd_ps(_mm_unpacklo_pd(_mm_load_sd(reinterpret_cast<const double*>(sample)),
                                             _mm_load_sd(reinterpret_cast<const double*>(second))));
      }
    } else {
      using Component = std::conditional_t<Kind == BlurSamples::Unsigned8, std::uint8_t, std::uint16_t>;
      Component colour0, alpha0, colour1, alpha1;
      read(sample, colour0, alpha0);
      read(second, colour1, alpha1);
      return _mm_cvtepi32_ps(_mm_setr_epi32(colour0, alpha0, colour1, alpha1));
    }
  }

  // The stores of blur_lines_sse2.cpp, lane for lane.
  template <BlurSamples Kind, bool Whole>
  static void store(unsigned char* sample, std::int64_t lineStep, int lines, Floats v) {
    unsigned char* second = sample + (lines > 1 ? lineStep : 0);
    if constexpr (Kind == BlurSamples::Float32) {
      float values[4];
      _mm_storeu_ps(values, v);
      write(sample, values[0], values[1]);
      write(second, values[2], values[3]);
    } else if constexpr (Kind == BlurSamples::Unsigned8) {
      const __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(v), _mm_setzero_si128());
      const std::uint32_t bytes = std::uint32_t(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
      write(sample, std::uint8_t(bytes), std::uint8_t(bytes >> 8));
      write(second, std::uint8_t(bytes >> 16), std::uint8_t(bytes >> 24));
    } else {
      const __m128 shifted = _mm_sub_ps(v, _mm_set1_ps(32768.0f));
      __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(shifted), _mm_setzero_si128());
      if constexpr (Kind == BlurSamples::Unsigned16White32768) words = _mm_min_epi16(words, _mm_setzero_si128());
      words = _mm_add_epi16(words, _mm_set1_epi16(std::int16_t(-32768)));
      std::uint16_t values[8];
      _mm_storeu_si128(reinterpret_cast<__m128i*>(values), words);
      write(sample, values[0], values[1]);
      write(second, values[2], values[3]);
    }
  }
};

template <bool AlphaFirst>
struct BlurGreyLevelsLanes<SSE2Level, AlphaFirst> : BlurGreyLanes<SSE2Level, true, AlphaFirst> {
  using Levels =
      BalanceVectorPixel<SSE2Level, PixelLayout<float, AlphaFirst ? ChannelOrder::AlphaFirst : ChannelOrder::AlphaLast>,
                         true, false>;

  explicit BlurGreyLevelsLanes(const LevelsFirst& first) : levels(Levels::linear(first.scale, first.offset)) {}

  // Float pixels only.
  template <BlurSamples Kind, bool>
  __m128 load(const unsigned char* sample, std::int64_t lineStep, int lines) const {
    static_assert(Kind == BlurSamples::Float32);
    using Picks = GreyPicks<AlphaFirst>;
    auto mapped = [&](const unsigned char* at) { return levels.map(_mm_loadu_ps(reinterpret_cast<const float*>(at))); };
    const __m128 first = mapped(sample), second = mapped(sample + (lines > 1 ? lineStep : 0));
    const __m128 largest =
        _mm_max_ps(_mm_shuffle_ps(first, second, Picks::first), _mm_shuffle_ps(first, second, Picks::second));
    return _mm_max_ps(largest, _mm_shuffle_ps(first, second, Picks::third));
  }

  Levels levels;
};

template void blurGreyVectorLines<SSE2Level>(BlurSamples, const BlurLines&, const BlurGrey&, const DericheCoefficients&,
                                             std::int64_t, std::int64_t, void*, std::int32_t, Progress&, std::int64_t,
                                             std::int64_t);

}  // namespace OZ::Image
