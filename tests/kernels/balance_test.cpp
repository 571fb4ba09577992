// The levels kernels at every level: vector against scalar within the
// rounding differences of docs/rounding.md, worked values, and the walk's
// duties (band limits, reports, in place, unaligned rows).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "image/filters/balance_kernels.h"

namespace OZ::Image {
namespace {

// A test world: rows padded with guard bytes, every row start off 16-byte
// alignment by `misalign` bytes.
struct Image {
  int depth;
  Rect rect;
  std::int64_t stride;
  std::vector<unsigned char> storage;
  unsigned char* base;

  Image(int depth, Rect rect, int misalign = 4, unsigned char fill = 0)
      : depth(depth), rect(rect), stride((width(rect) * depth / 2 + 16 + 15) / 16 * 16) {
    storage.assign(std::size_t(stride * height(rect) + 32), fill);
    base = storage.data() + (16 - reinterpret_cast<std::uintptr_t>(storage.data()) % 16) % 16 + misalign;
  }
  unsigned char* at(int x, int y, int channel) const {
    return base + (y - rect.y0) * stride + (x - rect.x0) * depth / 2 + channel * depth / 8;
  }
  double get(int x, int y, int channel) const {
    const unsigned char* p = at(x, y, channel);
    if (depth == 8) return *p;
    if (depth == 16) return *reinterpret_cast<const std::uint16_t*>(p);
    return *reinterpret_cast<const float*>(p);
  }
  void set(int x, int y, int channel, double value) {
    unsigned char* p = at(x, y, channel);
    if (depth == 8) *p = std::uint8_t(value);
    if (depth == 16) *reinterpret_cast<std::uint16_t*>(p) = std::uint16_t(value);
    if (depth == 32) *reinterpret_cast<float*>(p) = float(value);
  }
  SourceView source() const { return {rect, base, stride, {0, 0, 0, 0}}; }
  TargetView target() { return {rect, base, stride}; }
  std::vector<unsigned char> bytes() const { return storage; }
};

struct RecordingProgress final : Progress {
  std::vector<std::pair<std::int64_t, std::int64_t>> reports;
  void report(std::int64_t current, std::int64_t total) override { reports.emplace_back(current, total); }
};

struct Settings {
  float scale = 1.0f, offset = 0.0f, gamma = 1.0f;
  bool clamp = false;
};

struct LevelCase {
  const char* name;
  ProcessorFlags mask;
  KernelLevel level;
};
const LevelCase kScalar{"Scalar", 0, KernelLevel::Scalar};
const LevelCase kSSE2{"SSE2", kFlagSSE2, KernelLevel::SSE2};
const LevelCase kSSE41{"SSE41", kFlagSSE2 | kFlagSSE41, KernelLevel::SSE41};

bool available(const LevelCase& level) {
  restrictProcessorFlags(~0u);
  return (queryProcessorFlags() & level.mask) == level.mask;
}

void run(const LevelCase& level, ChannelOrder order, Image& target, const Image& source, const Settings& s,
         std::optional<Rect> band = {}, Progress* progress = nullptr) {
  RecordingProgress ignored;
  restrictProcessorFlags(level.mask);
  runBalanceBand(target.depth, order, target.target(), source.source(), band.value_or(target.rect),
                 progress ? *progress : ignored, s.scale, s.offset, s.gamma, s.clamp);
  EXPECT_EQ(lastLevelRun(), level.level) << level.name;
  restrictProcessorFlags(~0u);
}

Image apply(const LevelCase& level, ChannelOrder order, const Image& source, const Settings& s) {
  Image target(source.depth, source.rect, 4, 0xAB);
  run(level, order, target, source, s);
  return target;
}

Image randomImage(int depth, std::uint32_t seed, double alphaTop) {
  std::mt19937 random(seed);
  Image image(depth, {3, -2, 16, 9});  // width 13
  const double white = depth == 8 ? 255 : depth == 16 ? 32768 : 1;
  const float specials[] = {0.0f, -0.0f, 1.0f, -0.25f, 7.5f, 1e30f, -INFINITY, INFINITY, NAN, 1e-40f};
  for (int y = image.rect.y0; y < image.rect.y1; ++y)
    for (int x = image.rect.x0; x < image.rect.x1; ++x)
      for (int c = 0; c < 4; ++c) {
        double value = std::uniform_real_distribution<double>(0, depth == 16 ? 65535 : white)(random);
        if (depth == 8) value = std::floor(value * 256 / 255);
        if (depth == 32 && random() % 4 == 0) value = specials[random() % 10];
        image.set(x, y, c, value);
      }
  // Both possible alpha positions stay in [0, alphaTop), where the vector
  // lane reproduces alpha (docs/rounding.md).
  for (int y = image.rect.y0; y < image.rect.y1; ++y)
    for (int x = image.rect.x0; x < image.rect.x1; ++x)
      for (int c : {0, 3}) {
        const double alpha = std::fmod(std::fabs(image.get(x, y, c)), alphaTop);
        image.set(x, y, c, std::isfinite(alpha) ? alpha : 0.5 * alphaTop);
      }
  return image;
}

Image copyOf(const Image& image, int misalign) {
  Image copy(image.depth, image.rect, misalign);
  for (int y = image.rect.y0; y < image.rect.y1; ++y)
    std::memcpy(copy.at(image.rect.x0, y, 0), image.at(image.rect.x0, y, 0), width(image.rect) * image.depth / 2);
  return copy;
}

class BalanceLevel : public ::testing::TestWithParam<LevelCase> {
 protected:
  void SetUp() override {
    if (!available(GetParam())) GTEST_SKIP() << GetParam().name << " not on this processor";
  }
  void TearDown() override { restrictProcessorFlags(~0u); }
};

class BalanceVector : public BalanceLevel {};

constexpr int kDepths[] = {8, 16, 32};
constexpr ChannelOrder kOrders[] = {ChannelOrder::AlphaFirst, ChannelOrder::AlphaLast};
constexpr int alphaOf(ChannelOrder order) { return order == ChannelOrder::AlphaFirst ? 0 : 3; }

TEST(BalanceScaleOffset, WorkedValues) {
  float scale, offset;
  balanceScaleOffset(0.5f, 0.5f, 0.2f, 1.0f, scale, offset);  // hard threshold
  EXPECT_EQ(scale, 255.0f);
  EXPECT_EQ(offset, 0.2f - 127.5f);
  balanceScaleOffset(0.1f, 0.101f, 0.0f, 1.0f, scale, offset);  // slope 1000 is capped
  EXPECT_EQ(scale, 255.0f);
  EXPECT_EQ(offset, 0.0f - 0.1f * 255.0f);
  balanceScaleOffset(0.2f, 0.6f, 1.0f, 0.0f, scale, offset);  // negative slopes pass
  EXPECT_FLOAT_EQ(scale, -2.5f);
  EXPECT_FLOAT_EQ(offset, 1.5f);
}

TEST_P(BalanceLevel, ProgressAfterEvery32RowsWithBandHeight) {
  Image source(8, {0, 0, 3, 80}), target(8, {0, 0, 3, 80});
  RecordingProgress progress;
  run(GetParam(), ChannelOrder::AlphaLast, target, source, {}, Rect{0, 5, 3, 75}, &progress);
  using Reports = std::vector<std::pair<std::int64_t, std::int64_t>>;
  EXPECT_EQ(progress.reports, (Reports{{0, 70}, {32, 70}, {64, 70}}));
  RecordingProgress none;
  run(GetParam(), ChannelOrder::AlphaLast, target, source, {}, Rect{0, 5, 3, 5}, &none);
  EXPECT_TRUE(none.reports.empty());
}

TEST_P(BalanceLevel, WritesOnlyTheBandAndWorksInPlace) {
  for (int depth : kDepths) {
    const Image source = randomImage(depth, 7, depth == 32 ? 1.0 : 200);
    const Settings s{1.7f, -0.1f, 1.0f, true};
    Image target(depth, source.rect, 4, 0xAB);
    const Rect band{5, 1, 12, 4};
    run(GetParam(), ChannelOrder::AlphaLast, target, source, s, band);
    const Image whole = apply(GetParam(), ChannelOrder::AlphaLast, source, s);
    Image inPlace = copyOf(source, 4);
    run(GetParam(), ChannelOrder::AlphaLast, inPlace, inPlace, s);
    for (int y = source.rect.y0; y < source.rect.y1; ++y)
      for (int x = source.rect.x0; x < source.rect.x1; ++x) {
        const bool inside = x >= band.x0 && x < band.x1 && y >= band.y0 && y < band.y1;
        for (int byte = 0; byte < depth / 2; ++byte)
          ASSERT_EQ(target.at(x, y, 0)[byte], inside ? whole.at(x, y, 0)[byte] : 0xAB);
        ASSERT_EQ(std::memcmp(inPlace.at(x, y, 0), whole.at(x, y, 0), depth / 2), 0);
      }
    // Guard bytes after each row stay untouched.
    for (int y = source.rect.y0; y < source.rect.y1; ++y) ASSERT_EQ(target.at(source.rect.x1, y, 0)[0], 0xAB);
  }
}

TEST_P(BalanceLevel, UnalignedRowsGiveTheAlignedResult) {
  for (int depth : kDepths) {
    const Image random = randomImage(depth, 11, depth == 32 ? 1.0 : 255);
    const Settings s{0.8f, 0.05f, 1.0f, false};
    const Image a = apply(GetParam(), ChannelOrder::AlphaFirst, copyOf(random, 0), s);
    const Image b = apply(GetParam(), ChannelOrder::AlphaFirst, copyOf(random, 8), s);
    for (int y = a.rect.y0; y < a.rect.y1; ++y)
      ASSERT_EQ(std::memcmp(a.at(a.rect.x0, y, 0), b.at(b.rect.x0, y, 0), width(a.rect) * depth / 2), 0);
  }
}

TEST_P(BalanceLevel, SixteenBitsNeverExceedFullScale) {
  Image source(16, {0, 0, 6, 1});
  const double inputs[] = {0, 1, 32767, 32768, 32769, 65535};
  for (int x = 0; x < 6; ++x)
    for (int c = 0; c < 4; ++c) source.set(x, 0, c, inputs[x]);
  for (bool clamp : {false, true}) {
    const Image out = apply(GetParam(), ChannelOrder::AlphaLast, source, {1.0f, 0.0f, 1.0f, clamp});
    for (int x = 0; x < 6; ++x) {
      for (int c = 0; c < 3; ++c) EXPECT_EQ(out.get(x, 0, c), std::min(inputs[x], 32768.0)) << x;
      // The scalar kernel copies alpha; the vector lane stores it like colour.
      const bool vector = GetParam().level != KernelLevel::Scalar;
      EXPECT_EQ(out.get(x, 0, 3), vector ? std::min(inputs[x], 32768.0) : inputs[x]) << x;
    }
  }
}

TEST_P(BalanceLevel, GammaFollowsTheLevelsOwnExponent) {
  // Scalar raises to 1 / gamma, the vector levels to gamma itself.
  const bool vector = GetParam().level != KernelLevel::Scalar;
  for (int depth : kDepths)
    for (ChannelOrder order : kOrders) {
      Image source(depth, {0, 0, 5, 1});
      const double white = depth == 8 ? 255 : depth == 16 ? 32768 : 1;
      for (int x = 0; x < 5; ++x)
        for (int c = 0; c < 4; ++c) source.set(x, 0, c, white * (x + 1) / 5.0 * (c == alphaOf(order) ? 0.5 : 1));
      for (float gamma : {2.2f, 0.45f}) {
        const Settings s{0.5f / float(white), 0.1f, gamma, false};
        const Image out = apply(GetParam(), order, source, s);
        for (int x = 0; x < 5; ++x)
          for (int c = 0; c < 4; ++c) {
            const double in = source.get(x, 0, c);
            if (c == alphaOf(order)) {
              // The vector alpha lane computes power(A, 0) * 1 + 0.
              EXPECT_EQ(out.get(x, 0, c), vector ? 1.0 : in);
              continue;
            }
            const double v = std::pow(in, vector ? gamma : 1.0 / gamma) * s.scale + 0.1 * white;
            if (depth == 32)
              EXPECT_NEAR(out.get(x, 0, c), v, 2e-5 * v);
            else
              EXPECT_NEAR(out.get(x, 0, c), std::min(v, white), 1.0) << depth << " " << in;
          }
      }
    }
}

TEST_P(BalanceLevel, GammaNearZeroUsesTheFixedExponent) {
  Image source(32, {0, 0, 1, 1});
  for (int c = 0; c < 4; ++c) source.set(0, 0, c, 1.001);
  for (float gamma : {0.0005f, 0.0f, -1.0f}) {
    const Image out = apply(GetParam(), ChannelOrder::AlphaLast, source, {1.0f, 0.0f, gamma, false});
    // e = 999.99994 scalar; the vector levels derive 1 / e = 0.001 from it.
    const double expected =
        GetParam().level == KernelLevel::Scalar ? std::pow(1.001f, 999.99994f) : std::pow(1.001, 0.001);
    EXPECT_NEAR(out.get(0, 0, 0), expected, 1e-6 * expected) << gamma;
  }
}

TEST_P(BalanceLevel, NonPositiveValuesUnderTheVectorCurve) {
  // Colour 0 and alpha 0 reach the power function's bound in the vector
  // levels; the scalar kernel gives 0 and keeps alpha.
  const bool vector = GetParam().level != KernelLevel::Scalar;
  for (int depth : kDepths)
    for (bool clamp : {false, true}) {
      Image source(depth, {0, 0, 1, 1});
      const Image out = apply(GetParam(), ChannelOrder::AlphaLast, source, {1.0f, 0.0f, 2.0f, clamp});
      const double white = depth == 8 ? 255 : depth == 16 ? 32768 : 1;
      const double bound = depth == 32 && !clamp ? 2.4e38 : clamp ? white : 0;
      for (int c = 0; c < 4; ++c) {
        const double expected = vector ? bound : 0;
        EXPECT_NEAR(out.get(0, 0, c), expected, expected * 0.01) << depth << clamp << c;
      }
    }
}

TEST_P(BalanceVector, RoundsTiesToEvenWhereScalarTruncates) {
  Image source(8, {0, 0, 3, 1});
  source.set(0, 0, 0, 201);  // 100.5
  source.set(1, 0, 0, 203);  // 101.5
  source.set(2, 0, 0, 255);
  const Image vector = apply(GetParam(), ChannelOrder::AlphaLast, source, {0.5f, 0.0f, 1.0f, false});
  const Image scalar = apply(kScalar, ChannelOrder::AlphaLast, source, {0.5f, 0.0f, 1.0f, false});
  EXPECT_EQ(scalar.get(0, 0, 0), 100);
  EXPECT_EQ(vector.get(0, 0, 0), 100);
  EXPECT_EQ(scalar.get(1, 0, 0), 101);
  EXPECT_EQ(vector.get(1, 0, 0), 102);
  EXPECT_EQ(scalar.get(2, 0, 0), 127);  // 127.5
  EXPECT_EQ(vector.get(2, 0, 0), 128);
  // 128 + 0.5 * 255 = 255.5: above white for the scalar, saturated for the vector.
  source.set(0, 0, 0, 128);
  for (bool clamp : {false, true}) {
    EXPECT_EQ(apply(GetParam(), ChannelOrder::AlphaLast, source, {1.0f, 0.5f, 1.0f, clamp}).get(0, 0, 0), 255);
    EXPECT_EQ(apply(kScalar, ChannelOrder::AlphaLast, source, {1.0f, 0.5f, 1.0f, clamp}).get(0, 0, 0), 255);
  }
}

TEST_P(BalanceVector, MatchesScalarWithoutCurve) {
  const Settings settings[] = {{1.3f, -0.07f}, {2.0f, 0.0f}, {18.181816f, -2.0f}, {0.37f, 0.61f}, {-1.2f, 0.9f}};
  for (int depth : kDepths)
    for (ChannelOrder order : kOrders)
      for (const Settings& base : settings)
        for (bool clamp : {false, true}) {
          Settings s = base;
          s.clamp = clamp;
          const Image source = randomImage(depth, 3 + depth, depth == 16 ? 32769 : depth == 8 ? 256 : 1.0);
          const Image vector = apply(GetParam(), order, source, s);
          const Image scalar = apply(kScalar, order, source, s);
          const double white = depth == 8 ? 255 : depth == 16 ? 32768 : 1;
          const bool integral = s.scale == 2.0f && s.offset == 0.0f;
          for (int y = source.rect.y0; y < source.rect.y1; ++y)
            for (int x = source.rect.x0; x < source.rect.x1; ++x)
              for (int c = 0; c < 4; ++c) {
                const double a = vector.get(x, y, c), b = scalar.get(x, y, c);
                if (depth == 32 || integral || c == alphaOf(order)) {
                  ASSERT_TRUE(a == b || (std::isnan(a) && std::isnan(b))) << depth << " " << a << " " << b;
                  continue;
                }
                // Scalar truncates, vector rounds, each on a float v that may
                // sit a few thousandths off the double one (at 16 bits SSE2
                // also rounds v - 32768).
                const double v = source.get(x, y, c) * s.scale + double(s.offset) * white, e = 0.005;
                auto limited = [&](double value) { return std::min(std::max(value, 0.0), white); };
                ASSERT_TRUE(b == limited(std::floor(v - e)) || b == limited(std::floor(v + e))) << v << " " << b;
                ASSERT_TRUE(a == limited(std::nearbyint(v - e)) || a == limited(std::nearbyint(v + e)))
                    << v << " " << a;
                ASSERT_TRUE(a == b || a == b + 1) << v;
              }
        }
}

TEST_P(BalanceVector, AlphaLaneIsLimitedLikeColour) {
  // The vector levels send alpha through the limits; the scalar copies it.
  Image source(32, {0, 0, 3, 1});
  const float alphas[] = {1.5f, -0.5f, NAN};
  for (int x = 0; x < 3; ++x) source.set(x, 0, 3, alphas[x]);
  const Image clamped = apply(GetParam(), ChannelOrder::AlphaLast, source, {1.0f, 0.0f, 1.0f, true});
  const Image open = apply(GetParam(), ChannelOrder::AlphaLast, source, {1.0f, 0.0f, 1.0f, false});
  EXPECT_EQ(clamped.get(0, 0, 3), 1.0);
  EXPECT_EQ(open.get(0, 0, 3), 1.5);
  EXPECT_EQ(clamped.get(1, 0, 3), 0.0);
  EXPECT_EQ(open.get(2, 0, 3), 0.0);
  const Image scalar = apply(kScalar, ChannelOrder::AlphaLast, source, {1.0f, 0.0f, 1.0f, true});
  EXPECT_EQ(scalar.get(0, 0, 3), 1.5);
  EXPECT_TRUE(std::isnan(scalar.get(2, 0, 3)));
}

TEST(BalanceLevels, VectorLevelsAgreeExceptSixteenBitNarrowing) {
  if (!available(kSSE41)) GTEST_SKIP() << "SSE4.1 not on this processor";
  for (int depth : kDepths)
    for (float gamma : {1.0f, 1.8f}) {
      const Image source = randomImage(depth, 5, depth == 32 ? 1.0 : 32768);
      const Settings s{0.9f, 0.013f, gamma, false};
      const Image sse2 = apply(kSSE2, ChannelOrder::AlphaLast, source, s);
      const Image sse41 = apply(kSSE41, ChannelOrder::AlphaLast, source, s);
      int differences = 0, total = 0;
      for (int y = source.rect.y0; y < source.rect.y1; ++y)
        for (int x = source.rect.x0; x < source.rect.x1; ++x)
          for (int c = 0; c < 4; ++c, ++total) {
            const double a = sse2.get(x, y, c), b = sse41.get(x, y, c);
            if (a == b || (std::isnan(a) && std::isnan(b))) continue;
            ASSERT_EQ(depth, 16);  // the SSE2 pack shifts by 32768 first
            ASSERT_EQ(std::fabs(a - b), 1.0);
            ++differences;
          }
      EXPECT_LE(differences * 100, total) << depth;
    }
}

TEST(BalanceLevels, OtherDepthsWriteNothing) {
  Image source(8, {0, 0, 4, 2}), target(8, {0, 0, 4, 2}, 4, 0xAB);
  const std::vector<unsigned char> before = target.bytes();
  RecordingProgress progress;
  runBalanceBand(10, ChannelOrder::AlphaLast, target.target(), source.source(), target.rect, progress, 1.0f, 0.0f, 1.0f,
                 true);
  EXPECT_TRUE(progress.reports.empty());
  EXPECT_EQ(target.bytes(), before);
}

std::string levelName(const ::testing::TestParamInfo<LevelCase>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Levels, BalanceLevel, ::testing::Values(kScalar, kSSE2, kSSE41), levelName);
INSTANTIATE_TEST_SUITE_P(Levels, BalanceVector, ::testing::Values(kSSE2, kSSE41), levelName);

}  // namespace
}  // namespace OZ::Image
