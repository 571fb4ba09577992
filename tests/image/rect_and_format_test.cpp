// Rectangle algebra, the format tables and the descriptor.

#include <gtest/gtest.h>

#include "image/pixel_format.h"
#include "image/rect.h"

using namespace OZ::Image;

TEST(Rect, TheTwoConstantsAreNotConfused) {
  EXPECT_TRUE(isEmpty(emptyRect));
  EXPECT_FALSE(isInfinite(emptyRect));
  EXPECT_FALSE(isEmpty(infiniteRect));
  EXPECT_TRUE(isInfinite(infiniteRect));
  EXPECT_TRUE(isEmpty(Rect{3, 0, 3, 10}));  // x1 == x0
  EXPECT_TRUE(isEmpty(Rect{}));             // never set
  EXPECT_FALSE(isInfinite(Rect{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX - 1}));
}

TEST(Rect, UnionStartsFromEmptyAndStopsAtInfinite) {
  const Rect a{0, 0, 10, 10}, b{-5, 2, 4, 20};
  EXPECT_EQ(unionWith(emptyRect, a), a);
  EXPECT_EQ(unionWith(a, emptyRect), a);
  EXPECT_EQ(unionWith(a, Rect{7, 7, 7, 9}), a);  // an empty operand changes nothing
  EXPECT_EQ(unionWith(a, b), (Rect{-5, 0, 10, 20}));
  EXPECT_EQ(unionWith(infiniteRect, a), infiniteRect);
  EXPECT_EQ(unionWith(a, infiniteRect), infiniteRect);
}

TEST(Rect, IntersectionTakesInfiniteAsNeutralAndMayInvert) {
  const Rect a{0, 0, 10, 10};
  EXPECT_EQ(intersect(a, infiniteRect), a);
  EXPECT_EQ(intersect(infiniteRect, a), a);
  EXPECT_EQ(intersect(a, Rect{5, -3, 20, 4}), (Rect{5, 0, 10, 4}));
  const Rect apart = intersect(a, Rect{20, 20, 30, 30});
  EXPECT_EQ(apart, (Rect{20, 20, 10, 10}));
  EXPECT_TRUE(isEmpty(apart));
  EXPECT_TRUE(contains(a, Rect{0, 0, 10, 10}));
  EXPECT_FALSE(contains(a, Rect{0, 0, 11, 10}));
}

TEST(Rect, SizesWrapIn32Bits) {
  EXPECT_EQ(width(Rect{-3, 0, 7, 2}), 10);
  EXPECT_EQ(height(Rect{-3, 0, 7, 2}), 2);
  // What evaluation meets at a node nothing limits: no positive size.
  EXPECT_EQ(width(infiniteRect), -1);
  EXPECT_EQ(height(infiniteRect), -1);
  EXPECT_EQ(width(emptyRect), 1);
  static_assert(width(infiniteRect) == -1, "usable where constants are");
}

TEST(PixelFormat, CodesSpellTheirLettersLowestByteFirst) {
  EXPECT_EQ(formatCode("argb"), 0x62677261u);
  EXPECT_EQ(formatCode("bgra"), 0x61726762u);
}

TEST(PixelFormat, TablesGiveDepthWhiteAndPositions) {
  struct Row {
    PixelFormatCode code;
    int depth;
    std::uint32_t white;
    ChannelPositions positions;
    ChannelOrder order;
  };
  const Row rows[] = {
      {formatCode("ae32"), 32, 1, {1, 2, 3, 0}, ChannelOrder::AlphaFirst},     {formatCode("BGra"), 32, 1, {2, 1, 0, 3}, ChannelOrder::AlphaLast},
      {formatCode("Argb"), 16, 32768, {1, 2, 3, 0}, ChannelOrder::AlphaFirst}, {formatCode("Vuya"), 16, 32768, {2, 1, 0, 3}, ChannelOrder::AlphaLast},
      {formatCode("argb"), 8, 255, {1, 2, 3, 0}, ChannelOrder::AlphaFirst},    {formatCode("yuy2"), 8, 255, {0, 1, 2, 3}, ChannelOrder::AlphaLast},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.code);
    const PixelFormatCode code = row.code;
    ChannelPositions positions{};
    EXPECT_EQ(formatDepth(code), row.depth);
    EXPECT_EQ(formatWhite(code), row.white);
    ASSERT_TRUE(formatPositions(code, positions));
    EXPECT_EQ(positions, row.positions);
    EXPECT_EQ(channelOrder(code), row.order);
  }
  ChannelPositions unused;
  EXPECT_EQ(formatDepth(formatCode("v210")), 10);
  EXPECT_FALSE(formatPositions(formatCode("v210"), unused));
  EXPECT_EQ(formatDepth(formatCode("xxxx")), 0);
  EXPECT_EQ(formatWhite(formatCode("xxxx")), 0u);
  EXPECT_EQ(channelOrder(formatCode("xxxx")), ChannelOrder::AlphaLast);
}

TEST(PixelFormat, DescriptorFollowsDepthWhiteAndStrideSign) {
  const PixelDescriptor argb16 = describePixels(formatCode("Argb"), 16, false);
  EXPECT_EQ(argb16.type, kUnsigned16);
  EXPECT_EQ(argb16.white, 32768u);
  EXPECT_EQ(argb16.swizzle, (1 << 6 | 2 << 4 | 3 << 2 | 0));
  EXPECT_EQ(argb16.flags, 0u);
  const PixelDescriptor float32 = describePixels(formatCode("BGra"), 32, true);
  EXPECT_EQ(float32.type, kFloat32);
  EXPECT_EQ(float32.white, 0u);
  EXPECT_EQ(float32.flags, 2u);
  const PixelDescriptor unknown = describePixels(formatCode("v210"), 10, false);
  EXPECT_EQ(unknown.type, kUnsigned8);
  EXPECT_EQ(unknown.swizzle, 27);
  const PixelDescriptor fallback;
  EXPECT_EQ(fallback.components, 4u);
  EXPECT_EQ(fallback.swizzle, 27);
  EXPECT_EQ(fallback.flags, 2u);
  EXPECT_EQ(componentBytes(5), 4u);
  EXPECT_EQ(componentBytes(6), 0u);
}
