// The levels and hue/saturation nodes in a graph: the level that really ran,
// the hand-over from HSVCC to the levels kernels, and thread counts.

#include <gtest/gtest.h>

#include <random>

#include "image/filters/balance_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/processor_flags.h"
#include "support/filter_run.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

struct Forced {
  const char* name;
  ProcessorFlags mask;
};
const Forced kLevels[] = {{"scalar", 0}, {"sse2", kFlagSSE2}, {"ssse3", kFlagSSE2 | kFlagSSSE3},
                          {"sse41", kFlagSSE2 | kFlagSSSE3 | kFlagSSE41}};

class ColorFilterLevels : public ::testing::TestWithParam<Forced> {
 protected:
  void SetUp() override {
    if ((queryProcessorFlags() & GetParam().mask) != GetParam().mask) GTEST_SKIP() << "processor lacks the level";
    restrictProcessorFlags(GetParam().mask);
  }
  void TearDown() override { restrictProcessorFlags(~ProcessorFlags(0)); }
};

std::vector<unsigned char> randomBytes(std::size_t count, unsigned seed) {
  std::mt19937 generator(seed);
  std::vector<unsigned char> bytes(count);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator() >> 24);
  return bytes;
}

std::vector<unsigned char> render(PixelFormatCode format, int threads, const MakeFilter& make) {
  FilterRun run(format, 29, 67, threads);
  run.setInput(randomBytes(run.rowBytes() * 67, 11));
  run.render(make);
  EXPECT_EQ(run.fixture.standIn.liveWorlds(), 0u);
  return run.outputBytes();
}

MakeFilter levels(float gamma) {
  return [gamma](FilterNode* input) {
    return std::make_unique<BalanceFilter<FilterHost>>(input, true, 0.11f, 0.165f, 0.0f, 1.0f, gamma);
  };
}
MakeFilter hsvcc(float hue, float saturation, float value) {
  return [=](FilterNode* input) { return std::make_unique<HSVCCFilter<FilterHost>>(input, hue, saturation, value); };
}

}  // namespace

TEST_P(ColorFilterLevels, TheForcedLevelIsTheOneThatRan) {
  const ProcessorFlags mask = GetParam().mask;
  render(formatCode("bgra"), 2, levels(1.0f));
  // The levels filter has no SSSE3 kernels: that mask falls through to SSE2.
  const KernelLevel balance = mask & kFlagSSE41 ? KernelLevel::SSE41 : mask & kFlagSSE2 ? KernelLevel::SSE2 : KernelLevel::Scalar;
  EXPECT_EQ(lastLevelRun(), balance);
  render(formatCode("bgra"), 2, hsvcc(0.25f, 0.5f, 1.0f));
  const KernelLevel hue = mask & kFlagSSE41   ? KernelLevel::SSE41
                          : mask & kFlagSSSE3 ? KernelLevel::SSSE3
                          : mask & kFlagSSE2  ? KernelLevel::SSE2
                                              : KernelLevel::Scalar;
  EXPECT_EQ(lastLevelRun(), hue);
}

TEST_P(ColorFilterLevels, OnlyAValueChangeIsHandedToTheLevelsKernels) {
  for (PixelFormatCode format : {formatCode("argb"), formatCode("Bgra"), formatCode("ARgb")}) {
    const auto scaled = render(format, 1, hsvcc(0.0f, 1.0f, 0.5f));
    const auto viaLevels = render(format, 1, [](FilterNode* input) {
      return std::make_unique<BalanceFilter<FilterHost>>(input, false, 0.0f, 1.0f, 0.0f, 0.5f, 1.0f);
    });
    EXPECT_EQ(scaled, viaLevels);
  }
}

TEST_P(ColorFilterLevels, AnyThreadCountGivesTheSameImage) {
  for (PixelFormatCode format : {formatCode("argb"), formatCode("Bgra")}) {
    for (const MakeFilter& make : {levels(1.0f), levels(0.6f), hsvcc(0.1f, 0.0f, 1.0f)}) {
      const auto one = render(format, 1, make);
      EXPECT_EQ(render(format, 3, make), one);
      EXPECT_EQ(render(format, 7, make), one);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Levels, ColorFilterLevels, ::testing::ValuesIn(kLevels),
                         [](const auto& info) { return std::string(info.param.name); });
