// Bands tile the rows exactly, for every height and count.

#include <gtest/gtest.h>

#include "image/filter.h"

using OZ::Image::bandOf;
using OZ::Image::Rect;

TEST(BandRule, BandsTileTheRowsForEveryCount) {
  for (std::int32_t top : {0, -7, 1000}) {
    for (std::int32_t height = 0; height <= 40; ++height) {
      const Rect bounds{3, top, 9, top + height};
      for (std::uint64_t count = 1; count <= 50; ++count) {
        std::int32_t expectedTop = top;
        for (std::uint64_t i = 0; i < count; ++i) {
          const Rect band = bandOf(bounds, i, count);
          ASSERT_EQ(band.y0, expectedTop) << height << " rows in " << count;
          ASSERT_GE(band.y1, band.y0);
          ASSERT_LE(band.y1 - band.y0, height / std::int32_t(count) + 1);
          ASSERT_EQ(band.x0, 3);
          ASSERT_EQ(band.x1, 9);
          expectedTop = band.y1;
        }
        ASSERT_EQ(expectedTop, top + height);
      }
    }
  }
}

TEST(BandRule, MultiplyFirstThenDivide) {
  const Rect ten{0, 0, 1, 10};
  EXPECT_EQ(bandOf(ten, 0, 3), (Rect{0, 0, 1, 3}));
  EXPECT_EQ(bandOf(ten, 1, 3), (Rect{0, 3, 1, 6}));
  EXPECT_EQ(bandOf(ten, 2, 3), (Rect{0, 6, 1, 10}));
  const Rect three{0, 0, 1, 3};
  EXPECT_EQ(bandOf(three, 0, 8), (Rect{0, 0, 1, 0}));  // more bands than rows: some are empty
  EXPECT_EQ(bandOf(three, 7, 8), (Rect{0, 2, 1, 3}));
}
