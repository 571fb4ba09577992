#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "image/filters/deriche_coefficients.h"

namespace OZ::Image {
namespace {

TEST(DericheCoefficients, ZeroSigmaBecomesAPassThrough) {
  const DericheCoefficients c(0.0, 0);
  // The exponentials vanish at s = 0.001: only the centre tap is left.
  EXPECT_DOUBLE_EQ(c.n0, 1.68 - 0.6803);
  for (double k : {c.n1, c.n2, c.n3, c.d1, c.d2, c.d3, c.d4, c.m1, c.m2, c.m3, c.m4}) EXPECT_EQ(k, 0.0);
  EXPECT_DOUBLE_EQ(c.norm, 1.0 / c.n0);
  ASSERT_EQ(c.edgeWeights.size(), 1u);
  EXPECT_EQ(c.edgeWeights[0], 1.0);
  // Negative and tiny sigmas are raised the same way.
  EXPECT_EQ(DericheCoefficients(-3.0, 0).norm, c.norm);
  EXPECT_EQ(DericheCoefficients(0.0005, 0).n0, c.n0);
}

TEST(DericheCoefficients, NormMatchesTheGaussianPeak) {
  // The filter's response at the centre is n0 × norm, and n0 is close to 1.
  for (double s : {5.0, 30.0}) {
    const DericheCoefficients c(s, 0);
    const double peak = 1.0 / (s * std::sqrt(2 * M_PI));
    EXPECT_NEAR(c.norm * c.n0, peak, peak * 0.01) << "s " << s;
  }
  EXPECT_NEAR(DericheCoefficients(5.0, 0).norm * DericheCoefficients(5.0, 0).n0, 0.0797, 0.0005);
}

TEST(DericheCoefficients, FirstDerivativeMirrorChangesSign) {
  for (std::int32_t order : {0, 1, 2}) {
    const DericheCoefficients c(4.0, order);
    const double sign = order == 1 ? -1.0 : 1.0;
    EXPECT_EQ(c.m1, sign * (c.n1 - c.d1 * c.n0)) << "order " << order;
    EXPECT_EQ(c.m2, sign * (c.n2 - c.d2 * c.n0)) << "order " << order;
    EXPECT_EQ(c.m3, sign * (c.n3 - c.d3 * c.n0)) << "order " << order;
    EXPECT_EQ(c.m4, sign * (-c.d4 * c.n0)) << "order " << order;
    EXPECT_NE(c.m1, 0.0);
  }
}

TEST(DericheCoefficients, UnknownOrderTakesOrderZeroConstants) {
  const DericheCoefficients zero(6.0, 0), unknown(6.0, 7);
  EXPECT_EQ(unknown.order, 7);
  EXPECT_EQ(unknown.n0, zero.n0);
  EXPECT_EQ(unknown.n2, zero.n2);
  EXPECT_EQ(unknown.m3, zero.m3);
  EXPECT_EQ(unknown.d4, zero.d4);
  EXPECT_EQ(unknown.norm, zero.norm);
}

TEST(DericheCoefficients, EdgeWeightsAreANormalisedHalfGaussian) {
  const DericheCoefficients c(2.9, 0);
  ASSERT_EQ(c.edgeWeights.size(), 11u);  // ceil(10.15)
  EXPECT_NEAR(std::accumulate(c.edgeWeights.begin(), c.edgeWeights.end(), 0.0), 1.0, 1e-12);
  for (std::size_t i = 1; i < c.edgeWeights.size(); ++i)
    EXPECT_NEAR(c.edgeWeights[i] / c.edgeWeights[0], std::exp(-0.5 * (i / 2.9) * (i / 2.9)), 1e-12);
  EXPECT_EQ(DericheCoefficients(30.0, 0).edgeWeights.size(), 105u);
}

}  // namespace
}  // namespace OZ::Image
