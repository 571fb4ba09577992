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
#include <type_traits>

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
  static __m128i narrow8(__m128 value) { return narrow8(value, value, value, value); }

  // Four pixels' values 0..255, in the order given: sixteen bytes.
  static __m128i narrow8(__m128 first, __m128 second, __m128 third, __m128 fourth) {
    return _mm_packus_epi16(_mm_packs_epi32(_mm_cvtps_epi32(first), _mm_cvtps_epi32(second)),
                            _mm_packs_epi32(_mm_cvtps_epi32(third), _mm_cvtps_epi32(fourth)));
  }

  // Four values 0..32768 in the low four 16-bit lanes.
  static __m128i narrow16(__m128 value) { return narrow16(value, value); }

  // Two pixels' values 0..32768, in the order given: eight 16-bit lanes.
  // SSE4.1 has an unsigned pack; SSE2 shifts into the signed range and
  // back, which also ends at 32768.
  static __m128i narrow16(__m128 first, __m128 second) {
    if constexpr (hasSSE41<Level>) {
      const __m128i words = _mm_packus_epi32(_mm_cvtps_epi32(first), _mm_cvtps_epi32(second));
      return _mm_min_epu16(words, _mm_set1_epi16(std::int16_t(-32768)));
    } else {
      const __m128 shift = _mm_set1_ps(32768.0f);
      const __m128i words =
          _mm_packs_epi32(_mm_cvtps_epi32(_mm_sub_ps(first, shift)), _mm_cvtps_epi32(_mm_sub_ps(second, shift)));
      return _mm_add_epi16(_mm_min_epi16(words, _mm_setzero_si128()), _mm_set1_epi16(std::int16_t(-32768)));
    }
  }
};

// mask ? whenSet : otherwise, lane by lane; SSE4.1 has an instruction.
template <class Level>
__m128 selectLanes(__m128 mask, __m128 whenSet, __m128 otherwise) {
  if constexpr (hasSSE41<Level>)
    return _mm_blendv_ps(otherwise, whenSet, mask);
  else
    return _mm_or_ps(_mm_and_ps(mask, whenSet), _mm_andnot_ps(mask, otherwise));
}

// Unsigned 16-bit maximum and minimum: SSE4.1 has them, the earlier levels
// flip the sign bit around the signed ones.
template <class Level>
struct UnsignedWords {
  static __m128i max(__m128i a, __m128i b) {
    if constexpr (hasSSE41<Level>) {
      return _mm_max_epu16(a, b);
    } else {
      const __m128i sign = _mm_set1_epi16(std::int16_t(-32768));
      return _mm_xor_si128(_mm_max_epi16(_mm_xor_si128(a, sign), _mm_xor_si128(b, sign)), sign);
    }
  }
  static __m128i min(__m128i a, __m128i b) {
    if constexpr (hasSSE41<Level>) {
      return _mm_min_epu16(a, b);
    } else {
      const __m128i sign = _mm_set1_epi16(std::int16_t(-32768));
      return _mm_xor_si128(_mm_min_epi16(_mm_xor_si128(a, sign), _mm_xor_si128(b, sign)), sign);
    }
  }
};

// One pixel with 1.0 as white, for kernels that compute on normalised
// values: the same normalisation and store as VectorBlock below.
template <class Level, class Layout>
struct UnitPixels {
  static __m128 load(const unsigned char* pixel) {
    const __m128 value = VectorPixels<Level, Layout>::load(pixel);
    if constexpr (Layout::depth == 8)
      return _mm_mul_ps(value, _mm_set1_ps(0.003921569f));
    else if constexpr (Layout::depth == 16)
      return _mm_mul_ps(value, _mm_set1_ps(3.0517578e-05f));
    else
      return value;
  }

  static void store(unsigned char* pixel, __m128 value) {
    if constexpr (!Layout::isFloat) value = _mm_mul_ps(value, _mm_set1_ps(Layout::white));
    VectorPixels<Level, Layout>::store(pixel, value);
  }
};

// Four pixels in and out as four component vectors, normalised to 1.0
// white: 8 bits by a multiplication with 0.003921569 (the float of bits
// 0x3B808081), 16 bits by 2^-15. Alpha travels with the colour through the
// same normalisation and store: a 16-bit alpha above 32768 ends at 32768.
template <class Level, class Layout>
struct VectorBlock {
  static constexpr int bytes = 4 * Layout::bytes;

  struct Components {
    __m128 lane[4];  // lane[k]: component k of the four pixels
  };

  template <bool Aligned>
  static __m128i loadBytes(const unsigned char* source) {
    const __m128i* address = reinterpret_cast<const __m128i*>(source);
    return Aligned ? _mm_load_si128(address) : _mm_loadu_si128(address);
  }

  // A 4 x 4 byte transpose: result byte i is source byte (i mod 4) * 4 + i div 4.
  // SSE2 interleaves the halves twice; the later levels shuffle once.
  static __m128i transposeBytes(__m128i block) {
    if constexpr (Level::level == KernelLevel::SSE2) {
      const __m128i once = _mm_unpacklo_epi8(block, _mm_srli_si128(block, 8));
      return _mm_unpacklo_epi8(once, _mm_srli_si128(once, 8));
    } else {
      return _mm_shuffle_epi8(block, _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    }
  }

  // A 4 x 4 transpose of 16-bit words held in two registers, two rows each.
  static void transposeWords(__m128i& first, __m128i& second) {
    const __m128i even = _mm_unpacklo_epi16(first, second);
    const __m128i odd = _mm_unpackhi_epi16(first, second);
    first = _mm_unpacklo_epi16(even, odd);
    second = _mm_unpackhi_epi16(even, odd);
  }

  template <bool Aligned>
  [[gnu::always_inline]] static Components load(const unsigned char* source) {
    Components c;
    if constexpr (Layout::depth == 8) {
      const __m128i planar = transposeBytes(loadBytes<Aligned>(source));
      __m128i widened[4];
      if constexpr (hasSSE41<Level>) {
        widened[0] = _mm_cvtepu8_epi32(planar);
        widened[1] = _mm_cvtepu8_epi32(_mm_srli_si128(planar, 4));
        widened[2] = _mm_cvtepu8_epi32(_mm_srli_si128(planar, 8));
        widened[3] = _mm_cvtepu8_epi32(_mm_srli_si128(planar, 12));
      } else {
        const __m128i zero = _mm_setzero_si128();
        const __m128i first = _mm_unpacklo_epi8(planar, zero), second = _mm_unpackhi_epi8(planar, zero);
        widened[0] = _mm_unpacklo_epi16(first, zero);
        widened[1] = _mm_unpackhi_epi16(first, zero);
        widened[2] = _mm_unpacklo_epi16(second, zero);
        widened[3] = _mm_unpackhi_epi16(second, zero);
      }
      // A multiplication, not the per-pixel division by 255.
      const __m128 normalise = _mm_set1_ps(0.003921569f);
      _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) c.lane[k] = _mm_mul_ps(_mm_cvtepi32_ps(widened[k]), normalise);
    } else if constexpr (Layout::depth == 16) {
      __m128i first = loadBytes<Aligned>(source), second = loadBytes<Aligned>(source + 16);
      transposeWords(first, second);
      __m128i widened[4];
      if constexpr (hasSSE41<Level>) {
        widened[0] = _mm_cvtepu16_epi32(first);
        widened[1] = _mm_cvtepu16_epi32(_mm_srli_si128(first, 8));
        widened[2] = _mm_cvtepu16_epi32(second);
        widened[3] = _mm_cvtepu16_epi32(_mm_srli_si128(second, 8));
      } else {
        const __m128i zero = _mm_setzero_si128();
        widened[0] = _mm_unpacklo_epi16(first, zero);
        widened[1] = _mm_unpackhi_epi16(first, zero);
        widened[2] = _mm_unpacklo_epi16(second, zero);
        widened[3] = _mm_unpackhi_epi16(second, zero);
      }
      const __m128 normalise = _mm_set1_ps(3.0517578e-05f);
      _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) c.lane[k] = _mm_mul_ps(_mm_cvtepi32_ps(widened[k]), normalise);
    } else {
      const float* pixels = reinterpret_cast<const float*>(source);
      _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) c.lane[k] = Aligned ? _mm_load_ps(pixels + 4 * k) : _mm_loadu_ps(pixels + 4 * k);
      _MM_TRANSPOSE4_PS(c.lane[0], c.lane[1], c.lane[2], c.lane[3]);
    }
    return c;
  }

  // target is 16-byte aligned: the row walk peels single pixels until it is.
  [[gnu::always_inline]] static void store(unsigned char* target, Components c) {
    __m128i* address = reinterpret_cast<__m128i*>(target);
    if constexpr (Layout::depth == 8) {
      // Round to nearest even, then saturate, as single pixels are stored.
      const __m128 white = _mm_set1_ps(255.0f);
      const __m128i planar = VectorPixels<Level, Layout>::narrow8(
          _mm_mul_ps(c.lane[0], white), _mm_mul_ps(c.lane[1], white), _mm_mul_ps(c.lane[2], white),
          _mm_mul_ps(c.lane[3], white));
      _mm_store_si128(address, transposeBytes(planar));
    } else if constexpr (Layout::depth == 16) {
      const __m128 white = _mm_set1_ps(32768.0f);
      __m128i first = VectorPixels<Level, Layout>::narrow16(_mm_mul_ps(c.lane[0], white), _mm_mul_ps(c.lane[1], white));
      __m128i second = VectorPixels<Level, Layout>::narrow16(_mm_mul_ps(c.lane[2], white), _mm_mul_ps(c.lane[3], white));
      transposeWords(first, second);
      _mm_store_si128(address, first);
      _mm_store_si128(address + 1, second);
    } else {
      _MM_TRANSPOSE4_PS(c.lane[0], c.lane[1], c.lane[2], c.lane[3]);
      float* pixels = reinterpret_cast<float*>(target);
      _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) _mm_store_ps(pixels + 4 * k, c.lane[k]);
    }
  }

  // For kernels that change alpha alone. The alpha component of four
  // pixels, as load gives it.
  template <bool Aligned>
  [[gnu::always_inline]] static __m128 loadAlpha(const unsigned char* source) {
    if constexpr (Layout::depth == 8) {
      const __m128i stored = loadBytes<Aligned>(source);
      const __m128i alpha = Layout::alphaFirst ? _mm_and_si128(stored, _mm_set1_epi32(0xFF)) : _mm_srli_epi32(stored, 24);
      return _mm_mul_ps(_mm_cvtepi32_ps(alpha), _mm_set1_ps(0.003921569f));
    } else if constexpr (Layout::depth == 16) {
      auto alphaWords = [](__m128i stored) {
        return _mm_castsi128_ps(Layout::alphaFirst ? _mm_and_si128(stored, _mm_set_epi32(0, 0xFFFF, 0, 0xFFFF))
                                                   : _mm_srli_epi64(stored, 48));
      };
      const __m128 pairs = _mm_shuffle_ps(alphaWords(loadBytes<Aligned>(source)),
                                          alphaWords(loadBytes<Aligned>(source + 16)), _MM_SHUFFLE(2, 0, 2, 0));
      return _mm_mul_ps(_mm_cvtepi32_ps(_mm_castps_si128(pairs)), _mm_set1_ps(3.0517578e-05f));
    } else {
      const float* pixels = reinterpret_cast<const float*>(source);
      __m128 p[4];
      _Pragma("GCC unroll 4") for (int k = 0; k < 4; ++k) p[k] = Aligned ? _mm_load_ps(pixels + 4 * k) : _mm_loadu_ps(pixels + 4 * k);
      if constexpr (Layout::alphaFirst)
        return _mm_movelh_ps(_mm_unpacklo_ps(p[0], p[1]), _mm_unpacklo_ps(p[2], p[3]));
      else
        return _mm_movehl_ps(_mm_unpackhi_ps(p[2], p[3]), _mm_unpackhi_ps(p[0], p[1]));
    }
  }

  // Four pixels of source with a new alpha, exactly as store(load(source))
  // with only the alpha component replaced would write them: a colour
  // normalised and stored back is itself at 8 bits and in float, and
  // limited to 32768 at 16 bits. target is 16-byte aligned.
  template <bool Aligned>
  [[gnu::always_inline]] static void storeAlpha(unsigned char* target, const unsigned char* source, __m128 alpha) {
    __m128i* address = reinterpret_cast<__m128i*>(target);
    if constexpr (Layout::depth == 8) {
      const __m128i bytes = VectorPixels<Level, Layout>::narrow8(_mm_mul_ps(alpha, _mm_set1_ps(255.0f)));
      __m128i lanes;
      if constexpr (hasSSE41<Level>) {
        lanes = _mm_cvtepu8_epi32(bytes);
      } else {
        const __m128i zero = _mm_setzero_si128();
        lanes = _mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero);
      }
      const __m128i stored = loadBytes<Aligned>(source);
      const __m128i colour = Layout::alphaFirst ? _mm_andnot_si128(_mm_set1_epi32(0xFF), stored)
                                                : _mm_and_si128(stored, _mm_set1_epi32(0x00FFFFFF));
      _mm_store_si128(address, _mm_or_si128(colour, Layout::alphaFirst ? lanes : _mm_slli_epi32(lanes, 24)));
    } else if constexpr (Layout::depth == 16) {
      const __m128i words = _mm_unpacklo_epi16(
          VectorPixels<Level, Layout>::narrow16(_mm_mul_ps(alpha, _mm_set1_ps(32768.0f))), _mm_setzero_si128());
      const __m128i alphaMask = Layout::alphaFirst ? _mm_set_epi32(0, 0xFFFF, 0, 0xFFFF)
                                                   : _mm_set_epi32(int(0xFFFF0000u), 0, int(0xFFFF0000u), 0);
      const __m128i white = _mm_set1_epi16(std::int16_t(-32768));
      auto place = [&](__m128i stored, __m128i pair) {
        if constexpr (!Layout::alphaFirst) pair = _mm_slli_epi64(pair, 48);
        return _mm_or_si128(_mm_andnot_si128(alphaMask, UnsignedWords<Level>::min(stored, white)), pair);
      };
      _mm_store_si128(address, place(loadBytes<Aligned>(source), _mm_unpacklo_epi32(words, _mm_setzero_si128())));
      _mm_store_si128(address + 1,
                      place(loadBytes<Aligned>(source + 16), _mm_unpackhi_epi32(words, _mm_setzero_si128())));
    } else {
      const float* pixels = reinterpret_cast<const float*>(source);
      float* out = reinterpret_cast<float*>(target);
      auto withAlpha = [&]<int K>(std::integral_constant<int, K>) {
        const __m128 pixel = Aligned ? _mm_load_ps(pixels + 4 * K) : _mm_loadu_ps(pixels + 4 * K);
        const __m128 value = _mm_shuffle_ps(alpha, alpha, _MM_SHUFFLE(K, K, K, K));
        if constexpr (Layout::alphaFirst)
          return _mm_move_ss(pixel, value);
        else  // lanes 0 and 1 of pixel, then lane 2 of pixel and the value
          return _mm_shuffle_ps(pixel, _mm_unpackhi_ps(pixel, value), _MM_SHUFFLE(3, 0, 1, 0));
      };
      _mm_store_ps(out, withAlpha(std::integral_constant<int, 0>{}));
      _mm_store_ps(out + 4, withAlpha(std::integral_constant<int, 1>{}));
      _mm_store_ps(out + 8, withAlpha(std::integral_constant<int, 2>{}));
      _mm_store_ps(out + 12, withAlpha(std::integral_constant<int, 3>{}));
    }
  }
};

}  // namespace OZ::Image
