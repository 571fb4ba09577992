#pragma once
// One pixel of a blend in scalar arithmetic: the whole of the scalar
// kernels, and the one-pixel path of the vector kernels for the modes that
// have no lane form. Templated on the level so that each level file holds
// its own copy; no <cmath>.
//
// Integer formats: alphas are normalised (8 bits by a true division by
// 255, 16 bits by 2^-15), results are + 0.5, truncated and wrapped to the
// channel's bits, never clamped. Around the formula each mode follows its
// IntegerRule. Floats are used as they stand.

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "image/blend/blend_formulas.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"

namespace OZ::Image {

// Scalar arithmetic for the formulas. min and max behave as the vector
// instructions do (the second operand unless the first is strictly beyond).
template <class Level>
struct ScalarMath {
  using Value = float;
  static constexpr bool vector = false;
  static float min(float x, float y) { return x < y ? x : y; }
  static float max(float x, float y) { return x > y ? x : y; }
  static float select(bool mask, float whenSet, float otherwise) { return mask ? whenSet : otherwise; }
  static float abs(float x) {
    std::uint32_t bits;
    std::memcpy(&bits, &x, 4);
    bits &= 0x7fffffffu;
    std::memcpy(&x, &bits, 4);
    return x;
  }
  static float sqrt(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }
};

// Where the colour roles sit: alpha first A R G B, alpha last B G R A.
template <class Layout>
struct BlendChannels {
  static constexpr int red = Layout::alphaFirst ? 1 : 2;
  static constexpr int green = Layout::alphaFirst ? 2 : 1;
  static constexpr int blue = Layout::alphaFirst ? 3 : 0;
  static constexpr int alpha = Layout::alpha;
};

// The M of the whole colour, from a formula of either shape.
template <class Mode, class M, class V>
Colour<V> mixColour(const Colour<V>& A, const Colour<V>& B, const Alphas<V>& k) {
  if constexpr (Mode::shape == FormulaShape::WholeColour)
    return Mode::template mix<M>(A, B, k);
  else
    return {Mode::template mix<M>(A.red, B.red, k), Mode::template mix<M>(A.green, B.green, k),
            Mode::template mix<M>(A.blue, B.blue, k)};
}

// The result channel from M by the mode's form. M (the arithmetic) keeps
// each level's copy apart.
template <class Mode, class Math, class V>
V applyForm(V M, V A, V B, const Alphas<V>& k) {
  if constexpr (Mode::form == BlendForm::Layered)
    return (((M - B) * k.a + B) - A) * k.w + A;
  else if constexpr (Mode::form == BlendForm::Direct)
    return (M - A) * k.w + A;
  else
    return M;
}

template <class Level, class Layout, class Mode>
struct BlendScalarPixel {
  using Component = typename Layout::Component;
  using M = ScalarMath<Level>;
  using Channels = BlendChannels<Layout>;
  static constexpr float white = Layout::white;

  static float normalise(float stored) {
    if constexpr (Layout::depth == 8)
      return stored / 255.0f;
    else if constexpr (Layout::depth == 16)
      return stored * 3.0517578125e-05f;
    else
      return stored;
  }

  // Alpha, then opacity, then the scale.
  static float normaliseWithOpacity(float stored, float opacity) {
    if constexpr (Layout::depth == 8)
      return stored * opacity / 255.0f;
    else if constexpr (Layout::depth == 16)
      return stored * opacity * 3.0517578125e-05f;
    else
      return stored * opacity;
  }

  // The processor's truncation: out of range and NaN give 0x80000000.
  static std::int32_t truncate(float value) { return _mm_cvtt_ss2si(_mm_set_ss(value)); }
  static Component lowBits(std::int32_t value) { return Component(std::uint32_t(value)); }

  static Component storeStored(float value) {
    if constexpr (Layout::isFloat)
      return value;
    else
      return lowBits(truncate(value + 0.5f));
  }
  static Component storeNormalised(float value) {
    if constexpr (Layout::isFloat)
      return value;
    else
      return lowBits(truncate(value * white + 0.5f));
  }

  // M as the stored value that the integer rule makes of it.
  static float quantise(float m) {
    if constexpr (Mode::rule == IntegerRule::Quantised) {
      return float(lowBits(truncate(m * white + 0.5f)));
    } else if constexpr (Mode::rule == IntegerRule::QuantisedUnwrapped) {
      return float(truncate(m * white + 0.5f));
    } else {
      static_assert(Mode::rule == IntegerRule::RoundDown);
      const float t = M::max(m * white, 0.0f);
      return t > white ? white : float(lowBits(truncate(t)));
    }
  }

  static Colour<float> colourOf(const Component* pixel, bool normalised) {
    auto value = [&](int index) { return normalised ? normalise(float(pixel[index])) : float(pixel[index]); };
    return {value(Channels::red), value(Channels::green), value(Channels::blue)};
  }

  // Reads both pixels before writing: out may be either of them.
  static void blend(unsigned char* out, const unsigned char* first, const unsigned char* second, float opacity) {
    Component A[4], B[4], result[4];
    std::memcpy(A, first, sizeof A);
    std::memcpy(B, second, sizeof B);
    Alphas<float> k;
    k.a = normalise(float(A[Channels::alpha]));
    k.b = normaliseWithOpacity(float(B[Channels::alpha]), opacity);
    k.r = (k.a + k.b) - k.a * k.b;
    k.w = k.r > 0.0f ? k.b / k.r : k.b;

    if constexpr (Mode::shape == FormulaShape::AlphaOnly) {
      std::memcpy(result, A, sizeof result);
      float luma = 0.0f;
      if constexpr (Mode::usesLuma) luma = normalise(lumaFraction<M>(colourOf(B, false)));
      result[Channels::alpha] = storeNormalised(Mode::template alpha<M>(luma, k));
    } else {
      // Which values the formula sees, and how its result is stored.
      constexpr bool onStored = Layout::isFloat || Mode::rule == IntegerRule::Stored;
      constexpr bool quantised = !Layout::isFloat && !onStored && Mode::rule != IntegerRule::Whole;
      const Colour<float> storedA = colourOf(A, false), storedB = colourOf(B, false);
      const Colour<float> valueA = onStored ? storedA : colourOf(A, true);
      const Colour<float> valueB = onStored ? storedB : colourOf(B, true);
      const Colour<float> m = mixColour<Mode, M>(valueA, valueB, k);
      auto channel = [&](float mc, float ac, float bc, float storedAc, float storedBc) -> Component {
        if constexpr (quantised) {
          static_assert(Mode::form == BlendForm::Layered);
          return storeStored(applyForm<Mode, M>(quantise(mc), storedAc, storedBc, k));
        } else if constexpr (onStored) {
          return storeStored(applyForm<Mode, M>(mc, ac, bc, k));
        } else {
          return storeNormalised(applyForm<Mode, M>(mc, ac, bc, k));
        }
      };
      result[Channels::red] = channel(m.red, valueA.red, valueB.red, storedA.red, storedB.red);
      result[Channels::green] = channel(m.green, valueA.green, valueB.green, storedA.green, storedB.green);
      result[Channels::blue] = channel(m.blue, valueA.blue, valueB.blue, storedA.blue, storedB.blue);
      result[Channels::alpha] = storeNormalised(Mode::template resultAlpha<M>(k));
    }
    std::memcpy(out, result, sizeof result);
  }
};

}  // namespace OZ::Image
