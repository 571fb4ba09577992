#pragma once
// The blend modes in double precision, in their textbook shape: sorting
// for SetSaturation, exact luma weights, no quantising and no rounding.
// What the kernels must come near, within the tolerance of their path.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace OZ::Image::BlendTest {

struct Rgb {
  double red, green, blue;
  double& operator[](int i) { return i == 0 ? red : i == 1 ? green : blue; }
  double operator[](int i) const { return i == 0 ? red : i == 1 ? green : blue; }
};

struct ReferencePixel {
  Rgb colour;
  double alpha;
};

inline double luma(const Rgb& c) { return 0.3 * c.red + 0.59 * c.green + 0.11 * c.blue; }
inline double spanOf(const Rgb& c) {
  return std::max({c.red, c.green, c.blue}) - std::min({c.red, c.green, c.blue});
}

inline Rgb withSaturation(Rgb c, double s) {
  std::array<double*, 3> order{&c.red, &c.green, &c.blue};
  std::sort(order.begin(), order.end(), [](double* x, double* y) { return *x < *y; });
  if (*order[2] > *order[0]) {
    *order[1] = (*order[1] - *order[0]) * s / (*order[2] - *order[0]);
    *order[2] = s;
  } else {
    *order[1] = *order[2] = 0;
  }
  *order[0] = 0;
  return c;
}

inline Rgb withLuma(Rgb c, double target) {
  const double d = target - luma(c);
  for (int i = 0; i < 3; ++i) c[i] += d;
  const double L = luma(c), n = std::min({c.red, c.green, c.blue}), x = std::max({c.red, c.green, c.blue});
  for (int i = 0; i < 3; ++i) {
    if (n < 0) c[i] = L + (c[i] - L) * L / (L - n);
    if (x > 1) c[i] = L + (c[i] - L) * (1 - L) / (x - L);
  }
  return c;
}

inline double vividLight(double A, double B) {
  if (B < 0.5) {
    if (B <= 0) return 2 * B;
    const double t = (1 - A) / (2 * B);
    return t > 1 ? 0 : 1 - t;
  }
  const double x = 2 * (B - 0.5);
  return x >= 1 ? x : std::min(1.0, A / (1 - x));
}

// M of a separable mode; `limited` keeps it within 0..1 where the 8- and
// 16-bit scalar kernels round it down into the channel's range.
inline double separableM(std::uint32_t mode, double A, double B, double a, bool limited) {
  auto limit = [&](double m) { return limited ? std::clamp(m, 0.0, 1.0) : m; };
  switch (mode) {
    case 1: return std::min((A - 1) * a + 1, B);
    case 2: return A * B;
    case 3: return B <= 0 ? B : std::max(0.0, 1 - (1 - A) / B);
    case 5: return std::max(0.0, A + B - 1);
    case 7: return limit(A + B);
    case 8: return std::max(a * A, B);
    case 9: return 1 - (1 - A) * (1 - B);
    case 10: return B >= 1 ? B : std::min(1.0, A / (1 - B));
    case 12: return std::min(1.0, A + B);
    case 14: return A < 0.5 ? 2 * A * B : 1 - 2 * (1 - A) * (1 - B);
    case 15: {
      const double t = (A - 0.5) * a + 0.5;
      if (B < 0.5) return t - (1 - 2 * B) * t * (1 - t);
      const double D = t < 0.25 ? ((16 * t - 12) * t + 4) * t : std::sqrt(t);
      return t + (2 * B - 1) * (D - t);
    }
    case 16: return B < 0.5 ? 2 * A * B : 1 - 2 * (1 - A) * (1 - B);
    case 17: return B < 0.5 ? std::max(0.0, A + 2 * B - 1) : std::min(1.0, A + 2 * (B - 0.5));
    case 18: return vividLight(A, B);
    case 19: return B < 0.5 ? std::min(A, 2 * B) : std::max(A, 2 * (B - 0.5));
    case 20: return vividLight(A, B) < 0.5 ? 0 : 1;
    case 21: return std::fabs(A - B);
    case 23: return A + B - 2 * A * B;
    case 24: return limit(A - B);
    case 25: return limit(B != 0 ? A / B : 0);
    case 36: return (A + B) / 2;
    case 37: return 1 - std::fabs(1 - A - B);
    case 38: return B >= 1 ? B : std::min(1.0, A * A / (1 - B));
    case 39: return A >= 1 ? A : std::min(1.0, B * B / (1 - A));
    case 40: return 1 - std::fabs(A - B);
    default: return 0;
  }
}

// One pixel: A, B normalised colours, a and b the alphas (b with the
// opacity). mode is one that has a kernel (0 to 40).
inline ReferencePixel referenceBlend(std::uint32_t mode, const Rgb& A, const Rgb& B, double a, double b,
                                     bool limited) {
  const double r = a + b - a * b, w = r > 0 ? b / r : b;
  ReferencePixel out{A, r};
  auto layered = [&](int i, double m) { return ((m - B[i]) * a + B[i] - A[i]) * w + A[i]; };
  switch (mode) {
    case 0:
      for (int i = 0; i < 3; ++i) out.colour[i] = A[i] + (B[i] - A[i]) * w;
      return out;
    case 4:
    case 11:
      for (int i = 0; i < 3; ++i) {
        double x = mode == 4 ? (1 - B[i]) * b : B[i] * b;
        if (x < 1) x = std::min(1.0, (mode == 4 ? 1 - A[i] : A[i]) * a / (1 - x));
        if (r > 0) x /= r;
        out.colour[i] = mode == 4 ? 1 - x : x;
      }
      return out;
    case 6:
    case 13: {
      const double d = luma(B) - luma(A);
      const Rgb& m = (mode == 6 ? d > 0 : d < 0) ? A : B;
      for (int i = 0; i < 3; ++i) out.colour[i] = layered(i, m[i]);
      return out;
    }
    case 22:
      for (int i = 0; i < 3; ++i) {
        const double x = std::fabs(A[i] * a - B[i] * b);
        out.colour[i] = r > 0 ? x / r : x;
      }
      return out;
    case 26:
    case 27:
    case 28:
    case 29: {
      const Rgb m = mode == 26   ? withLuma(withSaturation(B, spanOf(A)), luma(A))
                    : mode == 27 ? withLuma(withSaturation(A, spanOf(B)), luma(A))
                    : mode == 28 ? withLuma(B, luma(A))
                                 : withLuma(A, luma(B));
      for (int i = 0; i < 3; ++i) out.colour[i] = layered(i, m[i]);
      return out;
    }
    case 30: out.alpha = a * b; return out;
    case 31: out.alpha = a * b * luma(B); return out;
    case 32: out.alpha = a * (1 - b); return out;
    case 33: out.alpha = a * (1 - b * luma(B)); return out;
    case 34: {
      out.alpha = std::min(1.0, a + b);
      const double v = out.alpha > 0 ? b / out.alpha : b;
      for (int i = 0; i < 3; ++i) out.colour[i] = A[i] + (B[i] - A[i]) * v;
      return out;
    }
    case 35:
      for (int i = 0; i < 3; ++i) out.colour[i] = r > 0 ? B[i] / r + A[i] * (1 - b / r) : A[i] * (1 - b);
      return out;
    default:
      for (int i = 0; i < 3; ++i) {
        const double m = separableM(mode, A[i], B[i], a, limited);
        out.colour[i] = mode == 1 || mode == 8 || mode == 15 ? A[i] + (m - A[i]) * w : layered(i, m);
      }
      return out;
  }
}

}  // namespace OZ::Image::BlendTest
