// The HSVCC kernels at every level: vector blocks against the scalar kernel
// (exactly where the arithmetic is shared, within the documented rounding
// differences where it is not), everything against a double-precision
// HSV round trip, the head/block/tail split at every alignment, and the
// band rules (sentinels, reports, in place).

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "image/filters/hsvcc_kernels.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

constexpr unsigned char kSentinel = 0xA5;
constexpr ProcessorFlags kAllLevels = ~ProcessorFlags(0);

struct RecordingProgress final : Progress {
  void report(std::int64_t current, std::int64_t total) override { reports.emplace_back(current, total); }
  std::vector<std::pair<std::int64_t, std::int64_t>> reports;
};

// Rows with guard space after them; the first pixel sits `offset` bytes
// past a 16-byte boundary, and every row starts at the same phase.
struct World {
  World(Rect rect, int bytesPerPixel, int offset)
      : rect(rect), bytesPerPixel(bytesPerPixel), stride((width(rect) * bytesPerPixel + 32 + 15) / 16 * 16) {
    storage.assign(std::size_t(stride * height(rect) + 48), kSentinel);
    start = (16 - reinterpret_cast<std::uintptr_t>(storage.data()) % 16) % 16 + std::size_t(offset);
  }
  unsigned char* origin() { return storage.data() + start; }
  unsigned char* pixel(std::int32_t x, std::int32_t y) {
    return origin() + (y - rect.y0) * stride + (x - rect.x0) * bytesPerPixel;
  }
  SourceView source() { return {rect, origin(), stride, {0, 0, 0, 0}}; }
  TargetView target() { return {rect, origin(), stride}; }

  Rect rect;
  int bytesPerPixel;
  std::int64_t stride;
  std::vector<unsigned char> storage;
  std::size_t start;
};

template <class Layout>
std::array<typename Layout::Component, 4> read(World& world, std::int32_t x, std::int32_t y) {
  std::array<typename Layout::Component, 4> pixel;
  std::memcpy(pixel.data(), world.pixel(x, y), Layout::bytes);
  return pixel;
}

template <class Layout>
void write(World& world, std::int32_t x, std::int32_t y, std::array<typename Layout::Component, 4> pixel) {
  std::memcpy(world.pixel(x, y), pixel.data(), Layout::bytes);
}

// Bit for bit, except that any NaN equals any NaN: which operand's NaN an
// instruction passes on depends on the compiler's operand order.
template <class Layout>
bool samePixel(const std::array<typename Layout::Component, 4>& a, const std::array<typename Layout::Component, 4>& b) {
  for (int k = 0; k < 4; ++k) {
    const bool bothNaN = Layout::isFloat && std::isnan(float(a[k])) && std::isnan(float(b[k]));
    if (!bothNaN && std::memcmp(&a[k], &b[k], sizeof a[k]) != 0) return false;
  }
  return true;
}

// Colour roles by channel order: alpha first R, G, B = 1, 2, 3; alpha last 2, 1, 0.
template <class Layout>
constexpr std::array<int, 3> kRgb = Layout::alphaFirst ? std::array{1, 2, 3} : std::array{2, 1, 0};

template <class Visitor>
void forEachLayout(Visitor&& visit) {
  for (int depth : {8, 16, 32})
    for (ChannelOrder order : {ChannelOrder::AlphaFirst, ChannelOrder::AlphaLast}) {
      SCOPED_TRACE(::testing::Message() << "depth " << depth
                                        << (order == ChannelOrder::AlphaFirst ? " argb" : " bgra"));
      visitLayout(depth, order, visit);
    }
}

// Random components with many ties and extremes: 0, full scale, full scale
// + 1, and in float negatives, values above 1, NaN and infinities.
template <class Layout>
void fillRandom(World& world, std::mt19937& random) {
  using Component = typename Layout::Component;
  std::vector<Component> special;
  if constexpr (Layout::depth == 8)
    special = {0, 1, 127, 128, 254, 255};
  else if constexpr (Layout::depth == 16)
    special = {0, 1, 16384, 32767, 32768, 32769, 65535};
  else
    special = {0.0f,
               -0.0f,
               1.0f,
               0.5f,
               -0.25f,
               2.0f,
               1e-30f,
               std::numeric_limits<float>::quiet_NaN(),
               std::numeric_limits<float>::infinity(),
               -std::numeric_limits<float>::infinity()};
  std::uniform_real_distribution<float> uniform(Layout::isFloat ? -0.25f : 0.0f,
                                                Layout::isFloat ? 1.5f : Layout::white);
  for (std::int32_t y = world.rect.y0; y < world.rect.y1; ++y)
    for (std::int32_t x = world.rect.x0; x < world.rect.x1; ++x) {
      std::array<Component, 4> pixel;
      for (Component& c : pixel)
        c = random() % 10 < 3 ? special[random() % special.size()] : Component(uniform(random));
      write<Layout>(world, x, y, pixel);
    }
}

// The textbook HSV round trip in double precision (p, q, t form), for
// shifts within one turn either way. No change at all is no round trip.
std::array<double, 3> referenceRgb(double r, double g, double b, double shift, double saturationScale,
                                   double valueScale) {
  if (shift == 0 && saturationScale == 1 && valueScale == 1) return {r, g, b};
  const double v = std::max({r, g, b}), d = v - std::min({r, g, b});
  const double s = (v > 0 ? d / v : 0) * saturationScale, value = v * valueScale;
  double h = d == 0 ? 0 : v == r ? (g - b) / d : v == g ? (b - r) / d + 2 : (r - g) / d + 4;
  h = h / 6 + shift;
  h -= std::floor(h);
  const double x = h * 6, f = x - std::floor(x);
  const double p = value * (1 - s), q = value * (1 - f * s), t = value * (1 - (1 - f) * s);
  switch (int(std::floor(x)) % 6) {
    case 0:
      return {value, t, p};
    case 1:
      return {q, value, p};
    case 2:
      return {p, value, t};
    case 3:
      return {p, q, value};
    case 4:
      return {t, p, value};
    default:
      return {value, p, q};
  }
}

// The pixels a vector kernel converts in blocks: after the head that brings
// the target to 16 bytes, as many fours as fit.
std::pair<int, int> blockSpan(const unsigned char* rowStart, int width, int bytesPerPixel) {
  int head = 0;
  while (head < width && reinterpret_cast<std::uintptr_t>(rowStart + head * bytesPerPixel) % 16 != 0) ++head;
  return {head, head + (width - head) / 4 * 4};
}

struct Settings {
  float hueShift, saturationScale, valueScale;
};

struct LevelCase {
  const char* name;
  ProcessorFlags mask;
  KernelLevel level;
};

const LevelCase kLevels[] = {{"Scalar", 0, KernelLevel::Scalar},
                             {"SSE2", kFlagSSE2, KernelLevel::SSE2},
                             {"SSSE3", kFlagSSE2 | kFlagSSSE3, KernelLevel::SSSE3},
                             {"SSE41", kFlagSSE2 | kFlagSSSE3 | kFlagSSE41, KernelLevel::SSE41}};

template <class Layout>
void runAt(ProcessorFlags mask, World& target, World& source, const Rect& band, Progress& progress, Settings s) {
  restrictProcessorFlags(mask);
  runHsvccBand(Layout::depth, Layout::order, target.target(), source.source(), band, progress, s.hueShift,
               s.saturationScale, s.valueScale);
  restrictProcessorFlags(kAllLevels);
}

class HsvccLevelTest : public ::testing::TestWithParam<LevelCase> {
 protected:
  void SetUp() override {
    restrictProcessorFlags(kAllLevels);
    if ((queryProcessorFlags() & GetParam().mask) != GetParam().mask) GTEST_SKIP() << "processor lacks the level";
  }
  void TearDown() override { restrictProcessorFlags(kAllLevels); }

  bool vector() const { return GetParam().level != KernelLevel::Scalar; }

  // Runs at this test's level and proves that the level ran.
  template <class Layout>
  void run(World& target, World& source, const Rect& band, Progress& progress, Settings settings) {
    runAt<Layout>(GetParam().mask, target, source, band, progress, settings);
    ASSERT_EQ(lastLevelRun(), GetParam().level);
  }
  template <class Layout>
  void run(World& target, World& source, Settings settings) {
    RecordingProgress progress;
    run<Layout>(target, source, source.rect, progress, settings);
  }
};

// Block pixels may differ from the scalar kernel only as documented: one
// rounding step up at 8 and 16 bits (rounded, not truncated), a 16-bit alpha
// limited to 32768, and in float the hue by reciprocal and x0.16666667,
// which moves f by a few units in the last place: the bound below.
TEST_P(HsvccLevelTest, MatchesScalarAndDoubleFormula) {
  const Settings cases[] = {{0.3f, 0.7f, 1.2f},     {-0.45f, 1.5f, 0.8f}, {0.0f, 0.0f, 1.0f}, {0.75f, 1.0f, 1.0f},
                            {1.0f / 3, 2.0f, 1.0f}, {0.0f, 1.0f, 1.0f},   {-1.3f, 0.9f, 1.0f}};
  forEachLayout([&]<class Layout>() {
    const int pixelBytes = Layout::bytes;
    std::mt19937 random(Layout::depth * 2 + Layout::alphaFirst);
    for (const auto& [targetOffset, sourceOffset] :
         {std::pair{0, 0}, std::pair{pixelBytes % 16 ? pixelBytes : 4, 0}, std::pair{0, 4}})
      for (const Settings& s : cases) {
        const Rect rect{-2, 3, 35, 6};
        World source(rect, pixelBytes, sourceOffset), scalar(rect, pixelBytes, targetOffset),
            out(rect, pixelBytes, targetOffset), sse2(rect, pixelBytes, targetOffset);
        fillRandom<Layout>(source, random);
        RecordingProgress progress;
        runAt<Layout>(0, scalar, source, rect, progress, s);
        run<Layout>(out, source, s);
        if (GetParam().level == KernelLevel::SSE41 || GetParam().level == KernelLevel::SSSE3)
          runAt<Layout>(kFlagSSE2, sse2, source, rect, progress, s);
        int sse41Steps = 0;
        for (std::int32_t y = rect.y0; y < rect.y1; ++y) {
          const auto [blockStart, blockEnd] = blockSpan(out.pixel(rect.x0, y), width(rect), pixelBytes);
          for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
            SCOPED_TRACE(::testing::Message() << "offsets " << targetOffset << "/" << sourceOffset << " hue "
                                              << s.hueShift << " at " << x << "," << y);
            const auto in = read<Layout>(source, x, y), got = read<Layout>(out, x, y);
            const auto want = read<Layout>(scalar, x, y);
            // Reference in double, for finite pixels.
            std::array<double, 3> rgb;
            for (int k = 0; k < 3; ++k) rgb[k] = double(in[kRgb<Layout>[k]]) / Layout::white;
            if (std::isfinite(rgb[0] + rgb[1] + rgb[2]) && std::fabs(s.hueShift) < 1) {
              const auto ref = referenceRgb(rgb[0], rgb[1], rgb[2], s.hueShift, s.saturationScale, s.valueScale);
              // Single precision against double: a few units in the last place
              // of values near the largest channel, times the saturation's reach.
              const double v = std::max({std::fabs(rgb[0]), std::fabs(rgb[1]), std::fabs(rgb[2])});
              const double precision = 1e-6 * (1 + v) * (1 + 4 * std::fabs(s.saturationScale));
              for (int k = 0; k < 3; ++k) {
                const double value = double(got[kRgb<Layout>[k]]);
                if constexpr (Layout::isFloat)
                  EXPECT_NEAR(value, ref[k], precision);
                else  // plus one step: truncated per pixel, rounded in blocks
                  EXPECT_NEAR(value, std::clamp(ref[k] * Layout::white, 0.0, double(Layout::white)),
                              1 + precision * Layout::white);
              }
            }
            const int column = x - rect.x0;
            if (!vector() || column < blockStart || column >= blockEnd) {
              EXPECT_TRUE(samePixel<Layout>(got, want)) << "per-pixel helper must equal scalar";
              continue;
            }
            if constexpr (Layout::depth == 16)
              EXPECT_EQ(got[Layout::alpha], std::min<int>(in[Layout::alpha], 32768));
            else if constexpr (Layout::isFloat)
              EXPECT_EQ(std::memcmp(&got[Layout::alpha], &in[Layout::alpha], 4), 0);
            else
              EXPECT_EQ(got[Layout::alpha], in[Layout::alpha]);
            for (int k : kRgb<Layout>) {
              if constexpr (Layout::isFloat) {
                if (std::isnan(want[k]) || std::isnan(got[k]))
                  EXPECT_EQ(std::isnan(got[k]), std::isnan(want[k])) << got[k] << " vs " << want[k];
                else if (std::isinf(want[k]) || std::isinf(got[k]))
                  EXPECT_EQ(got[k], want[k]);
                else
                  EXPECT_NEAR(got[k], want[k], 4e-6f * (1 + std::fabs(want[k])) * (1 + std::fabs(s.saturationScale)));
              } else {
                EXPECT_TRUE(got[k] == want[k] || got[k] == want[k] + 1) << got[k] << " vs scalar " << want[k];
              }
            }
            // The vector levels share one formula: SSSE3 equals SSE2, and
            // SSE4.1 too except its 16-bit narrowing, one step at most.
            if (GetParam().level == KernelLevel::SSSE3 || GetParam().level == KernelLevel::SSE41) {
              const auto other = read<Layout>(sse2, x, y);
              if (Layout::depth == 16 && GetParam().level == KernelLevel::SSE41) {
                for (int k = 0; k < 4; ++k) {
                  EXPECT_LE(std::abs(int(got[k]) - int(other[k])), 1);
                  sse41Steps += got[k] != other[k];
                }
              } else {
                EXPECT_TRUE(samePixel<Layout>(got, other)) << "differs from SSE2";
              }
            }
          }
        }
        EXPECT_LE(sse41Steps, width(rect) * height(rect) / 8) << "SSE4.1 16-bit narrowing differs too often";
      }
  });
}

using Rgb = std::array<double, 3>;

// One colour on every pixel of an 11-pixel row starting 4 bytes past a
// 16-byte boundary, so that head, blocks and tail (per format) all meet it.
// Every pixel must come out as `want`, with its alpha kept.
template <class Layout>
void expectRow(const LevelCase& level, const char* what, Rgb rgb, Settings settings, Rgb want) {
  using Component = typename Layout::Component;
  auto component = [](double value) {
    return Layout::isFloat ? Component(value) : Component(std::lround(value * Layout::white));
  };
  const Rect rect{0, 0, 11, 1};
  World source(rect, Layout::bytes, 4), out(rect, Layout::bytes, 4);
  for (std::int32_t x = 0; x < 11; ++x) {
    std::array<Component, 4> pixel{};
    pixel[Layout::alpha] = component(0.25);
    for (int k = 0; k < 3; ++k) pixel[kRgb<Layout>[k]] = component(rgb[k]);
    write<Layout>(source, x, 0, pixel);
  }
  RecordingProgress progress;
  runAt<Layout>(level.mask, out, source, rect, progress, settings);
  EXPECT_EQ(lastLevelRun(), level.level);
  for (std::int32_t x = 0; x < 11; ++x) {
    const auto got = read<Layout>(out, x, 0);
    EXPECT_EQ(got[Layout::alpha], component(0.25)) << what << ", pixel " << x;
    for (int k = 0; k < 3; ++k)
      EXPECT_NEAR(got[kRgb<Layout>[k]], want[k], 1e-6) << what << ", pixel " << x << ", channel "
                                                       << "RGB"[k];
  }
}

TEST_P(HsvccLevelTest, WorkedValues) {
  const LevelCase& level = GetParam();
  expectRow<Bgra8>(level, "saturation 0, 8 bits", {40 / 255.0, 200 / 255.0, 90 / 255.0}, {0, 0, 1}, {200, 200, 200});
  expectRow<Argb32>(level, "saturation 0, float", {0.2f, 0.7f, 0.35f}, {0, 0, 1}, {0.7f, 0.7f, 0.7f});
  expectRow<Bgra8>(level, "red + 1/3 turn, bgra", {1, 0, 0}, {1.0f / 3, 1, 1}, {0, 255, 0});
  expectRow<Argb8>(level, "red + 1/3 turn, argb", {1, 0, 0}, {1.0f / 3, 1, 1}, {0, 255, 0});
  expectRow<Bgra32>(level, "red + 1/3 turn, float", {1, 0, 0}, {1.0f / 3, 1, 1}, {0, 1, 0});
  expectRow<Bgra32>(level, "hue 0.5 + 0.75 is 0.25", {0, 1, 1}, {0.75f, 1, 1}, {0.5, 1, 0});
  expectRow<Argb32>(level, "hue 0.1 - 0.25 is 0.85", {1, 0.6f, 0}, {-0.25f, 1, 1}, {1, 0, 0.9f});
  expectRow<Bgra32>(level, "saturation 2, float", {1, 0.5, 0.25}, {0, 2, 1}, {1, 0, -0.5});
  expectRow<Argb16>(level, "saturation 2, 16 bits", {1, 0.5, 0.25}, {0, 2, 1}, {32768, 0, 0});
}

// Beyond a whole turn the per-pixel code wraps once and falls to the
// table's last row; blocks wrap a second time. Cyan (hue 0.5) + 1.8.
TEST_P(HsvccLevelTest, ShiftBeyondOneTurnWrapsTwiceOnlyInBlocks) {
  const Rect rect{0, 0, 11, 1};
  World source(rect, 16, 0), out(rect, 16, 0);
  for (std::int32_t x = 0; x < 11; ++x) write<Bgra32>(source, x, 0, {1, 1, 0, 1});
  run<Bgra32>(out, source, {1.8f, 1, 1});
  for (std::int32_t x = 0; x < 11; ++x) {
    const bool inBlock = vector() && x < 8;
    const auto pixel = read<Bgra32>(out, x, 0);  // b, g, r, a
    EXPECT_NEAR(pixel[2], inBlock ? 0.2f : 1.0f, 1e-6) << "x " << x;
    EXPECT_NEAR(pixel[1], inBlock ? 1.0f : 0.2f, 1e-6) << "x " << x;
    EXPECT_EQ(pixel[0], 0.0f) << "x " << x;
  }
}

// 8 bits: white at value 0.5 is 127.5, truncated per pixel, rounded to 128
// in blocks. 16 bits: an alpha of 40000 is kept per pixel, limited in blocks.
TEST_P(HsvccLevelTest, BlockSplitAtEveryPhase) {
  auto check = [&]<class Layout>(int targetOffset, int sourceOffset, int columns) {
    using White = typename Layout::Component;
    const Rect rect{0, 0, columns, 2};
    World source(rect, Layout::bytes, sourceOffset), out(rect, Layout::bytes, targetOffset);
    for (std::int32_t y = 0; y < 2; ++y)
      for (std::int32_t x = 0; x < columns; ++x)
        write<Layout>(source, x, y, {White(Layout::white), White(Layout::white), White(Layout::white), White(40000)});
    run<Layout>(out, source, {0, 0, 0.5f});
    for (std::int32_t y = 0; y < 2; ++y) {
      const auto [start, end] = blockSpan(out.pixel(0, y), columns, Layout::bytes);
      for (std::int32_t x = 0; x < columns; ++x) {
        const bool inBlock = vector() && x >= start && x < end;
        const auto pixel = read<Layout>(out, x, y);
        if constexpr (Layout::depth == 8)
          EXPECT_EQ(pixel[1], inBlock ? 128 : 127)
              << "offsets " << targetOffset << "/" << sourceOffset << " width " << columns << " x " << x;
        else
          EXPECT_EQ(pixel[3], inBlock ? 32768 : 40000)
              << "offsets " << targetOffset << "/" << sourceOffset << " width " << columns << " x " << x;
      }
    }
  };
  for (int columns = 1; columns <= 13; ++columns) {
    for (int target : {0, 4, 8, 12, 1})
      for (int source : {0, 4, 8, 12, 2}) check.operator()<Bgra8>(target, source, columns);
    for (int target : {0, 8, 2})
      for (int source : {0, 8, 4}) check.operator()<Bgra16>(target, source, columns);
  }
}

TEST_P(HsvccLevelTest, WritesOnlyTheBandAndReportsEvery32Rows) {
  forEachLayout([&]<class Layout>() {
    const Rect rect{-3, 5, 20, 85}, band{0, 8, 17, 78};
    std::mt19937 random(7);
    World source(rect, Layout::bytes, 0), out(rect, Layout::bytes, 4);
    fillRandom<Layout>(source, random);
    RecordingProgress progress;
    run<Layout>(out, source, band, progress, {0.3f, 0.5f, 1.0f});
    using Reports = std::vector<std::pair<std::int64_t, std::int64_t>>;
    EXPECT_EQ(progress.reports, (Reports{{0, 70}, {32, 70}, {64, 70}}));
    for (std::size_t i = 0; i < out.storage.size(); ++i) {
      const std::int64_t at = std::int64_t(i) - std::int64_t(out.start);
      const std::int64_t row = at >= 0 ? at / out.stride + rect.y0 : -1,
                         column = at >= 0 ? at % out.stride / Layout::bytes + rect.x0 : -1;
      const bool inBand = at >= 0 && row >= band.y0 && row < band.y1 && column >= band.x0 && column < band.x1;
      if (!inBand) {
        ASSERT_EQ(out.storage[i], kSentinel) << "byte " << at << " row " << row << " column " << column;
      }
    }
  });
}

TEST_P(HsvccLevelTest, InPlaceEqualsSeparateBuffers) {
  forEachLayout([&]<class Layout>() {
    const Rect rect{0, 0, 29, 3};
    std::mt19937 random(11);
    World source(rect, Layout::bytes, 4), separate(rect, Layout::bytes, 4);
    fillRandom<Layout>(source, random);
    run<Layout>(separate, source, {-0.2f, 1.3f, 0.9f});
    run<Layout>(source, source, {-0.2f, 1.3f, 0.9f});
    for (std::int32_t y = rect.y0; y < rect.y1; ++y)
      EXPECT_EQ(0, std::memcmp(source.pixel(0, y), separate.pixel(0, y), width(rect) * Layout::bytes)) << "row " << y;
  });
}

INSTANTIATE_TEST_SUITE_P(Levels, HsvccLevelTest, ::testing::ValuesIn(kLevels),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(HsvccBand, UnknownDepthWritesNothing) {
  const Rect rect{0, 0, 8, 2};
  World source(rect, 4, 0), out(rect, 4, 0);
  RecordingProgress progress;
  runHsvccBand(10, ChannelOrder::AlphaLast, out.target(), source.source(), rect, progress, 0.5f, 0.5f, 0.5f);
  EXPECT_TRUE(std::all_of(out.storage.begin(), out.storage.end(), [](unsigned char b) { return b == kSentinel; }));
  EXPECT_TRUE(progress.reports.empty());
}

}  // namespace
}  // namespace OZ::Image
