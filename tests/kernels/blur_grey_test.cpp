// The blur's grey lines (one colour channel and alpha) against its
// four-channel lines on images whose three colour channels are equal: both
// passes, through the compact intermediate, must store the very bytes of
// the four-channel route at every level, for every kind of sample, in both
// channel orders, with the same progress reports.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "image/filters/blur_lines.h"
#include "image/filters/desaturation_kernels.h"
#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

struct GreyLevel {
  const char* name;
  BlurFamily family;
  ProcessorFlags mask;
  KernelLevel level;
};

const GreyLevel kLevels[] = {{"Scalar", BlurFamily::Scalar, ~ProcessorFlags(0), KernelLevel::Scalar},
                             {"SSE2", BlurFamily::Vector, ~kFlagAVX, KernelLevel::SSE2},
                             {"AVX", BlurFamily::Vector, ~ProcessorFlags(0), KernelLevel::AVX}};

const BlurSamples kKinds[] = {BlurSamples::Float32, BlurSamples::Unsigned16White32768,
                              BlurSamples::Unsigned16OtherWhite, BlurSamples::Unsigned8};

int componentBytes(BlurSamples kind) {
  return kind == BlurSamples::Float32 ? 4 : kind == BlurSamples::Unsigned8 ? 1 : 2;
}

struct RecordingProgress final : Progress {
  void report(std::int64_t current, std::int64_t total) override { reports.emplace_back(current, total); }
  std::vector<std::pair<std::int64_t, std::int64_t>> reports;
};

// Samples of `components` components each, guard bytes after every row.
struct Plane {
  Plane(BlurSamples kind, int components, int width, int height)
      : sampleBytes(components * componentBytes(kind)),
        stride(width * sampleBytes + 40),
        bytes(std::size_t(stride) * std::size_t(height), 0xCD) {}
  unsigned char* at(int x, int y) { return bytes.data() + std::int64_t(y) * stride + std::int64_t(x) * sampleBytes; }

  std::int64_t sampleBytes, stride;
  std::vector<unsigned char> bytes;
};

// Grey pixels: one random colour value in all three colour components, and
// an alpha of its own; ends of each range, and in float values above white,
// negatives and a few that overflow.
void fillGrey(Plane& plane, BlurSamples kind, bool alphaFirst, int width, int height, std::mt19937& random) {
  const int alpha = alphaFirst ? 0 : 3;
  const double top = kind == BlurSamples::Float32 ? 1.0
                     : kind == BlurSamples::Unsigned8 ? 255.0
                     : kind == BlurSamples::Unsigned16White32768 ? 32768.0 : 65535.0;
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  auto value = [&]() {
    const double pick = unit(random);
    if (kind == BlurSamples::Float32 && pick > 0.98) return pick > 0.99 ? 3e38 : -2.5;
    if (kind == BlurSamples::Unsigned16White32768 && pick > 0.95) return 50000.0;
    return pick < 0.2 ? 0.0 : pick < 0.35 ? top : std::floor(unit(random) * top);
  };
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const double colour = value(), opacity = value();
      for (int c = 0; c < 4; ++c) {
        const double v = c == alpha ? opacity : colour;
        unsigned char* at = plane.at(x, y) + c * componentBytes(kind);
        if (kind == BlurSamples::Float32) {
          const float f = float(v);
          std::memcpy(at, &f, 4);
        } else if (kind == BlurSamples::Unsigned8) {
          *at = std::uint8_t(v);
        } else {
          const std::uint16_t w = std::uint16_t(v);
          std::memcpy(at, &w, 2);
        }
      }
    }
}

class BlurGreyTest : public testing::TestWithParam<GreyLevel> {
 protected:
  void SetUp() override {
    restrictProcessorFlags(~ProcessorFlags(0));
    const ProcessorFlags flags = queryProcessorFlags();
    if (GetParam().family == BlurFamily::Vector && !(flags & kFlagSSE2)) GTEST_SKIP() << "no SSE2";
    if (GetParam().level == KernelLevel::AVX && !(flags & kFlagAVX)) GTEST_SKIP() << "no AVX";
    restrictProcessorFlags(GetParam().mask);
  }
  void TearDown() override { restrictProcessorFlags(~ProcessorFlags(0)); }
};

// One image through both passes as the filter runs them: rows of the
// source into the intermediate (the output's columns of every source row),
// then columns of the intermediate into the output. Lines are split into
// two ranges as two workers would take them.
struct Route {
  BlurSamples kind;
  BlurFamily family;
  bool grey, alphaFirst, adjacentColumns;
  int sourceWidth, sourceHeight, left, top, outWidth, outHeight;

  std::vector<unsigned char> run(Plane& source, const DericheCoefficients& cx, const DericheCoefficients& cy,
                                 RecordingProgress& progress) const {
    Plane intermediate(kind, grey ? 2 : 4, outWidth, sourceHeight), output(kind, 4, sourceWidth, outHeight);
    const std::int64_t total = sourceHeight + outWidth;
    std::vector<unsigned char> scratch(blurScratchBytes(family, sourceWidth > sourceHeight ? sourceWidth : sourceHeight) + 5);
    const BlurLines rows{source.at(0, 0),  source.stride,           source.sampleBytes, sourceWidth,
                         intermediate.at(0, 0), intermediate.stride, intermediate.sampleBytes, outWidth, left};
    // Columns of the output, every other one unless adjacent.
    const int step = adjacentColumns ? 1 : 2;
    const BlurLines columns{intermediate.at(0, 0), step * intermediate.sampleBytes, intermediate.stride, sourceHeight,
                            output.at(0, 0),       step * output.sampleBytes,       output.stride,       outHeight,
                            top};
    const std::int64_t columnCount = (outWidth + step - 1) / step;
    for (const auto& [lines, count, base, first] :
         {std::tuple{rows, std::int64_t(sourceHeight), std::int64_t(0), true},
          std::tuple{columns, columnCount, std::int64_t(sourceHeight), false}}) {
      const std::int64_t split = count / 3;
      for (const auto& [begin, end] : {std::pair{std::int64_t(0), split}, std::pair{split, count}}) {
        if (grey)
          blurGreyLineRange(family, kind, lines, BlurGrey{first, alphaFirst}, first ? cx : cy, begin, end,
                            scratch.data() + 5, 3, progress, base, total);
        else
          blurLineRange(family, kind, lines, first ? cx : cy, begin, end, scratch.data() + 5, 3, progress, base,
                        total);
      }
    }
    return output.bytes;
  }
};

long firstDifference(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
    if (a[i] != b[i]) return long(i);
  return a.size() == b.size() ? -1 : long(a.size() < b.size() ? a.size() : b.size());
}

TEST_P(BlurGreyTest, StoresTheBytesOfTheFourChannelLines) {
  std::mt19937 random(31);
  for (BlurSamples kind : kKinds)
    for (bool alphaFirst : {false, true})
      for (bool adjacent : {true, false})
        for (const auto& [sx, sy, order] : {std::tuple{30.0, 30.0, 0}, std::tuple{2.5, 0.4, 0},
                                            std::tuple{6.0, 9.0, 1}, std::tuple{0.0, 3.0, 2}}) {
          SCOPED_TRACE(testing::Message() << "kind " << int(kind) << (alphaFirst ? " alpha first" : " alpha last")
                                          << (adjacent ? "" : ", every other column") << ", sigma " << sx << "/"
                                          << sy << ", order " << order);
          const DericheCoefficients cx(sx, order), cy(sy, order);
          // Odd sizes leave strips and groups partly filled.
          const int sourceWidth = 61, sourceHeight = 47;
          Plane source(kind, 4, sourceWidth, sourceHeight);
          fillGrey(source, kind, alphaFirst, sourceWidth, sourceHeight, random);
          Route route{kind, GetParam().family, false, alphaFirst, adjacent, sourceWidth, sourceHeight, 4, 6, 51, 37};
          RecordingProgress fourReports, greyReports;
          const std::vector<unsigned char> four = route.run(source, cx, cy, fourReports);
          EXPECT_EQ(lastLevelRun(), GetParam().level);
          route.grey = true;
          const std::vector<unsigned char> grey = route.run(source, cx, cy, greyReports);
          EXPECT_EQ(lastLevelRun(), GetParam().level);
          EXPECT_EQ(firstDifference(grey, four), -1) << "first byte that differs";
          EXPECT_EQ(greyReports.reports, fourReports.reports);
        }
}

// Float pixels of any colour, with the values levels must tame: NaN,
// infinities, negatives and −0, denormals, values above white and huge ones.
void fillAnyFloat(Plane& plane, int width, int height, std::mt19937& random) {
  const float special[] = {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           -0.0f,
                           0.0f,
                           1.0f,
                           0x1p-140f,
                           -0x1p-130f,
                           1e-30f,
                           3e38f,
                           0.11f,
                           0.165f,
                           0.1375f};
  std::uniform_real_distribution<float> unit(-0.5f, 1.5f);
  std::uniform_int_distribution<int> pick(0, 3 * int(std::size(special)));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < 4; ++c) {
        const int k = pick(random);
        const float value = k < int(std::size(special)) ? special[k] : unit(random);
        std::memcpy(plane.at(x, y) + 4 * c, &value, 4);
      }
}

// The first pass reading float pixels through levels and a full
// desaturation stores the pairs it stores when it reads what those two
// store, for mappings whose offset keeps every pixel on the
// desaturation's short route (at least 2^-40 from 0).
TEST_P(BlurGreyTest, FirstPassThroughLevelsStoresThePairsOfTheDesaturatedImage) {
  if (GetParam().family != BlurFamily::Vector) GTEST_SKIP() << "read through by the vector family only";
  std::mt19937 random(7);
  const int sourceWidth = 61, sourceHeight = 47, left = 4, outWidth = 51;
  const Rect rect{0, 0, sourceWidth, sourceHeight};
  const LevelsFirst mappings[] = {{1.0f / 0.055f, -0.11f / 0.055f},  // the effect's
                                  {0.7f, 0.2f},
                                  {-3.0f, 1.5f},  // falling
                                  {1e-30f, 0x1p-40f},
                                  {-1e30f, -0x1p-40f},
                                  {std::numeric_limits<float>::quiet_NaN(), 0.5f},
                                  {2.0f, std::numeric_limits<float>::infinity()}};
  for (bool alphaFirst : {false, true})
    for (const LevelsFirst& levels : mappings) {
      SCOPED_TRACE(testing::Message() << (alphaFirst ? "alpha first" : "alpha last") << ", scale " << levels.scale
                                      << ", offset " << levels.offset);
      Plane source(BlurSamples::Float32, 4, sourceWidth, sourceHeight);
      Plane desaturated(BlurSamples::Float32, 4, sourceWidth, sourceHeight);
      fillAnyFloat(source, sourceWidth, sourceHeight, random);
      RecordingProgress quiet;
      const ChannelOrder order = alphaFirst ? ChannelOrder::AlphaFirst : ChannelOrder::AlphaLast;
      ASSERT_TRUE(runDesaturationBand(32, order, TargetView{rect, desaturated.at(0, 0), desaturated.stride},
                                      SourceView{rect, source.at(0, 0), source.stride, {0, 0, 0, 0}}, rect, quiet,
                                      &levels))
          << "a pixel left the short route";

      const DericheCoefficients cx(9.0, 0);
      std::vector<unsigned char> scratch(blurScratchBytes(BlurFamily::Vector, sourceWidth) + 5);
      auto firstPass = [&](Plane& from, const LevelsFirst* through, RecordingProgress& progress) {
        Plane pairs(BlurSamples::Float32, 2, outWidth, sourceHeight);
        const BlurLines rows{from.at(0, 0), from.stride,       from.sampleBytes, sourceWidth, pairs.at(0, 0),
                             pairs.stride,  pairs.sampleBytes, outWidth,         left};
        for (const auto& [begin, end] : {std::pair{0, 13}, std::pair{13, sourceHeight}})
          blurGreyLineRange(BlurFamily::Vector, BlurSamples::Float32, rows, BlurGrey{true, alphaFirst, through}, cx,
                            begin, end, scratch.data() + 5, 3, progress, 0, sourceHeight);
        return pairs.bytes;
      };
      RecordingProgress storedReports, throughReports;
      const std::vector<unsigned char> stored = firstPass(desaturated, nullptr, storedReports);
      const std::vector<unsigned char> through = firstPass(source, &levels, throughReports);
      EXPECT_EQ(lastLevelRun(), GetParam().level);
      EXPECT_EQ(firstDifference(through, stored), -1) << "first byte that differs";
      EXPECT_EQ(throughReports.reports, storedReports.reports);
    }
}

// Watching alpha changes no byte and no report of the first pass, whether
// the watch holds all through, fails in a worker's first strip or in its
// last, or has failed in a worker before, in short rows and in rows long
// enough for narrower strips; and the watch holds only where the levels
// give every pixel the pass reads the first one's alpha (1 × a + 0 within
// 0..1, NaN to 0), and only at a level whose second pass uses it.
TEST_P(BlurGreyTest, FirstPassWatchHoldsOnlyForOneAlphaInEveryPixelRead) {
  if (GetParam().family != BlurFamily::Vector) GTEST_SKIP() << "read through by the vector family only";
  std::mt19937 random(5);
  const int sourceHeight = 47, left = 4;
  const LevelsFirst levels{1.0f / 0.055f, -0.11f / 0.055f};
  const DericheCoefficients cx(9.0, 0);
  struct Change {
    const char* where;
    int x, y;
    float alpha;
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const int sourceWidth : {61, 3000})
    for (bool alphaFirst : {false, true})
      for (const float alpha : {0.5f, 1.0f, 1.75f, nan})
        for (const Change change : {Change{"nowhere", 0, 0, alpha}, Change{"a sample left of the output", 1, 20, 0.25f},
                                    Change{"the last sample read", sourceWidth - 1, sourceHeight - 1, 0.5f - alpha},
                                    Change{"the first worker's first row", 40, 0, 0.5f - alpha},
                                    Change{"above white, mapped to white as well", 30, 3, 2.0f}}) {
          SCOPED_TRACE(testing::Message() << sourceWidth << " wide, " << (alphaFirst ? "alpha first" : "alpha last")
                                          << ", alpha " << alpha << ", changed at " << change.where);
          const int outWidth = sourceWidth - 10;
          std::vector<unsigned char> scratch(blurScratchBytes(BlurFamily::Vector, sourceWidth) + 5);
          Plane source(BlurSamples::Float32, 4, sourceWidth, sourceHeight);
          fillAnyFloat(source, sourceWidth, sourceHeight, random);
          for (int y = 0; y < sourceHeight; ++y)
            for (int x = 0; x < sourceWidth; ++x) {
              const float a = x == change.x && y == change.y ? change.alpha : alpha;
              std::memcpy(source.at(x, y) + (alphaFirst ? 0 : 12), &a, 4);
            }
          auto firstPass = [&](AlphaWatch* watch, RecordingProgress& progress) {
            Plane pairs(BlurSamples::Float32, 2, outWidth, sourceHeight);
            const BlurLines rows{source.at(0, 0), source.stride,     source.sampleBytes, sourceWidth, pairs.at(0, 0),
                                 pairs.stride,    pairs.sampleBytes, outWidth,           left};
            for (const auto& [begin, end] : {std::pair{0, 13}, std::pair{13, sourceHeight}})
              blurGreyLineRange(BlurFamily::Vector, BlurSamples::Float32, rows,
                                BlurGrey{true, alphaFirst, &levels, watch}, cx, begin, end, scratch.data() + 5, 3,
                                progress, 0, sourceHeight);
            return pairs.bytes;
          };
          AlphaWatch watch;
          RecordingProgress unwatchedReports, watchedReports;
          const std::vector<unsigned char> unwatched = firstPass(nullptr, unwatchedReports),
                                           watched = firstPass(&watch, watchedReports);
          EXPECT_EQ(firstDifference(watched, unwatched), -1) << "first byte that differs";
          EXPECT_EQ(watchedReports.reports, unwatchedReports.reports);
          auto mapped = [](float a) {
            const float v = a * 1.0f + 0.0f;
            return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;
          };
          const bool one = mapped(change.alpha) == mapped(alpha);
          EXPECT_EQ(watch.proven, one && GetParam().level == KernelLevel::AVX);
        }
}

// The second pass over pairs whose every row holds the same alpha row
// stores the bytes and reports of the pair lines: columns whose strip
// shares one alpha (NaN and huge ones included) have their colour filtered
// alone; where the alpha changes within a strip, and for columns that are
// not neighbours, the pair lines run.
TEST_P(BlurGreyTest, SecondPassWithOneAlphaRowStoresThePairLinesBytes) {
  std::mt19937 random(11);
  const int width = 157, height = 45, top = 5, outHeight = 33;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (bool alphaFirst : {false, true})
    for (bool adjacent : {true, false})
      for (const auto& [sy, order] : {std::pair{30.0, 0}, std::pair{1.5, 0}, std::pair{4.0, 2}}) {
        SCOPED_TRACE(testing::Message() << (alphaFirst ? "alpha first" : "alpha last")
                                        << (adjacent ? "" : ", every other column") << ", sigma " << sy << ", order "
                                        << order);
        // Runs of one alpha across several strips, a few columns each of
        // their own, then runs again; the colour anything.
        std::vector<float> alphas(width);
        for (int x = 0; x < width; ++x)
          alphas[x] = x < 70 ? 0.75f : x < 75 ? float(x) / 100.0f : x < 110 ? 1.0f : x < 140 ? nan : 3e38f;
        Plane pairs(BlurSamples::Float32, 2, width, height), pixels(BlurSamples::Float32, 4, width, height);
        fillAnyFloat(pixels, width, height, random);
        for (int y = 0; y < height; ++y)
          for (int x = 0; x < width; ++x) {
            std::memcpy(pairs.at(x, y), pixels.at(x, y), 4);
            std::memcpy(pairs.at(x, y) + 4, &alphas[x], 4);
          }
        const DericheCoefficients cy(sy, order);
        std::vector<unsigned char> scratch(blurScratchBytes(GetParam().family, height) + 5);
        const int step = adjacent ? 1 : 2, columnCount = (width + step - 1) / step;
        auto secondPass = [&](bool sameAlphaEveryRow, RecordingProgress& progress) {
          Plane output(BlurSamples::Float32, 4, width, outHeight);
          const BlurLines columns{pairs.at(0, 0),
                                  step * pairs.sampleBytes,
                                  pairs.stride,
                                  height,
                                  output.at(0, 0),
                                  step * output.sampleBytes,
                                  output.stride,
                                  outHeight,
                                  top};
          for (const auto& [begin, end] : {std::pair{0, 50}, std::pair{50, columnCount}})
            blurGreyLineRange(GetParam().family, BlurSamples::Float32, columns,
                              BlurGrey{false, alphaFirst, nullptr, nullptr, sameAlphaEveryRow}, cy, begin, end,
                              scratch.data() + 5, 3, progress, height, height + width);
          return output.bytes;
        };
        RecordingProgress pairReports, oneAlphaReports;
        const std::vector<unsigned char> general = secondPass(false, pairReports);
        const std::vector<unsigned char> oneAlpha = secondPass(true, oneAlphaReports);
        EXPECT_EQ(lastLevelRun(), GetParam().level);
        EXPECT_EQ(firstDifference(oneAlpha, general), -1) << "first byte that differs";
        EXPECT_EQ(oneAlphaReports.reports, pairReports.reports);
      }
}

INSTANTIATE_TEST_SUITE_P(Blur, BlurGreyTest, testing::ValuesIn(kLevels),
                         [](const testing::TestParamInfo<GreyLevel>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace OZ::Image
