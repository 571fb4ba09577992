// Premultiply and unmultiply in all six formats, and the host's rules for a
// filter's bands: identical results for any thread count, an abort that
// stops every thread within 32 rows, progress only from thread 0.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "image/exception.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/unmult_alpha_filter.h"
#include "support/filter_run.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

MakeFilter premult() {
  return [](FilterNode* input) { return std::make_unique<PremultAlphaFilter<FilterHost>>(input); };
}
MakeFilter unmult() {
  return [](FilterNode* input) { return std::make_unique<UnmultAlphaFilter<FilterHost>>(input); };
}

// One pixel through a filter, components in memory order.
template <class T>
std::vector<T> onePixel(PixelFormatCode format, const MakeFilter& make, std::vector<T> pixel) {
  FilterRun run(format, 1, 1);
  std::vector<unsigned char> bytes(sizeof(T) * 4);
  std::memcpy(bytes.data(), pixel.data(), bytes.size());
  run.setInput(bytes);
  run.render(make);
  const std::vector<unsigned char> out = run.outputBytes();
  std::memcpy(pixel.data(), out.data(), out.size());
  return pixel;
}

std::vector<unsigned char> randomBytes(std::size_t count, unsigned seed) {
  std::mt19937 generator(seed);
  std::vector<unsigned char> bytes(count);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator());
  return bytes;
}

}  // namespace

TEST(AlphaFilters, EightBitRoundsHalfUpAndWrapsWithoutClamping) {
  using P = std::vector<std::uint8_t>;
  // A R G B: colour 200 at alpha 100 unmultiplies to 510, stored as its low byte.
  EXPECT_EQ(onePixel<std::uint8_t>(formatCode("argb"), unmult(), P{100, 200, 50, 0}), (P{100, 254, 128, 0}));
  EXPECT_EQ(onePixel<std::uint8_t>(formatCode("bgra"), unmult(), P{0, 50, 200, 100}), (P{0, 128, 254, 100}));
  EXPECT_EQ(onePixel<std::uint8_t>(formatCode("argb"), unmult(), P{0, 9, 8, 7}), (P{0, 9, 8, 7}));  // no alpha
  EXPECT_EQ(onePixel<std::uint8_t>(formatCode("argb"), premult(), P{255, 9, 128, 255}), (P{255, 9, 128, 255}));
  EXPECT_EQ(onePixel<std::uint8_t>(formatCode("bgra"), premult(), P{200, 101, 3, 128}), (P{100, 51, 2, 128}));
  // There and back is not the identity: the rounding of the first step stays.
  const P there = onePixel<std::uint8_t>(formatCode("argb"), premult(), P{3, 200, 100, 1});
  EXPECT_EQ(onePixel<std::uint8_t>(formatCode("argb"), unmult(), there), (P{3, 170, 85, 0}));
}

TEST(AlphaFilters, SixteenBitFullScaleIs32768AndAboveItScalesUp) {
  using P = std::vector<std::uint16_t>;
  EXPECT_EQ(onePixel<std::uint16_t>(formatCode("Argb"), premult(), P{32768, 1000, 65535, 7}), (P{32768, 1000, 65535, 7}));
  EXPECT_EQ(onePixel<std::uint16_t>(formatCode("Argb"), premult(), P{49152, 1000, 40000, 0}),
            (P{49152, 1500, std::uint16_t(60000), 0}));
  EXPECT_EQ(onePixel<std::uint16_t>(formatCode("Bgra"), unmult(), P{20000, 10000, 5, 16384}), (P{40000, 20000, 10, 16384}));
  EXPECT_EQ(onePixel<std::uint16_t>(formatCode("Bgra"), unmult(), P{40000, 1, 2, 16384}),
            (P{std::uint16_t(80000 & 0xFFFF), 2, 4, 16384}));  // wraps
  EXPECT_EQ(onePixel<std::uint16_t>(formatCode("Argb"), unmult(), P{0, 5, 6, 7}), (P{0, 5, 6, 7}));
}

TEST(AlphaFilters, FloatKeepsItsRangeAndOddAlphaLeavesColour) {
  using P = std::vector<float>;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(onePixel<float>(formatCode("ARgb"), premult(), P{0.5f, 3.0f, -1.0f, 0.25f}), (P{0.5f, 1.5f, -0.5f, 0.125f}));
  EXPECT_EQ(onePixel<float>(formatCode("BGra"), unmult(), P{1.0f, 3.0f, 0.5f, 0.5f}), (P{2.0f, 6.0f, 1.0f, 0.5f}));
  EXPECT_EQ(onePixel<float>(formatCode("BGra"), unmult(), P{1.0f, 3.0f, 0.5f, -2.0f}), (P{1.0f, 3.0f, 0.5f, -2.0f}));
  const P out = onePixel<float>(formatCode("ARgb"), unmult(), P{nan, 0.3f, 0.2f, 0.1f});
  EXPECT_TRUE(std::isnan(out[0]));
  EXPECT_EQ(out[1], 0.3f);
}

TEST(AlphaFilters, AnyThreadCountGivesTheSameImage) {
  for (PixelFormatCode format : {formatCode("argb"), formatCode("Bgra"), formatCode("BGra")}) {
    std::vector<unsigned char> reference;
    for (int threads : {1, 2, 3, 7}) {
      FilterRun run(format, 37, 101, threads);
      std::vector<unsigned char> bytes = randomBytes(run.rowBytes() * 101, 5);
      if (formatDepth(format) == 32)  // keep floats finite and comparable
        for (std::size_t i = 3; i < bytes.size(); i += 4) bytes[i] &= 0x3F;
      run.setInput(bytes);
      run.render(unmult());
      if (reference.empty()) reference = run.outputBytes();
      EXPECT_EQ(run.outputBytes(), reference) << threads << " threads";
      EXPECT_EQ(run.fixture.standIn.liveWorlds(), 0u);
    }
  }
}

TEST(AlphaFilters, AnAbortStopsEveryThreadWithin32RowsAndKeepsFinishedRows) {
  const std::int32_t height = 400;
  FilterRun run(formatCode("argb"), 16, height, 4);
  run.setInput(std::vector<unsigned char>(run.rowBytes() * height, 0xFF));
  run.fillOutput(0x11);
  // The layer's report of its (empty) work, then thread 0's after rows 0 and 32.
  run.fixture.standIn.faults.abortOnProgress = 3;
  EXPECT_THROW(run.render(premult()), OZ::Interrupted);
  EXPECT_EQ(run.fixture.host.abortCode.load(), std::uint32_t(PF_Interrupt_CANCEL));
  EXPECT_EQ(run.fixture.standIn.progressTrace().size(), 3u);  // only thread 0 spoke to the host
  EXPECT_EQ(run.fixture.standIn.liveWorlds(), 0u);

  const std::vector<unsigned char> out = run.outputBytes();
  for (std::uint64_t band = 0; band < 4; ++band) {
    const Rect rows = bandOf(Rect{0, 0, 16, height}, band, 4);
    std::int32_t written = 0;
    while (rows.y0 + written < rows.y1 && out[std::size_t(rows.y0 + written) * run.rowBytes()] == 0xFF) ++written;
    for (std::int32_t y = rows.y0 + written; y < rows.y1; ++y)
      ASSERT_EQ(out[std::size_t(y) * run.rowBytes()], 0x11) << "rows of band " << band << " are a prefix";
    if (band == 0)
      EXPECT_EQ(written, 33);
    else
      EXPECT_TRUE(written % 32 == 1 || written == rows.y1 - rows.y0) << "band " << band << " wrote " << written;
  }
}

TEST(AlphaFilters, ProgressOfATwoNodeRenderFollowsTheLevels) {
  FilterRun run(formatCode("argb"), 4, 70, 1);
  run.render(std::vector<MakeFilter>{premult(), unmult()});
  // The layer's end (it weighs nothing), then rows 0, 32 and 64 of 70 in each
  // node and each node's end; two units in all.
  const std::vector<std::pair<A_long, A_long>> expected = {{0, 2000},    {0, 2000},    {457, 2000},
                                                           {914, 2000},  {1000, 2000},
                                                           {1000, 2000}, {1457, 2000}, {1914, 2000}, {2000, 2000}};
  EXPECT_EQ(run.fixture.standIn.progressTrace(), expected);
}
