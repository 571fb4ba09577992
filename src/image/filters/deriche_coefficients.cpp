#include "image/filters/deriche_coefficients.h"

#include <cmath>
#include <cstddef>

namespace OZ::Image {
namespace {

// Deriche's fitted constants (1993): the response is
// (a0 cos(w0 x/s) + a1 sin(w0 x/s)) e^(-b0 x/s) + (c0 cos(w1 x/s) + c1 sin(w1 x/s)) e^(-b1 x/s).
struct DericheConstants {
  double a0, a1, b0, b1, w0, w1, c0, c1;
};

constexpr DericheConstants kOrderConstants[3] = {
    {1.68, 3.735, 1.783, 1.723, 0.6318, 1.997, -0.6803, -0.2598},
    {-0.6472, -4.531, 1.527, 1.516, 0.6719, 2.072, 0.6494, 0.9557},
    {-1.331, 3.661, 1.24, 1.314, 0.748, 2.166, 0.3225, -1.738},
};

// Sum of the magnitudes of the causal filter's impulse response, cut at the
// first sample below 1e-5 (not counted) or after 1024 samples. Runs the same
// recursion, in the same order, as the line filter does.
double causalResponseMagnitude(const DericheCoefficients& c) {
  double x1 = 0, x2 = 0, x3 = 0;
  double p1 = 0, p2 = 0, p3 = 0, p4 = 0;
  double total = 0;
  for (int i = 0; i < 1024; ++i) {
    const double x0 = i == 0 ? 1.0 : 0.0;
    const double p = c.n0 * x0 + c.n1 * x1 + c.n2 * x2 + c.n3 * x3 - c.d1 * p1 - c.d2 * p2 - c.d3 * p3 - c.d4 * p4;
    if (std::fabs(p) < 1e-5) break;
    total += std::fabs(p);
    x3 = x2, x2 = x1, x1 = x0;
    p4 = p3, p3 = p2, p2 = p1, p1 = p;
  }
  return total;
}

}  // namespace

DericheCoefficients::DericheCoefficients(double sigma, std::int32_t order) : order(order) {
  // Written so that a NaN sigma also becomes the smallest one.
  const double s = sigma >= 0.001 ? sigma : 0.001;
  const DericheConstants& k = kOrderConstants[order == 1 || order == 2 ? order : 0];
  const double a0 = k.a0, a1 = k.a1, b0 = k.b0, b1 = k.b1, c0 = k.c0, c1 = k.c1;

  const double E0 = std::exp(-b0 / s), E1 = std::exp(-b1 / s);
  const double C0 = std::cos(k.w0 / s), S0 = std::sin(k.w0 / s);
  const double C1 = std::cos(k.w1 / s), S1 = std::sin(k.w1 / s);

  // The z-transform of the causal half, written out; each product is
  // evaluated left to right exactly as it stands.
  n0 = a0 + c0;
  n1 = E1 * (c1 * S1 - (c0 + 2 * a0) * C1) + E0 * (a1 * S0 - (2 * c0 + a0) * C0);
  n2 = 2 * E0 * E1 * ((a0 + c0) * C1 * C0 - a1 * C1 * S0 - c1 * C0 * S1) + c0 * E0 * E0 + a0 * E1 * E1;
  n3 = E1 * E0 * E0 * (c1 * S1 - c0 * C1) + E0 * E1 * E1 * (a1 * S0 - a0 * C0);
  d1 = -2 * E1 * C1 - 2 * E0 * C0;
  d2 = 4 * C1 * C0 * E0 * E1 + E1 * E1 + E0 * E0;
  d3 = -2 * C0 * E0 * E1 * E1 - 2 * C1 * E1 * E0 * E0;
  d4 = E0 * E0 * E1 * E1;

  // The anti-causal half mirrors the causal one without its centre tap; the
  // first derivative is antisymmetric, so its mirror changes sign.
  m1 = n1 - d1 * n0;
  m2 = n2 - d2 * n0;
  m3 = n3 - d3 * n0;
  m4 = -d4 * n0;
  if (order == 1) {
    m1 = -m1;
    m2 = -m2;
    m3 = -m3;
    m4 = -m4;
  }

  // Both halves together sum to twice the causal response less the centre
  // tap that only the causal half has.
  const double divisor = 2 * causalResponseMagnitude(*this) - n0;
  norm = divisor != 0 ? 1.0 / divisor : 1.0;

  edgeWeights.assign(std::size_t(std::ceil(s * 3.5)), 0.0);
  if (order == 0) {
    double sum = 0;
    for (std::size_t i = 0; i < edgeWeights.size(); ++i) {
      const double t = double(i) / s;
      edgeWeights[i] = std::exp(-0.5 * (t * t));
      sum += edgeWeights[i];
    }
    if (sum > 0)
      for (double& weight : edgeWeights) weight /= sum;
  }
}

}  // namespace OZ::Image
