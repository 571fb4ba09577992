#pragma once
// One pixel as four float lanes, in memory order, for the vector kernels.
// Loads widen the components exactly; stores round to nearest with ties to
// even (the processor's default mode) and saturate, which is where vector
// kernels differ from the truncating scalar ones on purpose.
//
// Only for level files: the SSE4.1 paths compile only where -msse4.1 is set,
// and everything here is templated on the level.

#include <emmintrin.h>
#include <smmintrin.h>
#include <tmmintrin.h>

#include <cstdint>
#include <cstring>

#include "image/filters/processor_flags.h"

namespace OZ::Image {

template <class Level>
constexpr bool hasSSE41 = Level::level == KernelLevel::SSE41;

template <class Level, class Layout>
struct VectorPixels {
  using Component = typename Layout::Component;

  static __m128 load(const unsigned char* pixel) {
    if constexpr (Layout::depth == 32) {
      return _mm_loadu_ps(reinterpret_cast<const float*>(pixel));
    } else if constexpr (Layout::depth == 16) {
      const __m128i raw = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixel));
      if constexpr (hasSSE41<Level>)
        return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(raw));
      else
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(raw, _mm_setzero_si128()));
    } else {
      std::int32_t word;
      std::memcpy(&word, pixel, 4);
      const __m128i raw = _mm_cvtsi32_si128(word);
      if constexpr (hasSSE41<Level>) {
        return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(raw));
      } else {
        const __m128i zero = _mm_setzero_si128();
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(raw, zero), zero));
      }
    }
  }

  static void store(unsigned char* pixel, __m128 value) {
    if constexpr (Layout::depth == 32) {
      _mm_storeu_ps(reinterpret_cast<float*>(pixel), value);
    } else if constexpr (Layout::depth == 16) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel), narrow16(value));
    } else {
      const std::int32_t word = _mm_cvtsi128_si32(narrow8(value));
      std::memcpy(pixel, &word, 4);
    }
  }

  // Four values 0..255 in the low four bytes.
  static __m128i narrow8(__m128 value) {
    const __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(value), _mm_setzero_si128());
    return _mm_packus_epi16(words, words);
  }

  // Four values 0..32768 in the low four 16-bit lanes. SSE4.1 has an
  // unsigned pack; SSE2 shifts into the signed range and back, which also
  // ends at 32768.
  static __m128i narrow16(__m128 value) {
    if constexpr (hasSSE41<Level>) {
      const __m128i words = _mm_packus_epi32(_mm_cvtps_epi32(value), _mm_setzero_si128());
      return _mm_min_epu16(words, _mm_set1_epi16(std::int16_t(-32768)));
    } else {
      const __m128 shifted = _mm_sub_ps(value, _mm_set1_ps(32768.0f));
      const __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(shifted), _mm_setzero_si128());
      return _mm_add_epi16(_mm_min_epi16(words, _mm_setzero_si128()), _mm_set1_epi16(std::int16_t(-32768)));
    }
  }
};

}  // namespace OZ::Image
