// The AVX build of the blur's vector family. The arithmetic is the SSE2
// build's, operation for operation; only the registers are wider:
//   - a line's four channels of feedback in one 256-bit vector of doubles
//     (the SSE2 build needs two pairs, so twice the multiplies and
//     subtractions);
//   - the float parts (feed-forward sums, output products, stores) of two
//     lines side by side in one 256-bit vector, each lane computing what it
//     would alone.
// No FMA: each product is rounded before it is subtracted, as in SSE2.
// The walk is blur_lines_vector.h; see docs/rounding.md, "Blur".

#include <immintrin.h>

#include <cstring>

#include "image/filters/blur_avx_arithmetic.h"
#include "image/filters/blur_lines_vector.h"

namespace OZ::Image {

template <>
struct BlurLanes<AVXLevel> : BlurAvxArithmetic {
  static constexpr int linesPerGroup = 2;
  static constexpr int doublesPerGroup = 2;
  using Floats = __m256;    // the group's first line in the low half, its second in the high half
  using Doubles = __m256d;  // one line's four channels

  // Four integers of one pixel, widened exactly.
  template <BlurSamples Kind>
  static __m128i integers(const unsigned char* pixel) {
    if constexpr (Kind == BlurSamples::Unsigned8) {
      std::int32_t word;
      std::memcpy(&word, pixel, 4);
      return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word));
    } else {
      return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixel)));
    }
  }

  template <BlurSamples Kind, bool Adjacent>
  static Floats load(const unsigned char* pixel, std::int64_t partnerStep, int lines) {
    if (!Adjacent && lines < 2) partnerStep = 0;
    if constexpr (Kind == BlurSamples::Float32 && Adjacent) {
      return _mm256_loadu_ps(reinterpret_cast<const float*>(pixel));
    } else if constexpr (Kind == BlurSamples::Float32) {
      const __m128 first = _mm_loadu_ps(reinterpret_cast<const float*>(pixel));
      const __m128 second = _mm_loadu_ps(reinterpret_cast<const float*>(pixel + partnerStep));
      return _mm256_insertf128_ps(_mm256_castps128_ps256(first), second, 1);
    } else {
      const __m256i both = _mm256_insertf128_si256(_mm256_castsi128_si256(integers<Kind>(pixel)),
                                                   integers<Kind>(pixel + partnerStep), 1);
      return _mm256_cvtepi32_ps(both);
    }
  }

  // The SSE2 build's stores, two pixels at a time: round to nearest even,
  // then the same saturating packs lane by lane.
  template <BlurSamples Kind, bool Adjacent>
  static void store(unsigned char* pixel, std::int64_t partnerStep, int lines, Floats v) {
    if (!Adjacent && lines < 2) partnerStep = 0;
    if constexpr (Kind == BlurSamples::Float32 && Adjacent) {
      _mm256_storeu_ps(reinterpret_cast<float*>(pixel), v);
    } else if constexpr (Kind == BlurSamples::Float32) {
      _mm_storeu_ps(reinterpret_cast<float*>(pixel), _mm256_castps256_ps128(v));
      _mm_storeu_ps(reinterpret_cast<float*>(pixel + partnerStep), _mm256_extractf128_ps(v, 1));
    } else if constexpr (Kind == BlurSamples::Unsigned8) {
      const __m128i bytes = storedComponents<Kind>(v);
      if constexpr (Adjacent) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel), bytes);
      } else {
        const std::int32_t first = _mm_cvtsi128_si32(bytes), second = _mm_extract_epi32(bytes, 1);
        std::memcpy(pixel, &first, 4);
        std::memcpy(pixel + partnerStep, &second, 4);
      }
    } else {
      const __m128i words = storedComponents<Kind>(v);
      if constexpr (Adjacent) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pixel), words);
      } else {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel), words);
        _mm_storeh_pd(reinterpret_cast<double*>(pixel + partnerStep), _mm_castsi128_pd(words));
      }
    }
  }
};

template void blurVectorLines<AVXLevel>(BlurSamples, const BlurLines&, const DericheCoefficients&, std::int64_t,
                                        std::int64_t, void*, std::int32_t, Progress&, std::int64_t, std::int64_t);

}  // namespace OZ::Image
