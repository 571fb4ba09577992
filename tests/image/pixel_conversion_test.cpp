// The per-component conversions at their edges: they truncate, clamp floats
// only, and let integer overflow wrap.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "image/pixel_conversion.h"

using namespace OZ::Image;

template <class Target, class Source>
Target converted(Source value) {
  Target target{};
  convertComponent(value, target);
  return target;
}

TEST(PixelConversion, EightBitAndFloatMeetAtWhite) {
  EXPECT_EQ(converted<float>(std::uint8_t(255)), 1.0f);
  EXPECT_EQ(converted<std::uint8_t>(1.0f), 255);
  EXPECT_EQ(converted<std::uint8_t>(1.5f), 255);  // by the clamp
  EXPECT_EQ(converted<std::uint8_t>(-0.5f), 0);
  EXPECT_EQ(converted<std::uint8_t>(0.999f), 254);  // truncated, not rounded
  EXPECT_EQ(converted<std::uint8_t>(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(PixelConversion, SixteenBitWhiteIs32768AndNothingClampsIntegers) {
  EXPECT_EQ(converted<std::uint8_t>(std::uint16_t(32768)), 255);
  EXPECT_EQ(converted<std::uint8_t>(std::uint16_t(65535)), 509 & 255);
  EXPECT_EQ(converted<std::uint16_t>(std::uint8_t(255)), 32768);
  EXPECT_EQ(converted<std::uint16_t>(std::uint8_t(1)), 128);  // 32768 / 255 truncated
  EXPECT_EQ(converted<std::uint16_t>(2.0f), 32768);
  EXPECT_EQ(converted<std::uint16_t>(0.5f), 16384);
  EXPECT_EQ(converted<float>(std::uint16_t(32768)), 1.0f);
  EXPECT_EQ(converted<float>(std::uint16_t(65535)), 65535 * 3.0517578e-5f);
}
