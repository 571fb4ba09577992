#pragma once
// x to the power y on four float lanes, as exp(y * log(x)) with the Cephes
// single-precision polynomials for log and exp. SSE2 instructions only, so
// every level can use it; templated on the level so that each level file
// keeps a copy of its own.
//
// Lanes with x <= 0 do not give 0 or NaN: their logarithm is made a NaN,
// and the upper bound on the exponent turns that NaN into 88.37626, so the
// lane ends near 2.4e38. Kernels rely on that (see docs/rounding.md).

#include <emmintrin.h>

#include <cstdint>

namespace OZ::Image {

template <class Level>
struct VectorPower {
  static __m128 constant(float value) { return _mm_set1_ps(value); }
  static __m128 bits(std::int32_t value) { return _mm_castsi128_ps(_mm_set1_epi32(value)); }

  // Natural logarithm. Lanes with x <= 0 come out as NaN with all bits set.
  static __m128 logarithm(__m128 x) {
    const __m128 one = constant(1.0f);
    const __m128 notPositive = _mm_cmple_ps(x, _mm_setzero_ps());
    // The smallest normal float keeps the exponent field meaningful.
    const __m128 u = _mm_max_ps(x, bits(0x00800000));
    const __m128i exponentBits = _mm_sub_epi32(_mm_srli_epi32(_mm_castps_si128(u), 23), _mm_set1_epi32(127));
    __m128 k = _mm_add_ps(_mm_cvtepi32_ps(exponentBits), one);
    // Mantissa with the exponent of 0.5: m in [0.5, 1).
    const __m128 m = _mm_or_ps(_mm_and_ps(u, bits(std::int32_t(0x807fffffu))), bits(0x3f000000));

    // Below sqrt(1/2) the mantissa is doubled, so t lies in [sqrt(1/2) - 1, sqrt(2) - 1).
    const __m128 small = _mm_cmplt_ps(m, constant(0.70710677f));
    k = _mm_sub_ps(k, _mm_and_ps(one, small));
    const __m128 t = _mm_sub_ps(_mm_add_ps(m, _mm_and_ps(m, small)), one);
    const __m128 z = _mm_mul_ps(t, t);

    __m128 p = constant(0.070376836f);
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(-0.1151461f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(0.116769984f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(-0.12420141f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(0.14249323f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(-0.16668057f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(0.20000714f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(-0.24999994f));
    p = _mm_add_ps(_mm_mul_ps(p, t), constant(0.3333333f));
    p = _mm_mul_ps(_mm_mul_ps(p, t), z);

    // ln 2 split in a short high part and a correction, so k * ln 2 keeps its precision.
    __m128 l = _mm_add_ps(_mm_mul_ps(k, constant(-0.00021219444f)), p);
    l = _mm_sub_ps(l, _mm_mul_ps(z, constant(0.5f)));
    l = _mm_add_ps(l, t);
    l = _mm_add_ps(_mm_mul_ps(k, constant(0.6933594f)), l);
    return _mm_or_ps(l, notPositive);
  }

  // e to the power w. A NaN lane is taken as the upper bound.
  static __m128 exponential(__m128 w) {
    const __m128 one = constant(1.0f);
    // minps returns its second operand when the first is NaN.
    w = _mm_min_ps(w, constant(88.37626f));
    w = _mm_max_ps(w, constant(-88.37626f));

    // n = floor(w / ln 2 + 0.5), by truncation and a step down where it rounded up.
    const __m128 f = _mm_add_ps(_mm_mul_ps(w, constant(1.442695f)), constant(0.5f));
    __m128 n = _mm_cvtepi32_ps(_mm_cvttps_epi32(f));
    n = _mm_sub_ps(n, _mm_and_ps(_mm_cmplt_ps(f, n), one));

    __m128 r = _mm_sub_ps(w, _mm_mul_ps(n, constant(0.6933594f)));
    r = _mm_sub_ps(r, _mm_mul_ps(n, constant(-0.00021219444f)));

    __m128 q = constant(0.00019875691f);
    q = _mm_add_ps(_mm_mul_ps(q, r), constant(0.0013981999f));
    q = _mm_add_ps(_mm_mul_ps(q, r), constant(0.008333452f));
    q = _mm_add_ps(_mm_mul_ps(q, r), constant(0.041665796f));
    q = _mm_add_ps(_mm_mul_ps(q, r), constant(0.16666666f));
    q = _mm_add_ps(_mm_mul_ps(q, r), constant(0.5f));
    q = _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_mul_ps(q, r), r), r), one);

    // 2^n built directly in the exponent field.
    const __m128i scale = _mm_slli_epi32(_mm_add_epi32(_mm_cvttps_epi32(n), _mm_set1_epi32(127)), 23);
    return _mm_mul_ps(q, _mm_castsi128_ps(scale));
  }

  static __m128 power(__m128 x, __m128 y) { return exponential(_mm_mul_ps(logarithm(x), y)); }
};

}  // namespace OZ::Image
