#pragma once
// Deriche's recursive approximation of the Gaussian and its first two
// derivatives along one axis: a causal and an anti-causal fourth-order
// filter whose sum, times `norm`, has unit gain.

#include <cstdint>
#include <vector>

namespace OZ::Image {

struct DericheCoefficients {
  DericheCoefficients() = default;
  // sigma in pixels, raised to at least 0.001; order 0, 1 or 2. Any other
  // order takes the constants of order 0 but keeps its number, so the line
  // filter starts it from zero edges rather than from edge estimates.
  DericheCoefficients(double sigma, std::int32_t order);

  std::vector<double> edgeWeights;  // half-Gaussian weights of the edge estimates, order 0 only
  double n0 = 0, n1 = 0, n2 = 0, n3 = 0;  // feed-forward, causal filter
  double m1 = 0, m2 = 0, m3 = 0, m4 = 0;  // feed-forward, anti-causal filter
  double d1 = 0, d2 = 0, d3 = 0, d4 = 0;  // feedback, both directions
  double norm = 1.0;                      // applied to the sum of the two directions
  std::int32_t order = 0;
};

}  // namespace OZ::Image
