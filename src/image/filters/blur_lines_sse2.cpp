// The SSE2 build of the blur's vector family: one line's pixel per float
// vector, its four channels' feedback in two pairs of doubles. The walk is
// blur_lines_vector.h; see docs/rounding.md, "Blur".

#include <emmintrin.h>

#include <cstring>

#include "image/filters/blur_lines_vector.h"
#include "image/pixel_layout.h"
#include "image/vector_pixels.h"

namespace OZ::Image {

template <>
struct BlurLanes<SSE2Level> {
  static constexpr int linesPerGroup = 1;
  static constexpr int doublesPerGroup = 1;
  using Floats = __m128;
  struct Doubles {
    __m128d low, high;  // channels 0, 1 and 2, 3
  };
  struct Feedback {
    __m128d d1, d2, d3, d4;
  };

  static Floats set(float v) { return _mm_set1_ps(v); }
  static Floats add(Floats a, Floats b) { return _mm_add_ps(a, b); }
  static Floats mul(Floats a, Floats b) { return _mm_mul_ps(a, b); }
  static Floats divide(Floats a, Floats b) { return _mm_div_ps(a, b); }

  static Feedback feedbackOf(const DericheCoefficients& c) {
    return {_mm_set1_pd(c.d1), _mm_set1_pd(c.d2), _mm_set1_pd(c.d3), _mm_set1_pd(c.d4)};
  }

  static void widen(Floats v, Doubles* lines) { lines[0] = {_mm_cvtps_pd(v), _mm_cvtps_pd(_mm_movehl_ps(v, v))}; }

  static __m128d subtract(__m128d ff, __m128d h1, __m128d h2, __m128d h3, __m128d h4, const Feedback& d) {
    __m128d v = _mm_sub_pd(ff, _mm_mul_pd(d.d1, h1));
    v = _mm_sub_pd(v, _mm_mul_pd(d.d2, h2));
    v = _mm_sub_pd(v, _mm_mul_pd(d.d3, h3));
    return _mm_sub_pd(v, _mm_mul_pd(d.d4, h4));
  }
  static Doubles subtract(const Doubles& ff, const Doubles& h1, const Doubles& h2, const Doubles& h3, const Doubles& h4,
                          const Feedback& d) {
    return {subtract(ff.low, h1.low, h2.low, h3.low, h4.low, d),
            subtract(ff.high, h1.high, h2.high, h3.high, h4.high, d)};
  }

  static Floats sumToFloats(const Doubles* p, const Doubles* q) {
    return _mm_movelh_ps(_mm_cvtpd_ps(_mm_add_pd(p[0].low, q[0].low)), _mm_cvtpd_ps(_mm_add_pd(p[0].high, q[0].high)));
  }

  // A group is one line: there is no partner.
  template <BlurSamples Kind, bool Adjacent>
  static Floats load(const unsigned char* pixel, std::int64_t, int) {
    if constexpr (Kind == BlurSamples::Float32)
      return VectorPixels<SSE2Level, Bgra32>::load(pixel);
    else if constexpr (Kind == BlurSamples::Unsigned8)
      return VectorPixels<SSE2Level, Bgra8>::load(pixel);
    else
      return VectorPixels<SSE2Level, Bgra16>::load(pixel);
  }

  template <BlurSamples Kind, bool Adjacent>
  static void store(unsigned char* pixel, std::int64_t, int, Floats v) {
    if constexpr (Kind == BlurSamples::Float32) {
      _mm_storeu_ps(reinterpret_cast<float*>(pixel), v);
    } else if constexpr (Kind == BlurSamples::Unsigned8) {
      // Round to nearest even, then saturate to 16 and to 8 bits.
      const __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(v), _mm_setzero_si128());
      const std::int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
      std::memcpy(pixel, &bytes, 4);
    } else {
      // SSE2 has only a signed 32-to-16-bit pack: shift into the signed
      // range, pack, shift back with wrapping 16-bit arithmetic.
      const __m128 shifted = _mm_sub_ps(v, _mm_set1_ps(32768.0f));
      __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(shifted), _mm_setzero_si128());
      if constexpr (Kind == BlurSamples::Unsigned16White32768) words = _mm_min_epi16(words, _mm_setzero_si128());
      words = _mm_add_epi16(words, _mm_set1_epi16(std::int16_t(-32768)));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel), words);
    }
  }
};

template void blurVectorLines<SSE2Level>(BlurSamples, const BlurLines&, const DericheCoefficients&, std::int64_t,
                                         std::int64_t, void*, std::int32_t, Progress&, std::int64_t, std::int64_t);

}  // namespace OZ::Image
