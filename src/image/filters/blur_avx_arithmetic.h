// The arithmetic that the AVX builds of the blur's lines share, whether a
// group holds whole pixels or colour and alpha pairs: float parts of the
// group side by side in one 256-bit vector, feedback in 256-bit vectors of
// doubles. No FMA: each product is rounded before it is subtracted, as in
// SSE2. Included by AVX translation units only.

#pragma once

#include <immintrin.h>

#include "image/filters/blur_lines_vector.h"

namespace OZ::Image {

struct BlurAvxArithmetic {
  using Floats = __m256;
  using Doubles = __m256d;
  struct Feedback {
    __m256d d1, d2, d3, d4;
  };

  static Floats set(float v) { return _mm256_set1_ps(v); }
  static Floats add(Floats a, Floats b) { return _mm256_add_ps(a, b); }
  static Floats mul(Floats a, Floats b) { return _mm256_mul_ps(a, b); }
  static Floats divide(Floats a, Floats b) { return _mm256_div_ps(a, b); }

  static Feedback feedbackOf(const DericheCoefficients& c) {
    return {_mm256_set1_pd(c.d1), _mm256_set1_pd(c.d2), _mm256_set1_pd(c.d3), _mm256_set1_pd(c.d4)};
  }

  static void widen(Floats v, Doubles* lines) {
    lines[0] = _mm256_cvtps_pd(_mm256_castps256_ps128(v));
    lines[1] = _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1));
  }

  static Doubles subtract(Doubles ff, Doubles h1, Doubles h2, Doubles h3, Doubles h4, const Feedback& d) {
    Doubles v = _mm256_sub_pd(ff, _mm256_mul_pd(d.d1, h1));
    v = _mm256_sub_pd(v, _mm256_mul_pd(d.d2, h2));
    v = _mm256_sub_pd(v, _mm256_mul_pd(d.d3, h3));
    return _mm256_sub_pd(v, _mm256_mul_pd(d.d4, h4));
  }

  static Floats sumToFloats(const Doubles* p, const Doubles* q) {
    const __m128 first = _mm256_cvtpd_ps(_mm256_add_pd(p[0], q[0]));
    const __m128 second = _mm256_cvtpd_ps(_mm256_add_pd(p[1], q[1]));
    return _mm256_insertf128_ps(_mm256_castps128_ps256(first), second, 1);
  }

  // The integer stores, lane for lane, as SSE2 makes them: round to
  // nearest even, then saturating packs; at 16 bits shifted into the signed
  // range and back with wrapping arithmetic. The eight lanes as bytes (the
  // low eight) or as 16-bit words.
  template <BlurSamples Kind>
  static __m128i storedComponents(Floats v) {
    if constexpr (Kind == BlurSamples::Unsigned8) {
      const __m256i rounded = _mm256_cvtps_epi32(v);
      const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(rounded), _mm256_extractf128_si256(rounded, 1));
      return _mm_packus_epi16(words, words);
    } else {
      const __m256i rounded = _mm256_cvtps_epi32(_mm256_sub_ps(v, _mm256_set1_ps(32768.0f)));
      __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(rounded), _mm256_extractf128_si256(rounded, 1));
      if constexpr (Kind == BlurSamples::Unsigned16White32768) words = _mm_min_epi16(words, _mm_setzero_si128());
      return _mm_add_epi16(words, _mm_set1_epi16(std::int16_t(-32768)));
    }
  }
};

}  // namespace OZ::Image
