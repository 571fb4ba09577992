#pragma once
// What the blend tests share: test worlds with guard space and a chosen
// alignment, the levels as test parameters, random pixels that
// discriminate, and a run at a forced level that proves the level ran.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "image/blend/blend_kernels.h"
#include "image/blend/blend_modes.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"

namespace OZ::Image::BlendTest {

constexpr unsigned char kSentinel = 0xA5;
constexpr ProcessorFlags kAllLevels = ~ProcessorFlags(0);

struct SilentProgress final : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

struct RecordingProgress final : Progress {
  void report(std::int64_t current, std::int64_t total) override { reports.emplace_back(current, total); }
  std::vector<std::pair<std::int64_t, std::int64_t>> reports;
};

// Rows with guard space after them; the first pixel of every row sits
// `offset` bytes past a 16-byte boundary.
struct World {
  World(Rect rect, int bytesPerPixel, int offset = 0)
      : rect(rect),
        bytesPerPixel(bytesPerPixel),
        offset(offset),
        stride((width(rect) * bytesPerPixel + 32 + 15) / 16 * 16) {
    storage.assign(std::size_t(stride * height(rect) + 48), kSentinel);
    start = (16 - reinterpret_cast<std::uintptr_t>(storage.data()) % 16) % 16 + std::size_t(offset);
  }
  // A copy has the same pixels at the same alignment.
  World(const World& other) : World(other.rect, other.bytesPerPixel, other.offset) { *this = other; }
  World& operator=(const World& other) {
    for (std::int64_t row = 0; row < height(rect); ++row)
      std::memcpy(origin() + row * stride, const_cast<World&>(other).origin() + row * other.stride, std::size_t(stride));
    return *this;
  }
  unsigned char* origin() { return storage.data() + start; }
  unsigned char* pixel(std::int32_t x, std::int32_t y) {
    return origin() + (y - rect.y0) * stride + (x - rect.x0) * bytesPerPixel;
  }
  SourceView source() { return {rect, origin(), stride, {0, 0, 0, 0}}; }
  TargetView target() { return {rect, origin(), stride}; }

  Rect rect;
  int bytesPerPixel;
  int offset;
  std::int64_t stride;
  std::vector<unsigned char> storage;
  std::size_t start;
};

template <class Layout>
using Pixel = std::array<typename Layout::Component, 4>;

template <class Layout>
Pixel<Layout> read(World& world, std::int32_t x, std::int32_t y) {
  Pixel<Layout> pixel;
  std::memcpy(pixel.data(), world.pixel(x, y), Layout::bytes);
  return pixel;
}

template <class Layout>
void write(World& world, std::int32_t x, std::int32_t y, const Pixel<Layout>& pixel) {
  std::memcpy(world.pixel(x, y), pixel.data(), Layout::bytes);
}

// Red, green, blue, alpha by channel order.
template <class Layout>
constexpr std::array<int, 4> kRgba = Layout::alphaFirst ? std::array{1, 2, 3, 0} : std::array{2, 1, 0, 3};

template <class Visitor>
void forEachLayout(Visitor&& visit) {
  for (int depth : {8, 16, 32})
    for (ChannelOrder order : {ChannelOrder::AlphaFirst, ChannelOrder::AlphaLast}) {
      SCOPED_TRACE(::testing::Message() << "depth " << depth
                                        << (order == ChannelOrder::AlphaFirst ? " argb" : " bgra"));
      visitLayout(depth, order, visit);
    }
}

// Every mode number of the list, and two past it.
inline std::vector<std::uint32_t> allModeNumbers() {
  std::vector<std::uint32_t> modes;
  for (std::uint32_t mode = 0; mode < kBlendModeCount; ++mode) modes.push_back(mode);
  modes.push_back(kBlendModeCount);
  modes.push_back(0xFFFFFFFFu);
  return modes;
}

// Components in range (0..white), or over the whole storage range with
// ties, extremes and, in float, negatives, values above 1 and NaN.
template <class Layout>
void fillRandom(World& world, std::mt19937& random, bool inRange) {
  using Component = typename Layout::Component;
  std::vector<Component> special;
  if constexpr (Layout::depth == 8)
    special = {0, 1, 127, 128, 254, 255};
  else if constexpr (Layout::depth == 16)
    special = inRange ? std::vector<Component>{0, 1, 16384, 32767, 32768}
                      : std::vector<Component>{0, 1, 16384, 32767, 32768, 32769, 65535};
  else
    special = inRange ? std::vector<Component>{0.0f, 1.0f, 0.5f, 0.25f}
                      : std::vector<Component>{0.0f, -0.0f, 1.0f, 0.5f, -0.25f, 2.0f, 1e-30f,
                                               std::numeric_limits<float>::quiet_NaN(),
                                               std::numeric_limits<float>::infinity()};
  const float high = Layout::isFloat ? (inRange ? 1.0f : 1.5f) : inRange ? Layout::white : Layout::depth == 16 ? 65535.0f : 255.0f;
  std::uniform_real_distribution<float> uniform(Layout::isFloat && !inRange ? -0.25f : 0.0f, high);
  for (std::int32_t y = world.rect.y0; y < world.rect.y1; ++y)
    for (std::int32_t x = world.rect.x0; x < world.rect.x1; ++x) {
      Pixel<Layout> pixel;
      for (Component& c : pixel)
        c = random() % 10 < 3 ? special[random() % special.size()] : Component(uniform(random));
      write<Layout>(world, x, y, pixel);
    }
}

struct LevelCase {
  const char* name;
  ProcessorFlags mask;
  KernelLevel level;
};
inline void PrintTo(const LevelCase& level, std::ostream* out) { *out << level.name; }

inline const LevelCase kLevels[] = {{"Scalar", 0, KernelLevel::Scalar},
                                    {"SSE2", kFlagSSE2, KernelLevel::SSE2},
                                    {"SSSE3", kFlagSSE2 | kFlagSSSE3, KernelLevel::SSSE3},
                                    {"SSE41", kFlagSSE2 | kFlagSSSE3 | kFlagSSE41, KernelLevel::SSE41}};

inline bool processorHas(ProcessorFlags mask) {
  restrictProcessorFlags(kAllLevels);
  return (queryProcessorFlags() & mask) == mask;
}

// One band at the level of this mask.
template <class Layout>
void blendAt(ProcessorFlags mask, const TargetView& target, const SourceView& a, const SourceView& b,
             const Rect& band, Progress& progress, std::uint32_t mode, float opacity) {
  restrictProcessorFlags(mask);
  runBlendBand(Layout::depth, Layout::order, target, a, b, band, progress, mode, opacity);
  restrictProcessorFlags(kAllLevels);
}

template <class Layout>
void blendAt(ProcessorFlags mask, World& target, World& a, World& b, std::uint32_t mode, float opacity) {
  SilentProgress progress;
  blendAt<Layout>(mask, target.target(), a.source(), b.source(), target.rect, progress, mode, opacity);
}

class BlendLevelTest : public ::testing::TestWithParam<LevelCase> {
 protected:
  void SetUp() override {
    if (!processorHas(GetParam().mask)) GTEST_SKIP() << "processor lacks the level";
  }
  void TearDown() override { restrictProcessorFlags(kAllLevels); }

  bool vector() const { return GetParam().level != KernelLevel::Scalar; }

  // At this test's level, proving that the level ran.
  template <class Layout>
  void blend(World& target, World& a, World& b, std::uint32_t mode, float opacity) {
    blendAt<Layout>(GetParam().mask, target, a, b, mode, opacity);
    ASSERT_EQ(lastLevelRun(), GetParam().level);
  }
};

inline std::string levelName(const ::testing::TestParamInfo<LevelCase>& info) { return info.param.name; }

// Pixels that a vector level computes four at a time: after the single
// pixels that bring the output to 16 bytes, as many fours as fit.
inline std::pair<int, int> fourPixelSpan(const unsigned char* rowStart, int width, int bytesPerPixel) {
  int head = 0;
  while (head < width && reinterpret_cast<std::uintptr_t>(rowStart + head * bytesPerPixel) % 16 != 0) ++head;
  return {head, head + (width - head) / 4 * 4};
}

}  // namespace OZ::Image::BlendTest
