#pragma once
// Four float lanes as a value type, so that the blend formulas read the
// same for the vector levels as for scalar floats. Every operation is the
// one packed instruction its operator names (no reciprocal estimates);
// select uses blendvps at SSE4.1 and masks before. Level files only.

#include <emmintrin.h>

#include "image/vector_pixels.h"

namespace OZ::Image {

template <class Level>
struct LaneMask {
  __m128 bits;
};

template <class Level>
struct Lanes {
  Lanes() = default;
  Lanes(float value) : v(_mm_set1_ps(value)) {}  // NOLINT: constants read as in the scalar formulas
  explicit Lanes(__m128 value) : v(value) {}

  friend Lanes operator+(Lanes x, Lanes y) { return Lanes(_mm_add_ps(x.v, y.v)); }
  friend Lanes operator-(Lanes x, Lanes y) { return Lanes(_mm_sub_ps(x.v, y.v)); }
  friend Lanes operator*(Lanes x, Lanes y) { return Lanes(_mm_mul_ps(x.v, y.v)); }
  friend Lanes operator/(Lanes x, Lanes y) { return Lanes(_mm_div_ps(x.v, y.v)); }
  friend LaneMask<Level> operator<(Lanes x, Lanes y) { return {_mm_cmplt_ps(x.v, y.v)}; }
  friend LaneMask<Level> operator<=(Lanes x, Lanes y) { return {_mm_cmple_ps(x.v, y.v)}; }
  friend LaneMask<Level> operator>(Lanes x, Lanes y) { return {_mm_cmpgt_ps(x.v, y.v)}; }
  friend LaneMask<Level> operator>=(Lanes x, Lanes y) { return {_mm_cmpge_ps(x.v, y.v)}; }
  friend LaneMask<Level> operator==(Lanes x, Lanes y) { return {_mm_cmpeq_ps(x.v, y.v)}; }
  friend LaneMask<Level> operator!=(Lanes x, Lanes y) { return {_mm_cmpneq_ps(x.v, y.v)}; }

  __m128 v;
};

template <class Level>
struct VectorMath {
  using Value = Lanes<Level>;
  static constexpr bool vector = true;
  static Value min(Value x, Value y) { return Value(_mm_min_ps(x.v, y.v)); }
  static Value max(Value x, Value y) { return Value(_mm_max_ps(x.v, y.v)); }
  static Value select(LaneMask<Level> mask, Value whenSet, Value otherwise) {
    return Value(selectLanes<Level>(mask.bits, whenSet.v, otherwise.v));
  }
  static Value abs(Value x) { return Value(_mm_andnot_ps(_mm_set1_ps(-0.0f), x.v)); }
  static Value sqrt(Value x) { return Value(_mm_sqrt_ps(x.v)); }
};

}  // namespace OZ::Image
