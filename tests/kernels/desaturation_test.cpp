// The full desaturation's short route against the general HSVCC kernel of
// the same level: the same bytes in every format, at every alignment of
// target and source, in place, on data full of edge values; and its answer
// whether every pixel took the short route.

#include <gtest/gtest.h>

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "image/filters/balance_kernels.h"
#include "image/filters/desaturation_kernels.h"
#include "image/filters/hsvcc_kernels.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

constexpr ProcessorFlags kAllLevels = ~ProcessorFlags(0);

struct RecordingProgress final : Progress {
  void report(std::int64_t current, std::int64_t total) override { reports.emplace_back(current, total); }
  std::vector<std::pair<std::int64_t, std::int64_t>> reports;
};

// Rows of `rect` in a buffer with sentinel bytes around them; the first
// pixel sits `offset` bytes past a 16-byte boundary.
struct Rows {
  Rows(Rect rect, int pixelBytes, int offset)
      : rect(rect), stride((width(rect) * pixelBytes + 40 + 15) / 16 * 16), bytes(std::size_t(stride * height(rect) + 64), 0xA5) {
    start = (16 - reinterpret_cast<std::uintptr_t>(bytes.data()) % 16) % 16 + std::size_t(offset);
  }
  unsigned char* origin() { return bytes.data() + start; }
  SourceView source() { return {rect, origin(), stride, {0, 0, 0, 0}}; }
  TargetView target() { return {rect, origin(), stride}; }

  Rect rect;
  std::int64_t stride;
  std::vector<unsigned char> bytes;
  std::size_t start;
};

// Components with many ties, the ends of each range, and in float the
// values the short route must leave to the general conversion: negatives,
// NaN, infinities, denormals and spreads too small for a reciprocal.
template <class Layout>
void fill(Rows& rows, std::mt19937& random, bool inRange) {
  using Component = typename Layout::Component;
  std::vector<Component> special;
  if constexpr (Layout::depth == 8)
    special = {0, 1, 127, 128, 254, 255};
  else if constexpr (Layout::depth == 16)
    special = {0, 1, 16384, 32767, 32768, 32769, 65535};
  else if (inRange)
    special = {0.0f, -0.0f, 1.0f, 0.5f, 0x1p-23f};
  else
    special = {0.0f, -0.0f, 1.0f, -0.25f, 2.0f, 1e-40f, 2e-40f, 1e30f,
               std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
               -std::numeric_limits<float>::infinity()};
  std::uniform_real_distribution<float> uniform(0.0f, Layout::isFloat ? 1.0f : Layout::white);
  for (std::int32_t y = 0; y < height(rows.rect); ++y)
    for (std::int32_t x = 0; x < width(rows.rect); ++x) {
      Component pixel[4];
      for (Component& c : pixel) c = random() % 3 == 0 ? special[random() % special.size()] : Component(uniform(random));
      // Grey pixels too: a spread of 0 is a case of its own.
      if (random() % 5 == 0) pixel[(Layout::alpha + 1) % 4] = pixel[(Layout::alpha + 2) % 4] = pixel[(Layout::alpha + 3) % 4];
      std::memcpy(rows.origin() + y * rows.stride + x * Layout::bytes, pixel, Layout::bytes);
    }
}

// The byte where two buffers part, or -1.
long firstDifference(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
    if (a[i] != b[i]) return long(i);
  return a.size() == b.size() ? -1 : long(std::min(a.size(), b.size()));
}

template <class Visitor>
void forEachLayout(Visitor&& visit) {
  for (int depth : {8, 16, 32})
    for (ChannelOrder order : {ChannelOrder::AlphaFirst, ChannelOrder::AlphaLast}) {
      SCOPED_TRACE(::testing::Message() << "depth " << depth << (order == ChannelOrder::AlphaFirst ? " argb" : " bgra"));
      visitLayout(depth, order, visit);
    }
}

struct LevelCase {
  const char* name;
  ProcessorFlags mask;
  KernelLevel level;
};

const LevelCase kLevels[] = {{"Scalar", 0, KernelLevel::Scalar},
                             {"SSE2", kFlagSSE2, KernelLevel::SSE2},
                             {"SSSE3", kFlagSSE2 | kFlagSSSE3, KernelLevel::SSSE3},
                             {"SSE41", kFlagSSE2 | kFlagSSSE3 | kFlagSSE41, KernelLevel::SSE41}};

class DesaturationLevelTest : public ::testing::TestWithParam<LevelCase> {
 protected:
  void SetUp() override {
    restrictProcessorFlags(kAllLevels);
    if ((queryProcessorFlags() & GetParam().mask) != GetParam().mask) GTEST_SKIP() << "processor lacks the level";
    restrictProcessorFlags(GetParam().mask);
  }
  void TearDown() override { restrictProcessorFlags(kAllLevels); }

  template <class Layout>
  bool shortRoute(Rows& target, Rows& source, const Rect& band, RecordingProgress& progress) {
    const bool all = runDesaturationBand(Layout::depth, Layout::order, target.target(), source.source(), band, progress);
    EXPECT_EQ(lastLevelRun(), GetParam().level);
    return all;
  }
  template <class Layout>
  void general(Rows& target, Rows& source, const Rect& band, RecordingProgress& progress) {
    runHsvccBand(Layout::depth, Layout::order, target.target(), source.source(), band, progress, 0.0f, 0.0f, 1.0f);
  }
};

// Widths and phases put every pixel of a row in the head, a block or the
// tail in turn; a band inside the rows leaves the sentinels around it.
TEST_P(DesaturationLevelTest, StoresWhatTheGeneralKernelStores) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(Layout::depth + 3 * Layout::alphaFirst);
    for (bool inRange : {true, false})
      for (int targetOffset : {0, 4, 8, 12})
        for (int sourceOffset : {0, 4})
          for (std::int32_t w : {1, 3, 7, 13}) {
            SCOPED_TRACE(::testing::Message() << "offsets " << targetOffset << "/" << sourceOffset << " width " << w);
            const Rect rect{-3, 2, w - 3, 40};
            const Rect band{rect.x0, 3, rect.x1, 38};
            Rows source(rect, Layout::bytes, sourceOffset), shortOut(rect, Layout::bytes, targetOffset),
                generalOut(rect, Layout::bytes, targetOffset);
            fill<Layout>(source, random, inRange);
            RecordingProgress shortReports, generalReports;
            shortRoute<Layout>(shortOut, source, band, shortReports);
            general<Layout>(generalOut, source, band, generalReports);
            EXPECT_EQ(firstDifference(shortOut.bytes, generalOut.bytes), -1) << "first byte that differs";
            EXPECT_EQ(shortReports.reports, generalReports.reports);
          }
  });
}

TEST_P(DesaturationLevelTest, WorksInPlace) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(7);
    const Rect rect{0, 0, 23, 5};
    Rows shortRows(rect, Layout::bytes, 4);
    fill<Layout>(shortRows, random, false);
    Rows generalRows = shortRows;
    RecordingProgress progress;
    shortRoute<Layout>(shortRows, shortRows, rect, progress);
    general<Layout>(generalRows, generalRows, rect, progress);
    EXPECT_EQ(shortRows.bytes, generalRows.bytes);
  });
}

// Levels taken into the desaturation: the bytes of levels stored and then
// desaturated, in one pass, out of place and in place, for the effect's two
// mappings and a falling one (where the largest channel does not stay the
// largest).
TEST_P(DesaturationLevelTest, LevelsFirstStoreWhatLevelsThenDesaturationStore) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(5 + Layout::depth);
    for (const float outWhite : {0.2f, 1.0f, -0.5f})
      for (int targetOffset : {0, 4, 8, 12})
        for (int sourceOffset : {0, 4})
          for (std::int32_t w : {3, 13}) {
            SCOPED_TRACE(::testing::Message() << "white " << outWhite << " offsets " << targetOffset << "/"
                                              << sourceOffset << " width " << w);
            LevelsFirst levels;
            balanceScaleOffset(0.11f, 0.165f, 0.0f, outWhite, levels.scale, levels.offset);
            const Rect rect{-3, 2, w - 3, 30};
            const Rect band{rect.x0, 3, rect.x1, 28};
            Rows source(rect, Layout::bytes, sourceOffset), stored(rect, Layout::bytes, targetOffset),
                twoPasses(rect, Layout::bytes, targetOffset), onePass(rect, Layout::bytes, targetOffset);
            fill<Layout>(source, random, false);
            Rows inPlace = source;
            RecordingProgress progress;
            runBalanceBand(Layout::depth, Layout::order, stored.target(), source.source(), band, progress,
                           levels.scale, levels.offset, 1.0f, true);
            const bool twoAll = shortRoute<Layout>(twoPasses, stored, band, progress);
            const bool oneAll = runDesaturationBand(Layout::depth, Layout::order, onePass.target(), source.source(),
                                                    band, progress, &levels);
            EXPECT_EQ(firstDifference(onePass.bytes, twoPasses.bytes), -1) << "first byte that differs";
            EXPECT_EQ(oneAll, twoAll);
            runDesaturationBand(Layout::depth, Layout::order, inPlace.target(), inPlace.source(), band, progress,
                                &levels);
            // Outside the band the source stays, inside it matches.
            for (std::int32_t y = band.y0; y < band.y1; ++y)
              ASSERT_EQ(std::memcmp(inPlace.origin() + (y - rect.y0) * inPlace.stride,
                                    onePass.origin() + (y - rect.y0) * onePass.stride, std::size_t(w * Layout::bytes)),
                        0) << "row " << y;
          }
  });
}

// "Every pixel took the short route" is what lets a consumer rely on three
// equal channels: always so for integers, for floats only in range.
TEST_P(DesaturationLevelTest, SaysWhetherEveryPixelTookTheShortRoute) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(11);
    const Rect rect{0, 0, 21, 3};
    for (bool inRange : {true, false}) {
      Rows source(rect, Layout::bytes, 0), out(rect, Layout::bytes, 0);
      fill<Layout>(source, random, inRange);
      RecordingProgress progress;
      const bool all = shortRoute<Layout>(out, source, rect, progress);
      EXPECT_EQ(all, inRange || !Layout::isFloat);
      if (!all) continue;
      for (std::int32_t y = 0; y < 3; ++y)
        for (std::int32_t x = 0; x < 21; ++x) {
          typename Layout::Component pixel[4];
          std::memcpy(pixel, out.origin() + y * out.stride + x * Layout::bytes, Layout::bytes);
          const int a = Layout::alpha;
          EXPECT_EQ(std::memcmp(&pixel[(a + 1) % 4], &pixel[(a + 2) % 4], sizeof pixel[0]), 0);
          EXPECT_EQ(std::memcmp(&pixel[(a + 1) % 4], &pixel[(a + 3) % 4], sizeof pixel[0]), 0);
        }
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Levels, DesaturationLevelTest, ::testing::ValuesIn(kLevels),
                         [](const ::testing::TestParamInfo<LevelCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace OZ::Image
