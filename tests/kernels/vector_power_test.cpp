// The four-lane power function against double precision, and its behaviour
// for x <= 0, which the gamma kernels depend on.
#include "image/filters/vector_power.h"

#include <gtest/gtest.h>

#include <cmath>

#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

using Power = VectorPower<SSE2Level>;

float powerLane(float x, float y) {
  float lanes[4];
  _mm_storeu_ps(lanes, Power::power(_mm_set1_ps(x), _mm_set1_ps(y)));
  EXPECT_TRUE(lanes[0] == lanes[3] || (std::isnan(lanes[0]) && std::isnan(lanes[3])));
  return lanes[0];
}

// exp(y ln x) in single precision loses about |y ln x| ulps of the
// exponent's absolute error on top of a few ulps of its own.
TEST(VectorPower, FollowsDoublePrecisionWithinExponentScaledTolerance) {
  for (float y : {0.1f, 0.45454547f, 1.0f, 2.2f, 3.0f, -1.5f}) {
    for (double lg = -30.0; lg <= 30.0; lg += 0.0137) {
      const float x = float(std::pow(10.0, lg));
      const double w = double(y) * std::log(double(x));
      if (std::fabs(w) > 87.0) continue;
      const double expected = std::pow(double(x), double(y));
      const double tolerance = expected * 3e-7 * (2.0 + std::fabs(w));
      ASSERT_NEAR(powerLane(x, y), expected, tolerance) << "x " << x << " y " << y;
    }
  }
}

TEST(VectorPower, ExactAtOneAndAtPowerZero) {
  EXPECT_EQ(powerLane(1.0f, 2.2f), 1.0f);
  EXPECT_EQ(powerLane(200.0f, 0.0f), 1.0f);
  EXPECT_EQ(powerLane(1e-30f, 0.0f), 1.0f);
}

TEST(VectorPower, NonPositiveLanesEndAtTheUpperBound) {
  const float bound = powerLane(0.0f, 2.2f);
  EXPECT_GT(bound, 2.3e38f);
  EXPECT_LT(bound, 2.5e38f);
  // Whatever the exponent, even 0: the NaN logarithm takes the bound.
  for (float x : {0.0f, -0.0f, -1.0f, -1e30f, -INFINITY})
    for (float y : {0.0f, 0.5f, 2.2f, -3.0f}) EXPECT_EQ(powerLane(x, y), bound) << x << " " << y;
}

TEST(VectorPower, NaNIsTakenAsTheSmallestNormal) { EXPECT_EQ(powerLane(NAN, 0.5f), powerLane(1.1754944e-38f, 0.5f)); }

TEST(VectorPower, ExponentIsBoundedBothWays) {
  EXPECT_EQ(powerLane(10.0f, 40.0f), powerLane(0.0f, 1.0f));
  EXPECT_EQ(powerLane(10.0f, -40.0f), 0.0f);
}

TEST(VectorPower, LanesAreIndependent) {
  float lanes[4];
  _mm_storeu_ps(lanes, Power::power(_mm_setr_ps(4.0f, -1.0f, 9.0f, 0.25f), _mm_setr_ps(0.5f, 0.5f, 0.0f, 2.0f)));
  EXPECT_NEAR(lanes[0], 2.0f, 1e-6f);
  EXPECT_GT(lanes[1], 2.3e38f);
  EXPECT_EQ(lanes[2], 1.0f);
  EXPECT_NEAR(lanes[3], 0.0625f, 1e-7f);
}

}  // namespace
}  // namespace OZ::Image
