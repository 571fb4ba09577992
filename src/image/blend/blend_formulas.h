#pragma once
// The pixel operation of every blend mode, written once over an arithmetic
// M: the scalar kernels run it on floats, the vector levels on four lanes.
// M supplies the value type (M::Value), min, max, abs, sqrt, select and
// the flag M::vector. The few places where the vector levels compute
// differently on purpose test that flag (docs/rounding.md, "Blend").
//
// A, B are a colour channel of the two operands, normalised (1.0 white)
// except where a rule says stored values. a, b, r, w come from the
// compositing step: a the alpha of A, b that of B times the opacity,
// r = (a + b) - a b the result alpha, w = b / r (b when r is 0).
//
// Float literals only: a double constant would widen the scalar arithmetic.
// No <cmath>: level files include this.

namespace OZ::Image {

template <class V>
struct Alphas {
  V a, b, r, w;
};

// The three colour channels by role, whatever their place in the pixel.
template <class V>
struct Colour {
  V red, green, blue;
};

// How the mode's value M becomes the result colour.
enum class BlendForm {
  Own,      // the formula gives the result itself
  Layered,  // (((M - B) a + B) - A) w + A: M counts where the backdrop is opaque
  Direct,   // (M - A) w + A
};

// What the 8- and 16-bit scalar kernels do around the formula.
enum class IntegerRule {
  Stored,              // the formula on stored values as floats, + 0.5, truncate, low bits
  Quantised,           // M normalised, rounded to a stored value (low bits), then the form on stored values
  QuantisedUnwrapped,  // as Quantised, without keeping the low bits of M
  RoundDown,           // M scaled, limited to 0..white and truncated without + 0.5
  Whole,               // the whole result normalised, then + 0.5, truncate, low bits
  AlphaOnly,           // the colour of A as stored; only the alpha is computed
};

// Which one-pixel path the vector kernels have: their own lane form, or
// the scalar pixel routine with its rounding.
enum class LanePath { Everywhere, FloatOnly, None };

// What the formula works on: one channel at a time, the whole colour, or
// only the alpha (from a luma of B where usesLuma).
enum class FormulaShape { Separable, WholeColour, AlphaOnly };

// The usual traits; each formula overrides what differs.
struct LayeredFormula {
  static constexpr BlendForm form = BlendForm::Layered;
  static constexpr IntegerRule rule = IntegerRule::Quantised;
  static constexpr LanePath lanes = LanePath::Everywhere;
  static constexpr FormulaShape shape = FormulaShape::Separable;
  template <class M, class V>
  static V resultAlpha(const Alphas<V>& k) {
    return k.r;
  }
};

template <class M, class V>
V lumaFraction(const Colour<V>& c) {
  return 0.11f * c.blue + (0.59f * c.green + 0.3f * c.red);
}

template <class M, class V>
V lumaPercent(const Colour<V>& c) {
  return (11.0f * c.blue + (59.0f * c.green + 30.0f * c.red)) / 100.0f;
}

template <class M, class V>
V largest(const Colour<V>& c) {
  return M::max(M::max(c.red, c.green), c.blue);
}

template <class M, class V>
V smallest(const Colour<V>& c) {
  return M::min(M::min(c.red, c.green), c.blue);
}

// ---------------------------------------------------------------- 0 to 9

struct Normal : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::Stored;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    return (B - A) * k.w + A;
  }
};

// Pulls A towards white where the backdrop is transparent.
struct Darken : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Direct;
  static constexpr IntegerRule rule = IntegerRule::Whole;
  static constexpr LanePath lanes = LanePath::FloatOnly;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    return M::min((A - 1.0f) * k.a + 1.0f, B);
  }
};

struct Multiply : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return A * B;
  }
};

// The vector guard tests B = 0 where the scalar one tests 0 >= B.
struct ColorBurn : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    const V t = (1.0f - A) / B;
    const V burnt = M::select(1.0f < t, V(0.0f), 1.0f - t);
    if constexpr (M::vector)
      return M::select(B == 0.0f, B, burnt);
    else
      return M::select(0.0f >= B, B, burnt);
  }
};

// The vector levels test x = 1 for x >= 1, and scale by 0 where r <= 0.
struct ColorBurnPremultiplied : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::Whole;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    V x = (1.0f - B) * k.b;
    const V burnt = M::min(V(1.0f), (1.0f - A) * k.a / (1.0f - x));
    if constexpr (M::vector) {
      x = M::select(x == 1.0f, x, burnt);
      x = x * M::select(k.r > 0.0f, 1.0f / k.r, V(0.0f));
    } else {
      x = M::select(x >= 1.0f, x, burnt);
      x = M::select(k.r > 0.0f, x * (1.0f / k.r), x);
    }
    return 1.0f - x;
  }
};

struct LinearBurn : LayeredFormula {
  static constexpr IntegerRule rule = IntegerRule::QuantisedUnwrapped;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::max(V(0.0f), A + B - 1.0f);
  }
};

// B - A weighted by luma: blue 0.11, green 0.59, red 0.3.
template <class M, class V>
V lumaDifference(const Colour<V>& A, const Colour<V>& B) {
  return (B.blue - A.blue) * 0.11f + ((B.green - A.green) * 0.59f + (B.red - A.red) * 0.3f);
}

template <class M, class V>
Colour<V> chooseColour(const decltype(V() > V())& takeA, const Colour<V>& A, const Colour<V>& B) {
  return {M::select(takeA, A.red, B.red), M::select(takeA, A.green, B.green), M::select(takeA, A.blue, B.blue)};
}

// The integer kernels run it on stored values: it only picks a pixel.
struct DarkerColor : LayeredFormula {
  static constexpr IntegerRule rule = IntegerRule::Stored;
  static constexpr LanePath lanes = LanePath::FloatOnly;
  static constexpr FormulaShape shape = FormulaShape::WholeColour;
  template <class M, class V>
  static Colour<V> mix(const Colour<V>& A, const Colour<V>& B, const Alphas<V>&) {
    return chooseColour<M>(lumaDifference<M>(A, B) > 0.0f, A, B);
  }
};

struct Add : LayeredFormula {
  static constexpr IntegerRule rule = IntegerRule::RoundDown;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return A + B;
  }
};

// Pulls A towards black where the backdrop is transparent: no mirror of Darken.
struct Lighten : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Direct;
  static constexpr IntegerRule rule = IntegerRule::Stored;
  static constexpr LanePath lanes = LanePath::FloatOnly;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    return M::max(k.a * A, B);
  }
};

struct Screen : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return 1.0f - (1.0f - B) * (1.0f - A);
  }
};

// --------------------------------------------------------------- 10 to 19

struct ColorDodge : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::select(B >= 1.0f, B, M::min(V(1.0f), A / (1.0f - B)));
  }
};

// The vector levels test x = 1 for x >= 1, and scale by 0 where r <= 0.
struct ColorDodgePremultiplied : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::Whole;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    V x = B * k.b;
    const V dodged = M::min(V(1.0f), A * k.a / (1.0f - x));
    if constexpr (M::vector) {
      x = M::select(x == 1.0f, x, dodged);
      return x * M::select(k.r > 0.0f, 1.0f / k.r, V(0.0f));
    } else {
      x = M::select(x >= 1.0f, x, dodged);
      return M::select(k.r > 0.0f, x * (1.0f / k.r), x);
    }
  }
};

struct LinearDodge : LayeredFormula {
  static constexpr IntegerRule rule = IntegerRule::QuantisedUnwrapped;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::min(V(1.0f), A + B);
  }
};

struct LighterColor : DarkerColor {
  template <class M, class V>
  static Colour<V> mix(const Colour<V>& A, const Colour<V>& B, const Alphas<V>&) {
    return chooseColour<M>(0.0f > lumaDifference<M>(A, B), A, B);
  }
};

// Overlay and HardLight are one formula with the operands exchanged.
template <class M, class V>
V hardLight(V top, V bottom) {
  return M::select(0.5f > top, (top + top) * bottom, (1.0f - bottom) * ((1.0f - top) * -2.0f) + 1.0f);
}

struct Overlay : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return hardLight<M>(A, B);
  }
};

// The backdrop counts as mid-grey where it is transparent.
struct SoftLight : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Direct;
  static constexpr IntegerRule rule = IntegerRule::Whole;
  static constexpr LanePath lanes = LanePath::None;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    const V t = (A - 0.5f) * k.a + 0.5f;
    const V darker = t - (1.0f - t) * ((1.0f - 2.0f * B) * t);
    const V D = M::select(0.25f > t, ((16.0f * t - 12.0f) * t + 4.0f) * t, M::sqrt(t));
    const V lighter = t + (D - t) * (2.0f * B - 1.0f);
    return M::select(0.5f > B, darker, lighter);
  }
};

struct HardLight : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return hardLight<M>(B, A);
  }
};

struct LinearLight : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::select(0.5f > B, M::max(V(0.0f), 2.0f * B + A - 1.0f), M::min(V(1.0f), 2.0f * (B - 0.5f) + A));
  }
};

struct VividLight : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    const V burnX = 2.0f * B;
    const V t = (1.0f - A) / burnX;
    const V burnt = M::select(0.0f >= burnX, burnX, M::select(1.0f < t, V(0.0f), 1.0f - t));
    const V dodgeX = 2.0f * (B - 0.5f);
    const V dodged = M::select(dodgeX >= 1.0f, dodgeX, M::min(V(1.0f), A / (1.0f - dodgeX)));
    return M::select(0.5f > B, burnt, dodged);
  }
};

struct PinLight : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::select(0.5f > B, M::min(A, 2.0f * B), M::max(A, 2.0f * (B - 0.5f)));
  }
};

// --------------------------------------------------------------- 20 to 29

struct HardMix : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    return M::select(0.5f > VividLight::mix<M>(A, B, k), V(0.0f), V(1.0f));
  }
};

struct Difference : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::abs(A - B);
  }
};

struct DifferencePremultiplied : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::Whole;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    const V x = M::abs(A * k.a - B * k.b);
    return M::select(k.r > 0.0f, x * (1.0f / k.r), x);
  }
};

struct Exclusion : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return A + B - 2.0f * A * B;
  }
};

struct Subtract : LayeredFormula {
  static constexpr IntegerRule rule = IntegerRule::RoundDown;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return A - B;
  }
};

// The vector guard divides only where B > 0, else M = 0: a negative float
// B gives 0 there and a quotient in the scalar kernel.
struct Divide : LayeredFormula {
  static constexpr IntegerRule rule = IntegerRule::RoundDown;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    if constexpr (M::vector)
      return M::select(0.0f < B, A / B, V(0.0f));
    else
      return M::select(B != 0.0f, A / B, B);
  }
};

// The non-separable modes: a base colour shifted to a target luma, then
// pulled back into range keeping that luma.
struct NonSeparable : LayeredFormula {
  static constexpr LanePath lanes = LanePath::None;
  static constexpr FormulaShape shape = FormulaShape::WholeColour;

  // The scalar kernels give the largest channel s, the middle one
  // (md - mn) s / (mx - mn) and the smallest 0, ties by a fixed order, and
  // black for a grey colour. The vector levels set each channel by itself
  // (s at the largest, else m at the middle, else 0): grey becomes (s, s, s).
  template <class M, class V>
  static Colour<V> setSaturation(const Colour<V>& c, V s) {
    const V mx = largest<M>(c), mn = smallest<M>(c);
    const V md = M::min(M::max(M::min(c.red, c.green), c.blue), M::max(c.red, c.green));
    const V m = (md - mn) * s / (mx - mn);
    if constexpr (M::vector) {
      auto channel = [&](V value) { return M::select(value == mx, s, M::select(value == md, m, V(0.0f))); };
      return {channel(c.red), channel(c.green), channel(c.blue)};
    } else {
      if (!(mx > mn)) return {0.0f, 0.0f, 0.0f};
      if (c.red == mx) return c.green > c.blue ? Colour<V>{s, m, 0.0f} : Colour<V>{s, 0.0f, m};
      if (c.green == mx) return c.red > c.blue ? Colour<V>{m, s, 0.0f} : Colour<V>{0.0f, s, m};
      return c.red > c.green ? Colour<V>{m, 0.0f, s} : Colour<V>{0.0f, m, s};
    }
  }

  // The shift's luma: in percent in the scalar kernels, as a fraction in
  // the vector levels. The clipping below always uses the fraction.
  template <class M, class V>
  static V shiftLuma(const Colour<V>& c) {
    if constexpr (M::vector)
      return lumaFraction<M>(c);
    else
      return lumaPercent<M>(c);
  }

  // Adds d to every channel of base, then brings the result back within
  // 0..1 towards its luma, measured before any change.
  template <class M, class V>
  static Colour<V> shiftAndClip(const Colour<V>& base, V d) {
    Colour<V> c{base.red + d, base.green + d, base.blue + d};
    const V L = lumaFraction<M>(c), n = smallest<M>(c), x = largest<M>(c);
    const auto below = 0.0f > n, above = x > 1.0f;
    for (V* channel : {&c.red, &c.green, &c.blue}) {
      *channel = M::select(below, (*channel - L) * L / (L - n) + L, *channel);
      *channel = M::select(above, (*channel - L) * (1.0f - L) / (x - L) + L, *channel);
    }
    return c;
  }
};

struct Hue : NonSeparable {
  template <class M, class V>
  static Colour<V> mix(const Colour<V>& A, const Colour<V>& B, const Alphas<V>&) {
    const Colour<V> base = setSaturation<M>(B, largest<M>(A) - smallest<M>(A));
    return shiftAndClip<M>(base, shiftLuma<M>(A) - shiftLuma<M>(base));
  }
};

struct Saturation : NonSeparable {
  template <class M, class V>
  static Colour<V> mix(const Colour<V>& A, const Colour<V>& B, const Alphas<V>&) {
    const Colour<V> base = setSaturation<M>(A, largest<M>(B) - smallest<M>(B));
    return shiftAndClip<M>(base, shiftLuma<M>(A) - shiftLuma<M>(base));
  }
};

struct Color : NonSeparable {
  template <class M, class V>
  static Colour<V> mix(const Colour<V>& A, const Colour<V>& B, const Alphas<V>&) {
    return shiftAndClip<M>(B, shiftLuma<M>(A) - shiftLuma<M>(B));
  }
};

struct Luminosity : NonSeparable {
  template <class M, class V>
  static Colour<V> mix(const Colour<V>& A, const Colour<V>& B, const Alphas<V>&) {
    return shiftAndClip<M>(A, shiftLuma<M>(B) - shiftLuma<M>(A));
  }
};

// --------------------------------------------------------------- 30 to 40

// The colour of A with a new alpha; luma is that of B's colour.
struct AlphaFormula : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::AlphaOnly;
  static constexpr FormulaShape shape = FormulaShape::AlphaOnly;
  static constexpr bool usesLuma = false;
};

struct StencilAlpha : AlphaFormula {
  template <class M, class V>
  static V alpha(V, const Alphas<V>& k) {
    return k.b * k.a;
  }
};

struct StencilLuma : AlphaFormula {
  static constexpr bool usesLuma = true;
  template <class M, class V>
  static V alpha(V L, const Alphas<V>& k) {
    return L * k.b * k.a;
  }
};

struct SilhouetteAlpha : AlphaFormula {
  template <class M, class V>
  static V alpha(V, const Alphas<V>& k) {
    return (1.0f - k.b) * k.a;
  }
};

struct SilhouetteLuma : AlphaFormula {
  static constexpr bool usesLuma = true;
  template <class M, class V>
  static V alpha(V L, const Alphas<V>& k) {
    return (1.0f - L * k.b) * k.a;
  }
};

// Alphas add up to at most 1 instead of compositing.
struct AlphaAdd : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::Stored;
  static constexpr LanePath lanes = LanePath::FloatOnly;
  template <class M, class V>
  static V resultAlpha(const Alphas<V>& k) {
    return M::min(V(1.0f), k.a + k.b);
  }
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    const V R = resultAlpha<M>(k);
    const V v = M::select(R > 0.0f, k.b / R, k.b);
    return (B - A) * v + A;
  }
};

// B comes already weighted by its alpha, so it is not multiplied by b.
struct NormalPremultipliedSource : LayeredFormula {
  static constexpr BlendForm form = BlendForm::Own;
  static constexpr IntegerRule rule = IntegerRule::Stored;
  static constexpr LanePath lanes = LanePath::FloatOnly;
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>& k) {
    const auto opaque = k.r > 0.0f;
    const V n = M::select(opaque, 1.0f / k.r, V(0.0f));
    const V v = M::select(opaque, k.b * n, k.b);
    return B * n + A * (1.0f - v);
  }
};

struct Average : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return (A + B) * 0.5f;
  }
};

struct Negation : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return 1.0f - M::abs((1.0f - A) - B);
  }
};

// Reflect and Glow are one formula with the operands exchanged.
template <class M, class V>
V reflect(V base, V top) {
  return M::select(top >= 1.0f, top, M::min(V(1.0f), base * base / (1.0f - top)));
}

struct Reflect : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return reflect<M>(A, B);
  }
};

struct Glow : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return reflect<M>(B, A);
  }
};

struct InverseDifference : LayeredFormula {
  template <class M, class V>
  static V mix(V A, V B, const Alphas<V>&) {
    return M::min(A, B) - M::max(A, B) + 1.0f;
  }
};

}  // namespace OZ::Image
